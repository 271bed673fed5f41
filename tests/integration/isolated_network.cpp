#include "tests/integration/isolated_network.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

namespace veltrum::test {

namespace {

bool g_active = false;
std::string g_why = "the isolation was not set up";

bool fail(const std::string &step) {
  g_why = step + ": " + std::strerror(errno);
  return false;
}

bool bring_loopback_up() {
  int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return fail("socket");
  ifreq request{};
  std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
  bool ok = ::ioctl(fd, SIOCGIFFLAGS, &request) == 0;
  if (ok) {
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
    ok = ::ioctl(fd, SIOCSIFFLAGS, &request) == 0;
  }
  ::close(fd);
  return ok || fail("bringing lo up");
}

// Writes `content` to a file of the test's own and mounts it over `target`.
bool replace_file(const std::string &target, const std::string &content) {
  std::string own = "/tmp/veltrum-isolated-" + std::to_string(::getpid()) + "-" +
                    target.substr(target.rfind('/') + 1);
  {
    std::ofstream out(own, std::ios::trunc);
    out << content;
    if (!out) return fail("writing " + own);
  }
  bool ok = ::mount(own.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) == 0;
  // The mount holds the file; its name is no longer needed.
  ::unlink(own.c_str());
  return ok || fail("mounting over " + target);
}

}  // namespace

const IsolatedNetwork *IsolatedNetwork::install(std::string hosts) {
  auto *environment = new IsolatedNetwork(std::move(hosts));
  ::testing::AddGlobalTestEnvironment(environment);  // GoogleTest owns it
  return environment;
}

bool IsolatedNetwork::active() { return g_active; }
const std::string &IsolatedNetwork::why() { return g_why; }

void IsolatedNetwork::SetUp() {
  if (::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0) {
    fail("unshare (needs root)");
    return;
  }
  // Mounts made from here on stay in this namespace.
  if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    fail("making / private");
    return;
  }
  if (!bring_loopback_up() || !replace_file("/etc/hosts", hosts_) ||
      !replace_file("/etc/resolv.conf", "nameserver 127.0.0.1\noptions timeout:1 attempts:1\n"))
    return;
  g_active = true;
}

}  // namespace veltrum::test
