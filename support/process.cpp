#include "support/process.h"

#include "support/files.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// What the child sets up between fork and exec. Everything the child needs is
// prepared here by the parent, so the child only makes async-signal-safe calls.
struct ChildSetup {
  const char *file;
  char *const *argv;
  char *const *env;
  const char *stdin_path;
  const char *stdout_path;
  const char *stderr_path;
  int pipe_write;  // -1 when nothing is captured
};

// Receives the child's pid and its captured output.
class OutputSink {
 public:
  virtual ~OutputSink() = default;
  virtual void started(pid_t pid) { (void)pid; }
  virtual void data(const char *bytes, size_t size) = 0;
  virtual void finished() {}
};

// A descriptor that is about to be dup2'ed into 0..2 must not itself sit in
// 0..2, or setting up one stream could clobber the source of another (this
// happens when the agent runs with a standard stream closed).
int lift_above_stdio(int fd) {
  if (fd < 0 || fd > STDERR_FILENO) return fd;
  int moved = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  return moved < 0 ? -1 : moved;
}

int dup_to(int fd, int target) {
  int rc;
  do {
    rc = ::dup2(fd, target);
  } while (rc < 0 && errno == EINTR);
  return rc;
}

void close_inherited_descriptors() {
  if (::close_range(STDERR_FILENO + 1, ~0U, 0) == 0) return;
  // Kernels without close_range: walk up to the descriptor limit.
  struct rlimit limit;
  rlim_t highest = 1024;
  if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY)
    highest = limit.rlim_cur;
  for (rlim_t fd = STDERR_FILENO + 1; fd < highest; ++fd) ::close(static_cast<int>(fd));
}

