// Start-up, application status and the HTTP daemon's select loop.
//
// The agent is one foreground process. agent_init brings up, in a fixed
// order, the two platform registrations, the agent configuration, the worker
// manager and the job modules; run_http_server then starts libmicrohttpd in
// external-select mode on 127.0.0.1:8445 and drives it from the main thread
// for the rest of the process's life. Every request is therefore handled on
// that one thread, one at a time.
#pragma once

#include <cstddef>

#include "core/app_status.h"

// The only address the daemon binds.
inline constexpr unsigned short kDaemonPort = 8445;

// libmicrohttpd's limits. The select loop watches at most 1,024 descriptors;
// the connection limit stays well below, so a client that opens connections
// by the hundred cannot fill the set: past the limit new connections wait
// in the listen queue and are taken as soon as one closes. An idle
// connection (no byte in either direction) is closed after
// kConnectionTimeoutSeconds: the front end opens a new one when it needs
// one, and idle connections cannot hold the limit for long. Under a
// development root VELTRUM_IDLE_TIMEOUT (seconds) replaces the time-out.
inline constexpr unsigned kConnectionLimit = 64;
inline constexpr unsigned kConnectionTimeoutSeconds = 10;

// Start-up: registrations (each waits until the service answers), agent
// configuration, "Non-operational", worker manager, job modules, SIGCHLD
// unblocked. Exits the process on failure (2 for a registration, 1 for a
// module).
void agent_init();

// Starts the daemon and runs the select loop. Does not return in normal
// operation; -1 when the daemon cannot start or the loop fails fatally.
int run_http_server();
