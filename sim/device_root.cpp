#include "sim/device_root.h"

#include "support/files.h"

namespace veltrum::sim {

namespace {

const char *const kDirectories[] = {
    "/run/openapi", "/mnt/fastpath/veltrum", "/mnt/fastpath/lighttpd/ssl", "/mnt/download", "/tmp",
    "/bin",         "/var/log",              "/var/www/ui/export",
};

// A program that only records that it ran.
std::string recorder(const std::string &root, const char *name) {
  return "#!/bin/sh\n"
         "# Stand-in for the switch's " + std::string(name) + ": records each call.\n"
         "echo \"" + name + " $*\" >> '" + root + SIM_PROGRAM_LOG "'\n"
         "exit 0\n";
}

// The web front end's monitor: records each SIGUSR1 it receives.
std::string monitor(const std::string &root) {
  return "#!/bin/sh\n"
         "# Stand-in for the web front end's monitor: records each reload signal.\n"
         "trap 'echo \"lighttpdMon SIGUSR1\" >> \"" + root + SIM_PROGRAM_LOG "\"' USR1\n"
         "trap 'exit 0' TERM INT\n"
         "while :; do sleep 1; done\n";
}

bool write_program(const std::string &path, const std::string &text) {
  return write_file_atomic(path, text, 0755) == 0;
}

}  // namespace

bool prepare_device_root(const std::string &root) {
  for (const char *dir : kDirectories)
    if (make_dirs(root + dir) != 0) return false;
  return write_program(root + "/bin/PellmarCli", recorder(root, "PellmarCli")) &&
         write_program(root + "/bin/restgen", recorder(root, "restgen")) &&
         write_program(root + "/bin/lighttpdMon", monitor(root));
}

}  // namespace veltrum::sim
