// Socket helpers shared by both ends of the RPC channel.
#pragma once

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <vector>

#include <sys/socket.h>

namespace veltrum::rpc {

// Sends the whole frame; false when the peer is gone.
inline bool send_all(int fd, const std::vector<uint8_t> &frame) {
  size_t done = 0;
  while (done < frame.size()) {
    ssize_t n = ::send(fd, frame.data() + done, frame.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

// How long a receiver polls before it sleeps in the kernel. A platform call
// is answered in a few microseconds; waking a sleeping thread on another
// CPU costs more than that (tens of microseconds in a virtual machine), so
// both ends first poll briefly. Past this the wait blocks as usual.
inline constexpr auto kSpinBeforeBlocking = std::chrono::microseconds(40);

// Receives at least one byte: polls for kSpinBeforeBlocking, then blocks
// (bounded by the socket's receive time-out). >0 bytes read, 0 end of
// stream, -1 error or time-out.
inline ssize_t recv_some(int fd, void *buf, size_t n) {
  auto deadline = std::chrono::steady_clock::now() + kSpinBeforeBlocking;
  for (unsigned i = 0;; ++i) {
    ssize_t r = ::recv(fd, buf, n, MSG_DONTWAIT);
    if (r >= 0) return r;
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return -1;
    if ((i & 15) == 15 && std::chrono::steady_clock::now() >= deadline) break;
  }
  for (;;) {
    ssize_t r = ::recv(fd, buf, n, 0);
    if (r >= 0 || errno != EINTR) return r;
  }
}

}  // namespace veltrum::rpc
