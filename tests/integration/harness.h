// Process harness for integration tests: the real `veltrum` agent and the
// real `veltrum-simd` simulator, talked to over real HTTP.
//
//   AgentHarness h;                        // simulator + agent, both ready
//   Login admin = h.login();               // POST /api/v1/login, fresh cookie
//   HttpResponse r = h.get("/api/v1/ping", admin.auth());
//   EXPECT_EQ(r.status, 200);
//   EXPECT_EQ(h.sim().count("rpcclt_openapiSaveConfig"), 0u);
//
// What it does:
// - makes a private device root under /tmp (removed at the end) and starts
//   "<build>/sim/veltrum-simd --root ROOT", then "<build>/server/veltrum" with
//   VELTRUM_ROOT=ROOT; waits until the simulator answers control calls and
//   the agent accepts connections on 127.0.0.1:8445;
// - writes each process's standard output and error to ROOT/sim.log and
//   ROOT/agent.log (appended across restarts; the agent logs at level 7);
// - kills both at the end. The children also die with the test process
//   (PR_SET_PDEATHSIG), so a crashed or killed test leaves nothing behind.
//   When the agent died on its own (a crash, a sanitizer report) the
//   destructor reports a test failure with the end of its log.
//
// Port 8445 is fixed, so only one agent can run on the machine at a time:
// the harness holds an exclusive lock on /tmp/veltrum-agent-port-8445.lock
// for its whole life (other harnesses, in this or another process, wait for
// it; scripts can take the same lock with flock(1)). ctest runs each
// integration executable as one test under RESOURCE_LOCK agent_port.
//
// A new integration test executable is declared in
// tests/integration/CMakeLists.txt with
//   veltrum_integration_test(NAME SOURCES a_test.cpp ...)
// which links this harness and registers the executable as one ctest test
// (RESOURCE_LOCK agent_port, RUN_SERIAL).
//
// The device root is process-wide (support/device.h): the harness points it
// at its own root, so create one harness at a time in a test process. For a
// suite, share one harness (see AgentSuite below) and call reset() between
// tests instead of restarting the processes.
#pragma once

#include <sys/types.h>

#include <csignal>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <curl/curl.h>
#include <gtest/gtest.h>
#include <json-c/json.h>

#include "platform/client.h"
#include "tests/common/sim_control.h"
#include "support/json_ptr.h"

namespace veltrum::test {

inline constexpr const char *kAgentHost = "127.0.0.1";
inline constexpr int kAgentPort = 8445;

// ---------------------------------------------------------------- HTTP

// How a request proves itself. Any combination may be given, including
// none: tests send exactly what is set here.
struct Credentials {
  std::optional<std::string> cookie;  // value of "lhttpdsid"
  std::optional<std::string> bearer;  // sent as "Authorization: Bearer <token>"
  std::optional<std::pair<std::string, std::string>> basic;  // user, password
};

struct HttpRequest {
  std::string method = "GET";
  std::string path = "/";                // may carry a query string
  std::optional<std::string> body;       // sent as is (Content-Length), none: no body
  Credentials credentials;
  std::vector<std::string> headers;      // extra raw "Name: value" lines
  long timeout_ms = 20000;               // only turns a hang into a failure
};

struct HttpResponse {
  CURLcode error = CURLE_OK;  // CURLE_GOT_NOTHING when the server closed without answering
  long status = 0;            // 0 when no answer came
  std::vector<std::pair<std::string, std::string>> headers;  // in order, as received
  std::string body;

