// The client end of the RPC channel: one Unix stream socket per registered
// handle, opened lazily, reopened after the service went away.
//
// Time limits. A call (connecting and greeting included, when it has to)
// ends within the handle's call time-out: a service that does not answer in
// time costs its caller that much once. The connection is then dropped (its
// late answer could not be told from the next one) and the handle fails
// fast: every call answers OPEN_E_RPC at once, without touching the socket,
// until a connectivity check finds the service answering again. The check
// opens a fresh connection and sends the greeting and a
// rpcclt_openapiConnectivityCheck without waiting; later calls look for the
// answers without waiting either, and a new check starts at most once per
// kRecheckInterval. A service that refuses connections (not running,
// restarting) fails calls at once anyway, so each call tries to reconnect.
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/all_calls.h"
#include "platform/stubs.h"
#include "platform/rpc_socket.h"
#include "support/device.h"
#include "support/log.h"

namespace veltrum::rpc {

namespace {

// How one exchange on a socket ended.
enum class Io {
  Ok,
  Closed,    // the service is gone or refused us: nothing to wait for
  TimedOut,  // the service is there but did not answer in time
};

void close_socket(int &fd) {
  if (fd >= 0) ::close(fd);
  fd = -1;
}

// Fills in the length word of a frame.
void seal(std::vector<uint8_t> &frame) {
  uint32_t length = static_cast<uint32_t>(frame.size() - 4);
  std::memcpy(frame.data(), &length, 4);
}

// A frame of a channel message or a call without arguments.
std::vector<uint8_t> bare_frame(uint32_t id) {
  std::vector<uint8_t> frame;
  Writer w(frame);
  w.u32(0);
  w.u32(id);
  seal(frame);
  return frame;
}

Io send_frame(int fd, const std::vector<uint8_t> &frame, Clock::time_point deadline) {
  int sent = send_all_until(fd, frame, deadline);
  return sent > 0 ? Io::Ok : sent == 0 ? Io::Closed : Io::TimedOut;
}

// Reads one answer frame into `answer` (without its length prefix).
Io receive_frame(int fd, std::vector<uint8_t> &answer, Clock::time_point deadline) {
  auto read_some = [&](uint8_t *dst, size_t n, size_t &got) {
    ssize_t r = recv_some_until(fd, dst, n, deadline);
    if (r > 0) {
      got = static_cast<size_t>(r);
      return Io::Ok;
    }
    return r < 0 && errno == ETIMEDOUT ? Io::TimedOut : Io::Closed;
  };
  uint8_t head[4];
  size_t have = 0;
  answer.clear();
  // Most answers arrive whole in the first read.
  uint8_t chunk[4096];
  while (have < 4) {
    size_t got = 0;
    if (Io io = read_some(chunk, sizeof chunk, got); io != Io::Ok) return io;
    size_t take = std::min<size_t>(4 - have, got);
    std::memcpy(head + have, chunk, take);
    have += take;
    answer.insert(answer.end(), chunk + take, chunk + got);
  }
  uint32_t length = 0;
  std::memcpy(&length, head, 4);
  if (length > kMaxFrame || answer.size() > length) return Io::Closed;
  size_t filled = answer.size();
  answer.resize(length);
  while (filled < length) {
    size_t got = 0;
    if (Io io = read_some(answer.data() + filled, length - filled, got); io != Io::Ok) return io;
    filled += got;
  }
  return Io::Ok;
}

// The result word of an answer body that carries only a result.
bool result_ok(const uint8_t *body, size_t size) {
  int32_t result = -1;
  if (size != 4) return false;
  std::memcpy(&result, body, 4);
  return result == 0;
}

}  // namespace

class Channel {
 public:
  explicit Channel(std::string name) : name_(std::move(name)) {}
  ~Channel() {
    close_socket(fd_);
    close_socket(probe_.fd);
  }

