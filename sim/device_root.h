// Lays out a development device root: the directories the agent and the
// platform expect on a switch, and stand-ins for the device programs a
// development machine lacks. Each stand-in appends one line per call
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
