// The network diagnostics over HTTP against the real agent and simulator:
// the ping and traceroute jobs (start, status while running and after, stop,
// refusals, leaks), the synchronous probes the simulated switch runs, and
// the DNS lookup. Everything runs in network and mount namespaces of the
// test's own (isolated_network.h): targets are 127.0.0.1, ::1 and names of
// the test's own /etc/hosts, and no lookup can leave the machine.
#include <dirent.h>
#include <netdb.h>
#include <sys/socket.h>
#include <arpa/inet.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/integration/harness.h"
#include "tests/integration/isolated_network.h"
#include "tests/integration/processes.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::IsolatedNetwork;
using veltrum::test::json_at;
using veltrum::test::json_int_at;
using veltrum::test::json_string_at;
using veltrum::test::LoggedInSuite;
using veltrum::test::Proc;
using veltrum::test::children_of;
using veltrum::test::eventually;
using veltrum::test::open_descriptors;

// "dual.test" has an address of each family.
const IsolatedNetwork *const kIsolation = IsolatedNetwork::install(
    "127.0.0.1 localhost\n"
    "::1 localhost ip6-localhost\n"
    "127.0.0.2 dual.test\n"
    "::1 dual.test\n");

// The addresses getaddrinfo gives for `name` the way the lookup asks, in
// its order.
std::vector<std::string> resolver_order(const char *name) {
  std::vector<std::string> out;
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo *found = nullptr;
  if (getaddrinfo(name, nullptr, &hints, &found) != 0) return out;
  for (addrinfo *a = found; a; a = a->ai_next) {
    char text[INET6_ADDRSTRLEN] = {};
    if (a->ai_family == AF_INET)
      inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in *>(a->ai_addr)->sin_addr, text, sizeof text);
    else
      inet_ntop(AF_INET6, &reinterpret_cast<sockaddr_in6 *>(a->ai_addr)->sin6_addr, text, sizeof text);
    out.push_back(text);
  }
  freeaddrinfo(found);
  return out;
}

class DiagnosticsTest : public LoggedInSuite {
 public:
  static void SetUpTestSuite() {
    if (IsolatedNetwork::active()) LoggedInSuite::SetUpTestSuite();
  }

 protected:
  void SetUp() override {
    if (!IsolatedNetwork::active()) GTEST_SKIP() << "no isolated network: " << IsolatedNetwork::why();
    LoggedInSuite::SetUp();
  }
  // No job of one test runs into the next.
  void TearDown() override {
    if (!IsolatedNetwork::active() || !harness().agent_running()) return;
    post("ping_test_start", R"({"pingTest":{"action":0}})");
    post("traceroute_start", R"({"tracerouteStart":{"action":0}})");
  }

  HttpResponse get(const std::string &resource) { return harness().get("/api/v1/" + resource, auth()); }
  HttpResponse post(const std::string &resource, const std::string &body) {
    return harness().post("/api/v1/" + resource, body, auth());
  }
  static int64_t resp_code(const HttpResponse &r) { return json_int_at(r.json().get(), {"resp", "respCode"}); }
  static int64_t err_code(const HttpResponse &r) { return json_int_at(r.json().get(), {"resp", "errCode"}); }

  HttpResponse start_ping(const std::string &host, int count, int size = 0) {
    return post("ping_test_start", R"({"pingTest":{"action":1,"ipversion":4,"host":")" + host +
                                       R"(","count":)" + std::to_string(count) + R"(,"size":)" +
                                       std::to_string(size) + "}}");
  }
  // The job's state as its status resource shows it; -1 when it fails.
  int64_t state(const char *resource, const char *data) {
    HttpResponse r = get(resource);
    return resp_code(r) == 0 ? json_int_at(r.json().get(), {data, "state"}) : -1;
  }
  // Polls the status until the job is no longer running; the last answer.
  HttpResponse wait_done(const char *resource, const char *data) {
    HttpResponse r;
    EXPECT_TRUE(eventually([&] {
      r = get(resource);
      return json_int_at(r.json().get(), {data, "state"}) != 1;
    }));
    return r;
  }
  std::vector<Proc> children() { return children_of(harness().agent_pid()); }
  bool child_named(const std::string &name) {
    for (const Proc &p : children())
      if (p.name == name) return true;
    return false;
  }
  std::string status_file(const char *name) { return harness().read_file(std::string("/tmp/") + name); }
};

