#include "jobs/job_child.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "support/log.h"

pid_t fork_job(const char *name) {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return -1;
  pid_t middle = fork();
  if (middle < 0) {
    close(fds[0]);
    close(fds[1]);
    return -1;
  }
  if (middle == 0) {
    pid_t job = fork();
    if (job == 0) {
      prctl(PR_SET_NAME, name);
      close_range(3, ~0U, 0);
      return 0;
    }
    ssize_t ignored = write(fds[1], &job, sizeof job);
    (void)ignored;
    _exit(job < 0 ? 1 : 0);
  }
  close(fds[1]);
  pid_t job = -1;
  ssize_t n;
  do {
    n = read(fds[0], &job, sizeof job);
  } while (n < 0 && errno == EINTR);
  close(fds[0]);
  while (waitpid(middle, nullptr, 0) < 0 && errno == EINTR) {
  }
  return n == static_cast<ssize_t>(sizeof job) && job > 0 ? job : -1;
}

int job_connect(const char *name, openapiClientHandle_t *client, int seconds) {
  open_error_t rc = openapiClientRegister(name, client);
  if (rc != OPEN_E_NONE) {
    agent_log(3, "Failed to initialize RPC to OpEN. Exiting (result = %d)", rc);
    return -1;
  }
  for (int tried = 0;; ++tried) {
    if (rpcclt_openapiConnectivityCheck(client) == OPEN_E_NONE) return 0;
    if (tried >= seconds) break;
    sleep(1);
  }
  agent_log(3, "%s: the platform service does not answer", name);
  return -1;
}
