// Lays out a development device root: the directories the agent and the
// platform expect on a switch, and the device programs a development
// machine lacks:
//   /bin/restgen      makes the web front end's RSA key and self-signed
//                     certificate with openssl (the three files under
//                     /mnt/fastpath/lighttpd/ssl/);
//   /bin/lighttpdMon  the web front end's monitor, a link to the build's
//                     veltrum-lighttpdmon (sim/programs/lighttpd_mon.cpp),
//                     which runs lighttpd;
//   /bin/ps           the processes started from this root's /bin only, so
//                     the agent's signal to "lighttpdMon" reaches this root's
//                     monitor and no other;
//   /bin/PellmarCli   a stand-in that only records its calls.
// restgen, PellmarCli and the monitor (on SIGUSR1) append one line per call
// ("<program> <arguments>") to "/var/log/device-programs.log" under the
// root, so tests can see what the agent ran.
#pragma once

#include <string>

namespace veltrum::sim {

// Creates what is missing under `root`; false when a directory or file
// cannot be made.
bool prepare_device_root(const std::string &root);

#define SIM_PROGRAM_LOG "/var/log/device-programs.log"

}  // namespace veltrum::sim