// ---------------------------------------------------------------- ping and traceroute jobs

TEST_F(DiagnosticsTest, PingJobStreamsItsOutputAndKeepsItWhole) {
  HttpResponse r = start_ping("127.0.0.1", 2);
  EXPECT_EQ(resp_code(r), 0) << r.body;

  // A second start while it runs is refused and leaves it alone.
  size_t mark = harness().agent_log_size();
  r = start_ping("127.0.0.1", 5);
  EXPECT_EQ(resp_code(r), 1) << r.body;
  EXPECT_NE(harness().agent_log_since(mark).find("Ping test is in progress"), std::string::npos);

  // While it runs the output grows in the status file, and the status shows
  // the running state with no message yet.
  std::string partial;
  ASSERT_TRUE(eventually([&] {
    partial = status_file("ping_test_status");
    return partial.find("icmp_seq=1") != std::string::npos;
  }));
  r = get("ping_test_status");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                    R"("pingTestStatus":{"state":1,"pingMsg":""}})");

  r = wait_done("ping_test_status", "pingTestStatus");
  EXPECT_EQ(resp_code(r), 0);
  EXPECT_EQ(json_int_at(r.json().get(), {"pingTestStatus", "state"}), 0);
  std::string whole = json_string_at(r.json().get(), {"pingTestStatus", "pingMsg"});
  EXPECT_EQ(whole.rfind(partial, 0), 0u) << "the lines seen while running begin the final text";
  EXPECT_EQ(whole.rfind("PING 127.0.0.1 (127.0.0.1)", 0), 0u) << whole;
  EXPECT_NE(whole.find("icmp_seq=2"), std::string::npos) << whole;
  EXPECT_NE(whole.find("2 packets transmitted, 2 received"), std::string::npos) << whole;
  EXPECT_EQ(whole.back(), '\n');
  EXPECT_EQ(status_file("ping_test_status"), "") << "the file is gone once its text is kept";
  EXPECT_TRUE(children().empty());

  // The count 0 means three echoes; the size reaches the program.
  EXPECT_EQ(resp_code(start_ping("localhost", 0, 100)), 0);
  r = wait_done("ping_test_status", "pingTestStatus");
  whole = json_string_at(r.json().get(), {"pingTestStatus", "pingMsg"});
  EXPECT_NE(whole.find("3 packets transmitted, 3 received"), std::string::npos) << whole;
  EXPECT_NE(whole.find("108 bytes from"), std::string::npos) << whole;

  // IPv6 runs ping6.
  r = post("ping_test_start", R"({"pingTest":{"action":1,"ipversion":6,"host":"::1","count":1,"size":0}})");
  EXPECT_EQ(resp_code(r), 0);
  r = wait_done("ping_test_status", "pingTestStatus");
  EXPECT_EQ(json_string_at(r.json().get(), {"pingTestStatus", "pingMsg"}).rfind("PING ::1", 0), 0u) << r.body;
}

TEST_F(DiagnosticsTest, PingStartChecksItsRequest) {
  size_t mark = harness().agent_log_size();
  for (const char *body : {R"({"pingTest":{"action":1,"host":"127.0.0.1","count":16}})",
                           R"({"pingTest":{"action":1,"host":"127.0.0.1","size":13001}})"}) {
    HttpResponse r = post("ping_test_start", body);
    EXPECT_EQ(resp_code(r), -1) << body;
  }
  for (const char *body : {R"({"other":{}})", R"({"pingTest":[1]})", "{}"}) {
    HttpResponse r = post("ping_test_start", body);
    EXPECT_EQ(resp_code(r), -1) << body;
  }
  std::string log = harness().agent_log_since(mark);
  EXPECT_NE(log.find("Ping parameters is not correct"), std::string::npos);
  EXPECT_NE(log.find("Can't get Ping parameters from request"), std::string::npos);
  EXPECT_EQ(log.find("Exec ping"), std::string::npos) << "nothing ran";

  // An action other than 1 and 0 does nothing, and succeeds.
  HttpResponse r = post("ping_test_start", R"({"pingTest":{"action":7,"host":"127.0.0.1"}})");
  EXPECT_EQ(resp_code(r), 0);
  EXPECT_TRUE(children().empty());
}

