// Helpers of the validation routine tests: a simulated switch that the
// agent's own client handle talks to, and a capture of the agent's log.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "core/platform_client.h"
#include "support/log.h"
#include "tests/common/sim_fixture.h"

// A simulated switch (physical ports 1..28, LAGs 33..40, CPU 41, VLANs up to
// 4093, VLAN 1 present) behind g_client_handle, as the agent sees it at run
// time. The handle gets a registration of its own so that it never shares
// the fixture's connection.
class SimulatedSwitchTest : public ::testing::Test {
 protected:
  explicit SimulatedSwitchTest(veltrum::sim::SimOptions options = {}) : sim_(options) {}

  void SetUp() override { ASSERT_EQ(openapiClientRegister("validate-test", &g_client_handle), OPEN_E_NONE); }
  void TearDown() override { openapiClientTearDown(&g_client_handle); }

  void add_vlan(uint32_t id) {
    std::string row = "{\"key\":[" + std::to_string(id) + "],\"record\":{\"name\":\"v" + std::to_string(id) +
                      "\",\"type\":2}}";
    ASSERT_EQ(sim_.set("vlans", row), OPEN_E_NONE);
  }

  veltrum::test::InProcessSim sim_;
};

// Sends the agent's log lines (standard error, every level) to a file for
// the life of the object; text() gives what was written so far.
class LogCapture {
 public:
  LogCapture() : path_(dir_.path() + "/log"), saved_threshold_(log_threshold()) {
    int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    EXPECT_GE(file, 0);
    std::fflush(stderr);
    saved_stderr_ = ::dup(STDERR_FILENO);
    ::dup2(file, STDERR_FILENO);
    ::close(file);
    log_configure(LogSink::Stderr, 7);
  }
  ~LogCapture() {
    log_configure(LogSink::Stderr, saved_threshold_);
    std::fflush(stderr);
    ::dup2(saved_stderr_, STDERR_FILENO);
    ::close(saved_stderr_);
  }
  LogCapture(const LogCapture &) = delete;
  LogCapture &operator=(const LogCapture &) = delete;

  std::string text() const {
    std::ifstream in(path_);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
  }

 private:
  veltrum::test::TempDir dir_;
  std::string path_;
  int saved_threshold_;
  int saved_stderr_ = -1;
};
