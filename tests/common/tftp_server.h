// A TFTP server on the loopback for tests (RFC 1350, octet mode, no
// options): serves reads from and stores writes into one directory, one
// transfer at a time, on a free UDP port.
//
//   TftpServer server(dir.path());
//   setenv("VELTRUM_TFTP_PORT", std::to_string(server.port()).c_str(), 1);
#pragma once

#include <atomic>
#include <string>
#include <thread>

namespace veltrum::test {

class TftpServer {
 public:
  explicit TftpServer(std::string dir);
  ~TftpServer();
  TftpServer(const TftpServer &) = delete;
  TftpServer &operator=(const TftpServer &) = delete;

  int port() const { return port_; }
  const std::string &dir() const { return dir_; }

 private:
  void serve();
  void transfer(const unsigned char *request, size_t size, const void *peer, unsigned peer_size);

  std::string dir_;
  int fd_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

}  // namespace veltrum::test
