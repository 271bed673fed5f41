// The ping job in-process (no HTTP): how fast the status view answers while
// the job is idle and while its program runs, how long a start/stop cycle
// takes, and how long a one-echo ping of 127.0.0.1 takes from start to its
// final status.
//
//   job_bench [SECONDS_PER_CASE]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include "jobs/ping_test.h"
#include "support/device.h"
#include "support/files.h"
#include "support/log.h"
#include "support/worker.h"

namespace {

using Clock = std::chrono::steady_clock;
using veltrum::jobs::job_exists;
using veltrum::jobs::job_start;
using veltrum::jobs::job_status_view;
using veltrum::jobs::job_stop;

PingRequest *request(int count) {
  auto *r = static_cast<PingRequest *>(std::calloc(1, sizeof(PingRequest)));
  r->action = 1;
  r->host = strdup("127.0.0.1");
  r->count = count;
  return r;
}

void report(const char *name, unsigned long n, double seconds, const char *unit) {
  std::printf("%-44s %10.0f %s/s  %9.2f us each  (%lu in %.1f s)\n", name, n / seconds, unit, seconds * 1e6 / n, n,
              seconds);
}

double since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

void views(const char *name, double seconds) {
  unsigned long n = 0;
  auto start = Clock::now();
  while (since(start) < seconds) {
    for (int i = 0; i < 1000; ++i) json_object_put(job_status_view(kPingTestJob));
    n += 1000;
  }
  report(name, n, since(start), "views");
}

}  // namespace

int main(int argc, char **argv) {
  double seconds = argc > 1 ? std::atof(argv[1]) : 3.0;
  log_configure(LogSink::Stderr, 3);
  char root_template[] = "/tmp/veltrum-bench-XXXXXX";
  std::string root = mkdtemp(root_template);
  make_dirs(root + "/tmp");
  set_device_root(root);
  if (init_worker_manager() != 0 || init_ping_test() != 0) return 1;

  // A finished run, so the view has a message to copy.
  job_start(kPingTestJob, request(1));
  while (job_exists(kPingTestJob)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  views("status view, job idle", seconds);

  job_start(kPingTestJob, request(15));
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  views("status view, ping running", seconds);
  job_stop(kPingTestJob);

  unsigned long cycles = 0;
  auto start = Clock::now();
  while (since(start) < seconds) {
    job_start(kPingTestJob, request(15));
    job_stop(kPingTestJob);
    ++cycles;
  }
  report("start + stop right away", cycles, since(start), "cycles");

  cycles = 0;
  start = Clock::now();
  while (since(start) < seconds) {
    job_start(kPingTestJob, request(15));
    // Stop once the program has answered its first echo.
    std::string file = device_path("/tmp/ping_test_status");
    while (true) {
      char *text = load_file(file.c_str());
      bool echoed = text != nullptr && std::strstr(text, "icmp_seq=1") != nullptr;
      std::free(text);
      if (echoed) break;
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    job_stop(kPingTestJob);
    ++cycles;
  }
  report("start, first echo, stop", cycles, since(start), "cycles");

  unsigned long runs = 0;
  start = Clock::now();
  while (since(start) < seconds) {
    job_start(kPingTestJob, request(1));
    while (job_exists(kPingTestJob)) std::this_thread::sleep_for(std::chrono::microseconds(100));
    ++runs;
  }
  report("ping -c 1 127.0.0.1, start to final status", runs, since(start), "runs");

  shutdown_ping_test();
  destroy_worker_manager();
  std::filesystem::remove_all(root);
  return 0;
}
