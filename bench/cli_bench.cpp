// The CLI bridge and the show-file parsing against a real veltrum-simd
// process: what the pauses cost, and what remains without them (the CLI's
// own time, the login round trips, one awk run per table cell).
//
//   cli_bench [ROUNDS]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

#include "cli/bridge.h"
#include "cli/catalogue.h"
#include "core/platform_client.h"
#include "support/device.h"
#include "support/log.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace veltrum::cli;

void measure(const char *name, int rounds, const std::function<bool()> &round) {
  auto start = Clock::now();
  for (int i = 0; i < rounds; ++i) {
    if (!round()) {
      std::printf("%-52s failed in round %d\n", name, i);
      return;
    }
  }
  double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count() / rounds;
  std::printf("%-52s %10.3f ms  (%d rounds)\n", name, ms, rounds);
}

}  // namespace

int main(int argc, char **argv) {
  int rounds = argc > 1 ? std::atoi(argv[1]) : 200;
  if (rounds < 1) rounds = 1;
  log_configure(LogSink::Stderr, 4);
  char root_template[] = "/tmp/veltrum-bench-XXXXXX";
  std::string root = mkdtemp(root_template);
  set_device_root(root);

  pid_t simd = fork();
  if (simd == 0) {
    execl(VELTRUM_SIMD, VELTRUM_SIMD, "--root", root.c_str(), static_cast<char *>(nullptr));
    _exit(127);
  }
  openapiClientRegister("bench", &g_client_handle);
  while (rpcclt_openapiConnectivityCheck(&g_client_handle) != OPEN_E_NONE)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));

  char answer[kCliAnswerSize];
  json_object *rows = nullptr;
  auto fresh_rows = [&] {
    if (rows) json_object_put(rows);
    rows = json_object_new_array();
  };

  std::printf("-- with the bridge's own pauses (10 ms, 1 s)\n");
  measure("open (login dialogue) and close", 1,
          [] { return fastpath_cli_session_control(kCliOpen) == 0 && fastpath_cli_session_control(kCliClose) == 0; });
  fastpath_cli_session_control(kCliOpen);
  measure("command, long wait", 3,
          [&] { return fastpath_cli_cmd("show spanning-tree summary", answer, sizeof answer) == 0; });
  measure("command, fast", 20,
          [&] { return fastpath_cli_cmd_fast("show spanning-tree summary", answer, sizeof answer) == 0; });
  measure("sub-mode command, fast", 20, [&] {
    return fastpath_cli_splmode_cmd_fast("interface 0/3", "classofservice trust dot1p", answer, sizeof answer) == 0;
  });
  measure("cos queue read (bridge, file, 2 + 28 awk runs)", 3, [&] {
    fresh_rows();
    return cos_queue_get(kCosGlobal, 0, rows) == 0;
  });

  std::printf("-- without pauses\n");
  cli_set_pauses(std::chrono::microseconds(0), std::chrono::microseconds(0));
  fastpath_cli_session_control(kCliClose);
  measure("open (login dialogue) and close", rounds,
          [] { return fastpath_cli_session_control(kCliOpen) == 0 && fastpath_cli_session_control(kCliClose) == 0; });
  fastpath_cli_session_control(kCliOpen);
  measure("command round trip", rounds * 10,
          [&] { return fastpath_cli_cmd("show classofservice trust | include Mode:", answer, sizeof answer) == 0; });
  measure("trust mode read (command and sscanf)", rounds, [&] {
    char trust[32];
    int ip_dscp = 0;
    return cos_trust_mode_get(kCosGlobal, 0, trust, sizeof trust, &ip_dscp) == 0;
  });

  std::printf("-- show files (platform call, then awk)\n");
  measure("dot1p map (2 + 8 awk runs)", rounds / 10 + 1, [&] {
    fresh_rows();
    return cos_dot1p_queue_map_get(kCosGlobal, 0, rows) == 0;
  });
  measure("PTP clock, 28 ports (2 + 84 awk runs)", rounds / 20 + 1, [&] {
    fresh_rows();
    return ptp_transparent_clock_get(rows) == 0;
  });

  fastpath_cli_session_control(kCliClose);
  if (rows) json_object_put(rows);
  openapiClientTearDown(&g_client_handle);
  kill(simd, SIGTERM);
  waitpid(simd, nullptr, 0);
  std::string cleanup = "rm -rf '" + root + "'";
  return std::system(cleanup.c_str()) == 0 ? 0 : 1;
}
