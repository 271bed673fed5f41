// The worker manager's life cycle, stopping and races.
#include <signal.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/process.h"
#include "support/worker.h"
#include "test_util.h"

namespace {

// What a test worker shares with the test: its run blocks until released
// (by the test or by prepare_stop) and every step is recorded in order.
struct Gate {
  std::mutex mutex;
  std::condition_variable changed;
  bool started = false;
  bool released = false;
  std::vector<std::string> events;
  std::thread::id prepare_stop_thread;
  std::string seen_name;
  void *seen_arg = nullptr;

  void record(const std::string &event) {
    std::lock_guard<std::mutex> lock(mutex);
    events.push_back(event);
  }
  void release() {
    std::lock_guard<std::mutex> lock(mutex);
    released = true;
    changed.notify_all();
  }
  bool wait_started() {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(60), [this] { return started; });
  }
};

void blocking_run(Worker *worker) {
  Gate *gate = static_cast<Gate *>(worker_arg(worker));
  std::unique_lock<std::mutex> lock(gate->mutex);
  gate->seen_name = worker_name(worker);
  gate->seen_arg = worker_arg(worker);
  gate->events.push_back("run-start");
  gate->started = true;
  gate->changed.notify_all();
  gate->changed.wait(lock, [gate] { return gate->released; });
  gate->events.push_back("run-end");
}

void releasing_prepare_stop(Worker *worker) {
  Gate *gate = static_cast<Gate *>(worker_arg(worker));
  {
    std::lock_guard<std::mutex> lock(gate->mutex);
    gate->events.push_back("prepare-stop");
    gate->prepare_stop_thread = std::this_thread::get_id();
  }
  gate->release();
}

void quick_run(Worker *) {}

const WorkerCallbacks kBlocking{nullptr, blocking_run, nullptr, nullptr, releasing_prepare_stop};
const WorkerCallbacks kQuick{nullptr, quick_run, nullptr, nullptr, nullptr};

class WorkerManager : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(init_worker_manager(), 0); }
  void TearDown() override { destroy_worker_manager(); }
};

}  // namespace

TEST_F(WorkerManager, NameIsFreedWhenRunReturns) {
  Gate gate;
  ASSERT_EQ(create_single_run_worker("life", &kBlocking, &gate), 0);
  ASSERT_TRUE(gate.wait_started());
  EXPECT_NE(worker_exists("life"), 0);
  EXPECT_EQ(create_single_run_worker("life", &kQuick, nullptr), -1) << "duplicate name";
  EXPECT_EQ(gate.seen_name, "life");
  EXPECT_EQ(gate.seen_arg, &gate);

  gate.release();
  ASSERT_TRUE(eventually([] { return worker_exists("life") == 0; }));
  EXPECT_EQ(gate.events, (std::vector<std::string>{"run-start", "run-end"}))
      << "prepare_stop is only for destroy_worker";

  EXPECT_EQ(create_single_run_worker("life", &kQuick, nullptr), 0) << "name reusable at once";
  EXPECT_TRUE(eventually([] { return worker_exists("life") == 0; }));
}

TEST_F(WorkerManager, DestroyCallsPrepareStopOnTheCallerThenJoins) {
  Gate gate;
  ASSERT_EQ(create_single_run_worker("stopper", &kBlocking, &gate), 0);
  ASSERT_TRUE(gate.wait_started());

  ASSERT_EQ(destroy_worker("stopper"), 0);
  // The run had ended by the time destroy_worker returned.
  EXPECT_EQ(gate.events, (std::vector<std::string>{"run-start", "prepare-stop", "run-end"}));
  EXPECT_EQ(gate.prepare_stop_thread, std::this_thread::get_id());
  EXPECT_EQ(worker_exists("stopper"), 0);
  EXPECT_EQ(destroy_worker("stopper"), -1);

  Gate again;
  EXPECT_EQ(create_single_run_worker("stopper", &kBlocking, &again), 0);
  EXPECT_EQ(destroy_worker("stopper"), 0);
}

TEST_F(WorkerManager, DestroyOfUnknownOrFinishedWorkerFails) {
  EXPECT_EQ(destroy_worker("nobody"), -1);
  EXPECT_EQ(worker_exists("nobody"), 0);

  ASSERT_EQ(create_single_run_worker("brief", &kQuick, nullptr), 0);
  ASSERT_TRUE(eventually([] { return worker_exists("brief") == 0; }));
  EXPECT_EQ(destroy_worker("brief"), -1);
}

