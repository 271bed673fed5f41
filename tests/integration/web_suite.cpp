#include "tests/integration/web_suite.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <thread>

namespace veltrum::test {

AgentHarness *WebSuite::harness_ = nullptr;
ChildProcess *WebSuite::monitor_ = nullptr;
TempDir *WebSuite::tftp_dir_ = nullptr;
TftpServer *WebSuite::tftp_ = nullptr;
int WebSuite::http_port_ = 0;
int WebSuite::https_port_ = 0;

int free_tcp_port() {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof addr;
  int port = 0;
  if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 &&
      getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &size) == 0)
    port = ntohs(addr.sin_port);
  if (fd >= 0) close(fd);
  return port;
}

bool wait_until(const std::function<bool()> &done, std::chrono::milliseconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  while (!done()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return true;
}

std::string file_text(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void WebSuite::start_suite(bool with_front_end) {
  if (harness_) return;
  http_port_ = free_tcp_port();
  do {
    https_port_ = free_tcp_port();
  } while (https_port_ == http_port_);
  tftp_dir_ = new TempDir();
  tftp_ = new TftpServer(tftp_dir_->path());
  setenv("VELTRUM_TFTP_PORT", std::to_string(tftp_->port()).c_str(), 1);
  AgentHarness::Options options;
  options.agent_config = R"({"httpPort": )" + std::to_string(http_port_) + R"(, "httpsPort": )" +
                         std::to_string(https_port_) + "}";
  harness_ = new AgentHarness(options);
  if (with_front_end)
    monitor_ = new ChildProcess({harness_->root() + "/bin/lighttpdMon"}, {"VELTRUM_ROOT=" + harness_->root()});
}

void WebSuite::TearDownTestSuite() {
  delete monitor_;
  monitor_ = nullptr;
  delete harness_;
  harness_ = nullptr;
  delete tftp_;
  tftp_ = nullptr;
  delete tftp_dir_;
  tftp_dir_ = nullptr;
  unsetenv("VELTRUM_TFTP_PORT");
}

std::string WebSuite::settings(const std::string &changes) {
  // Later members of a JSON object replace earlier ones in json-c.
  std::string body = R"("httpEnable": 1, "httpPort": )" + std::to_string(http_port_) +
                     R"(, "httpsEnable": 1, "httpsPort": )" + std::to_string(https_port_) +
                     R"(, "maxSes": 4, "softTimeout": 5, "hardTimeout": 24, "httpLang": "en", "themeSel": "system")";
  if (!changes.empty()) body += ", " + changes;
  return R"({"http_config": {)" + body + "}}";
}

void WebSuite::SetUp() {
  ASSERT_NE(harness_, nullptr) << "the harness did not start";
  ASSERT_TRUE(harness_->agent_running()) << "the agent is gone";
  harness_->reset();
  login_ = harness_->login();
  ASSERT_TRUE(login_.ok) << login_.response.body;
  // Back to the suite's settings; a no-change write signals nothing.
  ASSERT_EQ(rc_of(post("http_config", settings())), 0);
  ASSERT_EQ(rc_of(post("global_states", R"({"global_states": {"pellmar": 1, "localMgmt": 1}})")), 0);
  harness_->sim().reset_counts();
  harness_->clear_program_log();
}

size_t WebSuite::monitor_signals() const {
  auto lines = harness().program_log_lines();
  return static_cast<size_t>(std::count(lines.begin(), lines.end(), "lighttpdMon SIGUSR1"));
}

}  // namespace veltrum::test