  open_error_t call(std::vector<uint8_t> &request, std::vector<uint8_t> &answer) {
    std::lock_guard<std::mutex> lock(mu_);
    seal(request);
    if (failing_ && !service_answers_again()) return OPEN_E_RPC;
    Clock::time_point deadline = Clock::now() + timeout_;

    bool fresh = false;
    if (fd_ < 0) {
      if (Io io = open(deadline); io != Io::Ok) return give_up(io);
      fresh = true;
    }
    Io io = send_frame(fd_, request, deadline);
    if (io == Io::Closed && !fresh) {
      // The service went away since the last call: the request never left,
      // so it is safe to reconnect and send it once more.
      close_socket(fd_);
      io = open(deadline);
      if (io == Io::Ok) io = send_frame(fd_, request, deadline);
    }
    if (io == Io::Ok) io = receive_frame(fd_, answer, deadline);
    if (io != Io::Ok) return give_up(io);
    return OPEN_E_NONE;
  }

  void set_timeout(std::chrono::milliseconds timeout) {
    std::lock_guard<std::mutex> lock(mu_);
    timeout_ = timeout;
  }

 private:
  // ---- connecting

  // A connected socket (non-blocking) in `fd`. Closed when nothing listens;
  // TimedOut when the service's listen queue is full (it does not accept).
  static Io connect_socket(int &fd) {
    std::string path = device_path(OPENAPI_SOCKET_PATH);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (path.size() >= sizeof addr.sun_path) return Io::Closed;
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return Io::Closed;
    int rc;
    do {
      rc = ::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
    } while (rc != 0 && errno == EINTR);
    if (rc == 0) return Io::Ok;
    Io io = errno == EAGAIN ? Io::TimedOut : Io::Closed;
    close_socket(fd);
    return io;
  }

  // The greeting: the call-list fingerprint and the client's name.
  std::vector<uint8_t> hello_frame() const {
    std::vector<uint8_t> hello;
    Writer w(hello);
    w.u32(0);
    w.u32(kHelloId);
    w.u32(kPlatformFingerprint);
    w.trimmed(reinterpret_cast<const uint8_t *>(name_.data()), static_cast<uint32_t>(name_.size()));
    seal(hello);
    return hello;
  }

  // Connects and greets the service before the deadline; fd_ on success.
  Io open(Clock::time_point deadline) {
    int fd = -1;
    if (Io io = connect_socket(fd); io != Io::Ok) return io;
    std::vector<uint8_t> answer;
    Io io = send_frame(fd, hello_frame(), deadline);
    if (io == Io::Ok) io = receive_frame(fd, answer, deadline);
    // A refused greeting (another call list) is no time-out.
    if (io == Io::Ok && !result_ok(answer.data(), answer.size())) io = Io::Closed;
    if (io != Io::Ok) {
      close_socket(fd);
      return io;
    }
    fd_ = fd;
    return Io::Ok;
  }

  // ---- failing fast

  open_error_t give_up(Io io) {
    close_socket(fd_);
    if (io == Io::TimedOut && !failing_) {
      failing_ = true;
      next_check_ = Clock::now();
      agent_log(4, "The platform service did not answer within %lld ms; platform calls fail until it answers again",
                static_cast<long long>(timeout_.count()));
    }
    return OPEN_E_RPC;
  }

  // The connectivity check of a failing handle, without waiting: true (with
  // fd_ set to the checked connection) once the service has answered it.
  bool service_answers_again() {
    Clock::time_point now = Clock::now();
    if (probe_.fd >= 0) {
      switch (probe_answer()) {
        case ProbeState::Answered:
          fd_ = probe_.fd;
          probe_.fd = -1;
          failing_ = false;
          agent_log(6, "The platform service answers again");
          return true;
        case ProbeState::Pending:
          // A check that waits longer than a call may is given up; its
          // successor starts below.
          if (now - probe_.started < timeout_) return false;
          break;
        case ProbeState::Failed:
          break;
      }
      close_socket(probe_.fd);
    }
    if (now < next_check_) return false;
    next_check_ = now + kRecheckInterval;
    start_probe(now);
    return false;
  }