TEST_F(DiagnosticsTest, StoppingAnIdleJobAnswersTheStopFailure) {
  size_t mark = harness().agent_log_size();
  HttpResponse r = post("ping_test_start", R"({"pingTest":{"action":0}})");
  EXPECT_EQ(resp_code(r), -1) << r.body;
  r = post("traceroute_start", R"({"tracerouteStart":{"action":0}})");
  EXPECT_EQ(resp_code(r), -1) << r.body;
  std::string log = harness().agent_log_since(mark);
  EXPECT_NE(log.find("Failed to stop Ping test"), std::string::npos);
  EXPECT_NE(log.find("Failed to stop Traceroute"), std::string::npos);
}

TEST_F(DiagnosticsTest, StopEndsTheRunningPing) {
  ASSERT_EQ(resp_code(start_ping("127.0.0.1", 15)), 0);
  ASSERT_TRUE(eventually([&] { return status_file("ping_test_status").find("icmp_seq=1") != std::string::npos; }));
  ASSERT_TRUE(child_named("ping"));

  HttpResponse r = post("ping_test_start", R"({"pingTest":{"action":0}})");
  EXPECT_EQ(resp_code(r), 0) << r.body;
  // The program has ended and been reaped by the time the stop answers.
  EXPECT_TRUE(children().empty());
  r = get("ping_test_status");
  EXPECT_EQ(json_int_at(r.json().get(), {"pingTestStatus", "state"}), 3) << r.body;
  EXPECT_EQ(json_string_at(r.json().get(), {"pingTestStatus", "pingMsg"}), "");

  // A new start is accepted at once.
  EXPECT_EQ(resp_code(start_ping("127.0.0.1", 1)), 0);
  r = wait_done("ping_test_status", "pingTestStatus");
  EXPECT_EQ(json_int_at(r.json().get(), {"pingTestStatus", "state"}), 0);
}

TEST_F(DiagnosticsTest, TracerouteJobRunsStopsAndReports) {
  const char *start = R"({"tracerouteStart":{"action":1,"host":"127.0.0.1","ipVersion":4,"noFrag":1,)"
                      R"("displayTTL":0,"printNumner":1,"bypassRoute":0,"verbose":1,"maxTtl":5,"port":0,)"
                      R"("nQueries":2,"tos":0,"wait":1,"srcAddr":"127.0.0.1","gateway":""}})";
  HttpResponse r = post("traceroute_start", start);
  EXPECT_EQ(resp_code(r), 0) << r.body;
  r = wait_done("traceroute_status", "tracerouteInfo");
  EXPECT_EQ(json_int_at(r.json().get(), {"tracerouteInfo", "state"}), 0) << r.body;
  std::string whole = json_string_at(r.json().get(), {"tracerouteInfo", "tracerouteMsg"});
  EXPECT_EQ(whole.rfind("traceroute to 127.0.0.1 (127.0.0.1), 5 hops max", 0), 0u) << whole;
  EXPECT_NE(whole.find(" 1  127.0.0.1 "), std::string::npos) << "numeric (-n): " << whole;

  // Through a gateway the probes go unanswered, so the trace runs long: a
  // second start is refused, and a stop ends it.
  r = post("traceroute_start",
           R"({"tracerouteStart":{"action":1,"host":"127.0.0.1","gateway":"127.0.0.1","wait":5}})");
  ASSERT_EQ(resp_code(r), 0) << r.body;
  ASSERT_TRUE(eventually([&] { return child_named("traceroute"); }));
  EXPECT_EQ(state("traceroute_status", "tracerouteInfo"), 1);
  r = post("traceroute_start", start);
  EXPECT_EQ(resp_code(r), 1) << r.body;

  r = post("traceroute_start", R"({"tracerouteStart":{"action":0}})");
  EXPECT_EQ(resp_code(r), 0) << r.body;
  EXPECT_TRUE(children().empty());
  r = get("traceroute_status");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                    R"("tracerouteInfo":{"state":3,"tracerouteMsg":""}})");

  // IPv6 runs traceroute6.
  r = post("traceroute_start", R"({"tracerouteStart":{"action":1,"host":"::1","ipVersion":6,"maxTtl":2}})");
  EXPECT_EQ(resp_code(r), 0);
  r = wait_done("traceroute_status", "tracerouteInfo");
  EXPECT_EQ(json_string_at(r.json().get(), {"tracerouteInfo", "tracerouteMsg"}).rfind("traceroute to ::1", 0), 0u)
      << r.body;
}

