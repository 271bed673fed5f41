#include "support/worker.h"

#include <map>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

// A worker is owned by the table until one of two things happens, both
// decided under the table mutex:
//  - its run returns while nobody is stopping it: the worker thread removes
//    the entry, detaches itself and frees the worker;
//  - destroy_worker (or destroy_worker_manager) claims it first: the claimer
//    calls prepare_stop, joins, removes the entry and frees the worker, and
//    the worker thread only records that its run returned.
// So every thread is either joined once or detached once, and the worker is
// freed exactly once. The mutex is never held across a callback or a join.
struct Worker {
  std::string name;
  WorkerCallbacks callbacks;
  void *arg;
  std::thread thread;
  bool stopping = false;  // claimed by a destroyer, which joins and frees it
  bool finished = false;  // run returned (only recorded while stopping)
};

namespace {

struct Manager {
  std::mutex mutex;
  bool ready = false;
  std::map<std::string, Worker *, std::less<>> workers;
};

Manager &manager() {
  // Never destroyed: a detached worker thread may still be finishing while
  // the process exits.
  static Manager *m = new Manager();
  return *m;
}

void worker_main(Worker *worker) {
  if (worker->callbacks.run != nullptr) worker->callbacks.run(worker);

  Manager &m = manager();
  std::unique_lock<std::mutex> lock(m.mutex);
  if (worker->stopping) {
    worker->finished = true;
    return;
  }
  m.workers.erase(worker->name);
  worker->thread.detach();
  lock.unlock();
  delete worker;
}

// Runs on the destroyer's thread for a worker it has claimed.
void stop_claimed(Worker *worker) {
  if (worker->callbacks.prepare_stop != nullptr) worker->callbacks.prepare_stop(worker);
  worker->thread.join();

  Manager &m = manager();
  {
    std::lock_guard<std::mutex> lock(m.mutex);
    auto it = m.workers.find(worker->name);
    if (it != m.workers.end() && it->second == worker) m.workers.erase(it);
  }
  delete worker;
}

}  // namespace

void *worker_arg(Worker *worker) { return worker != nullptr ? worker->arg : nullptr; }

const char *worker_name(Worker *worker) {
  return worker != nullptr ? worker->name.c_str() : nullptr;
}

int init_worker_manager() {
  Manager &m = manager();
  std::lock_guard<std::mutex> lock(m.mutex);
  m.ready = true;
  return 0;
}

int create_single_run_worker(const char *name, const WorkerCallbacks *callbacks, void *arg) {
  if (name == nullptr || callbacks == nullptr) return -1;
  Manager &m = manager();
  std::lock_guard<std::mutex> lock(m.mutex);
  if (!m.ready || m.workers.count(std::string_view(name)) != 0) return -1;

  Worker *worker = new Worker{name, *callbacks, arg, {}};
  auto slot = m.workers.emplace(worker->name, worker).first;
  try {
    // The new thread cannot finish before the assignment below: its last
    // step takes the mutex held here.
    worker->thread = std::thread(worker_main, worker);
  } catch (const std::system_error &) {
    m.workers.erase(slot);
    delete worker;
    return -1;
  }
  return 0;
}

int worker_exists(const char *name) {
  if (name == nullptr) return 0;
  Manager &m = manager();
  std::lock_guard<std::mutex> lock(m.mutex);
  auto it = m.workers.find(std::string_view(name));
  return it != m.workers.end() && !it->second->finished ? 1 : 0;
}

int destroy_worker(const char *name) {
  if (name == nullptr) return -1;
  Manager &m = manager();
  Worker *worker = nullptr;
  {
    std::lock_guard<std::mutex> lock(m.mutex);
    if (!m.ready) return -1;
    auto it = m.workers.find(std::string_view(name));
    if (it == m.workers.end() || it->second->stopping) return -1;
    worker = it->second;
    // A run cannot wait for its own end.
    if (worker->thread.get_id() == std::this_thread::get_id()) return -1;
    worker->stopping = true;
  }
  stop_claimed(worker);
  return 0;
}

void destroy_worker_manager() {
  Manager &m = manager();
  std::vector<Worker *> claimed;
  {
    std::lock_guard<std::mutex> lock(m.mutex);
    m.ready = false;  // no new workers from here on
    for (auto &entry : m.workers) {
      Worker *worker = entry.second;
      if (worker->stopping || worker->thread.get_id() == std::this_thread::get_id()) continue;
      worker->stopping = true;
      claimed.push_back(worker);
    }
  }
  // Workers claimed by a concurrent destroy_worker are finished by it.
  for (Worker *worker : claimed) stop_claimed(worker);
}
