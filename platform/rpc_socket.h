// Socket helpers shared by both ends of the RPC channel.
#pragma once

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

namespace veltrum::rpc {

using Clock = std::chrono::steady_clock;
// A deadline that never comes: the wait blocks as long as it takes.
inline constexpr Clock::time_point kNoDeadline = Clock::time_point::max();

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

// Waits until `fd` is ready for `events` (or has an error or hang-up the next
// call will report). False when the deadline passes first.
inline bool wait_ready(int fd, short events, Clock::time_point deadline) {
  for (;;) {
    int ms = -1;
    if (deadline != kNoDeadline) {
      auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      if (left <= 0) return false;
      ms = left > INT_MAX ? INT_MAX : static_cast<int>(left);
    }
    pollfd p{fd, events, 0};
    int r = ::poll(&p, 1, ms);
    if (r > 0) return true;
    if (r < 0 && errno != EINTR) return true;  // the next call on fd reports it
  }
}

// How long a receiver polls before it sleeps in the kernel. A platform call
// is answered in a few microseconds; waking a sleeping thread on another
// CPU costs more than that (tens of microseconds in a virtual machine), so
// both ends first poll briefly. Past this the wait blocks as usual.
inline constexpr auto kSpinBeforeBlocking = std::chrono::microseconds(40);

// Receives at least one byte before the deadline: polls for
// kSpinBeforeBlocking, then waits in the kernel. >0 bytes read, 0 end of
// stream, -1 error, or -1 with errno ETIMEDOUT when the deadline passed.
// Works on blocking and non-blocking sockets alike.
inline ssize_t recv_some_until(int fd, void *buf, size_t n, Clock::time_point deadline) {
  auto spin_end = Clock::now() + kSpinBeforeBlocking;
  for (unsigned i = 0;; ++i) {
    ssize_t r = ::recv(fd, buf, n, MSG_DONTWAIT);
    if (r >= 0) return r;
    if (errno == EINTR) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return -1;
    if ((i & 15) == 15 && Clock::now() >= spin_end) break;
  }
  for (;;) {
    if (!wait_ready(fd, POLLIN, deadline)) {
      errno = ETIMEDOUT;
      return -1;
    }
    ssize_t r = ::recv(fd, buf, n, MSG_DONTWAIT);
    if (r >= 0) return r;
    if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK) return -1;
  }
}

// Receives at least one byte, waiting as long as it takes.
inline ssize_t recv_some(int fd, void *buf, size_t n) { return recv_some_until(fd, buf, n, kNoDeadline); }

// Sends the whole frame before the deadline. 1 sent, 0 the peer is gone,
// -1 the deadline passed (the peer does not read).
inline int send_all_until(int fd, const std::vector<uint8_t> &frame, Clock::time_point deadline) {
  size_t done = 0;
  while (done < frame.size()) {
    ssize_t n = ::send(fd, frame.data() + done, frame.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n > 0) {
      done += static_cast<size_t>(n);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      if (!wait_ready(fd, POLLOUT, deadline)) return -1;
      continue;
    }
    return 0;
  }
  return 1;
}

}  // namespace veltrum::rpc
