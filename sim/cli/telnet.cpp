#include "sim/cli/telnet.h"

#include "platform/calls/04_users.h"
#include "sim/features/users.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "sim/cli/model.h"
#include "sim/cli/shell.h"
#include "support/cli_port.h"
#include "support/files.h"
#include "support/log.h"

namespace veltrum::sim::cli {

namespace {

// Telnet commands and options (RFC 854, 857, 858).
constexpr unsigned char kIac = 255, kDont = 254, kWill = 251, kSb = 250, kSe = 240;
constexpr unsigned char kOptEcho = 1, kOptSuppressGoAhead = 3;
constexpr size_t kLineMax = 1024;

void close_fd(int &fd) {
  if (fd >= 0) ::close(fd);
  fd = -1;
}

// The bytes of a received line as the transcript shows them.
std::string escaped(const std::string &raw) {
  std::string out = "\"";
  for (unsigned char c : raw) {
    switch (c) {
      case '\0':
        out += "\\0";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '"':
        out += "\\\"";
        break;
      default:
        if (c >= 0x20 && c < 0x7f) {
          out += static_cast<char>(c);
        } else {
          char hex[8];
          std::snprintf(hex, sizeof hex, "\\x%02x", c);
          out += hex;
        }
    }
  }
  return out + "\"";
}

// Output lines of the CLI ("\n") as the terminal gets them ("\r\n").
std::string terminal_lines(const std::string &text) {
  std::string out;
  out.reserve(text.size() + text.size() / 16);
  for (char c : text) {
    if (c == '\n') out += '\r';
    out += c;
  }
  return out;
}

int listen_on(int port) {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return -1;
  int one = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<uint16_t>(port));
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 || ::listen(fd, 16) != 0) {
    int saved = errno;
    ::close(fd);
    errno = saved;
    return -1;
  }
  return fd;
}

}  // namespace

struct TelnetService::Session {
  enum class Stage { User, Password, Shell, Foreign };
  enum class Telnet { Data, Iac, Option, Sub, SubIac };

  int fd = -1;
  unsigned id = 0;
  Stage stage = Stage::User;
  std::string user;
  int failures = 0;
  std::unique_ptr<cli::Shell> shell;
  Telnet telnet = Telnet::Data;
  bool after_cr = false;
  std::string line, raw;  // the line being received: its text and its bytes
  std::string out;        // answer not yet sent
  bool closing = false;   // close once `out` is sent

  ~Session() { close_fd(fd); }
};

TelnetService::TelnetService(Sim &sim) : sim_(sim) {}

TelnetService::~TelnetService() { stop(); }

