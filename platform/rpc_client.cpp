// The client end of the RPC channel: one Unix stream socket per registered
// handle, opened lazily, reopened after the service went away.
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>

#include <sys/time.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/all_calls.h"
#include "platform/stubs.h"
#include "platform/rpc_socket.h"
#include "support/device.h"

namespace veltrum::rpc {

// How long a call waits for its answer before it gives up on the service.
// Long platform operations (a ping of many probes) stay well inside it.
static constexpr int kAnswerTimeoutMs = 120 * 1000;

class Channel {
 public:
  explicit Channel(std::string name) : name_(std::move(name)) {}
  ~Channel() { close_fd(); }

  open_error_t call(std::vector<uint8_t> &request, std::vector<uint8_t> &answer) {
    std::lock_guard<std::mutex> lock(mu_);
    uint32_t length = static_cast<uint32_t>(request.size() - 4);
    std::memcpy(request.data(), &length, 4);

    bool fresh = false;
    if (fd_ < 0) {
      if (!open_locked()) return OPEN_E_RPC;
      fresh = true;
    }
    if (!send_all(request)) {
      // The service went away since the last call: the request never left,
      // so it is safe to reconnect and send it once more.
      close_fd();
      if (fresh || !open_locked() || !send_all(request)) {
        close_fd();
        return OPEN_E_RPC;
      }
    }
    if (!receive(answer)) {
      close_fd();
      return OPEN_E_RPC;
    }
    return OPEN_E_NONE;
  }

  void close_fd() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

  std::mutex &mutex() { return mu_; }

 private:
  bool open_locked() {
    std::string path = device_path(OPENAPI_SOCKET_PATH);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (path.size() >= sizeof addr.sun_path) return false;
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    if (::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
      ::close(fd);
      return false;
    }
    timeval tv{kAnswerTimeoutMs / 1000, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    fd_ = fd;
    // Hello: the call-list fingerprint and the client's name.
    std::vector<uint8_t> hello;
    Writer w(hello);
    w.u32(0);
    w.u32(kHelloId);
    w.u32(kPlatformFingerprint);
    w.trimmed(reinterpret_cast<const uint8_t *>(name_.data()), static_cast<uint32_t>(name_.size()));
    uint32_t length = static_cast<uint32_t>(hello.size() - 4);
    std::memcpy(hello.data(), &length, 4);
    std::vector<uint8_t> answer;
    int32_t result = -1;
    if (!send_all(hello) || !receive(answer) || answer.size() != 4) {
      close_fd();
      return false;
    }
    std::memcpy(&result, answer.data(), 4);
    if (result != 0) {
      close_fd();
      return false;
    }
    return true;
  }

  bool send_all(const std::vector<uint8_t> &frame) { return veltrum::rpc::send_all(fd_, frame); }

  bool read_some(uint8_t *dst, size_t n, size_t &got) {
    // Zero is the end of the stream, -1 an error or the receive time-out
    // running out on a hung service.
    ssize_t r = recv_some(fd_, dst, n);
    if (r <= 0) return false;
    got = static_cast<size_t>(r);
    return true;
  }

  // Reads one answer frame into `answer` (without its length prefix).
  bool receive(std::vector<uint8_t> &answer) {
    uint8_t head[4];
    size_t have = 0;
    answer.clear();
    // Most answers arrive whole in the first read.
    uint8_t chunk[4096];
    while (have < 4) {
      size_t got = 0;
      if (!read_some(chunk, sizeof chunk, got)) return false;
      size_t take = std::min<size_t>(4 - have, got);
      std::memcpy(head + have, chunk, take);
      have += take;
      answer.insert(answer.end(), chunk + take, chunk + got);
    }
    uint32_t length = 0;
    std::memcpy(&length, head, 4);
    if (length > kMaxFrame || answer.size() > length) return false;
    size_t before = answer.size();
    answer.resize(length);
    size_t filled = before;
    while (filled < length) {
      size_t got = 0;
      if (!read_some(answer.data() + filled, length - filled, got)) return false;
      filled += got;
    }
    return true;
  }

  std::mutex mu_;
  int fd_ = -1;
  std::string name_;
};

open_error_t channel_call(openapiClientHandle_t *client, std::vector<uint8_t> &request,
                          std::vector<uint8_t> &answer) {
  if (!client || !client->channel) return OPEN_E_RPC;
  return client->channel->call(request, answer);
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
