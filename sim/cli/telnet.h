// The switch CLI's telnet service on 127.0.0.1: what the agent's CLI bridge
// talks to.
//
// It listens on port 60000, or (under a development root, when 60000 is
// taken) on the port recorded in the root's port file or one the system
// picks, and records the port it took there (support/cli_port.h). Each
// connection is greeted as a telnet server greets (it offers to echo and to
// suppress go-ahead, and ignores whatever the client negotiates), asked for
// "User:" and "Password:" (a local user of the platform; three wrong
// answers end the connection, as does a locked account), and then runs the
// CLI (sim/cli/shell.h) line by line, echoing each line. A line ends with
// CR, LF, CR LF or CR NUL; other NUL bytes are ignored. Each line's answer
// (echo, output, next prompt) is sent in one piece. At most five sessions
// run at once. "cli.fault" (sim/cli/model.h) makes the service misbehave
// for tests.
//
// Every line received is recorded in "/var/log/cli-telnet.log" under the
// root with its raw bytes escaped (\0, \r, \n, \xNN), passwords excepted:
//   3 open
//   3 user "admin\0\r\n"
//   3 login admin            (or: 3 login refused)
//   3 line "show ptp clock e2e-transparent\0\r\n"
//   3 close
#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include "sim/sim.h"

#define SIM_CLI_TRANSCRIPT "/var/log/cli-telnet.log"

namespace veltrum::sim::cli {

class TelnetService {
 public:
  explicit TelnetService(Sim &sim);
  ~TelnetService();
  TelnetService(const TelnetService &) = delete;
  TelnetService &operator=(const TelnetService &) = delete;

  // Listens and starts serving; false (errno set) when no port can be had.
  bool start();
  // Closes every session and the listener.
  void stop();
  int port() const { return port_; }

  static constexpr size_t kMaxSessions = 5;
  static constexpr int kLoginAttempts = 3;

 private:
  struct Session;
  void run();
  void accept_session();
  bool read_session(Session &s);
  void take_line(Session &s, const std::string &text, const std::string &raw);
  void flush(Session &s);
  void record(unsigned id, const std::string &what);

  Sim &sim_;
  int listen_fd_ = -1;
  int wake_fd_ = -1;
  int transcript_fd_ = -1;
  int port_ = 0;
  unsigned next_id_ = 1;
  std::atomic<bool> stopping_{false};
  std::thread thread_;
  std::list<std::unique_ptr<Session>> sessions_;
};

}  // namespace veltrum::sim::cli
