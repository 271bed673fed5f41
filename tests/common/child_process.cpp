#include "tests/common/child_process.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/common/launch.h"

namespace veltrum::test {

ChildProcess::ChildProcess(std::vector<std::string> argv, std::vector<std::string> env) {
  argv = launch_argv(std::move(argv), VELTRUM_BUILD_DIR);
  pid_t parent = getpid();
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("fork failed");
  if (pid_ == 0) {
    // Dies with the test process too, however that ends.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    for (auto &e : env) putenv(strdup(e.c_str()));
    std::vector<char *> args;
    for (auto &a : argv) args.push_back(a.data());
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0 && stop(SIGTERM) < 0) kill_hard();
}

bool ChildProcess::running() {
  if (pid_ <= 0) return false;
  int status = 0;
  pid_t r = waitpid(pid_, &status, WNOHANG);
  if (r == pid_) {
    pid_ = -1;
    return false;
  }
  return true;
}

int ChildProcess::stop(int sig) {
  if (pid_ <= 0) return -1;
  ::kill(pid_, sig);
  // Up to five seconds for an orderly exit, then no more patience.
  for (int i = 0; i < 500; ++i) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return status;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  kill_hard();
  return -1;
}

void ChildProcess::kill_hard() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

std::string build_path(const std::string &relative) { return std::string(VELTRUM_BUILD_DIR) + "/" + relative; }

}  // namespace veltrum::test
