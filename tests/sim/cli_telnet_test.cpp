// The CLI's telnet service as a telnet client sees it: the greeting and
// negotiation, line endings and editing, the login's limits, the session
// limit, and the port it takes when its port is in use.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "sim/cli/telnet.h"
#include "support/cli_port.h"
#include "tests/common/sim_fixture.h"

namespace {

using veltrum::sim::cli::TelnetService;
using veltrum::test::InProcessSim;

// Bytes of a literal, NUL bytes included.
template <size_t N>
std::string bytes(const char (&text)[N]) {
  return std::string(text, N - 1);
}

class Client {
 public:
  explicit Client(int port) {
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = ::connect(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0;
  }
  ~Client() { ::close(fd_); }
  bool connected() const { return connected_; }
  void send(const std::string &bytes) {
    ASSERT_EQ(::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL), ssize_t(bytes.size()));
  }
  // What arrives until the text ends with `suffix`, the peer closes, or two
  // seconds pass.
  std::string until(const std::string &suffix) {
    while (!closed_ && (received_.size() < suffix.size() ||
                        received_.compare(received_.size() - suffix.size(), suffix.size(), suffix) != 0)) {
      pollfd p{fd_, POLLIN, 0};
      if (::poll(&p, 1, 2000) <= 0) break;
      char buffer[4096];
      ssize_t n = ::recv(fd_, buffer, sizeof buffer, 0);
      if (n <= 0) closed_ = true;
      if (n > 0) received_.append(buffer, static_cast<size_t>(n));
    }
    std::string out;
    out.swap(received_);
    return out;
  }
  bool closed() {
    until("\x01never");
    return closed_;
  }

 private:
  int fd_ = -1;
  bool connected_ = false;
  bool closed_ = false;
  std::string received_;
};

class TelnetTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(service_.start()); }
  void login(Client &c) {
    c.until("User:");
    c.send("admin\r\n");
    c.until("Password:");
    c.send("password\r\n");
    ASSERT_NE(c.until("(Veltrum) >").find("(Veltrum) >"), std::string::npos);
  }
  InProcessSim sim_;
  TelnetService service_{sim_.model()};
};

TEST_F(TelnetTest, GreetingNegotiationLineEndingsAndEditing) {
  EXPECT_EQ(read_cli_telnet_port(sim_.root()), service_.port());
  Client c(service_.port());
  ASSERT_TRUE(c.connected());
  EXPECT_EQ(c.until("User:"), "\xff\xfb\x01\xff\xfb\x03\r\nUser:");  // WILL ECHO, WILL SUPPRESS-GO-AHEAD
  // The client's own negotiation (DO ECHO, a terminal-type subnegotiation)
  // is taken and ignored; CR NUL ends a line.
  c.send(
      bytes("\xff\xfd\x01\xff\xfa\x18\x00xterm\xff\xf0"
            "admin\r"));
  c.send(bytes("\0"));
  EXPECT_EQ(c.until("Password:"), "admin\r\nPassword:");
  c.send(
      "passwoX\x7f"
      "rd\n");  // a DEL erases, LF alone ends the line; the password is not echoed
  EXPECT_EQ(c.until("(Veltrum) >"), "\r\n\r\n(Veltrum) >");
  c.send("enable\r\n");
  EXPECT_EQ(c.until("(Veltrum) #"), "enable\r\n\r\n(Veltrum) #");
  c.send(bytes("configure\0\r\n"));
  EXPECT_EQ(c.until("(Config)#"), "configure\r\n\r\n(Veltrum) (Config)#");
  c.send("show classofservice trust | include Mode:\r\n");
  EXPECT_EQ(c.until("(Config)#"),
            "show classofservice trust | include Mode:\r\nClass of Service Trust Mode: Dot1P\r\n\r\n(Veltrum) "
            "(Config)#");
  c.send("\r\n");
  EXPECT_EQ(c.until("(Config)#"), "\r\n(Veltrum) (Config)#");
  c.send("end\r\nexit\r\n");
  c.until("exit\r\n");
  EXPECT_TRUE(c.closed());
}

TEST_F(TelnetTest, ThreeWrongPasswordsEndTheConnection) {
  Client c(service_.port());
  for (int attempt = 1; attempt <= 3; ++attempt) {
    c.until("User:");
    c.send("admin\r\n");
    c.until("Password:");
    c.send("wrong\r\n");
  }
  EXPECT_TRUE(c.closed());
}

TEST_F(TelnetTest, AtMostFiveSessions) {
  std::vector<std::unique_ptr<Client>> clients;
  for (size_t i = 0; i < TelnetService::kMaxSessions; ++i) {
    clients.push_back(std::make_unique<Client>(service_.port()));
    login(*clients.back());
  }
  Client sixth(service_.port());
  EXPECT_EQ(sixth.until("reached.\r\n"), "\r\nThe maximum number of telnet sessions is reached.\r\n");
  EXPECT_TRUE(sixth.closed());
  clients.pop_back();  // one leaves, another may come
  Client next(service_.port());
  login(next);
}

TEST_F(TelnetTest, APortInUseGivesWayToAnotherThatTheRootRecords) {
  // Something else listens on the port the root recorded.
  int holder = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof addr;
  ASSERT_EQ(::bind(holder, reinterpret_cast<sockaddr *>(&addr), sizeof addr), 0);
  ASSERT_EQ(::listen(holder, 1), 0);
  ::getsockname(holder, reinterpret_cast<sockaddr *>(&addr), &length);
  int taken = ntohs(addr.sin_port);
  service_.stop();
  ASSERT_EQ(write_cli_telnet_port(sim_.root(), taken), 0);

  TelnetService second(sim_.model());
  ASSERT_TRUE(second.start());
  EXPECT_NE(second.port(), taken);
  EXPECT_EQ(read_cli_telnet_port(sim_.root()), second.port());
  Client c(second.port());
  login(c);
  ::close(holder);
}

}  // namespace
