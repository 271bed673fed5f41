#include "jobs/fw_child.h"

#include <dirent.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>

#include "support/log.h"
#include "support/worker.h"

namespace veltrum::jobs {

namespace {

// How long a child may take to end after SIGTERM before its group gets SIGKILL.
constexpr auto kStopGrace = std::chrono::seconds(2);

// The children not yet reaped. A pid stays here until its reaper has reaped
// it, so a pid found here under the mutex still names that child (a zombie
// at worst) and may be signalled.
struct Children {
  std::mutex mutex;
  std::condition_variable reaped;
  std::set<pid_t> running;
};

Children &children() {
  static Children *c = new Children();  // reaper threads may outlive main
  return *c;
}

pid_t worker_pid(Worker *worker) { return static_cast<pid_t>(reinterpret_cast<intptr_t>(worker_arg(worker))); }

void reap_child(Worker *worker) {
  pid_t pid = worker_pid(worker);
  // Wait for the end without reaping, so the pid stays the child's while a
  // stop may still signal it; then reap under the mutex.
  siginfo_t info{};
  while (::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) < 0 && errno == EINTR) {
  }
  Children &c = children();
  std::lock_guard<std::mutex> lock(c.mutex);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFSIGNALED(status)) agent_log(7, "Child %d ended by signal %d.", static_cast<int>(pid), WTERMSIG(status));
  c.running.erase(pid);
  c.reaped.notify_all();
}

void stop_child(Worker *worker) {
  pid_t pid = worker_pid(worker);
  Children &c = children();
  std::unique_lock<std::mutex> lock(c.mutex);
  if (c.running.count(pid) == 0) return;
  ::kill(pid, SIGTERM);
  if (!c.reaped.wait_for(lock, kStopGrace, [&] { return c.running.count(pid) == 0; })) {
    // Still unreaped, so the pid and its group are still the child's.
    ::kill(-pid, SIGKILL);
    ::kill(pid, SIGKILL);
  }
}

const WorkerCallbacks kReaper = {nullptr, &reap_child, nullptr, nullptr, &stop_child};

// SIGTERM in a child: the same signal to its whole group (itself included,
// with the default action by then), so curl ends with it.
void end_group(int) {
  ::signal(SIGTERM, SIG_DFL);
  ::kill(0, SIGTERM);
}

// Closes the agent's IPv4 and IPv6 sockets in a child (the listener and the
// client connections). Local sockets (the platform channel, syslog) stay.
void close_network_sockets() {
  DIR *dir = ::opendir("/proc/self/fd");
  if (!dir) return;
  int own = ::dirfd(dir);
  std::set<int> sockets;
  while (dirent *entry = ::readdir(dir)) {
    char *end = nullptr;
    long fd = std::strtol(entry->d_name, &end, 10);
    if (*end != '\0' || fd <= STDERR_FILENO || fd == own) continue;
    struct stat st {};
    if (::fstat(static_cast<int>(fd), &st) != 0 || !S_ISSOCK(st.st_mode)) continue;
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (::getsockname(static_cast<int>(fd), reinterpret_cast<sockaddr *>(&address), &length) != 0) continue;
    if (address.ss_family == AF_INET || address.ss_family == AF_INET6) sockets.insert(static_cast<int>(fd));
  }
  ::closedir(dir);
  for (int fd : sockets) ::close(fd);
}

[[noreturn]] void child_main(pid_t parent, const char *name, const std::function<int()> &body) {
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (::getppid() != parent) ::_exit(1);  // the agent ended before the line above
  struct sigaction action {};
  action.sa_handler = &end_group;
  sigemptyset(&action.sa_mask);
  ::sigaction(SIGTERM, &action, nullptr);
  sigset_t unblock;
  sigemptyset(&unblock);
  sigaddset(&unblock, SIGTERM);
  ::sigprocmask(SIG_UNBLOCK, &unblock, nullptr);
  ::prctl(PR_SET_NAME, name);
  close_network_sockets();
  ::_exit(body());
}

}  // namespace

pid_t start_child(const char *name, const std::function<int()> &body) {
  pid_t parent = ::getpid();
  Children &c = children();
  pid_t pid;
  {
    // Held across the fork so the new pid is listed before its reaper can
    // look for it.
    std::lock_guard<std::mutex> lock(c.mutex);
    pid = ::fork();
    if (pid < 0) return -1;
    if (pid == 0) child_main(parent, name, body);
    ::setpgid(pid, pid);  // as the child does: the group exists whichever runs first
    c.running.insert(pid);
  }
  std::string worker = std::string(name) + " " + std::to_string(pid);
  if (create_single_run_worker(worker.c_str(), &kReaper, reinterpret_cast<void *>(static_cast<intptr_t>(pid))) == 0)
    return pid;
  // Without a reaper the child would be left a zombie: end it now.
  agent_log(3, "Failed to create the reaper of %s.", worker.c_str());
  ::kill(-pid, SIGKILL);
  ::kill(pid, SIGKILL);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  std::lock_guard<std::mutex> lock(c.mutex);
  c.running.erase(pid);
  return -1;
}

bool child_running(pid_t pid) {
  Children &c = children();
  std::lock_guard<std::mutex> lock(c.mutex);
  return c.running.count(pid) != 0;
}

}  // namespace veltrum::jobs

namespace veltrum::jobs {

size_t children_running() {
  Children &c = children();
  std::lock_guard<std::mutex> lock(c.mutex);
  return c.running.size();
}

}  // namespace veltrum::jobs