TEST_F(DiagnosticsTest, PingAndTracerouteRunTogether) {
  ASSERT_EQ(resp_code(start_ping("127.0.0.1", 2)), 0);
  HttpResponse r = post("traceroute_start", R"({"tracerouteStart":{"action":1,"host":"localhost","maxTtl":3}})");
  ASSERT_EQ(resp_code(r), 0) << r.body;

  HttpResponse ping = wait_done("ping_test_status", "pingTestStatus");
  HttpResponse trace = wait_done("traceroute_status", "tracerouteInfo");
  EXPECT_EQ(json_int_at(ping.json().get(), {"pingTestStatus", "state"}), 0) << ping.body;
  EXPECT_EQ(json_int_at(trace.json().get(), {"tracerouteInfo", "state"}), 0) << trace.body;
  EXPECT_NE(json_string_at(ping.json().get(), {"pingTestStatus", "pingMsg"}).find("2 received"), std::string::npos);
  EXPECT_NE(json_string_at(trace.json().get(), {"tracerouteInfo", "tracerouteMsg"}).find("localhost (127.0.0.1)"),
            std::string::npos);
}

TEST_F(DiagnosticsTest, FailedRunMakesTheStatusFail) {
  // A negative count passes the agent's check; ping itself refuses it.
  ASSERT_EQ(resp_code(start_ping("127.0.0.1", -5)), 0);
  ASSERT_TRUE(eventually([&] { return !child_named("ping") && state("ping_test_status", "pingTestStatus") != 1; }));
  size_t mark = harness().agent_log_size();
  HttpResponse r = get("ping_test_status");
  EXPECT_EQ(resp_code(r), -1) << r.body;
  EXPECT_EQ(json_at(r.json().get(), {"pingTestStatus"}), nullptr);
  EXPECT_NE(harness().agent_log_since(mark).find("Failed to get the status of Ping test"), std::string::npos);
}

TEST_F(DiagnosticsTest, OptionTextsNeverReachAProgram) {
  ASSERT_EQ(resp_code(start_ping("127.0.0.1", 1)), 0);
  HttpResponse before = wait_done("ping_test_status", "pingTestStatus");
  ASSERT_EQ(json_int_at(before.json().get(), {"pingTestStatus", "state"}), 0);

  size_t mark = harness().agent_log_size();
  for (const char *host : {"-f", "--help", "-I lo", "", "127.0.0.1 -f", "a;reboot"}) {
    HttpResponse r = start_ping(host, 1);
    EXPECT_EQ(resp_code(r), -1) << host << ": " << r.body;
  }
  for (const char *member : {R"("host":"-f")", R"("host":"localhost","srcAddr":"-I lo")",
                             R"("host":"localhost","gateway":"--help")"}) {
    HttpResponse r = post("traceroute_start", std::string(R"({"tracerouteStart":{"action":1,)") + member + "}}");
    EXPECT_EQ(resp_code(r), -1) << member << ": " << r.body;
  }
  std::string log = harness().agent_log_since(mark);
  EXPECT_EQ(log.find("Exec "), std::string::npos) << log;
  EXPECT_NE(log.find("Failed to start Ping test"), std::string::npos);
  EXPECT_NE(log.find("Failed to start Traceroute"), std::string::npos);
  EXPECT_TRUE(children().empty());
  // The last run's status is untouched.
  EXPECT_EQ(get("ping_test_status").body, before.body);
}

TEST_F(DiagnosticsTest, StartStopCyclesLeakNothing) {
  auto cycle = [&] {
    HttpResponse started = start_ping("127.0.0.1", 15);
    HttpResponse stopped = post("ping_test_start", R"({"pingTest":{"action":0}})");
    return resp_code(started) == 0 && resp_code(stopped) == 0;
  };
  ASSERT_TRUE(cycle());  // the first run may open what the agent keeps open
  pid_t agent = harness().agent_pid();
  size_t baseline = open_descriptors(agent);

  for (int i = 0; i < 200; ++i) ASSERT_TRUE(cycle()) << "cycle " << i;

  EXPECT_TRUE(children_of(agent).empty()) << "no program and no zombie is left";
  // Connections of the last requests may still be closing.
  EXPECT_TRUE(eventually([&] { return open_descriptors(agent) <= baseline; }, std::chrono::seconds(10)))
      << open_descriptors(agent) << " descriptors, " << baseline << " before";
  EXPECT_EQ(state("ping_test_status", "pingTestStatus"), 3);
}

