#include "sim/device_root.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "support/files.h"

namespace veltrum::sim {

namespace {

const char *const kDirectories[] = {
    "/run/openapi", "/run/lighttpd", "/mnt/fastpath/veltrum", "/mnt/fastpath/lighttpd/ssl", "/mnt/download",
    "/tmp",         "/tmp/upload",   "/bin",                  "/var/log",                   "/var/www/ui/export",
};

// `text` as one word of a shell command line.
std::string quoted(const std::string &text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

// A program that only records that it ran.
std::string recorder(const std::string &root, const char *name) {
  return "#!/bin/sh\n"
         "# Stand-in for the switch's " + std::string(name) + ": records each call.\n"
         "echo \"" + name + " $*\" >> " + quoted(root + SIM_PROGRAM_LOG) + "\n"
         "exit 0\n";
}

// The switch's certificate generator: a new 2048-bit RSA key and a
// self-signed certificate for the web front end, written as the three
// files the front end and the agent know (key, certificate, and the
// combined file of both that the front end serves). The files are made
// beside their places and moved in, so a failure leaves the old ones.
std::string restgen(const std::string &root) {
  return "#!/bin/sh\n"
         "# restgen: makes the web front end's HTTPS key and self-signed certificate.\n"
         "echo \"restgen $*\" >> " + quoted(root + SIM_PROGRAM_LOG) + "\n"
         "ssl=" + quoted(root + "/mnt/fastpath/lighttpd/ssl") + "\n"
         "umask 077\n"
         "mkdir -p \"$ssl\" || exit 1\n"
         "work=$(mktemp -d \"$ssl/.restgen.XXXXXX\") || exit 1\n"
         "trap 'rm -rf \"$work\"' EXIT\n"
         "openssl req -x509 -newkey rsa:2048 -nodes -sha256 -days 3650 \\\n"
         "  -subj '/CN=switch' -addext 'subjectAltName=DNS:localhost,IP:127.0.0.1' \\\n"
         "  -keyout \"$work/key\" -out \"$work/cert\" || exit 1\n"
         "cat \"$work/key\" \"$work/cert\" > \"$work/combined\" || exit 1\n"
         "mv \"$work/key\" \"$ssl/https_key.key\" && mv \"$work/cert\" \"$ssl/https_cert.pem\" &&\n"
         "  mv \"$work/combined\" \"$ssl/https_cert.cer\"\n";
}

// The switch's ps, as the agent uses it to find the web front end's monitor:
// the processes of this device root only (those started from its /bin), so
// that signalling "lighttpdMon" never reaches another root's monitor.
std::string ps(const std::string &root) {
  return "#!/bin/sh\n"
         "# ps of this device root: its own programs only.\n"
         "/bin/ps -eo pid,args | grep -F -- " + quoted(root + "/bin/") + "\n"
         "exit 0\n";
}

bool write_program(const std::string &path, const std::string &text) {
  return write_file_atomic(path, text, 0755) == 0;
}

// The web front end's monitor is a program of the build: a link to it.
bool link_program(const std::string &path, const char *target) {
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  return symlink(target, path.c_str()) == 0;
}

}  // namespace

bool prepare_device_root(const std::string &root) {
  for (const char *dir : kDirectories)
    if (make_dirs(root + dir) != 0) return false;
  return write_program(root + "/bin/PellmarCli", recorder(root, "PellmarCli")) &&
         write_program(root + "/bin/restgen", restgen(root)) && write_program(root + "/bin/ps", ps(root)) &&
         link_program(root + "/bin/lighttpdMon", VELTRUM_LIGHTTPDMON_PATH);
}

}  // namespace veltrum::sim
