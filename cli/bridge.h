// The CLI bridge: one process-wide telnet session to the switch's own
// command-line interface on 127.0.0.1 (port 60000, see support/cli_port.h),
// for settings the platform API does not offer.
//
// The bridge logs in as "admin" with the password the platform hands out
// (rpcclt_openapiUserPasswordGet), walks the prompts to global configuration
// mode, and is then kept open between commands. Every command function
// leaves the CLI in configuration mode again. A failed send or read drops
// the session; the next command logs in afresh. All traces go to the log at
// level 7; the password is never logged.
//
// Timing: a command is read back with one read after a fixed wait (1 s, or
// 10 ms for the fast forms); what the CLI prints later is not collected (it
// is read, before the echo, by the next command). Reads have no time-out.
//
// Concurrency: one mutex serialises each whole exchange (open, command,
// keep-alive, status, close), so handlers and worker threads may share the
// bridge. The lower routines (cli_connect, send_data, receive_data,
// login_to_cli) take no lock: they are the steps of those exchanges.
#pragma once

#include <chrono>
#include <cstddef>

namespace veltrum::cli {

struct CliBridge {
  int socket = -1;           // the TCP connection; -1 when closed
  int logged_in = 0;         // 1 once the login reached configuration mode
  char *user = nullptr;      // login user, only while an open action runs
  char *password = nullptr;  // login password, only while an open action runs
};
extern CliBridge cli_bridge;

// Actions of fastpath_cli_session_control.
enum CliAction { kCliOpen = 1, kCliKeepAlive = 2, kCliStatus = 3, kCliClose = 4 };

inline constexpr size_t kCliCommandMax = 127;   // longest command line
inline constexpr size_t kCliLoginChunk = 256;   // login dialogue read buffer
inline constexpr size_t kCliAnswerSize = 2048;  // keep-alive read buffer, and the usual answer buffer

// A TCP stream socket to the CLI, stored in cli_bridge.socket. 0 or -1 (the
// system error printed with "socket" or "connect"); on failure the caller
// closes the socket.
int cli_connect();
// Writes `length` (1 to 127) bytes of `text` and a NUL byte, then "\r\n".
int send_data(const char *text, size_t length);
// One read of at most size - 1 bytes into `buffer`, NUL-terminated. End of
// stream is a success with an empty buffer. Blocks until the CLI sends.
int receive_data(char *buffer, size_t size);
// The login dialogue on the open connection, with cli_bridge.user and
// .password: 0 logged in (configuration mode), -1 a prompt it does not
// know, -2 the connection failed or was closed.
int login_to_cli();

// kCliOpen, kCliKeepAlive, kCliStatus or kCliClose: 0 or -1.
int fastpath_cli_session_control(int action);

// One command in configuration mode; the answer (echo, output and prompt)
// in `output`. 0 or -1.
int fastpath_cli_cmd_int(const char *command, char *output, size_t output_size, bool fast);
// One command inside the configuration sub-mode that the line `mode`
// enters (or after the configuration line `mode`).
int fastpath_cli_splmode_cmd_int(const char *mode, const char *command, char *output, size_t output_size, bool fast);
// One command inside a mode entered from privileged mode (the VLAN database).
int fastpath_cli_vlan_db_cmd(const char *mode, const char *command, char *output, size_t output_size);

// The same with the wait fixed: 1 s, or 10 ms for the fast forms.
int fastpath_cli_cmd(const char *command, char *output, size_t output_size);
int fastpath_cli_cmd_fast(const char *command, char *output, size_t output_size);
int fastpath_cli_splmode_cmd(const char *mode, const char *command, char *output, size_t output_size);
int fastpath_cli_splmode_cmd_fast(const char *mode, const char *command, char *output, size_t output_size);

// The pauses: 10 ms after a line and 1 s before a full read. Tests and
// benchmarks that need many exchanges shorten them; the agent never does.
void cli_set_pauses(std::chrono::microseconds short_pause, std::chrono::microseconds long_pause);

}  // namespace veltrum::cli
