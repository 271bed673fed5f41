// The worker manager: named single-run worker threads.
//
// A worker is created with a name, a five-slot callback descriptor and a
// user argument. Its thread calls slot 2 (run) once and then ends; the worker
// then no longer exists. destroy_worker(name) calls slot 5 (prepare_stop) on
// the caller's thread, which must make run return (kill its child process,
// say), then joins the thread. Names are unique among live workers.
#pragma once

struct Worker;

typedef void (*worker_cb)(Worker *worker);

// Slots 1, 3 and 4 are reserved (never called by this manager); 2 is run,
// 5 is prepare_stop. Empty slots are skipped.
struct WorkerCallbacks {
  worker_cb slot1;
  worker_cb run;
  worker_cb slot3;
  worker_cb slot4;
  worker_cb prepare_stop;
};

// The user argument given at creation, and the worker's name.
void *worker_arg(Worker *worker);
const char *worker_name(Worker *worker);

int init_worker_manager();
// 0 created; -1 when the manager is not initialised, the name is taken or
// the thread could not be started.
int create_single_run_worker(const char *name, const WorkerCallbacks *callbacks, void *arg);
// Non-zero while a worker of that name is alive (its run has not returned).
int worker_exists(const char *name);
// prepare_stop, then join. 0, or -1 when no worker of that name exists (its
// run has already returned, or another caller is destroying it), or when
// called from that worker's own run. The name stays taken until this returns.
int destroy_worker(const char *name);
// Destroys every live worker, then the manager.
void destroy_worker_manager();
