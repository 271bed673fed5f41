// A suite fixture for the web front end and file resources: one simulator
// and agent for the suite, with the front end's ports on free ports of this
// machine, the web front end's monitor (lighttpdMon, running lighttpd) when
// a suite asks for it, and a TFTP server on the loopback that the simulated
// switch reaches (VELTRUM_TFTP_PORT). Every test begins from factory
// defaults, the suite's web settings, and a fresh admin login.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "tests/common/child_process.h"
#include "tests/common/temp_dir.h"
#include "tests/common/tftp_server.h"
#include "tests/integration/harness.h"

namespace veltrum::test {

// A TCP port of 127.0.0.1 that nothing listens on right now.
int free_tcp_port();
// Polls `done` every 50 ms until it holds or `limit` passes.
bool wait_until(const std::function<bool()> &done, std::chrono::milliseconds limit);
// A file's whole content, "" when missing.
std::string file_text(const std::string &path);

class WebSuite : public ::testing::Test {
 public:
  static void SetUpTestSuite() { start_suite(false); }
  static void TearDownTestSuite();

 protected:
  static void start_suite(bool with_front_end);
  void SetUp() override;

  static AgentHarness &harness() { return *harness_; }
  static TftpServer &tftp() { return *tftp_; }
  static int http_port() { return http_port_; }
  static int https_port() { return https_port_; }
  Credentials auth() const { return login_.auth(); }
  const Login &login() const { return login_; }

  HttpResponse get(const std::string &resource) { return harness().get("/api/v1/" + resource, auth()); }
  HttpResponse post(const std::string &resource, const std::string &body) {
    return harness().post("/api/v1/" + resource, body, auth());
  }
  // "respCode" of an answer (-999999 without one).
  static int64_t rc_of(const HttpResponse &r) { return json_int_at(r.json().get(), {"resp", "respCode"}); }

  // An "http_config" body: the suite's settings with the given members
  // replaced (a JSON text of members, e.g. R"("maxSes": 2)").
  static std::string settings(const std::string &changes = "");
  // The agent's stored configuration file.
  std::string stored_config() const { return harness().read_file("/mnt/fastpath/veltrum/agent.cfg"); }
  // Number of reload signals the monitor received since the last clear.
  size_t monitor_signals() const;

 private:
  static AgentHarness *harness_;
  static ChildProcess *monitor_;
  static TempDir *tftp_dir_;
  static TftpServer *tftp_;
  static int http_port_;
  static int https_port_;
  Login login_;
};

}  // namespace veltrum::test
