// Round trips of platform calls against a real veltrum-simd process:
// a scalar Get in a loop, and the walk a per-interface GET makes (every
// physical port and LAG, three getters each).
//
//   platform_rpc_bench [SECONDS_PER_CASE]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/simd_process.h"
#include "platform/calls/00_system.h"
#include "platform/calls/01_interfaces.h"
#include "platform/calls/10_dai.h"
#include "support/device.h"

namespace {

using Clock = std::chrono::steady_clock;

template <typename F>
void measure(const char *name, double seconds, unsigned calls_per_round, F round) {
  for (int i = 0; i < 1000; ++i) round();  // warm up
  unsigned long rounds = 0;
  auto start = Clock::now();
  auto until = start + std::chrono::duration<double>(seconds);
  while (Clock::now() < until) {
    for (int i = 0; i < 100; ++i) round();
    rounds += 100;
  }
  double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  std::printf("%-34s %10.0f calls/s  %8.2f us/call  (%lu rounds of %u calls)\n", name,
              rounds * calls_per_round / elapsed, elapsed * 1e6 / (rounds * calls_per_round), rounds,
              calls_per_round);
}

}  // namespace

int main(int argc, char **argv) {
  double seconds = argc > 1 ? std::atof(argv[1]) : 3.0;
  char root_template[] = "/tmp/veltrum-bench-XXXXXX";
  std::string root = mkdtemp(root_template);
  set_device_root(root);

  pid_t simd = start_simd(root);
  openapiClientHandle_t client{};
  openapiClientRegister("bench", &client);
  while (rpcclt_openapiConnectivityCheck(&client) != OPEN_E_NONE) std::this_thread::sleep_for(std::chrono::milliseconds(10));

  measure("scalar Get (DaiSourceMacValidateMode)", seconds, 1, [&] {
    OPEN_CONTROL_t mode;
    rpcclt_openapiDaiSourceMacValidateModeGet(&client, &mode);
  });

  unsigned per_walk = 0;
  auto walk = [&] {
    unsigned calls = 0;
    for (OPEN_INTF_TYPE_t type : {OPEN_INTF_TYPE_PHY, OPEN_INTF_TYPE_LAG}) {
      uint32_t ifNum = 0;
      for (open_error_t rc = openapiIfFirstGet(&client, type, &ifNum); rc == OPEN_E_NONE;
           rc = openapiIfNextGet(&client, type, ifNum, &ifNum), ++calls) {
        OPEN_BOOL_t trust;
        int32_t rate;
        uint32_t burst;
        rpcclt_openapiDaiIntfTrustGet(&client, ifNum, &trust);
        rpcclt_openapiDaiIntfRateLimitGet(&client, ifNum, &rate);
        rpcclt_openapiDaiIntfBurstIntervalGet(&client, ifNum, &burst);
        calls += 3;
      }
      ++calls;
    }
    return calls;
  };
  per_walk = walk();
  std::printf("interface walk: %u calls per walk (36 interfaces x 3 getters + walk)\n", per_walk);
  measure("interface walk, 3 getters per port", seconds, per_walk, [&] { walk(); });

  openapiClientTearDown(&client);
  kill(simd, SIGTERM);
  waitpid(simd, nullptr, 0);
  std::string cleanup = "rm -rf '" + root + "'";
  return std::system(cleanup.c_str()) == 0 ? 0 : 1;
}