// ---------------------------------------------------------------- synchronous probes

std::string ping_body(const std::string &members) {
  return R"({"ping_test":{"hostname":"127.0.0.1","count":2,"interval":1,"size":100,"source":1,"ip":"",)"
         R"("routingintf":0,"family":1,)" + members + "}}";
}
std::string trace_body(const std::string &members) {
  return R"({"traceroute_test":{"hostname":"127.0.0.1","probe":2,"ttl":5,"ttlInit":1,"fail":3,"interval":1,)"
         R"("port":0,"size":40,"source":1,"ip":"","routingintf":0,"family":1,)" + members + "}}";
}
// A member given twice: json-c keeps the last one.
std::string with(const std::string &key, const std::string &value) { return "\"" + key + "\":" + value; }

TEST_F(DiagnosticsTest, SynchronousPingRunsOnTheSwitch) {
  HttpResponse r = post("ping_test", ping_body(with("size", "100")));
  ASSERT_EQ(resp_code(r), 0) << r.body;
  std::string text = json_string_at(r.json().get(), {"data", "ping_response"});
  EXPECT_NE(text.find("2 packets transmitted, 2 received"), std::string::npos) << text;
  EXPECT_NE(text.find("108 bytes from 127.0.0.1"), std::string::npos) << text;
  EXPECT_LT(text.size(), 2048u);
  EXPECT_NE(harness().read_file("/sim.log").find("probe: ping -4 -c 2 -i 1 -s 100 -- 127.0.0.1"), std::string::npos);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiSaveConfig"), 0u) << "a probe changes nothing";

  // IPv6, and from an address of the switch.
  r = post("ping_test", ping_body(with("hostname", "\"::1\"") + "," + with("family", "2") + "," +
                                  with("count", "1") + "," + with("source", "2") + "," + with("ip", "\"::1\"")));
  ASSERT_EQ(resp_code(r), 0) << r.body;
  EXPECT_NE(json_string_at(r.json().get(), {"data", "ping_response"}).find("1 received"), std::string::npos);

  // From the routing interface of VLAN 10.
  ASSERT_EQ(harness().sim().set("vlan_routing", R"({"key":[10],"record":{"ifNum":200,"addr":"127.0.0.1","pfxLen":8}})"),
            OPEN_E_NONE);
  r = post("ping_test", ping_body(with("count", "1") + "," + with("source", "3") + "," + with("routingintf", "10")));
  EXPECT_EQ(resp_code(r), 0) << r.body;
  EXPECT_NE(harness().read_file("/sim.log").find("-I 127.0.0.1 -- 127.0.0.1"), std::string::npos);
}

TEST_F(DiagnosticsTest, SynchronousPingRefusals) {
  struct Case {
    std::string members;
    int64_t err;
    std::string args;  // "errMsgArgs" as text
  } cases[] = {
      {with("count", "0"), 9, R"({"value":0,"params":"Count","min":1,"max":15})"},
      {with("count", "16"), 9, R"({"value":16,"params":"Count","min":1,"max":15})"},
      {with("interval", "0"), 9, R"({"value":0,"params":"Interval","min":1,"max":60})"},
      {with("interval", "61"), 9, R"({"value":61,"params":"Interval","min":1,"max":60})"},
      {with("size", "13001"), 9, R"({"value":13001,"params":"Size","min":0,"max":13000})"},
      {with("hostname", "\"-f\""), 18, "{}"},
      {with("hostname", "\"bad host\""), 18, "{}"},
      {with("source", "4"), 0, "{}"},
      {with("family", "3"), 0, "{}"},
      {with("hostname", "null"), 0, "{}"},
  };
  for (const Case &c : cases) {
    HttpResponse r = post("ping_test", ping_body(c.members));
    EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":)" + std::to_string(c.err) +
                          R"(,"errMsgArgs":)" + c.args + "}}")
        << c.members;
  }
  // A missing key fails the parse.
  HttpResponse r = post("ping_test", R"({"ping_test":{"hostname":"127.0.0.1"}})");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiPing"), 0u) << "no refused request reaches the switch";

  // The routing interface of a VLAN without one.
  r = post("ping_test", ping_body(with("source", "3") + "," + with("routingintf", "10")));
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(err_code(r), 0);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiPing"), 0u);
}

