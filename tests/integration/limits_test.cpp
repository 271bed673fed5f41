// The limits that keep one client, or a hung platform service, from
// stopping the agent for everyone: the connection limit, the idle
// connection time-out, and the time-out of platform calls with the fast
// failure that follows it. Each test starts its own agent, with the time
// limits shortened through the development settings.
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "server/agent.h"
#include "tests/integration/harness.h"
#include "tests/integration/raw_http.h"

namespace veltrum::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

const std::string kPing = "/api/v1/ping";
const std::string kIntf = "/api/v1/dai_intf_cfg";

AgentHarness::Options with_env(std::vector<std::string> env) {
  AgentHarness::Options options;
  options.agent_env = std::move(env);
  return options;
}

// A request with its own deadline: a request that has not been answered by
// then counts as one that waits.
HttpResponse request_within(const std::string &method, const std::string &path, std::optional<std::string> body,
                            const Credentials &credentials, milliseconds limit) {
  HttpRequest r;
  r.method = method;
  r.path = path;
  r.body = std::move(body);
  r.credentials = credentials;
  r.timeout_ms = static_cast<long>(limit.count());
  return http_request(r);
}

bool is_failure_envelope(const HttpResponse &r) {
  return r.error == CURLE_OK && r.status == 200 && json_int_at(r.json().get(), {"resp", "respCode"}) == -1;
}

TEST(ConnectionLimitTest, ANewClientIsServedAsSoonAsOneConnectionCloses) {
  AgentHarness h;
  Login s = h.login();
  ASSERT_TRUE(s.ok);
  // Fill the limit with connections that stay open after one request each
  // (so the agent has taken every one of them).
  std::vector<std::unique_ptr<RawConnection>> held;
  for (unsigned i = 0; i < kConnectionLimit; ++i) {
    held.push_back(std::make_unique<RawConnection>());
    held.back()->send(request_head("GET", kPing, s.auth(), {}));
    std::optional<RawAnswer> a = held.back()->read_answer();
    ASSERT_TRUE(a) << i;
    ASSERT_EQ(a->status, 200) << i;
  }
  auto waiting = std::async(std::launch::async, [&] { return h.get(kPing, s.auth()); });
  EXPECT_EQ(waiting.wait_for(milliseconds(500)), std::future_status::timeout) << "served past the limit";
  held.front()->close();
  HttpResponse r = waiting.get();
  EXPECT_EQ(r.status, 200);
  // The held connections still work.
  held.back()->send(request_head("GET", kPing, s.auth(), {}));
  std::optional<RawAnswer> a = held.back()->read_answer();
  ASSERT_TRUE(a);
  EXPECT_EQ(a->status, 200);
}

TEST(ConnectionLimitTest, IdleConnectionsAreClosedAfterTheTimeout) {
  AgentHarness h(with_env({"VELTRUM_IDLE_TIMEOUT=1"}));
  Login s = h.login();
  ASSERT_TRUE(s.ok);
  RawConnection silent;  // never sends a byte
  RawConnection half;    // stops in the middle of its head
  half.send("GET /api/v1/ping HTTP/1.1\r\nHost: 127.0.0.1\r\n");
  RawConnection served;  // idles after an answer
  served.send(request_head("GET", kPing, s.auth(), {}));
  std::optional<RawAnswer> a = served.read_answer();
  ASSERT_TRUE(a);
  EXPECT_EQ(a->status, 200);
  // The limits here only turn a connection that stays open into a failure.
  EXPECT_TRUE(silent.closed_by_peer(seconds(10)));
  EXPECT_TRUE(half.closed_by_peer(seconds(10)));
  EXPECT_TRUE(served.closed_by_peer(seconds(10)));
  EXPECT_EQ(h.get(kPing, s.auth()).status, 200);
}

TEST(PlatformTimeoutTest, AHungPlatformCostsOneTimeoutThenCallsFailAtOnce) {
  constexpr milliseconds kTimeout(2000);
  AgentHarness h(with_env({"VELTRUM_RPC_TIMEOUT_MS=" + std::to_string(kTimeout.count())}));
  Login s = h.login();
  ASSERT_TRUE(s.ok);
  ASSERT_EQ(h.get(kIntf, s.auth()).status, 200);

  h.freeze_sim();
  // The first request that needs the platform waits for the time-out ...
  HttpResponse first = request_within("GET", kIntf, std::nullopt, s.auth(), kTimeout + seconds(10));
  EXPECT_TRUE(is_failure_envelope(first)) << first.error << " " << first.body;
  // ... and the next ones fail at once, well inside it: reads, writes and
  // logins alike, also after a connectivity check has come and gone.
  const std::string write = R"({"dai_intf_cfg": [{"port": 1, "trust": 1, "rate": 20, "burst": 2}]})";
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    EXPECT_TRUE(is_failure_envelope(request_within("GET", kIntf, std::nullopt, s.auth(), kTimeout / 2)));
    EXPECT_TRUE(is_failure_envelope(request_within("POST", kIntf, write, s.auth(), kTimeout / 2)));
    Login refused = h.login();
    EXPECT_EQ(refused.response.error, CURLE_OK);
    EXPECT_FALSE(refused.ok);
    // What does not need the platform is served as usual.
    EXPECT_EQ(request_within("GET", kPing, std::nullopt, s.auth(), kTimeout / 2).status, 200);
    std::this_thread::sleep_for(milliseconds(1200));
  }

  h.thaw_sim();
  // Serving again within about a second (the bound only turns a handle that
  // never recovers into a failure).
  auto deadline = std::chrono::steady_clock::now() + seconds(3);
  HttpResponse back;
  do {
    std::this_thread::sleep_for(milliseconds(50));
    back = request_within("GET", kIntf, std::nullopt, s.auth(), kTimeout);
  } while (json_int_at(back.json().get(), {"resp", "respCode"}) != 0 && std::chrono::steady_clock::now() < deadline);
  EXPECT_EQ(json_int_at(back.json().get(), {"resp", "respCode"}), 0) << back.body;
  EXPECT_TRUE(h.login().ok);
  // The failed write changed nothing.
  JsonPtr doc = h.get(kIntf, s.auth()).json();
  EXPECT_EQ(json_int_at(json_object_array_get_idx(json_at(doc.get(), {"dai_intf_cfg"}), 0), {"rate"}), 15);
  std::string log = h.agent_log();
  EXPECT_NE(log.find("The platform service did not answer within 2000 ms"), std::string::npos) << log;
  EXPECT_NE(log.find("The platform service answers again"), std::string::npos) << log;
}

}  // namespace
}  // namespace veltrum::test
