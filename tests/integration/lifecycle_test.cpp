// The agent process's life: what it tells the platform at start, waiting
// for a platform service that is not there yet, surviving a platform
// restart, its configuration, its address, and the hang probe.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tests/integration/harness.h"

namespace veltrum::test {
namespace {

const std::string kPing = "/api/v1/ping";

bool connects(const char *address, int port) {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  inet_pton(AF_INET, address, &a.sin_addr);
  bool ok = ::connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0;
  ::close(fd);
  return ok;
}

TEST(AgentStartTest, ReportsVersionAndStatusInOrder) {
  AgentHarness h;
  std::vector<std::string> journal = h.sim().journal();
  std::vector<std::string> expected = {
      "rpcclt_openapiConnectivityCheck",  // first registration
      "rpcclt_openapiConnectivityCheck",  // second registration
      "rpcclt_openapiAppCtrlStatusSet",   // Non-operational
      "rpcclt_openapiApiVersionGet",
      "rpcclt_openapiAppCtrlVersionSet",
      "rpcclt_openapiAppCtrlStatusSet",   // Operational
  };
  EXPECT_EQ(journal, expected);
  std::string apps = h.sim().get("app_ctrl");
  EXPECT_NE(apps.find(R"("Veltrum")"), std::string::npos) << apps;
  EXPECT_NE(apps.find(R"("1.0.3.118")"), std::string::npos) << apps;
  EXPECT_NE(apps.find(R"("Operational")"), std::string::npos) << apps;
  EXPECT_EQ(apps.find("Non-operational"), std::string::npos) << apps;

  std::string log = h.agent_log();
  EXPECT_NE(log.find("Open API Version = 1.26.0.4"), std::string::npos) << log;
  EXPECT_NE(log.find("Starting RESTful server on port: 8445"), std::string::npos) << log;
  EXPECT_NE(log.find("Veltrum initializing... , pid is: " + std::to_string(h.agent_pid()) + "."), std::string::npos)
      << log;
  EXPECT_NE(log.find("Veltrum started."), std::string::npos) << log;
}

TEST(AgentStartTest, ListensOn127001Only) {
  AgentHarness h;
  EXPECT_TRUE(connects("127.0.0.1", 8445));
  EXPECT_FALSE(connects("127.0.0.2", 8445));
  EXPECT_FALSE(connects("127.0.0.1", 8446));
}

TEST(AgentStartTest, WaitsForThePlatformServiceThenServes) {
  AgentHarness::Options options;
  options.start_sim = false;
  options.start_agent = false;
  AgentHarness h(options);
  h.start_agent(false);
  // Without the service the agent waits: alive, silent, not listening.
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  EXPECT_TRUE(h.agent_running());
  EXPECT_FALSE(h.port_answers());
  EXPECT_EQ(h.agent_log(), "");

  h.start_sim();
  ASSERT_TRUE(h.wait_agent_ready()) << h.agent_log();
  // Each registration was confirmed once the service answered.
  EXPECT_EQ(h.sim().count("rpcclt_openapiConnectivityCheck"), 2u);
  Login s = h.login();
  ASSERT_TRUE(s.ok) << s.response.body;
  EXPECT_EQ(h.get(kPing, s.auth()).status, 200);
}

TEST(AgentStartTest, SurvivesAPlatformRestart) {
  AgentHarness h;
  Login s = h.login();
  ASSERT_TRUE(s.ok);

  h.stop_sim(SIGKILL);
  // Sessions are the agent's own: they still work.
  EXPECT_EQ(h.get(kPing, s.auth()).status, 200);
  // Whatever needs the platform fails cleanly.
  Login refused = h.login();
  EXPECT_EQ(refused.response.status, 200);
  EXPECT_FALSE(refused.ok);
  JsonPtr doc = refused.response.json();
  EXPECT_EQ(json_int_at(doc.get(), {"resp", "errCode"}), 2);
  EXPECT_EQ(json_int_at(doc.get(), {"login", "locked"}), 0);
  HttpResponse setup = h.get("/api/v1/setup");
  EXPECT_EQ(setup.status, 307);
  EXPECT_EQ(setup.body, "");
  HttpResponse change = h.post("/api/v1/user_password_change",
                               std::string(R"({"user_password_change": {"current": "password", "new": "N3w-Passw0rd", "confirm": "N3w-Passw0rd"}})"),
                               s.auth());
  EXPECT_EQ(change.status, 200);
  EXPECT_EQ(json_string_at(change.json().get(), {"resp", "status"}), "failure");
  EXPECT_EQ(h.get(kPing, Credentials{s.cookie, std::nullopt, std::pair<std::string, std::string>{"admin", "password"}}).status,
            307);
  EXPECT_TRUE(h.agent_running());

  h.start_sim();
  Login back = h.login();
  EXPECT_TRUE(back.ok) << back.response.body;
  EXPECT_EQ(h.get("/api/v1/setup").body, "http://192.168.0.239:80/login");
  EXPECT_EQ(h.get(kPing, s.auth()).status, 200);
}

TEST(AgentStartTest, HarmlessSignalsDoNotEndTheLoop) {
  AgentHarness h;
  Login s = h.login();
  ASSERT_TRUE(s.ok);
  for (int sig : {SIGSTOP, SIGCONT, SIGCHLD, SIGWINCH, SIGURG}) ::kill(h.agent_pid(), sig);
  EXPECT_EQ(h.get(kPing, s.auth()).status, 200);
  EXPECT_TRUE(h.agent_running());
}

TEST(AgentStartTest, UsesItsConfiguration) {
  AgentHarness::Options options;
  options.agent_config = R"({"httpEnable": 0, "httpsPort": 8443, "maxSes": 1, "softTimeout": 1, "hardTimeout": 2})";
  AgentHarness h(options);
  EXPECT_EQ(h.get("/api/v1/setup").body, "https://192.168.0.239:8443/login");
  Login s = h.login();
  ASSERT_TRUE(s.ok);
  EXPECT_LE(s.expire, 2 * 3600);
  EXPECT_GT(s.expire, 2 * 3600 - 60);
  EXPECT_FALSE(h.login().ok);  // maxSes 1
  h.advance_clock(61 + 1);     // past a one-minute soft limit
  EXPECT_EQ(h.get(kPing, s.auth()).status, 307);
  EXPECT_TRUE(h.login().ok);
}

TEST(AgentStartTest, ADaemonThatCannotStartEndsTheAgentNonOperational) {
  AgentHarness::Options options;
  options.start_agent = false;
  AgentHarness h(options);
  // Something else listens on 127.0.0.1:8445.
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_GE(fd, 0);
  int on = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(8445);
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a), 0) << std::strerror(errno);
  ASSERT_EQ(::listen(fd, 1), 0);
  h.start_agent(false, false);
  while (h.agent_running()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  ::close(fd);
  std::optional<int> status = h.agent_exit_status();
  ASSERT_TRUE(status.has_value());
  EXPECT_TRUE(WIFEXITED(*status));
  EXPECT_EQ(WEXITSTATUS(*status), 255);  // -1
  std::string log = h.agent_log();
  EXPECT_NE(log.find("Failed to start MHD daemon."), std::string::npos) << log;
  EXPECT_NE(log.find("Failed to start Veltrum"), std::string::npos) << log;
  std::vector<std::string> journal = h.sim().journal();
  ASSERT_FALSE(journal.empty());
  EXPECT_EQ(journal.back(), "rpcclt_openapiAppCtrlStatusSet");
  std::string apps = h.sim().get("app_ctrl");
  EXPECT_NE(apps.find("Non-operational"), std::string::npos) << apps;
  h.stop_agent();  // its end was expected
}

TEST(AgentStartTest, HangStopsTheWholeAgent) {
  AgentHarness h;
  Login s = h.login();
  ASSERT_TRUE(s.ok);
  HttpRequest hang;
  hang.path = "/api/v1/hang";
  hang.credentials = s.auth();
  hang.timeout_ms = 1000;
  EXPECT_EQ(h.request(hang).error, CURLE_OPERATION_TIMEDOUT);
  HttpRequest ping;
  ping.path = kPing;
  ping.credentials = s.auth();
  ping.timeout_ms = 1000;
  EXPECT_EQ(h.request(ping).error, CURLE_OPERATION_TIMEDOUT);
  EXPECT_TRUE(h.agent_running());
  EXPECT_NE(h.agent_log().find("uri_hang: Stuck in URI_HANG call infinitely!"), std::string::npos);
  h.stop_agent(SIGKILL);
}

}  // namespace
}  // namespace veltrum::test