TEST_F(DiagnosticsTest, SynchronousPingPlatformFailures) {
  // A source the switch cannot send from (no address of it): 130.
  HttpResponse r = post("ping_test", ping_body(with("source", "2") + "," + with("ip", "\"192.0.2.1\"")));
  EXPECT_EQ(err_code(r), 130) << r.body;
  ASSERT_EQ(harness().sim().set("vlan_routing", R"({"key":[10],"record":{"ifNum":200,"addr":"192.0.2.1","pfxLen":24}})"),
            OPEN_E_NONE);
  r = post("ping_test", ping_body(with("source", "3") + "," + with("routingintf", "10")));
  EXPECT_EQ(err_code(r), 130) << r.body;
  // What else the switch refuses: 134.
  r = post("ping_test", ping_body(with("hostname", "\"unknown.test\"")));
  EXPECT_EQ(err_code(r), 134) << r.body;
  r = post("ping_test", ping_body(with("size", "-1")));
  EXPECT_EQ(err_code(r), 134) << r.body;

  harness().sim().fail("rpcclt_openapiPing", 1, -28);
  EXPECT_EQ(err_code(post("ping_test", ping_body(with("count", "1")))), 130);
  harness().sim().fail("rpcclt_openapiPing", 1, -31);
  r = post("ping_test", ping_body(with("count", "1")));
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":134,"errMsgArgs":{}}})");
}

TEST_F(DiagnosticsTest, SynchronousTracerouteRunsOnTheSwitch) {
  HttpResponse r = post("traceroute_test", trace_body(with("port", "0")));
  ASSERT_EQ(resp_code(r), 0) << r.body;
  std::string text = json_string_at(r.json().get(), {"data", "trace_response"});
  EXPECT_EQ(text.rfind("traceroute to 127.0.0.1 (127.0.0.1), 5 hops max, 40 byte packets", 0), 0u) << text;
  EXPECT_NE(text.find(" 1  localhost (127.0.0.1)"), std::string::npos) << text;
  // Two probes: two times on the hop's line.
  std::string hop = text.substr(text.find(" 1  "));
  size_t times = 0;
  for (size_t at = hop.find(" ms"); at != std::string::npos; at = hop.find(" ms", at + 1)) ++times;
  EXPECT_EQ(times, 2u) << hop;
  EXPECT_NE(harness().read_file("/sim.log").find("probe: traceroute -4 -q 2 -f 1 -m 5 -z 1000 -- 127.0.0.1 40"),
            std::string::npos);

  // Sizes below the reported minimum pass to the switch.
  r = post("traceroute_test", trace_body(with("size", "0") + "," + with("probe", "1")));
  EXPECT_EQ(resp_code(r), 0) << r.body;
  r = post("traceroute_test", trace_body(with("hostname", "\"::1\"") + "," + with("family", "2")));
  EXPECT_EQ(resp_code(r), 0) << r.body;
}