bool TelnetService::start() {
  const std::string &root = sim_.options().root;
  int preferred = root.empty() ? 0 : read_cli_telnet_port(root);
  for (int port : {preferred, kCliTelnetPort}) {
    if (port == 0 || listen_fd_ >= 0) continue;
    listen_fd_ = listen_on(port);
  }
  // Under a development root another root's simulator may hold 60000.
  if (listen_fd_ < 0 && errno == EADDRINUSE && !root.empty()) listen_fd_ = listen_on(0);
  if (listen_fd_ < 0) return false;
  sockaddr_in addr{};
  socklen_t length = sizeof addr;
  ::getsockname(listen_fd_, reinterpret_cast<sockaddr *>(&addr), &length);
  port_ = ntohs(addr.sin_port);
  wake_fd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  transcript_fd_ = open_retry((root + SIM_CLI_TRANSCRIPT).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  // The port file comes last: once it is there, the service is.
  if (wake_fd_ < 0 || (!root.empty() && write_cli_telnet_port(root, port_) != 0)) {
    int saved = errno;
    stop();
    errno = saved;
    return false;
  }
  stopping_ = false;
  thread_ = std::thread([this] { run(); });
  return true;
}

void TelnetService::stop() {
  if (thread_.joinable()) {
    stopping_ = true;
    uint64_t one = 1;
    ssize_t ignored = ::write(wake_fd_, &one, sizeof one);
    (void)ignored;
    thread_.join();
  }
  sessions_.clear();
  close_fd(listen_fd_);
  close_fd(wake_fd_);
  close_fd(transcript_fd_);
}

void TelnetService::record(unsigned id, const std::string &what) {
  if (transcript_fd_ < 0) return;
  std::string text = std::to_string(id) + " " + what + "\n";
  ssize_t ignored = ::write(transcript_fd_, text.data(), text.size());
  (void)ignored;
}

void TelnetService::run() {
  std::vector<pollfd> fds;
  while (!stopping_) {
    fds.clear();
    fds.push_back({wake_fd_, POLLIN, 0});
    fds.push_back({listen_fd_, POLLIN, 0});
    for (auto &s : sessions_) fds.push_back({s->fd, static_cast<short>(s->out.empty() ? POLLIN : POLLIN | POLLOUT), 0});
    if (::poll(fds.data(), fds.size(), -1) < 0) {
      if (errno == EINTR) continue;
      agent_log(1, "CLI telnet service: poll failed: %s", std::strerror(errno));
      return;
    }
    if (fds[0].revents) break;
    size_t i = 2;
    for (auto it = sessions_.begin(); it != sessions_.end(); ++i) {
      Session &s = **it;
      bool keep = true;
      if (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) keep = read_session(s);
      if (keep && !s.out.empty()) flush(s);
      if (keep && s.closing && s.out.empty()) keep = false;
      if (!keep || s.fd < 0) {
        record(s.id, "close");
        it = sessions_.erase(it);
      } else {
        ++it;
      }
    }
    if (fds[1].revents & POLLIN) accept_session();
  }
}

void TelnetService::accept_session() {
  int fd = ::accept4(listen_fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) return;
  if (sessions_.size() >= kMaxSessions) {
    static const char kFull[] = "\r\nThe maximum number of telnet sessions is reached.\r\n";
    ssize_t ignored = ::send(fd, kFull, sizeof kFull - 1, MSG_NOSIGNAL);
    (void)ignored;
    ::close(fd);
    return;
  }
  auto s = std::make_unique<Session>();
  s->fd = fd;
  s->id = next_id_++;
  record(s->id, "open");
  s->out = {static_cast<char>(kIac), static_cast<char>(kWill), static_cast<char>(kOptEcho),
            static_cast<char>(kIac), static_cast<char>(kWill), static_cast<char>(kOptSuppressGoAhead)};
  s->out += "\r\nUser:";
  flush(*s);
  sessions_.push_back(std::move(s));
}

// Sends what the session has pending; a peer that is gone closes it.
void TelnetService::flush(Session &s) {
  while (!s.out.empty()) {
    ssize_t n = ::send(s.fd, s.out.data(), s.out.size(), MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
    if (n <= 0) {
      close_fd(s.fd);
      s.out.clear();
      return;
    }
    s.out.erase(0, static_cast<size_t>(n));
  }
}

// Takes what arrived: telnet commands are dropped, lines are run. False
// when the session ends.
bool TelnetService::read_session(Session &s) {
  unsigned char buffer[2048];
  ssize_t n = ::recv(s.fd, buffer, sizeof buffer, 0);
  if (n < 0) return errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK;
  if (n == 0) return false;

  struct Line {
    std::string text, raw;
  };
  std::vector<Line> lines;
  for (ssize_t i = 0; i < n; ++i) {
    unsigned char c = buffer[i];
    switch (s.telnet) {
      case Session::Telnet::Data:
        if (c == kIac) {
          s.telnet = Session::Telnet::Iac;
          continue;
        }
        break;
      case Session::Telnet::Iac:
        if (c == kIac) {  // IAC IAC: the data byte 255
          s.telnet = Session::Telnet::Data;
          break;
        }
        s.telnet = c == kSb                   ? Session::Telnet::Sub
                   : c >= kWill && c <= kDont ? Session::Telnet::Option
                                              : Session::Telnet::Data;
        continue;
      case Session::Telnet::Option:
        s.telnet = Session::Telnet::Data;
        continue;
      case Session::Telnet::Sub:
        if (c == kIac) s.telnet = Session::Telnet::SubIac;
        continue;
      case Session::Telnet::SubIac:
        s.telnet = c == kSe ? Session::Telnet::Data : Session::Telnet::Sub;
        continue;
    }
    if (s.after_cr) {
      s.after_cr = false;
      if (c == '\n' || c == '\0') {
        if (!lines.empty()) lines.back().raw += static_cast<char>(c);
        continue;
      }
    }
    s.raw += static_cast<char>(c);
    if (c == '\r' || c == '\n') {
      lines.push_back({std::move(s.line), std::move(s.raw)});
      s.line.clear();
      s.raw.clear();
      s.after_cr = c == '\r';
    } else if (c == 0x08 || c == 0x7f) {
      if (!s.line.empty()) s.line.pop_back();
    } else if ((c >= 0x20 && c < 0x7f) || c == '\t') {
      if (s.line.size() < kLineMax) s.line += static_cast<char>(c);
    }
  }
  for (const Line &l : lines) {
    if (s.closing) break;
    take_line(s, l.text, l.raw);
  }
  return true;
}

void TelnetService::take_line(Session &s, const std::string &text, const std::string &raw) {
  using Stage = Session::Stage;
  int64_t fault = sim_.locked([this] { return sim_.store().integer("cli.fault"); });
  switch (s.stage) {
    case Stage::User:
      record(s.id, "user " + escaped(raw));
      if (fault == kFaultHangUpAtPassword) {
        s.closing = true;
        s.out.clear();
        return;
      }
      s.user = text;
      s.out += text + "\r\nPassword:";
      s.stage = Stage::Password;
      return;

    case Stage::Password: {
      record(s.id, "password ********");
      // -1 refused, else the access level.
      int64_t level = sim_.locked([&]() -> int64_t { return check_login(sim_, s.user, text); });
      if (level < 0) {
        record(s.id, "login refused");
        if (++s.failures >= kLoginAttempts) {
          s.closing = true;
          return;
        }
        s.out += "\r\n\r\nIncorrect user name or password.\r\n\r\nUser:";
        s.stage = Stage::User;
        return;
      }
      record(s.id, "login " + s.user);
      if (fault == kFaultForeignPrompt) {
        s.out += "\r\n\r\nswitch$ ";
        s.stage = Stage::Foreign;
        return;
      }
      s.shell = std::make_unique<Shell>(sim_, Shell::Mode::UserExec, level == OPEN_LOGIN_ACCESS_READ_WRITE);
      s.out += "\r\n\r\n" + s.shell->prompt();
      s.stage = Stage::Shell;
      return;
    }

    case Stage::Foreign:
      record(s.id, "line " + escaped(raw));
      s.out += text + "\r\nswitch$ ";
      return;

    case Stage::Shell:
      record(s.id, "line " + escaped(raw));
      if (text.find_first_not_of(" \t") == std::string::npos) {
        s.out += "\r\n" + s.shell->prompt();
        return;
      }
      size_t column = s.shell->prompt().size();
      std::string output = sim_.locked([&] { return s.shell->execute(text, column); });
      if (s.shell->logged_out()) {
        s.out += text + "\r\n";
        s.closing = true;
        return;
      }
      s.out += text + "\r\n" + terminal_lines(output) + "\r\n" + s.shell->prompt();
      if (fault == kFaultHangUpInConfig && s.shell->mode() == Shell::Mode::Config) s.closing = true;
      return;
  }
}

}  // namespace veltrum::sim::cli
