#include "tests/common/tftp_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace veltrum::test {

namespace {

enum : uint16_t { kRead = 1, kWrite = 2, kData = 3, kAck = 4, kError = 5 };
constexpr size_t kBlock = 512;
constexpr int kTimeoutMs = 1000;
constexpr int kTries = 5;

int bound_socket(int *port) {
  int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) throw std::runtime_error("tftp: socket");
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) throw std::runtime_error("tftp: bind");
  socklen_t size = sizeof addr;
  getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &size);
  if (port) *port = ntohs(addr.sin_port);
  return fd;
}

std::vector<unsigned char> packet(uint16_t op, uint16_t number, const void *data = nullptr, size_t size = 0) {
  std::vector<unsigned char> p = {static_cast<unsigned char>(op >> 8), static_cast<unsigned char>(op),
                                  static_cast<unsigned char>(number >> 8), static_cast<unsigned char>(number)};
  if (data && size > 0) {
    p.resize(4 + size);
    std::memcpy(p.data() + 4, data, size);
  }
  return p;
}

uint16_t field(const unsigned char *p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }

// Waits for a packet of `op` with block `number` from the peer; false after
// the timeout.
bool await(int fd, uint16_t op, uint16_t number, std::vector<unsigned char> &in) {
  pollfd p{fd, POLLIN, 0};
  while (poll(&p, 1, kTimeoutMs) > 0) {
    in.resize(4 + kBlock);
    ssize_t n = recv(fd, in.data(), in.size(), 0);
    if (n < 4) continue;
    in.resize(static_cast<size_t>(n));
    if (field(in.data()) == op && field(in.data() + 2) == number) return true;
  }
  return false;
}

}  // namespace

TftpServer::TftpServer(std::string dir) : dir_(std::move(dir)) {
  fd_ = bound_socket(&port_);
  thread_ = std::thread([this] { serve(); });
}

TftpServer::~TftpServer() {
  stop_ = true;
  if (thread_.joinable()) thread_.join();
  close(fd_);
}

void TftpServer::serve() {
  unsigned char request[1024];
  while (!stop_) {
    pollfd p{fd_, POLLIN, 0};
    if (poll(&p, 1, 100) <= 0) continue;
    sockaddr_storage peer{};
    socklen_t peer_size = sizeof peer;
    ssize_t n = recvfrom(fd_, request, sizeof request - 1, 0, reinterpret_cast<sockaddr *>(&peer), &peer_size);
    if (n < 4) continue;
    request[n] = 0;
    transfer(request, static_cast<size_t>(n), &peer, peer_size);
  }
}

void TftpServer::transfer(const unsigned char *request, size_t size, const void *peer, unsigned peer_size) {
  int fd = bound_socket(nullptr);
  connect(fd, static_cast<const sockaddr *>(peer), peer_size);
  uint16_t op = field(request);
  std::string name(reinterpret_cast<const char *>(request + 2), strnlen(reinterpret_cast<const char *>(request + 2), size - 2));
  std::filesystem::path path = std::filesystem::path(dir_) / std::filesystem::path(name).relative_path();
  auto fail = [fd](uint16_t code, const char *text) {
    auto p = packet(kError, code, text, std::strlen(text) + 1);
    send(fd, p.data(), p.size(), 0);
  };
  std::vector<unsigned char> in;
  if (name.find("..") != std::string::npos) {
    fail(2, "Access violation");
  } else if (op == kRead) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
      fail(1, "File not found");
    } else {
      std::string data((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
      for (size_t block = 1, offset = 0;; ++block, offset += kBlock) {
        size_t length = std::min(kBlock, data.size() - std::min(offset, data.size()));
        auto p = packet(kData, static_cast<uint16_t>(block), data.data() + std::min(offset, data.size()), length);
        bool acked = false;
        for (int tries = 0; tries < kTries && !acked; ++tries) {
          send(fd, p.data(), p.size(), 0);
          acked = await(fd, kAck, static_cast<uint16_t>(block), in);
        }
        if (!acked || length < kBlock) break;
      }
    }
  } else if (op == kWrite) {
    std::string data;
    bool complete = false;
    for (uint16_t block = 0;; ++block) {
      auto ack = packet(kAck, block);
      bool got = false;
      for (int tries = 0; tries < kTries && !got; ++tries) {
        send(fd, ack.data(), ack.size(), 0);
        got = await(fd, kData, static_cast<uint16_t>(block + 1), in);
      }
      if (!got) break;
      data.append(reinterpret_cast<const char *>(in.data() + 4), in.size() - 4);
      if (in.size() - 4 < kBlock) {
        auto last = packet(kAck, static_cast<uint16_t>(block + 1));
        send(fd, last.data(), last.size(), 0);
        complete = true;
        break;
      }
    }
    if (complete) {
      std::filesystem::create_directories(path.parent_path());
      std::ofstream(path, std::ios::binary) << data;
    }
  } else {
    fail(4, "Illegal TFTP operation");
  }
  close(fd);
}

}  // namespace veltrum::test
