#include "jobs/job.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/device.h"
#include "support/files.h"
#include "support/log.h"
#include "support/mem.h"
#include "support/process.h"

namespace veltrum::jobs {

namespace {

// How long a program may take to end after SIGTERM before it gets SIGKILL.
constexpr int kStopGraceMs = 2000;

// Holds a kind's lock for reading or writing for one scope.
template <bool Write>
class RecordLock {
 public:
  explicit RecordLock(JobStatus &s) : lock_(&s.lock) {
    if (Write)
      pthread_rwlock_wrlock(lock_);
    else
      pthread_rwlock_rdlock(lock_);
  }
  ~RecordLock() { pthread_rwlock_unlock(lock_); }
  RecordLock(const RecordLock &) = delete;
  RecordLock &operator=(const RecordLock &) = delete;

 private:
  pthread_rwlock_t *lock_;
};
using ReadLock = RecordLock<false>;
using WriteLock = RecordLock<true>;

// Under the write lock. The ping test clears the whole record; the
// traceroute only its message, so a stopped traceroute keeps its last pid.
void reset(const JobKind &kind) {
  JobStatus &s = *kind.status;
  if (kind.full_reset) {
    s.state = JOB_NEVER_RUN;
    s.result = 0;
    s.pid = -1;
  }
  std::free(s.message);
  s.message = nullptr;
}

// Logs one of the kind's texts; they take at most one number.
void log_kind(int level, const char *format, ...) {
  va_list args;
  va_start(args, format);
  agent_vlog(level, format, args);
  va_end(args);
}

void remove_if_present(const char *path) {
  if (access(path, F_OK) == 0) unlink(path);
}

// What the job body hands its line callback.
struct LineContext {
  const JobKind *kind;
  const char *path;  // the status file, under the device root
  bool first;        // the next line is the runner's own "pid: N" report
};

// A line that carries "pid:" anywhere is a pid report: it goes to the
// record, never to the file. Only the runner's own first report names the
// child the stop hook may end; a later output line that happens to contain
// "pid:" changes the record's pid and nothing else.
void report_pid(LineContext &context, const char *line) {
  char key[128];
  char value[128];
  bool first = context.first;
  context.first = false;
  if (std::sscanf(line, "%127[^:]: %127[^\n]", key, value) != 2) return;

  JobStatus &s = *context.kind->status;
  pid_t child = first ? static_cast<pid_t>(std::atoi(value)) : -1;
  int handle = first ? process_handle_open(child) : -1;
  bool end_now = false;
  {
    WriteLock lock(s);
    s.pid = std::atoi(value);
    if (first) {
      end_now = s.stop_requested;
      s.child = end_now ? -1 : handle;
      s.child_pid = end_now ? -1 : child;
    }
  }
  // A stop came while the program was being started: end it at once.
  if (end_now) {
    process_terminate(handle, child, kStopGraceMs);
    if (handle >= 0) close(handle);
  }
}

void job_line(const char *line, void *arg) {
  if (line == nullptr) return;
  LineContext &context = *static_cast<LineContext *>(arg);
  if (std::strstr(line, "pid:") != nullptr) {
    report_pid(context, line);
    return;
  }
  context.first = false;
  // One open and close per line; a file that cannot be opened drops the line.
  FILE *file = std::fopen(context.path, "a");
  if (file == nullptr) return;
  std::fputs(line, file);
  std::fclose(file);
}

}  // namespace

int job_init(const JobKind &kind) {
  JobStatus &s = *kind.status;
  int rc = rwlock_prefer_reader_init(&s.lock);
  if (rc != 0) {
    log_kind(3, kind.init_failed_log, rc);
    return rc;
  }
  {
    WriteLock lock(s);
    reset(kind);
  }
  s.ready = true;
  return 0;
}

void job_fini(const JobKind &kind) {
  JobStatus &s = *kind.status;
  if (!s.ready) return;
  if (worker_exists(kind.name)) destroy_worker(kind.name);
  s.ready = false;
  int rc = pthread_rwlock_destroy(&s.lock);
  if (rc != 0) log_kind(3, kind.fini_failed_log, rc);
  std::free(s.message);
  s.message = nullptr;
}

int job_exists(const JobKind &kind) { return worker_exists(kind.name); }

int job_start(const JobKind &kind, void *request) {
  if (request == nullptr) return JOB_NOT_DONE;
  JobStatus &s = *kind.status;
  if (!s.ready) {
    kind.free_request(request);
    return JOB_NOT_DONE;
  }
  if (worker_exists(kind.name)) {
    agent_log(kind.busy_log_level, "%s", kind.busy_log);
    kind.free_request(request);
    return JOB_BUSY;
  }
  {
    WriteLock lock(s);
    reset(kind);
    s.state = JOB_RUNNING;
    s.stop_requested = false;
  }
  if (create_single_run_worker(kind.name, kind.callbacks, request) != 0) {
    agent_log(3, "%s", kind.create_failed_log);
    {
      WriteLock lock(s);
      reset(kind);
      s.state = JOB_FAILED;
    }
    kind.free_request(request);
    return JOB_NOT_DONE;
  }
  return JOB_OK;
}

int job_stop(const JobKind &kind) {
  JobStatus &s = *kind.status;
  if (!s.ready || !worker_exists(kind.name)) return JOB_NOT_DONE;
  destroy_worker(kind.name);
  WriteLock lock(s);
  reset(kind);
  s.state = JOB_STOPPED;
  return JOB_OK;
}

json_object *job_status_view(const JobKind &kind) {
  JobStatus &s = *kind.status;
  if (!s.ready) return nullptr;
  ReadLock lock(s);
  if (s.state != JOB_FINISHED && s.state != JOB_RUNNING && s.state != JOB_STOPPED) return nullptr;
  json_object *view = json_object_new_object();
  json_object_object_add(view, "state", json_object_new_int(s.state));
  const char *message = (s.message != nullptr && *s.message != '\0') ? s.message : "";
  json_object_object_add(view, kind.message_key, json_object_new_string(message));
  return view;
}

void job_run(const JobKind &kind, Worker *worker) {
  JobStatus &s = *kind.status;
  void *request = worker_arg(worker);
  char **argv = kind.build_argv(request);
  kind.free_request(request);

  std::string path = device_path(kind.status_file);
  remove_if_present(path.c_str());

  bool stopped;
  {
    ReadLock lock(s);
    stopped = s.stop_requested;
  }
  int status = -1;
  if (!stopped && argv != nullptr && argv[0] != nullptr) {
    LineContext context{&kind, path.c_str(), true};
    status = execvp_cmd_cb_arg(argv[0], nullptr, nullptr, nullptr, job_line, &context, nullptr, argv);
  }
  argv_free(argv);
  log_kind(7, kind.exec_log, status);

  int handle;
  {
    WriteLock lock(s);
    s.state = status == 0 ? JOB_FINISHED : JOB_FAILED;
    if (status == 0) s.result = 0;
    std::free(s.message);
    s.message = load_file(path.c_str());
    remove_if_present(path.c_str());
    handle = s.child;
    s.child = -1;
    s.child_pid = -1;
  }
  if (handle >= 0) close(handle);
}

void job_prepare_stop(const JobKind &kind, Worker *) {
  JobStatus &s = *kind.status;
  int handle;
  pid_t child;
  {
    WriteLock lock(s);
    s.pid = -1;
    s.stop_requested = true;
    handle = s.child;
    child = s.child_pid;
    s.child = -1;
    s.child_pid = -1;
  }
  // The job body's runner reaps the program; destroy_worker's join then
  // waits for the body to end.
  if (handle >= 0 || child > 0) process_terminate(handle, child, kStopGraceMs);
  if (handle >= 0) close(handle);
  if (kind.stop_end_log != nullptr) agent_log(7, "%s", kind.stop_end_log);
}

}  // namespace veltrum::jobs
