// The simulated switch's probes in-process: what it refuses, and with
// stand-in programs found first on PATH, how it cuts a trace after its
// failed hops and an answer to the caller's buffer. (Real probes against
// loopback are tested over HTTP in tests/integration/diagnostics_test.cpp.)
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "core/platform_client.h"
#include "platform/calls/06_diagnostics.h"
#include "support/device.h"
#include "tests/common/child_process.h"
#include "tests/common/sim_fixture.h"

namespace {

using veltrum::test::build_path;
using veltrum::test::ChildProcess;
using veltrum::test::InProcessSim;
using veltrum::test::TempDir;

open_buffdesc text(const char *s) { return {static_cast<uint32_t>(std::strlen(s) + 1), const_cast<char *>(s)}; }

// Puts stand-in programs in front of PATH for one test.
class StandInPrograms {
 public:
  StandInPrograms() : saved_(std::getenv("PATH") ? std::getenv("PATH") : "") {
    setenv("PATH", (dir_.path() + ":" + saved_).c_str(), 1);
  }
  ~StandInPrograms() { setenv("PATH", saved_.c_str(), 1); }
  void add(const std::string &name, const std::string &script) {
    std::string path = dir_.path() + "/" + name;
    std::ofstream(path) << "#!/bin/sh\n" << script;
    chmod(path.c_str(), 0755);
  }