void reset_signals() {
  struct sigaction dfl;
  std::memset(&dfl, 0, sizeof dfl);
  dfl.sa_handler = SIG_DFL;
  sigemptyset(&dfl.sa_mask);
  // The agent ignores SIGPIPE and may handle others; ignored dispositions
  // survive exec, so every signal goes back to its default first.
  for (int sig = 1; sig < NSIG; ++sig) {
    if (sig == SIGKILL || sig == SIGSTOP) continue;
    ::sigaction(sig, &dfl, nullptr);
  }
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void exec_child(const ChildSetup &setup) {
  reset_signals();

  int in_fd = -1;
  if (setup.stdin_path != nullptr) {
    in_fd = open_retry(setup.stdin_path, O_RDONLY | O_CLOEXEC);
    if (in_fd < 0) ::_exit(127);
  } else {
    // The agent's own standard input is not the child's to read.
    in_fd = open_retry("/dev/null", O_RDONLY | O_CLOEXEC);
  }

  int out_fd = setup.pipe_write;
  if (setup.stdout_path != nullptr) {
    out_fd = open_retry(setup.stdout_path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (out_fd < 0) ::_exit(127);
  }

  int err_fd = setup.pipe_write;
  if (setup.stderr_path != nullptr) {
    if (setup.stdout_path != nullptr && std::strcmp(setup.stdout_path, setup.stderr_path) == 0) {
      err_fd = out_fd;  // one file, one offset: the streams must not overwrite each other
    } else {
      err_fd = open_retry(setup.stderr_path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
      if (err_fd < 0) ::_exit(127);
    }
  }

  in_fd = lift_above_stdio(in_fd);
  out_fd = lift_above_stdio(out_fd);
  err_fd = lift_above_stdio(err_fd);
  if (in_fd >= 0 && dup_to(in_fd, STDIN_FILENO) < 0) ::_exit(127);
  if (out_fd >= 0 && dup_to(out_fd, STDOUT_FILENO) < 0) ::_exit(127);
  if (err_fd >= 0 && dup_to(err_fd, STDERR_FILENO) < 0) ::_exit(127);

  // The listening socket, RPC sockets and other children's pipes stay with
  // the agent.
  close_inherited_descriptors();

  if (setup.env != nullptr)
    ::execvpe(setup.file, setup.argv, setup.env);
  else
    ::execvp(setup.file, setup.argv);
  ::_exit(127);
}

int wait_for(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

// Starts the child, feeds its output to `sink` until every writer has closed
// the pipe, then reaps it.
int run_child(ChildSetup setup, OutputSink &sink) {
  if (setup.file == nullptr) return -1;
  char *fallback_argv[] = {const_cast<char *>(setup.file), nullptr};
  if (setup.argv == nullptr) setup.argv = fallback_argv;

  // Close-on-exec from the start: another thread forking at the same moment
  // must not carry our pipe into its child.
  int fds[2] = {-1, -1};
  bool capture = setup.stdout_path == nullptr || setup.stderr_path == nullptr;
  if (capture && ::pipe2(fds, O_CLOEXEC) != 0) return -1;
  setup.pipe_write = fds[1];

  pid_t pid = ::fork();
  if (pid < 0) {
    if (capture) {
      ::close(fds[0]);
      ::close(fds[1]);
    }
    return -1;
  }
  if (pid == 0) exec_child(setup);

  sink.started(pid);
  if (capture) {
    ::close(fds[1]);
    // Read to the end whatever the sink keeps, so the child never blocks on a
    // full pipe.
    char buffer[16 * 1024];
    for (;;) {
      ssize_t n = ::read(fds[0], buffer, sizeof buffer);
      if (n > 0) {
        sink.data(buffer, static_cast<size_t>(n));
      } else if (n == 0) {
        break;
      } else if (errno != EINTR) {
        break;
      }
    }
    ::close(fds[0]);
  }
  sink.finished();
  return wait_for(pid);
}

class BufferSink : public OutputSink {
 public:
  BufferSink(char *output, size_t size) : output_(size > 0 ? output : nullptr), size_(size) {
    if (output_ != nullptr) output_[0] = '\0';
  }
  void data(const char *bytes, size_t size) override {
    if (output_ == nullptr || used_ + 1 >= size_) return;
    size_t room = size_ - 1 - used_;
    size_t take = size < room ? size : room;
    std::memcpy(output_ + used_, bytes, take);
    used_ += take;
    output_[used_] = '\0';
  }

 private:
  char *output_;
  size_t size_;
  size_t used_ = 0;
};

class LineSink : public OutputSink {
 public:
  LineSink(execvp_line_cb callback, void *arg) : callback_(callback), arg_(arg) {}
  void started(pid_t pid) override {
    char line[32];
    std::snprintf(line, sizeof line, "pid: %d\n", static_cast<int>(pid));
    deliver(line);
  }
  void data(const char *bytes, size_t size) override {
    // Only the new bytes are searched, so a long line arriving in many reads
    // is not rescanned each time.
    size_t search_from = pending_.size();
    pending_.append(bytes, size);
    size_t start = 0;
    for (;;) {
      size_t newline = pending_.find('\n', search_from);
      if (newline == std::string::npos) break;
      line_.assign(pending_, start, newline + 1 - start);
      deliver(line_.c_str());
      start = search_from = newline + 1;
    }
    pending_.erase(0, start);
  }
  void finished() override {
    if (!pending_.empty()) deliver(pending_.c_str());
    pending_.clear();
  }

 private:
  void deliver(const char *line) {
    if (callback_ != nullptr) callback_(line, arg_);
  }

  execvp_line_cb callback_;
  void *arg_;
  std::string pending_;  // grows as needed: lines have no length limit
  std::string line_;
};

}  // namespace

char *add_arg(const char *format, ...) {
  va_list args;
  va_start(args, format);
  char *text = nullptr;
  int rc = vasprintf(&text, format, args);
  va_end(args);
  if (rc < 0 || text == nullptr) {
    // A missing entry would silently cut the argument vector short.
    static const char message[] = "veltrum: out of memory in add_arg\n";
    ssize_t ignored = ::write(STDERR_FILENO, message, sizeof message - 1);
    (void)ignored;
    std::abort();
  }
  return text;
}

void argv_free(char **argv) {
  if (argv == nullptr) return;
  for (char **p = argv; *p != nullptr; ++p) std::free(*p);
  std::free(argv);
}

int execvp_cmd(const char *file, char *const argv[], char *output, size_t output_size) {
  BufferSink sink(output, output_size);
  ChildSetup setup{file, argv, nullptr, nullptr, nullptr, nullptr, -1};
  return run_child(setup, sink);
}

int execvp_cmd_cb_arg(const char *file, const char *stdin_path, const char *stdout_path,
                      const char *stderr_path, execvp_line_cb line_cb, void *cb_arg,
                      char *const env[], char *const argv[]) {
  LineSink sink(line_cb, cb_arg);
  ChildSetup setup{file, argv, env, stdin_path, stdout_path, stderr_path, -1};
  return run_child(setup, sink);
}

int process_handle_open(pid_t pid) {
  if (pid <= 0) {
    errno = ESRCH;
    return -1;
  }
  // Through syscall(): the C library's header of these calls lacks C linkage
  // in some releases.
  return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
}

namespace {

int send_signal(int handle, int sig) {
  return static_cast<int>(::syscall(SYS_pidfd_send_signal, handle, sig, nullptr, 0));
}

// Waits until the process of a pidfd has ended; false when `timeout_ms` (-1:
// no limit) passed first.
bool wait_ended(int handle, int timeout_ms) {
  struct pollfd watch = {handle, POLLIN, 0};
  for (;;) {
    int rc = ::poll(&watch, 1, timeout_ms);
    if (rc > 0) return true;
    if (rc == 0) return false;
    if (errno != EINTR) return true;  // a handle that cannot be watched has nothing left to wait for
  }
}

}  // namespace

int process_terminate(int handle, pid_t pid, int grace_ms) {
  if (handle < 0) {
    if (pid <= 0) return -1;
    return ::kill(pid, SIGTERM) == 0 || errno == ESRCH ? 0 : -1;
  }
  if (send_signal(handle, SIGTERM) != 0) {
    // ESRCH: it had ended already (possibly reaped).
    return errno == ESRCH ? 0 : -1;
  }
  if (wait_ended(handle, grace_ms)) return 0;
  if (send_signal(handle, SIGKILL) != 0 && errno != ESRCH) return -1;
  wait_ended(handle, -1);
  return 0;
}