  // The first header of that name (case-insensitive), if any.
  std::optional<std::string> header(std::string_view name) const;
  // The body parsed as JSON (null when it is not JSON).
  JsonPtr json() const;
};

// One libcurl easy handle per request; nothing is shared between requests.
HttpResponse http_request(const HttpRequest &request);

// The result of a login.
struct Login {
  HttpResponse response;
  std::string cookie;
  std::string token;    // "" when refused
  int64_t expire = 0;
  bool ok = false;      // "status" was "success"
  // Cookie and Bearer token, as every later request of this session sends them.
  Credentials auth() const { return Credentials{cookie, token, std::nullopt}; }
};

// The member path (e.g. {"resp", "errCode"}) of a JSON document, or null.
json_object *json_at(json_object *root, std::initializer_list<const char *> path);
// Text of the member at `path`, "" when missing.
std::string json_string_at(json_object *root, std::initializer_list<const char *> path);
// Integer at `path`; `fallback` when missing.
int64_t json_int_at(json_object *root, std::initializer_list<const char *> path, int64_t fallback = -999999);

// ---------------------------------------------------------------- simulator control

// ---------------------------------------------------------------- processes

class AgentHarness {
 public:
  struct Options {
    bool start_sim = true;
    bool start_agent = true;  // waits for the platform: start the simulator first, or later
    // Written to ROOT/mnt/fastpath/veltrum/agent.cfg before the agent starts
    // (the agent configuration, e.g. R"({"maxSes": 2})"); empty: none.
    std::string agent_config;
    std::vector<std::string> sim_args;  // extra simulator options
    // Extra environment of the agent ("NAME=value"), e.g. the development
    // settings VELTRUM_RPC_TIMEOUT_MS and VELTRUM_IDLE_TIMEOUT.
    std::vector<std::string> agent_env;
  };

  AgentHarness();
  explicit AgentHarness(Options options);
  ~AgentHarness();
  AgentHarness(const AgentHarness &) = delete;
  AgentHarness &operator=(const AgentHarness &) = delete;

  const std::string &root() const { return root_; }

  // Simulator process. start_sim waits until it answers.
  void start_sim();
  void stop_sim(int signal_number = SIGTERM);  // and waits for it
  bool sim_running();
  pid_t sim_pid() const { return sim_pid_; }
  // A hung platform service: stops the simulator and returns once every one
  // of its threads has stopped (a stop signal takes effect only when the
  // process is next scheduled, and until then it keeps answering).
  void freeze_sim();
  void thaw_sim();

  // Agent process. start_agent(true) waits until 127.0.0.1:8445 accepts
  // connections (and fails the test if the agent exits first). Unless told
  // otherwise it first makes sure nothing else listens there.
  void start_agent(bool wait_ready = true, bool require_free_port = true);
  bool wait_agent_ready();
  void stop_agent(int signal_number = SIGTERM);  // and waits for it
  bool agent_running();
  // Exit status (as from waitpid) once the agent has ended by itself.
  std::optional<int> agent_exit_status();
  pid_t agent_pid() const { return agent_pid_; }
  bool port_answers() const;

  // Control of the simulator (valid while it runs; survives restarts).
  SimControl &sim() { return *control_; }

  // HTTP to the agent.
  HttpResponse request(const HttpRequest &request) const { return http_request(request); }
  HttpResponse send(const std::string &method, const std::string &path, std::optional<std::string> body,
                    const Credentials &credentials) const;
  HttpResponse get(const std::string &path, const Credentials &credentials = {}) const;
  HttpResponse post(const std::string &path, std::optional<std::string> body,
                    const Credentials &credentials = {}) const;
  HttpResponse del(const std::string &path, std::optional<std::string> body = std::nullopt,
                   const Credentials &credentials = {}) const;

  // A cookie value no earlier request of this harness used.
  std::string new_cookie();
  // POST /api/v1/login with {"login": {"username", "password"}} and the
  // given cookie (a fresh one when empty).
  Login login(const std::string &user = "admin", const std::string &password = "password",
              std::string cookie = "");

  // Clock: the agent's uptime is the host's plus ROOT/run/uptime-offset.
  static long host_uptime();
  long clock_offset() const { return offset_; }
  void set_clock_offset(long seconds);
  void advance_clock(long seconds) { set_clock_offset(offset_ + seconds); }
  // The agent's uptime now (host uptime + offset).
  long agent_uptime() const { return host_uptime() + offset_; }

