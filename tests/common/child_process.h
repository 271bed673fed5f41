// A program started for a test, stopped (SIGTERM, then SIGKILL) and reaped
// when the object goes away, and killed when the test process ends, so a
// failing or crashing test never leaves a stray process behind.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace veltrum::test {

class ChildProcess {
 public:
  // Starts `argv[0]` with `argv` and, when given, extra "KEY=value"
  // environment entries on top of the test's own.
  ChildProcess(std::vector<std::string> argv, std::vector<std::string> env = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess &) = delete;
  ChildProcess &operator=(const ChildProcess &) = delete;

  pid_t pid() const { return pid_; }
  bool running();
  // Sends `sig` and waits for the exit; the exit status, or -1.
  int stop(int sig = 15);
  // SIGKILL without waiting for anything to be flushed: a crash.
  void kill_hard();

 private:
  pid_t pid_ = -1;
};

// Path of a program in the build tree, e.g. build_path("sim/veltrum-simd").
std::string build_path(const std::string &relative);

}  // namespace veltrum::test
