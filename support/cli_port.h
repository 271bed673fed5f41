// The TCP port of the switch CLI's telnet service on 127.0.0.1.
//
// On a switch it is 60000. Under a development device root (not "/") the
// simulated switch may have to take another port, since 60000 can be taken
// by a second development root on the same machine: it writes the port it
// listens on into "<root>/run/cli-telnet-port", and the agent reads it from
// there before each connection. Without the file the port is 60000.
#pragma once

#include <string>

inline constexpr int kCliTelnetPort = 60000;
#define CLI_TELNET_PORT_FILE "/run/cli-telnet-port"

// The port the agent connects to: 60000, or under a development root the
// number in the port file when it holds one from 1 to 65535.
int cli_telnet_port();

// The port in the port file under `root`, or 0 when the file is absent or
// holds no valid port.
int read_cli_telnet_port(const std::string &root);
// Records the port under `root` (the simulated switch). 0 or -1.
int write_cli_telnet_port(const std::string &root, int port);