  // Files under the root.
  std::string read_file(const std::string &relative) const;  // "" when missing
  std::string program_log() const;  // ROOT/var/log/device-programs.log
  void clear_program_log() const;
  std::vector<std::string> program_log_lines() const;
  std::string agent_log() const;    // ROOT/agent.log
  size_t agent_log_size() const;
  std::string agent_log_since(size_t mark) const;
  void write_agent_config(const std::string &json) const;

  // Between the tests of a shared suite: faults cleared, the simulator back
  // to factory defaults, call counts and the program log cleared, and the
  // clock moved past every session's hard limit (the next login purges them).
  // The agent's own process-wide state (its error record) is not reset.
  void reset();

 private:
  pid_t spawn(const std::vector<std::string> &argv, const std::vector<std::string> &env,
              const std::string &log_file);
  void lock_port();
  void check_agent_died_unexpectedly();

  Options options_;
  std::string root_;
  int lock_fd_ = -1;
  pid_t sim_pid_ = -1;
  pid_t agent_pid_ = -1;
  std::optional<int> agent_status_;
  bool agent_stopping_ = false;
  long offset_ = 0;
  unsigned cookie_serial_ = 0;
  std::unique_ptr<SimControl> control_;
};

// A gtest fixture whose tests share one harness (started before the first
// test of the suite, stopped after the last) and begin from reset().
//
//   class LoginTest : public AgentSuite {};
//   TEST_F(LoginTest, ...) { auto s = harness().login(); ... }
class AgentSuite : public ::testing::Test {
 public:
  static void SetUpTestSuite();
  static void TearDownTestSuite();

 protected:
  void SetUp() override;
  static AgentHarness &harness() { return *shared_; }

 private:
  static AgentHarness *shared_;
};

// An AgentSuite whose tests begin logged in as admin (session()), with the
// call counts and the program log cleared after the login.
class LoggedInSuite : public AgentSuite {
 protected:
  void SetUp() override;
  const Login &session() const { return session_; }
  Credentials auth() const { return session_.auth(); }

 private:
  Login session_;
};

// A LoggedInSuite with the requests and reads a resource's tests make:
//   HttpResponse r = post("dai_intf_cfg", R"({"dai_intf_cfg": [...]})");
//   EXPECT_EQ(calls("RateLimitSet").size(), 1u);
// The answer to a value just outside a range: errCode 9 with the value, the
// range's label and its bounds.
std::string range_refusal(int64_t value, const char *label, int64_t min, int64_t max);
// A ranged key as a resource's table gives it.
struct RangeCase {
  const char *key;
  const char *label;
  int64_t min;
  int64_t max;
};

class ResourceSuite : public LoggedInSuite {
 protected:
  static constexpr const char *kSuccess = R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"}})";

  // `resource` may carry a query string.
  HttpResponse get(const std::string &resource) { return harness().get("/api/v1/" + resource, auth()); }
  HttpResponse post(const std::string &resource, const std::string &body) {
    return harness().post("/api/v1/" + resource, body, auth());
  }
  HttpResponse del(const std::string &resource, const std::string &body) {
    return harness().del("/api/v1/" + resource, body, auth());
  }
  // The platform calls made since the last reset whose names contain `part`.
  std::vector<std::string> calls(const std::string &part);
  unsigned saves() { return harness().sim().count("rpcclt_openapiSaveConfig"); }
  // Length of the array under `key` of an answer; 0 when there is none.
  static size_t list_length(const HttpResponse &r, const char *key);
  // "errCode" and "respCode" of an answer (-999999 when absent).
  static int64_t err_code(const HttpResponse &r);
  static int64_t resp_code(const HttpResponse &r);
};

}  // namespace veltrum::test
