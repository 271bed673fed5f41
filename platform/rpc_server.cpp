#include "platform/rpc_server.h"

#include "platform/all_calls.h"
#include "platform/rpc_socket.h"

#include <cerrno>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace veltrum::rpc {

namespace {

// The connection this thread serves: its server, and the downtime a call
// served here asked for, to begin once its answer is out. Empty on threads
// that serve no connection.
struct Serving {
  const void *server = nullptr;
  int64_t *down_after_answer = nullptr;
};
thread_local Serving t_serving;

int64_t now_ms() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// Buffered frame reader of one connection.
class FrameReader {
 public:
  explicit FrameReader(int fd) : fd_(fd) {}
  // Next frame body (without its length), or false at end of stream.
  bool next(std::vector<uint8_t> &body) {
    for (;;) {
      if (buf_.size() - pos_ >= 4) {
        uint32_t length = 0;
        std::memcpy(&length, buf_.data() + pos_, 4);
        if (length > kMaxFrame || length < 4) return false;
        if (buf_.size() - pos_ - 4 >= length) {
          body.assign(buf_.begin() + static_cast<long>(pos_) + 4,
                      buf_.begin() + static_cast<long>(pos_ + 4 + length));
          pos_ += 4 + length;
          if (pos_ == buf_.size()) {
            buf_.clear();
            pos_ = 0;
          }
          return true;
        }
      }
      uint8_t chunk[8192];
      ssize_t n = recv_some(fd_, chunk, sizeof chunk);
      if (n <= 0) return false;
      if (pos_ > 0) {
        buf_.erase(buf_.begin(), buf_.begin() + static_cast<long>(pos_));
        pos_ = 0;
      }
      buf_.insert(buf_.end(), chunk, chunk + n);
    }
  }

 private:
  int fd_;
  std::vector<uint8_t> buf_;
  size_t pos_ = 0;
};

}  // namespace

Server::Server(std::string socket_path, CallSink &sink) : path_(std::move(socket_path)), sink_(sink) {}

Server::~Server() { stop(); }

bool Server::open_listener() {
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  if (path_.size() >= sizeof addr.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  std::memcpy(addr.sun_path, path_.c_str(), path_.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  ::unlink(path_.c_str());
  if (::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 || ::listen(fd, 64) != 0) {
    int saved = errno;
    ::close(fd);
    errno = saved;
    return false;
  }
  listen_fd_ = fd;
  return true;
}

void Server::close_listener() {
  int fd = listen_fd_.exchange(-1);
  if (fd >= 0) {
    ::shutdown(fd, SHUT_RDWR);
    ::close(fd);
    ::unlink(path_.c_str());
  }
}

bool Server::start() {
  if (!open_listener()) return false;
  acceptor_ = std::thread([this] { accept_loop(); });
  return true;
}

void Server::accept_loop() {
  while (!stopping_) {
    int lfd = listen_fd_.load();
    if (lfd < 0) {
      // Down: come back once the downtime has passed.
      if (down_until_ms_ > 0 && now_ms() >= down_until_ms_) {
        down_until_ms_ = 0;
        if (!open_listener()) std::this_thread::sleep_for(std::chrono::milliseconds(50));
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
      continue;
    }
    pollfd p{lfd, POLLIN, 0};
    int pr = ::poll(&p, 1, 100);
    if (pr <= 0) continue;
    int fd = ::accept4(lfd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) continue;
    std::lock_guard<std::mutex> lock(conns_mu_);
    // Reap finished connection threads before adding a new one.
    for (auto it = conns_.begin(); it != conns_.end();) {
      if (it->done) {
        it->thread.join();
        it = conns_.erase(it);
      } else {
        ++it;
      }
    }
    conns_.push_back(Conn{fd, {}, false});
    Conn &conn = conns_.back();
    conn.thread = std::thread([this, &conn] {
      serve_connection(conn.fd);
      std::lock_guard<std::mutex> done_lock(conns_mu_);
      ::close(conn.fd);
      conn.fd = -1;
      conn.done = true;
    });
  }
}

void Server::serve_connection(int fd) {
  FrameReader reader(fd);
  std::vector<uint8_t> body;
  std::vector<uint8_t> answer;
  openapiClientHandle_t client{};
  bool greeted = false;
  int64_t down_after_answer = 0;
  t_serving = Serving{this, &down_after_answer};
  struct Unset {
    ~Unset() { t_serving = Serving{}; }
  } unset;
  while (!stopping_ && reader.next(body)) {
    Reader in(body.data(), body.size());
    uint32_t id = 0;
    in.u32(id);
    answer.clear();
    Writer out(answer);
    out.u32(0);
    if (id == kHelloId) {
      uint32_t fingerprint = 0;
      uint8_t name[OPEN_APP_NAME_SIZE] = {};
      bool ok = in.u32(fingerprint) && in.trimmed(name, sizeof name - 1) && in.at_end() &&
                fingerprint == kPlatformFingerprint;
      out.i32(ok ? 0 : OPEN_E_RPC);
      greeted = ok;
    } else if (!greeted || !sink_.serve(id, &client, in, out)) {
      return;
    }
    uint32_t length = static_cast<uint32_t>(answer.size() - 4);
    std::memcpy(answer.data(), &length, 4);
    if (!send_all(fd, answer)) return;
    if (down_after_answer > 0) {
      go_down(std::chrono::milliseconds(down_after_answer));
      return;
    }
  }
}

void Server::drop_connections() {
  std::lock_guard<std::mutex> lock(conns_mu_);
  for (auto &c : conns_)
    if (c.fd >= 0) ::shutdown(c.fd, SHUT_RDWR);
}

void Server::go_down_after_answer(std::chrono::milliseconds downtime) {
  if (t_serving.server == this)
    *t_serving.down_after_answer = downtime.count();
  else
    go_down(downtime);
}

void Server::go_down(std::chrono::milliseconds downtime) {
  down_until_ms_ = now_ms() + downtime.count();
  close_listener();
  drop_connections();
}

void Server::stop() {
  if (stopping_.exchange(true)) return;
  close_listener();
  drop_connections();
  if (acceptor_.joinable()) acceptor_.join();
  std::list<Conn> conns;
  {
    std::lock_guard<std::mutex> lock(conns_mu_);
    conns.splice(conns.end(), conns_);
  }
  for (auto &c : conns)
    if (c.thread.joinable()) c.thread.join();
}

}  // namespace veltrum::rpc
