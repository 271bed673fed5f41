#include "support/uptime.h"

#include <fcntl.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
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

}  // namespace

long get_uptime() {
  struct sysinfo info;
  int rc = ::sysinfo(&info);
  if (rc != 0) {
    agent_log(7, "get uptime error:%d", rc);
    return 0;
  }
  long uptime = info.uptime;
  const std::string &root = device_root();
  if (!root.empty()) uptime += read_offset(root);
  return uptime;
}
