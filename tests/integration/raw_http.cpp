#include "tests/integration/raw_http.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace veltrum::test {

bool RawAnswer::has_header(std::string_view line) const {
  return head.find("\r\n" + std::string(line) + "\r\n") != std::string::npos;
}

std::string request_head(const std::string &method, const std::string &path, const Credentials &credentials,
                         std::initializer_list<std::string> headers) {
  std::string head = method + " " + path + " HTTP/1.1\r\nHost: " + kAgentHost + "\r\n";
  if (credentials.cookie) head += "Cookie: lhttpdsid=" + *credentials.cookie + "\r\n";
  if (credentials.bearer) head += "Authorization: Bearer " + *credentials.bearer + "\r\n";
  for (const std::string &h : headers) head += h + "\r\n";
  return head + "\r\n";
}

RawConnection::RawConnection() {
  fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd_ < 0) throw std::runtime_error("socket failed");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kAgentPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
    ::close(fd_);
    throw std::runtime_error("cannot connect to the agent");
  }
}

RawConnection::~RawConnection() { close(); }

void RawConnection::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

bool RawConnection::send(std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t n = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

namespace {

// Waits until something (bytes or the end of the stream) can be read; false
// at the deadline.
bool wait_readable(int fd, std::chrono::steady_clock::time_point deadline) {
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    pollfd p{fd, POLLIN, 0};
    int r = ::poll(&p, 1, static_cast<int>(left.count()));
    if (r < 0 && errno == EINTR) continue;
    return r > 0;
  }
}

}  // namespace

bool RawConnection::fill(std::chrono::steady_clock::time_point deadline) {
  for (;;) {
    if (!wait_readable(fd_, deadline)) return false;
    char chunk[16384];
    ssize_t n = ::recv(fd_, chunk, sizeof chunk, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    buffer_.append(chunk, static_cast<size_t>(n));
    return true;
  }
}

std::optional<RawAnswer> RawConnection::read_answer(std::chrono::milliseconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  size_t end;
  while ((end = buffer_.find("\r\n\r\n")) == std::string::npos)
    if (!fill(deadline)) return std::nullopt;
  RawAnswer answer;
  answer.head = buffer_.substr(0, end + 2);
  buffer_.erase(0, end + 4);
  answer.status = std::atoi(answer.head.c_str() + answer.head.find(' ') + 1);
  size_t length = 0;
  if (size_t at = answer.head.find("\r\nContent-Length: "); at != std::string::npos)
    length = std::strtoul(answer.head.c_str() + at + 18, nullptr, 10);
  while (buffer_.size() < length)
    if (!fill(deadline)) return std::nullopt;
  answer.body = buffer_.substr(0, length);
  buffer_.erase(0, length);
  return answer;
}

bool RawConnection::closed_by_peer(std::chrono::milliseconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    if (!wait_readable(fd_, deadline)) return false;
    char chunk[4096];
    ssize_t n = ::recv(fd_, chunk, sizeof chunk, 0);
    if (n == 0 || (n < 0 && errno == ECONNRESET)) return true;
  }
}

}  // namespace veltrum::test
