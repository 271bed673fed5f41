// The CLI bridge's tests run the agent's CLI code in the test process
// against a real veltrum-simd process (the bridge has no HTTP resource of
// its own): a private device root, the simulator serving the platform calls
// and the CLI's telnet service, and the agent's platform client
// (g_client_handle) registered.
//
//   class BridgeTest : public CliSuite {};
//   TEST_F(BridgeTest, ...) { EXPECT_EQ(fastpath_cli_session_control(kCliOpen), 0); }
//
// Every test starts with the simulator at factory defaults, no fault, the
// bridge closed, the transcript of the telnet service empty and the
// bridge's pauses shortened (tests exercise behaviour, not the waits).
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/common/child_process.h"
#include "tests/common/sim_control.h"
#include "tests/common/temp_dir.h"

namespace veltrum::test {

class SimdProcess {
 public:
  SimdProcess();
  ~SimdProcess();
  void restart();

  const std::string &root() const { return root_.path(); }
  pid_t pid() const { return process_->pid(); }
  SimControl &control() { return *control_; }

  // The telnet service's transcript (sim/cli/telnet.h).
  std::vector<std::string> transcript() const;
  void clear_transcript() const;
  // Transcript lines that contain `part`.
  size_t transcript_count(const std::string &part) const;

  // A setting's value as an integer (per-interface: of `index`).
  int64_t setting(const std::string &key);
  int64_t setting(const std::string &key, uint32_t index);
  void set_setting(const std::string &key, int64_t value);
  void set_setting(const std::string &key, uint32_t index, int64_t value);

 private:
  void start();
  TempDir root_;
  std::unique_ptr<ChildProcess> process_;
  std::unique_ptr<SimControl> control_;
};

class CliSuite : public ::testing::Test {
 public:
  static void SetUpTestSuite();
  static void TearDownTestSuite();

 protected:
  void SetUp() override;
  void TearDown() override;
  static SimdProcess &simd() { return *simd_; }

 private:
  static SimdProcess *simd_;
};

// The number of descriptors the process has open.
size_t open_descriptors(pid_t pid = 0);
// A TCP port on 127.0.0.1 that nothing listens on (just now).
int free_tcp_port();
// Waits up to two seconds for `done` to hold; whether it did.
bool wait_until(const std::function<bool()> &done);

}  // namespace veltrum::test
