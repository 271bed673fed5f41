// The firmware flows' own costs, in-process: a status poll of each flow
// (segment attach, file stat, envelope), a forked child from fork to reaped,
// and the platform's check of an image file (header, SHA-256 of the payload).
//
//   firmware_bench [SECONDS_PER_CASE]
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "core/response.h"
#include "jobs/fw_child.h"
#include "jobs/fw_common.h"
#include "sim/fw_image.h"
#include "support/device.h"
#include "support/log.h"
#include "support/worker.h"

VELTRUM_HANDLER(device_fw_update_status_get);
VELTRUM_HANDLER(fw_download_status_get);

namespace {

using Clock = std::chrono::steady_clock;

// Runs `round` for `seconds`; prints rounds per second and the time of one.
void measure(const char *name, double seconds, const std::function<void()> &round, double bytes_per_round = 0) {
  round();  // warm up
  unsigned long rounds = 0;
  auto start = Clock::now();
  auto until = start + std::chrono::duration<double>(seconds);
  while (Clock::now() < until) {
    round();
    ++rounds;
  }
  double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  std::printf("%-48s %12.0f /s  %10.2f us each", name, rounds / elapsed, elapsed * 1e6 / rounds);
  if (bytes_per_round > 0) std::printf("  %8.1f MB/s", bytes_per_round * rounds / elapsed / 1e6);
  std::printf("\n");
}

void poll(void (*handler)(MHD_Connection *, ResponseHolder *, json_object *)) {
  ResponseHolder holder{};
  handler(nullptr, &holder, nullptr);
  std::free(holder.body);
}

}  // namespace

int main(int argc, char **argv) {
  double seconds = argc > 1 ? std::atof(argv[1]) : 3.0;
  log_configure(LogSink::Stderr, 0);
  char root_template[] = "/tmp/veltrum-fwbench-XXXXXX";
  std::string root = mkdtemp(root_template);
  set_device_root(root);
  // The segment's key is the working directory's: one of the bench's own.
  std::string saved = std::filesystem::current_path();
  std::filesystem::current_path(root);
  std::filesystem::create_directories(root + "/mnt/download");
  std::filesystem::create_directories(root + "/tmp/fw");

  {
    veltrum::jobs::FwSegment segment(veltrum::jobs::FwSegment::Mode::Create);
    segment.set_total(1 << 20);
    segment.set_state(2, 1);
  }
  std::string half(512 * 1024, 'x');
  std::FILE *f = std::fopen((root + "/mnt/download/image.stk").c_str(), "wb");
  std::fwrite(half.data(), 1, half.size(), f);
  std::fclose(f);
  std::filesystem::copy_file(root + "/mnt/download/image.stk", root + "/tmp/fw/image");
  f = std::fopen((root + "/tmp/fw/fw_write_size").c_str(), "w");
  std::fprintf(f, "%d\n", 1 << 20);
  std::fclose(f);

  measure("device_fw_update_status (download at 50 %)", seconds, [] { poll(&device_fw_update_status_get); });
  measure("fw_download_status (download at 50 %)", seconds, [] { poll(&fw_download_status_get); });

  init_worker_manager();
  measure("child: fork, run an empty body, reaped", seconds, [] {
    pid_t pid = veltrum::jobs::start_child("fw_bench", [] { return 0; });
    while (veltrum::jobs::child_running(pid)) std::this_thread::yield();
  });
  destroy_worker_manager();

  for (size_t size : {size_t{1} << 20, size_t{16} << 20}) {
    std::string image = veltrum::fwimage::build_image("7.8.12.1", "bench", std::string(size, 'p'));
    std::string name = "image check, " + std::to_string(size >> 20) + " MB payload";
    measure(name.c_str(), seconds, [&] {
      veltrum::fwimage::ImageInfo info;
      if (veltrum::fwimage::check_image(image, info) != veltrum::fwimage::ImageError::None) std::abort();
    }, static_cast<double>(image.size()));
  }

  int id = shmget(ftok(".", veltrum::jobs::kFwSegmentProjId), sizeof(veltrum::jobs::FwProgress), 0);
  if (id >= 0) shmctl(id, IPC_RMID, nullptr);
  std::filesystem::current_path(saved);
  std::filesystem::remove_all(root);
  return 0;
}