 private:
  TempDir dir_;
  std::string saved_;
};

struct Answer {
  open_error_t rc;
  std::string text;
  uint32_t size;
};

Answer ping(InProcessSim &sim, const char *host, OPEN_AF_t family, uint32_t count, uint32_t interval, uint32_t size,
            OPEN_PROBE_SOURCE_t source = OPEN_PROBE_SOURCE_NONE, uint32_t buffer_size = 2048) {
  std::string buffer(buffer_size, '\0');
  open_buffdesc h = text(host);
  open_buffdesc src = text("");
  open_buffdesc out{buffer_size, buffer.data()};
  open_error_t rc = rpcclt_openapiPing(sim.client(), &h, family, count, interval, size, source, 0, &src, &out);
  return {rc, buffer.c_str(), out.size};
}

Answer trace(openapiClientHandle_t *client, uint32_t probes, uint32_t interval, uint32_t init_ttl, uint32_t max_ttl,
             uint32_t max_fail, uint32_t size, uint32_t port, const char *host = "127.0.0.1",
             OPEN_AF_t family = OPEN_AF_INET) {
  std::string buffer(1024, '\0');
  open_buffdesc h = text(host);
  open_buffdesc src = text("");
  open_buffdesc out{1024, buffer.data()};
  open_error_t rc = rpcclt_openapiTraceroute(client, &h, family, probes, interval, init_ttl, max_ttl, max_fail,
                                             size, port, OPEN_PROBE_SOURCE_NONE, 0, &src, &out);
  return {rc, buffer.c_str(), out.size};
}

TEST(SimProbes, RefuseWhatTheSwitchCannotDo) {
  InProcessSim sim;
  // Each of these is refused before any program runs.
  EXPECT_EQ(ping(sim, "127.0.0.1", OPEN_AF_INET, 0, 1, 56).rc, OPEN_E_PARAM);
  EXPECT_EQ(ping(sim, "127.0.0.1", OPEN_AF_INET, 16, 1, 56).rc, OPEN_E_PARAM);
  EXPECT_EQ(ping(sim, "127.0.0.1", OPEN_AF_INET, 1, 0, 56).rc, OPEN_E_PARAM);
  EXPECT_EQ(ping(sim, "127.0.0.1", OPEN_AF_INET, 1, 61, 56).rc, OPEN_E_PARAM);
  EXPECT_EQ(ping(sim, "127.0.0.1", OPEN_AF_INET, 1, 1, 13001).rc, OPEN_E_PARAM);
  EXPECT_EQ(ping(sim, "127.0.0.1", OPEN_AF_NONE, 1, 1, 56).rc, OPEN_E_PARAM);
  EXPECT_EQ(ping(sim, "127.0.0.1", OPEN_AF_INET, 1, 1, 56, static_cast<OPEN_PROBE_SOURCE_t>(5)).rc, OPEN_E_PARAM);
  EXPECT_EQ(ping(sim, "-f", OPEN_AF_INET, 1, 1, 56).rc, OPEN_E_PARAM);
  EXPECT_EQ(ping(sim, "", OPEN_AF_INET, 1, 1, 56).rc, OPEN_E_PARAM);
  EXPECT_EQ(ping(sim, "::1", OPEN_AF_INET, 1, 1, 56).rc, OPEN_E_PARAM) << "an address of the other family";
  EXPECT_EQ(ping(sim, "127.0.0.1", OPEN_AF_INET6, 1, 1, 56).rc, OPEN_E_PARAM);
  EXPECT_EQ(ping(sim, "127.0.0.1", OPEN_AF_INET, 1, 1, 56, OPEN_PROBE_SOURCE_NONE, 0).rc, OPEN_E_PARAM);
  // No routing interface 0 exists.
  EXPECT_EQ(ping(sim, "127.0.0.1", OPEN_AF_INET, 1, 1, 56, OPEN_PROBE_SOURCE_INTERFACE).rc, OPEN_E_FAIL);

  EXPECT_EQ(trace(sim.client(), 0, 1, 1, 30, 5, 40, 0).rc, OPEN_E_PARAM);
  EXPECT_EQ(trace(sim.client(), 11, 1, 1, 30, 5, 40, 0).rc, OPEN_E_PARAM);
  EXPECT_EQ(trace(sim.client(), 3, 61, 1, 30, 5, 40, 0).rc, OPEN_E_PARAM);
  EXPECT_EQ(trace(sim.client(), 3, 1, 0, 30, 5, 40, 0).rc, OPEN_E_PARAM);
  EXPECT_EQ(trace(sim.client(), 3, 1, 31, 30, 5, 40, 0).rc, OPEN_E_PARAM) << "first TTL above the last";
  EXPECT_EQ(trace(sim.client(), 3, 1, 1, 256, 5, 40, 0).rc, OPEN_E_PARAM);
  EXPECT_EQ(trace(sim.client(), 3, 1, 1, 30, 0, 40, 0).rc, OPEN_E_PARAM);
  EXPECT_EQ(trace(sim.client(), 3, 1, 1, 30, 5, 13001, 0).rc, OPEN_E_PARAM);
  EXPECT_EQ(trace(sim.client(), 3, 1, 1, 30, 5, 40, 65536).rc, OPEN_E_PARAM);
  EXPECT_EQ(trace(sim.client(), 3, 1, 1, 30, 5, 40, 0, "--help").rc, OPEN_E_PARAM);
}

TEST(SimProbes, TraceEndsAfterItsMaximumOfSilentHops) {
  StandInPrograms programs;
  // Hops answer, fall silent, answer again, then stay silent for good.
  programs.add("traceroute",
               "echo 'traceroute to 127.0.0.1 (127.0.0.1), 30 hops max, 40 byte packets'\n"
               "echo ' 1  10.0.0.1  0.1 ms'\n"
               "echo ' 2  * * *'\n"
               "echo ' 3  10.0.0.3  0.3 ms  *'\n"
               "i=4; while :; do echo \" $i  * * *\"; i=$((i+1)); sleep 0.01; done\n");
  InProcessSim sim;
  Answer a = trace(sim.client(), 3, 1, 1, 30, 2, 40, 0);
  ASSERT_EQ(a.rc, OPEN_E_NONE);
  EXPECT_EQ(a.text,
            "traceroute to 127.0.0.1 (127.0.0.1), 30 hops max, 40 byte packets\n"
            " 1  10.0.0.1  0.1 ms\n"
            " 2  * * *\n"
            " 3  10.0.0.3  0.3 ms  *\n"
            " 4  * * *\n"
            " 5  * * *\n");
  EXPECT_EQ(a.size, a.text.size() + 1);

  // A program that fails is a probe that could not be run.
  programs.add("traceroute", "echo 'cannot'; exit 2\n");
  EXPECT_EQ(trace(sim.client(), 3, 1, 1, 30, 2, 40, 0).rc, OPEN_E_INTERNAL);
}

TEST(SimProbes, AnswerIsCutAfterTheLastWholeLineThatFits) {
  StandInPrograms programs;
  programs.add("ping", "i=10; while [ $i -lt 60 ]; do echo \"reply $i\"; i=$((i+1)); done\n");
  InProcessSim sim;
  Answer a = ping(sim, "127.0.0.1", OPEN_AF_INET, 1, 1, 56, OPEN_PROBE_SOURCE_NONE, 40);
  ASSERT_EQ(a.rc, OPEN_E_NONE);
  EXPECT_EQ(a.text, "reply 10\nreply 11\nreply 12\nreply 13\n");  // 36 bytes; a fifth line would not fit
  EXPECT_EQ(a.size, 37u);

  // Without any whole line that fits, as many bytes as fit.
  programs.add("ping", "printf 'one long line without an end'\n");
  a = ping(sim, "127.0.0.1", OPEN_AF_INET, 1, 1, 56, OPEN_PROBE_SOURCE_NONE, 8);
  EXPECT_EQ(a.text, "one lon");
  // No reply is an answer too (the program's exit status 1).
  programs.add("ping", "echo '1 packets transmitted, 0 received'; exit 1\n");
  a = ping(sim, "127.0.0.1", OPEN_AF_INET, 1, 1, 56);
  EXPECT_EQ(a.rc, OPEN_E_NONE);
  EXPECT_EQ(a.text, "1 packets transmitted, 0 received\n");
}

TEST(SimProbes, ProbeRunsBesideOtherCallsAndEndsWhenTheServiceStops) {
  TempDir root;
  std::string started = root.path() + "/trace-started";
  StandInPrograms programs;
  // A trace that never ends by itself: every hop answers.
  programs.add("traceroute", ": > " + started +
                                 "\ni=1; while :; do echo \" $i  10.0.0.$i  0.1 ms\"; i=$((i+1)); sleep 0.05; done\n");
  std::string saved_root = device_root();
  set_device_root(root.path());
  ChildProcess simd({build_path("sim/veltrum-simd"), "--root", root.path()});
  openapiClientHandle_t prober{};
  openapiClientHandle_t other{};
  ASSERT_EQ(openapiClientRegister("prober", &prober), OPEN_E_NONE);
  ASSERT_EQ(openapiClientRegister("other", &other), OPEN_E_NONE);
  bool up = false;
  for (int i = 0; i < 500 && !up; ++i) {
    up = rpcclt_openapiConnectivityCheck(&other) == OPEN_E_NONE;
    if (!up) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ASSERT_TRUE(up);

  auto probe = std::async(std::launch::async, [&prober] { return trace(&prober, 3, 1, 1, 255, 5, 40, 0).rc; });
  for (int i = 0; i < 6000 && !std::filesystem::exists(started); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  ASSERT_TRUE(std::filesystem::exists(started));
  for (int i = 0; i < 20; ++i) {
    uint32_t max_vlan = 0;
    EXPECT_EQ(rpcclt_openapiDot1VlanMaxGet(&other, &max_vlan), OPEN_E_NONE) << "answered while the probe runs";
  }
  EXPECT_EQ(probe.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);

  EXPECT_EQ(simd.stop(), 0) << "an orderly stop, with the probe ended";
  EXPECT_NE(probe.get(), OPEN_E_NONE);
  openapiClientTearDown(&prober);
  openapiClientTearDown(&other);
  set_device_root(saved_root);
}

}  // namespace
