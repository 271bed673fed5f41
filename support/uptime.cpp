#include "support/uptime.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>

#include "support/device.h"
#include "support/log.h"

namespace {

// The offset tests write under a development root; absent or unreadable
// means no offset.
long read_offset(const std::string &root) {
  std::string path = root + "/run/uptime-offset";
  int fd;
  do {
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return 0;

  char text[32];
  ssize_t n;
  do {
    n = ::read(fd, text, sizeof text - 1);
  } while (n < 0 && errno == EINTR);
  ::close(fd);
  if (n <= 0) return 0;
  text[n] = '\0';
  char *end = nullptr;
  long offset = std::strtol(text, &end, 10);
  return end != text ? offset : 0;
}

// Whether the offset file is consulted under the current root: decided once
// per root, by whether the file exists at the first reading. A development
// run without the file (a benchmark, say) then pays no file access per
// reading.
bool offset_enabled(const std::string &root) {
  static std::mutex mu;
  static std::string checked_root;
  static bool enabled = false;
  std::lock_guard<std::mutex> lock(mu);
  if (root != checked_root) {
    checked_root = root;
    enabled = ::access((root + "/run/uptime-offset").c_str(), F_OK) == 0;
  }
  return enabled;
}

}  // namespace

// The uptime sysinfo() reports (seconds since boot, a part of a second
// counting as a whole one), read from the clock it reads: every request
// asks for it, and sysinfo() would add a system call that sums the memory
// counters as well.
long get_uptime() {
  timespec boot{};
  int rc = ::clock_gettime(CLOCK_BOOTTIME, &boot);
  if (rc != 0) {
    agent_log(7, "get uptime error:%d", rc);
    return 0;
  }
  long uptime = static_cast<long>(boot.tv_sec) + (boot.tv_nsec ? 1 : 0);
  const std::string &root = device_root();
  if (!root.empty() && offset_enabled(root)) uptime += read_offset(root);
  return uptime;
}
