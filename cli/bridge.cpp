#include "cli/bridge.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <mutex>
#include <thread>

#include "core/platform_client.h"
#include "support/cli_port.h"
#include "support/log.h"
#include "support/mem.h"

namespace veltrum::cli {

CliBridge cli_bridge;

namespace {

constexpr const char *kCliAddress = "127.0.0.1";
constexpr const char *kLoginUser = "admin";
// A platform that reports absurd buffer sizes is not believed.
constexpr uint32_t kCredentialMax = 4096;

std::mutex bridge_mutex;
std::atomic<int64_t> short_pause_us{10'000};
std::atomic<int64_t> long_pause_us{1'000'000};

void pause(bool long_one) {
  std::this_thread::sleep_for(std::chrono::microseconds(long_one ? long_pause_us.load() : short_pause_us.load()));
}

int write_all(const char *data, size_t size) {
  while (size > 0) {
    // MSG_NOSIGNAL: a CLI that has gone away must not end the agent.
    ssize_t n = ::send(cli_bridge.socket, data, size, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return -1;
    data += n;
    size -= static_cast<size_t>(n);
  }
  return 0;
}

// send_data, with the text kept out of the log when it is a secret.
int send_line(const char *text, size_t length, bool secret) {
  if (!text || length < 1 || length > kCliCommandMax) return -1;
  char buffer[kCliCommandMax + 1] = {};
  std::memcpy(buffer, text, length);
  // The terminating NUL goes on the wire too.
  if (write_all(buffer, length + 1) != 0) {
    std::perror("write");
    agent_log(7, "func=%s writing data to telnet server failed.", "send_data");
    return -1;
  }
  if (write_all("\r\n", 2) != 0) {
    std::perror("write");
    agent_log(7, "func=%s keepalive of telnet session failed.", "send_data");
    return -1;
  }
  agent_log(7, "func=%s Sent: (%s)", "send_data", secret ? "********" : buffer);
  return 0;
}

int send_text(const char *text, bool secret = false) { return send_line(text, text ? std::strlen(text) : 0, secret); }

// One read: the byte count (0 at end of stream), or -1.
ssize_t receive_bytes(char *buffer, size_t size) {
  if (!buffer || size == 0) return -1;
  ssize_t n;
  do {
    n = ::read(cli_bridge.socket, buffer, size - 1);
  } while (n < 0 && errno == EINTR);
  if (n < 0) {
    std::perror("read");
    buffer[0] = '\0';
    return -1;
  }
  buffer[n] = '\0';
  agent_log(7, "func=%s Recv: (%s)", "receive_data", buffer);
  return n;
}

void drop_session() {
  if (cli_bridge.socket >= 0) {
    ::shutdown(cli_bridge.socket, SHUT_RDWR);
    ::close(cli_bridge.socket);
  }
  cli_bridge.socket = -1;
  cli_bridge.logged_in = 0;
}

void free_secret(char *&text) {
  if (!text) return;
  explicit_bzero(text, std::strlen(text));
  std::free(text);
  text = nullptr;
}

// Which step of the login dialogue a chunk of CLI output asks for.
int login_stage(const char *chunk) {
  if (std::strstr(chunk, "User:")) return 0;
  if (std::strstr(chunk, "Password:")) return 1;
  if (std::strstr(chunk, "configure")) return 4;  // the echo of the command sent in stage 3
  if (!std::strchr(chunk, '(')) return 5;
  if (chunk[0] && std::strchr(chunk + 1, '>')) return 2;  // user exec prompt
  if (std::strstr(chunk, ") #")) return 3;                // privileged exec prompt
  if (std::strstr(chunk, "(Config)#")) return 4;
  return 5;
}

int open_session() {
  if (cli_bridge.logged_in) return 0;
  if (cli_bridge.socket >= 0) drop_session();  // a dialogue run by hand before

  uint32_t user_size = 0;
  open_error_t rc = rpcclt_openapiUserNameSizeGet(&g_client_handle, &user_size);
  if (rc != OPEN_E_NONE || user_size == 0) {
    agent_log(7, "Get Username Max Failed (%d).", rc);
    return -1;
  }
  cli_bridge.user = user_size <= kCredentialMax ? static_cast<char *>(std::calloc(user_size, 1)) : nullptr;
  if (!cli_bridge.user) {
    agent_log(7, "Could not allocate memory for Username.");
    return -1;
  }
  strncpyt(cli_bridge.user, kLoginUser, user_size - 1);

  uint32_t password_size = 0;
  rc = rpcclt_openapiPasswordSizeGet(&g_client_handle, &password_size);
  if (rc != OPEN_E_NONE || password_size == 0) {
    agent_log(7, "Get Password Max Failed (%d).", rc);
    return -1;
  }
  cli_bridge.password = password_size <= kCredentialMax ? static_cast<char *>(std::calloc(password_size, 1)) : nullptr;
  if (!cli_bridge.password) {
    agent_log(7, "Could not allocate memory for Password.");
    return -1;
  }
  open_buffdesc user{static_cast<uint32_t>(std::strlen(cli_bridge.user) + 1), cli_bridge.user};
  open_buffdesc password{password_size, cli_bridge.password};
  rc = rpcclt_openapiUserPasswordGet(&g_client_handle, &user, &password);
  cli_bridge.password[password_size - 1] = '\0';
  if (rc != OPEN_E_NONE) {
    agent_log(7, "openapiUserPasswordGet Error: %d.", rc);
    return -1;
  }

  if (cli_connect() != 0) {
    drop_session();
    return -1;
  }
  if (login_to_cli() != 0) {
    agent_log(7, "Could not login to the CLI interface.");
    drop_session();
    return -1;
  }
  cli_bridge.logged_in = 1;
  return 0;
}

int keep_alive() {
  char buffer[kCliAnswerSize];
  if (cli_bridge.logged_in && send_text("\r\n") == 0) {
    pause(true);
    if (receive_bytes(buffer, sizeof buffer) >= 0) return 0;
  }
  drop_session();
  return -1;
}

int session_control_locked(int action) {
  agent_log(7, "%s: Action: %d\n", "fastpath_cli_session_control", action);
  int rc = -1;
  switch (action) {
    case kCliOpen:
      rc = open_session();
      break;
    case kCliKeepAlive:
      rc = keep_alive();
      break;
    case kCliStatus:
      rc = cli_bridge.logged_in ? 0 : -1;
      break;
    case kCliClose:
      if (cli_bridge.logged_in) drop_session();
      rc = 0;
      break;
    default:
      break;
  }
  // The password lives in memory only while the dialogue runs.
  free_secret(cli_bridge.user);
  free_secret(cli_bridge.password);
  return rc;
}

bool valid_line(const char *line) {
  if (!line) return false;
  size_t n = std::strlen(line);
  return n >= 1 && n <= kCliCommandMax;
}

// One exchange: the lines before the read (each followed by the short pause
// when `pause_each`), the wait, one read into `output`, then the lines that
// return the CLI to configuration mode. Any failure drops the session.
int exchange(std::initializer_list<const char *> before, bool pause_each, bool fast, char *output, size_t output_size,
             std::initializer_list<const char *> after) {
  std::memset(output, 0, output_size);
  for (const char *line : before) {
    if (send_text(line) != 0) {
      drop_session();
      return -1;
    }
    if (pause_each) pause(false);
  }
  pause(!fast);
  if (receive_bytes(output, output_size - 1) < 0) {
    drop_session();
    return -1;
  }
  for (const char *line : after) {
    if (send_text(line) != 0) {
      drop_session();
      return -1;
    }
    pause(false);
  }
  return 0;
}

}  // namespace

int cli_connect() {
  cli_bridge.socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (cli_bridge.socket < 0) {
    std::perror("socket");
    return -1;
  }
  // Each line goes out as two small writes; without this the second waits
  // for the acknowledgement of the first (tens of milliseconds).
  int one = 1;
  ::setsockopt(cli_bridge.socket, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<uint16_t>(cli_telnet_port()));
  inet_pton(AF_INET, kCliAddress, &addr.sin_addr);
  if (::connect(cli_bridge.socket, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
    std::perror("connect");
    return -1;
  }
  return 0;
}

int send_data(const char *text, size_t length) { return send_line(text, length, false); }

int receive_data(char *buffer, size_t size) { return receive_bytes(buffer, size) < 0 ? -1 : 0; }

int login_to_cli() {
  char buffer[kCliLoginChunk];
  int result = 1;  // undecided
  while (result != 0 && result != -1 && result != -2) {
    if (receive_bytes(buffer, sizeof buffer) <= 0) {
      result = -2;
      break;
    }
    agent_log(7, "func=%s buffer: (%s)", "login_to_cli", buffer);
    int stage = login_stage(buffer);
    agent_log(7, "func=%s stage: %d", "login_to_cli", stage);
    int sent = 0;
    switch (stage) {
      case 0:
        sent = send_text(cli_bridge.user);
        break;
      case 1:
        sent = send_text(cli_bridge.password, true);
        break;
      case 2:
        sent = send_text("enable");
        break;
      case 3:
        sent = send_text("configure");
        break;
      case 4:
        result = 0;
        continue;
      default:
        agent_log(7, "We encountered an invalid switch prompt!");
        result = -1;
        continue;
    }
    if (sent != 0) {
      result = -2;
      break;
    }
    pause(true);
  }
  agent_log(7, "We are finished here either way (%d)", result);
  return result;
}

int fastpath_cli_session_control(int action) {
  std::lock_guard<std::mutex> lock(bridge_mutex);
  return session_control_locked(action);
}

int fastpath_cli_cmd_int(const char *command, char *output, size_t output_size, bool fast) {
  if (!valid_line(command) || !output || output_size < 2) return -1;
  std::lock_guard<std::mutex> lock(bridge_mutex);
  if (!cli_bridge.logged_in && session_control_locked(kCliOpen) != 0) return -1;
  agent_log(7, "func=%s cmd='%s'", "fastpath_cli_cmd_int", command);
  if (exchange({command}, false, fast, output, output_size, {}) != 0) return -1;
  agent_log(7, "func=%s cmd='%s' o/p=%s", "fastpath_cli_cmd_int", command, output);
  return 0;
}

int fastpath_cli_splmode_cmd_int(const char *mode, const char *command, char *output, size_t output_size, bool fast) {
  if (!valid_line(mode) || !valid_line(command) || !output || output_size < 2) return -1;
  std::lock_guard<std::mutex> lock(bridge_mutex);
  if (!cli_bridge.logged_in && session_control_locked(kCliOpen) != 0) return -1;
  agent_log(7, "func=%s mode=%s cmd='%s'", "fastpath_cli_splmode_cmd_int", mode, command);
  return exchange({"end", "configure", mode, command}, true, fast, output, output_size, {"end", "configure"});
}

int fastpath_cli_vlan_db_cmd(const char *mode, const char *command, char *output, size_t output_size) {
  if (!valid_line(mode) || !valid_line(command) || !output || output_size < 2) return -1;
  std::lock_guard<std::mutex> lock(bridge_mutex);
  if (!cli_bridge.logged_in && session_control_locked(kCliOpen) != 0) return -1;
  agent_log(7, "func=%s mode=%s cmd='%s'", "fastpath_cli_vlan_db_cmd", mode, command);
  return exchange({"end", mode, command}, true, false, output, output_size, {"end", "configure"});
}

int fastpath_cli_cmd(const char *command, char *output, size_t output_size) {
  return fastpath_cli_cmd_int(command, output, output_size, false) != 0 ? -1 : 0;
}

int fastpath_cli_cmd_fast(const char *command, char *output, size_t output_size) {
  return fastpath_cli_cmd_int(command, output, output_size, true) != 0 ? -1 : 0;
}

int fastpath_cli_splmode_cmd(const char *mode, const char *command, char *output, size_t output_size) {
  return fastpath_cli_splmode_cmd_int(mode, command, output, output_size, false) != 0 ? -1 : 0;
}

int fastpath_cli_splmode_cmd_fast(const char *mode, const char *command, char *output, size_t output_size) {
  return fastpath_cli_splmode_cmd_int(mode, command, output, output_size, true) != 0 ? -1 : 0;
}

void cli_set_pauses(std::chrono::microseconds short_pause, std::chrono::microseconds long_pause) {
  short_pause_us = short_pause.count();
  long_pause_us = long_pause.count();
}

}  // namespace veltrum::cli