  enum class ProbeState { Pending, Answered, Failed };

  // Opens a connection and sends the greeting and a connectivity check on
  // it, without waiting for anything.
  void start_probe(Clock::time_point now) {
    if (connect_socket(probe_.fd) != Io::Ok) return;
    std::vector<uint8_t> frames = hello_frame();
    std::vector<uint8_t> check = bare_frame(wire_id_of<calls::system::CallId::rpcclt_openapiConnectivityCheck>());
    frames.insert(frames.end(), check.begin(), check.end());
    // Two small frames fit in any socket buffer: a send that cannot be made
    // at once ends the check.
    ssize_t n;
    do {
      n = ::send(probe_.fd, frames.data(), frames.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    } while (n < 0 && errno == EINTR);
    if (n != static_cast<ssize_t>(frames.size())) {
      close_socket(probe_.fd);
      return;
    }
    probe_.started = now;
    probe_.received.clear();
  }

  // Takes what has arrived on the check's connection: Answered once both
  // answers are in and both succeeded.
  ProbeState probe_answer() {
    uint8_t chunk[64];
    for (;;) {
      ssize_t n = ::recv(probe_.fd, chunk, sizeof chunk, MSG_DONTWAIT);
      if (n > 0) {
        probe_.received.insert(probe_.received.end(), chunk, chunk + n);
        if (probe_.received.size() > 2 * sizeof chunk) return ProbeState::Failed;
        continue;
      }
      if (n == 0) return ProbeState::Failed;
      if (errno == EINTR) continue;
      if (errno != EAGAIN && errno != EWOULDBLOCK) return ProbeState::Failed;
      break;
    }
    // Two answers: [length][result] each, the greeting's and the check's.
    const std::vector<uint8_t> &in = probe_.received;
    size_t at = 0;
    for (int answer = 0; answer < 2; ++answer) {
      uint32_t length = 0;
      if (in.size() - at < 4) return ProbeState::Pending;
      std::memcpy(&length, in.data() + at, 4);
      if (length != 4) return ProbeState::Failed;
      if (in.size() - at - 4 < length) return ProbeState::Pending;
      if (!result_ok(in.data() + at + 4, length)) return ProbeState::Failed;
      at += 4 + length;
    }
    return at == in.size() ? ProbeState::Answered : ProbeState::Failed;
  }

  struct Probe {
    int fd = -1;
    Clock::time_point started;
    std::vector<uint8_t> received;
  };

  std::mutex mu_;
  int fd_ = -1;
  std::string name_;
  std::chrono::milliseconds timeout_ = kDefaultCallTimeout;
  bool failing_ = false;
  Clock::time_point next_check_;
  Probe probe_;
};

open_error_t channel_call(openapiClientHandle_t *client, std::vector<uint8_t> &request,
                          std::vector<uint8_t> &answer) {
  if (!client || !client->channel) return OPEN_E_RPC;
  return client->channel->call(request, answer);
}

void set_call_timeout(openapiClientHandle_t *client, std::chrono::milliseconds timeout) {
  if (client && client->channel && timeout.count() > 0) client->channel->set_timeout(timeout);
}

}  // namespace veltrum::rpc

open_error_t openapiClientRegister(const char *clientName, openapiClientHandle_t *clientHandle) {
  if (!clientName || !*clientName || !clientHandle) return OPEN_E_PARAM;
  std::string name(clientName, strnlen(clientName, OPEN_APP_NAME_SIZE - 1));
  // A handle inherited over fork() still points at the parent's channel:
  // that one is left alone, the child gets a channel of its own.
  clientHandle->channel = new veltrum::rpc::Channel(name);
  return OPEN_E_NONE;
}

open_error_t openapiClientTearDown(openapiClientHandle_t *clientHandle) {
  if (!clientHandle || !clientHandle->channel) return OPEN_E_PARAM;
  delete clientHandle->channel;
  clientHandle->channel = nullptr;
  return OPEN_E_NONE;
}
