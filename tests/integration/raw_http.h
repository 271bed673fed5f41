// A plain TCP connection to the agent, for what libcurl does not send on
// request: a body in pieces with pauses between them, contradictory length
// headers, connections that stay open and idle.
//
//   RawConnection c;
//   c.send(request_head("POST", "/api/v1/ping", auth, {"Content-Length: 2"}));
//   c.send("{}");
//   std::optional<RawAnswer> a = c.read_answer();
#pragma once

#include <chrono>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "tests/integration/harness.h"

namespace veltrum::test {

struct RawAnswer {
  int status = 0;
  std::string head;  // status line and headers
  std::string body;
  // Whether the head has this header line (exact text, e.g. "Connection: close").
  bool has_header(std::string_view line) const;
};

// The head of a request: request line, Host, the credentials as curl would
// send them (cookie, Bearer token), the extra header lines, the empty line.
std::string request_head(const std::string &method, const std::string &path, const Credentials &credentials,
                         std::initializer_list<std::string> headers);

class RawConnection {
 public:
  RawConnection();  // connected to 127.0.0.1:8445; throws when it cannot connect
  ~RawConnection();
  RawConnection(const RawConnection &) = delete;
  RawConnection &operator=(const RawConnection &) = delete;

  // False when the agent no longer takes bytes.
  bool send(std::string_view bytes);
  // The next answer (its body read by Content-Length); nothing when the
  // connection ends or `limit` passes first.
  std::optional<RawAnswer> read_answer(std::chrono::milliseconds limit = std::chrono::seconds(20));
  // Whether the agent closes the connection within `limit`; what arrives
  // before the end is dropped.
  bool closed_by_peer(std::chrono::milliseconds limit);
  void close();

 private:
  // Reads more into buffer_; false at the end of the stream or at the deadline.
  bool fill(std::chrono::steady_clock::time_point deadline);

  int fd_ = -1;
  std::string buffer_;
};

}  // namespace veltrum::test
