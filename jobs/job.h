// Worker jobs: a program that outlives the HTTP request that started it.
//
// A job kind (the ping test, the traceroute) runs at most one program at a
// time, on a named single-run worker of the worker manager (support/worker.h).
// Its status record is guarded by a reader-preferring read/write lock, so
// status polls never wait behind a queued writer. The program is started
// with execvp_cmd_cb_arg (support/process.h): its output streams line by
// line into the kind's status file under /tmp (one open and close per line,
// so the file is complete if the agent dies mid-run), and when the program
// ends the whole file becomes the record's message and the file is removed.
//
// States: -1 never run, 1 running, 0 finished (exit status 0), 2 failed
// (non-zero exit, or the program could not be run, or the worker could not
// be created), 3 stopped. The status view shows 0, 1 and 3 only.
//
// Threads: start, stop and the status view run on the HTTP thread; the job
// body and its line callback on the worker's thread; the stop hook on the
// thread that destroys the worker (the HTTP thread, or main at shut-down).
// Every read of the record takes the read lock, every change the write lock,
// and no lock is held while a program is started, signalled or awaited, or
// while a worker is created or destroyed. No code holds two kinds' locks.
//
// Decisions of our own, beyond the record's documented fields:
// - The stop hook ends the program through a process handle taken when the
//   runner reported the child (process_terminate), never through the bare
//   pid: once the job body's runner has reaped the child, that pid may
//   belong to another process. The runner reaps; the hook only waits until
//   the program has ended, and ends it with SIGKILL when SIGTERM has not
//   done so within two seconds.
// - A stop that arrives before the program has started is remembered: the
//   job body then starts nothing, and a program started at that very moment
//   is ended as soon as the runner reports it.
// - The job body releases the request once it has built the argument vector
//   from it, so the stop hook has no request left to release.
// - Shutting a kind down first stops its running job, so its lock is never
//   destroyed under a live worker.
#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <cstdint>

#include <json-c/json.h>

#include "support/worker.h"

namespace veltrum::jobs {

enum JobState : int32_t {
  JOB_NEVER_RUN = -1,
  JOB_FINISHED = 0,
  JOB_RUNNING = 1,
  JOB_FAILED = 2,
  JOB_STOPPED = 3,
};

// Results of job_start and job_stop.
enum : int {
  JOB_OK = 0,
  JOB_BUSY = 1,      // start: a job of the kind is running already
  JOB_NOT_DONE = 2,  // start: failed or no request; stop: no job is running
};

// The status record of one job kind (one static instance per kind).
struct JobStatus {
  pthread_rwlock_t lock{};
  int32_t state = JOB_NEVER_RUN;
  int32_t result = 0;  // 0 after a run that exited 0; no view reads it
  int32_t pid = -1;    // the last pid reported on an output line, -1 when none
  char *message = nullptr;  // the whole output of the last run that ended (malloc)

  // The program the runner started, as a process handle (-1 when none) and
  // as its pid, for the stop hook.
  int child = -1;
  pid_t child_pid = -1;
  bool stop_requested = false;  // set by the stop hook, cleared by each start
  bool ready = false;           // the lock is initialised (HTTP and main thread only)
};

// What tells one job kind from another.
struct JobKind {
  const char *name;         // the worker's name
  const char *status_file;  // device path of the status file
  const char *message_key;  // text member of the status view
  bool full_reset;          // reset clears state, result and pid too, not only the message
  int busy_log_level;
  const char *busy_log;           // start refused: a job runs
  const char *create_failed_log;  // the worker could not be created (level 3)
  const char *exec_log;           // "%d": the program's exit status (level 7)
  const char *init_failed_log;    // "%d": the lock's error (level 3)
  const char *fini_failed_log;    // "%d": the lock's error (level 3)
  const char *stop_end_log;       // logged (level 7) at the end of the stop hook; may be null
  // The program's argument vector built from a request (argv_free releases
  // it; argument 0 names the program), and the request's release.
  char **(*build_argv)(const void *request);
  void (*free_request)(void *request);
  const WorkerCallbacks *callbacks;  // slot 2 calls job_run, slot 5 job_prepare_stop
  JobStatus *status;
};

// 0, or the lock's error (logged).
int job_init(const JobKind &kind);
// Stops a running job, destroys the lock (a failure is logged) and releases
// the message.
void job_fini(const JobKind &kind);
// Non-zero while a worker of the kind exists.
int job_exists(const JobKind &kind);
// Takes the request (null: JOB_NOT_DONE). JOB_OK once the worker is started
// (it owns the request from then on); JOB_BUSY or JOB_NOT_DONE otherwise,
// with the request released.
int job_start(const JobKind &kind, void *request);
// JOB_OK once the running job has been stopped and its program has ended;
// JOB_NOT_DONE when no job runs.
int job_stop(const JobKind &kind);
// {"state": n, <message_key>: text} for states 0, 1 and 3; null otherwise
// (never run, failed) or before job_init. The caller owns the object.
json_object *job_status_view(const JobKind &kind);

// The worker's slots, called by each kind's own slot functions.
void job_run(const JobKind &kind, Worker *worker);
void job_prepare_stop(const JobKind &kind, Worker *worker);

}  // namespace veltrum::jobs