TEST_F(DiagnosticsTest, SynchronousTracerouteRefusals) {
  struct Case {
    std::string key, value, params;
    int min, max;
  } cases[] = {
      {"probe", "0", "Probes Per Hop", 1, 10}, {"probe", "11", "Probes Per Hop", 1, 10},
      {"ttl", "0", "Max TTL", 1, 255},         {"ttl", "256", "Max TTL", 1, 255},
      {"ttlInit", "0", "Init TTL", 1, 255},    {"ttlInit", "256", "Init TTL", 1, 255},
      {"fail", "0", "MaxFail", 1, 255},        {"fail", "256", "MaxFail", 1, 255},
      {"interval", "0", "Interval", 1, 60},    {"interval", "61", "Interval", 1, 60},
      {"port", "65536", "Port", 1, 65535},     {"size", "13001", "Size", 38, 13000},
  };
  for (const Case &c : cases) {
    HttpResponse r = post("traceroute_test", trace_body(with(c.key, c.value)));
    EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,"errMsgArgs":{"value":)" + c.value +
                          R"(,"params":")" + c.params + R"(","min":)" + std::to_string(c.min) +
                          R"(,"max":)" + std::to_string(c.max) + "}}}")
        << c.key << " " << c.value;
  }
  size_t mark = harness().agent_log_size();
  HttpResponse r = post("traceroute_test", trace_body(with("hostname", "\"--help\"")));
  EXPECT_EQ(err_code(r), 18);
  EXPECT_NE(harness().agent_log_since(mark).find("Invalid traceroute server/hostname address"), std::string::npos);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiTraceroute"), 0u);

  // The switch refuses a first TTL above the last: 135.
  r = post("traceroute_test", trace_body(with("ttlInit", "9")));
  EXPECT_EQ(err_code(r), 135) << r.body;
  r = post("traceroute_test", trace_body(with("source", "2") + "," + with("ip", "\"192.0.2.1\"")));
  EXPECT_EQ(err_code(r), 130) << r.body;
  harness().sim().fail("rpcclt_openapiTraceroute", 1, -28);
  mark = harness().agent_log_size();
  EXPECT_EQ(err_code(post("traceroute_test", trace_body(with("probe", "1")))), 130);
  EXPECT_NE(harness().agent_log_since(mark).find("Unable to resolve interface number for source address."),
            std::string::npos);
  harness().sim().fail("rpcclt_openapiTraceroute", 1, -31);
  EXPECT_EQ(err_code(post("traceroute_test", trace_body(with("probe", "1")))), 135);
}

// ---------------------------------------------------------------- DNS lookup

TEST_F(DiagnosticsTest, DnsLookupListsAddressesInResolverOrder) {
  for (const char *name : {"localhost", "dual.test", "127.0.0.1"}) {
    HttpResponse r = get(std::string("dnslookup_start?domainName=") + name);
    ASSERT_EQ(resp_code(r), 0) << r.body;
    std::string expected;
    for (const std::string &a : resolver_order(name)) expected += (expected.empty() ? "\"" : ",\"") + a + "\"";
    EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                      R"("dnsLookupStart":{"lookup":[)" + expected + "]}}")
        << name;
  }
  HttpResponse r = get("dnslookup_start?domainName=dual.test");
  EXPECT_NE(r.body.find("\"127.0.0.2\""), std::string::npos) << r.body;
  EXPECT_NE(r.body.find("\"::1\""), std::string::npos) << r.body;
}

TEST_F(DiagnosticsTest, DnsLookupOfAnUnknownNameSucceedsWithItsErrorCode) {
  HttpResponse r = get("dnslookup_start?domainName=unknown.test");
  ASSERT_EQ(resp_code(r), 0) << r.body;
  EXPECT_EQ(json_object_array_length(json_at(r.json().get(), {"dnsLookupStart", "lookup"})), 0u);
  int64_t code = json_int_at(r.json().get(), {"dnsLookupStart", "Error_code"}, 0);
  EXPECT_TRUE(code == EAI_NONAME || code == EAI_AGAIN) << r.body;

  size_t mark = harness().agent_log_size();
  for (const char *path : {"dnslookup_start", "dnslookup_start?domainName=", "dnslookup_start?name=localhost"}) {
    r = get(path);
    EXPECT_EQ(resp_code(r), -1) << path;
    EXPECT_EQ(json_at(r.json().get(), {"dnsLookupStart"}), nullptr) << path;
  }
  EXPECT_NE(harness().agent_log_since(mark).find("Wrong query variable in uri "), std::string::npos);
}

TEST_F(DiagnosticsTest, DnsStopAndResultsAreFixedAnswers) {
  HttpResponse r = post("dnslookup_stop", R"({"dnsLookupStop":{"state":true}})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"}})");
  for (const char *body : {R"({"dnsLookupStop":{}})", R"({"other":{"state":false}})"}) {
    r = post("dnslookup_stop", body);
    EXPECT_EQ(resp_code(r), -99) << body;
  }
  r = get("dnslookup_results");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                    R"("dnsLookupResults":{"state":0,"message":"DNSLOOKUP test is successful",)"
                    R"("fileLocation":"sample file path"}})");
}

}  // namespace
