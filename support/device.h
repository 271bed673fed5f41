// The device root: every absolute path of the switch ("/mnt/...", "/tmp/...",
// "/bin/PellmarCli", ...) is resolved through device_path(). On a switch the
// root is "/". On a development machine the run and test scripts point
// VELTRUM_ROOT at a private directory that the simulated switch populates, so
// the agent and the simulator never touch the host's own /tmp or /bin.
//
// VELTRUM_ROOT is read once, at the first call. Together with
// VELTRUM_LOG_LEVEL (see log.h) it is a development hook, not configuration
// (the agent has none on the command line or in the environment).
#pragma once

#include <string>
#include <string_view>

// The root directory, without a trailing slash ("" for "/").
const std::string &device_root();

// Overrides the root (tests that run device code in-process use this).
// Trailing slashes are dropped; "/" gives "". Not synchronised with readers:
// set it before other threads resolve paths.
void set_device_root(std::string_view root);

// device_path("/tmp/x") gives "<root>/tmp/x". A relative path is returned as is.
std::string device_path(std::string_view absolute);

// A development setting: the environment variable `name` as a decimal
// integer within [min, max]. Read only under a development root (never on a
// switch, whose root is "/"); `fallback` there, and when the variable is
// unset or not such a number. Tests use these to shorten the agent's time
// limits (VELTRUM_RPC_TIMEOUT_MS, VELTRUM_IDLE_TIMEOUT).
long development_setting(const char *name, long fallback, long min, long max);