TEST_F(WorkerManager, CallsFailOutsideTheManagersLifetime) {
  destroy_worker_manager();
  EXPECT_EQ(create_single_run_worker("early", &kQuick, nullptr), -1);
  EXPECT_EQ(worker_exists("early"), 0);
  EXPECT_EQ(destroy_worker("early"), -1);

  ASSERT_EQ(init_worker_manager(), 0);
  EXPECT_EQ(create_single_run_worker("early", &kQuick, nullptr), 0);
}

TEST_F(WorkerManager, DestroyingTheManagerStopsEveryRunningWorker) {
  Gate gates[3];
  const char *names[] = {"job-1", "job-2", "job-3"};
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(create_single_run_worker(names[i], &kBlocking, &gates[i]), 0);
    ASSERT_TRUE(gates[i].wait_started());
  }

  destroy_worker_manager();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(gates[i].events, (std::vector<std::string>{"run-start", "prepare-stop", "run-end"}))
        << names[i];
    EXPECT_EQ(worker_exists(names[i]), 0);
  }
  EXPECT_EQ(create_single_run_worker("job-4", &kQuick, nullptr), -1);
  ASSERT_EQ(init_worker_manager(), 0);
}

TEST_F(WorkerManager, DestroyRacingWithRunReturningIsSafe) {
  // The run returns while destroy_worker may be claiming the worker: either
  // side may win, but once destroy_worker returns the name is free.
  static std::atomic<int> prepare_calls;
  prepare_calls = 0;
  WorkerCallbacks callbacks{nullptr, quick_run, nullptr, nullptr,
                            [](Worker *) { prepare_calls++; }};
  int destroyed = 0;
  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(create_single_run_worker("race", &callbacks, nullptr), 0) << "iteration " << i;
    if (i % 3 == 0) std::this_thread::yield();
    int rc = destroy_worker("race");
    ASSERT_TRUE(rc == 0 || rc == -1);
    if (rc == 0) destroyed++;
  }
  EXPECT_EQ(prepare_calls.load(), destroyed);
  EXPECT_TRUE(eventually([] { return worker_exists("race") == 0; }));
}

namespace {

// A worker running a real child program, stopped by killing that child.
struct ChildJob {
  std::atomic<pid_t> pid{0};
  std::atomic<bool> ready{false};
  std::atomic<int> status{-2};
};

void child_job_line(const char *line, void *arg) {
  ChildJob *job = static_cast<ChildJob *>(arg);
  if (std::strncmp(line, "pid: ", 5) == 0) job->pid = std::atoi(line + 5);
  if (std::strcmp(line, "ready\n") == 0) job->ready = true;
}

void child_job_run(Worker *worker) {
  ChildJob *job = static_cast<ChildJob *>(worker_arg(worker));
  char sh[] = "sh", dash_c[] = "-c", script[] = "echo ready; exec sleep 600";
  char *argv[] = {sh, dash_c, script, nullptr};
  job->status = execvp_cmd_cb_arg("/bin/sh", nullptr, nullptr, nullptr, child_job_line, job,
                                  nullptr, argv);
}

void child_job_prepare_stop(Worker *worker) {
  ChildJob *job = static_cast<ChildJob *>(worker_arg(worker));
  if (job->pid > 0) ::kill(job->pid, SIGTERM);
}

}  // namespace

TEST_F(WorkerManager, DestroyStopsAWorkerRunningAChildProcess) {
  ChildJob job;
  WorkerCallbacks callbacks{nullptr, child_job_run, nullptr, nullptr, child_job_prepare_stop};
  ASSERT_EQ(create_single_run_worker("child-job", &callbacks, &job), 0);
  ASSERT_TRUE(eventually([&job] { return job.ready.load(); }));
  EXPECT_NE(worker_exists("child-job"), 0);

  ASSERT_EQ(destroy_worker("child-job"), 0);
  EXPECT_EQ(job.status.load(), 128 + SIGTERM);
  EXPECT_EQ(worker_exists("child-job"), 0);
}
