// The service end of the RPC channel, used by the platform service (the
// simulated switch). It listens on a Unix stream socket, serves each client
// connection on a thread of its own, and hands every call to its CallSink.
// make_handler<Sig>(fn) turns a function with a call's exact signature into
// a handler that decodes the arguments, runs the function (or answers an
// injected fault) and encodes the answer.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>

#include "platform/client.h"
#include "platform/rpc_codec.h"

namespace veltrum::rpc {

// One decoded call: reads its arguments from `in`, writes result and out
// arguments to `out`; false when the arguments do not decode. With a
// `fault`, the call does not run: the arguments are decoded and checked as
// always, the out arguments go back as they came, and the result is
// *fault (an injected failure costs no second adapter per call).
using CallHandler =
    std::function<bool(openapiClientHandle_t *client, Reader &in, Writer &out, const open_error_t *fault)>;

template <typename Sig>
struct Adapter;
template <typename... A>
struct Adapter<open_error_t(openapiClientHandle_t *, A...)> {
  template <typename F>
  static CallHandler make(F fn) {
    return [fn = std::move(fn)](openapiClientHandle_t *client, Reader &in, Writer &out,
                                const open_error_t *fault) -> bool {
      std::tuple<typename Codec<A>::Slot...> slots;
      bool decoded = std::apply([&](auto &...s) { return (Codec<A>::decode(in, s) && ... && true); }, slots);
      if (!decoded || !in.at_end()) return false;
      open_error_t rc = fault ? *fault : std::apply([&](auto &...s) { return fn(client, s.arg()...); }, slots);
      out.i32(rc);
      std::apply([&](auto &...s) { (Codec<A>::encode(out, s), ...); }, slots);
      return true;
    };
  }
};

template <typename Sig, typename F>
CallHandler make_handler(F fn) {
  return Adapter<Sig>::template make<F>(std::move(fn));
}

// What the server asks of the service behind it.
class CallSink {
 public:
  virtual ~CallSink() = default;
  // Serves call `id`; writes the answer into `out`. False ends the
  // connection (a malformed or unknown call).
  virtual bool serve(uint32_t id, openapiClientHandle_t *client, Reader &in, Writer &out) = 0;
};

class Server {
 public:
  Server(std::string socket_path, CallSink &sink);
  ~Server();
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

  // Binds and listens; false (with errno set) when the socket cannot be made.
  bool start();
  // Stops listening, ends every connection and joins their threads.
  void stop();
  // Closes the listener and every connection now, and opens the listener
  // again after `downtime`: what clients see of a platform restart.
  void go_down(std::chrono::milliseconds downtime);
  // The same, but only once the answer to the call now being served has
  // been sent (a call that takes the service down still answers). Called
  // from a call's implementation: the answer waited for is that call's own,
  // not whichever another connection sends first. Anywhere else it is
  // go_down.
  void go_down_after_answer(std::chrono::milliseconds downtime);
  bool listening() const { return listen_fd_.load() >= 0; }

 private:
  void accept_loop();
  void serve_connection(int fd);
  bool open_listener();
  void close_listener();
  void drop_connections();

  std::string path_;
  CallSink &sink_;
  std::atomic<int> listen_fd_{-1};
  std::atomic<bool> stopping_{false};
  std::atomic<int64_t> down_until_ms_{0};
  std::thread acceptor_;
  std::mutex conns_mu_;
  struct Conn {
    int fd;
    std::thread thread;
    bool done = false;
  };
  std::list<Conn> conns_;
};

}  // namespace veltrum::rpc
