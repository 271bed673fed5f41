#include "jobs/ping_test.h"

#include <cstdlib>

#include "support/mem.h"
#include "support/process.h"

using namespace veltrum::jobs;

namespace {

constexpr size_t kMaxArgs = 32;
constexpr int32_t kDefaultCount = 3;

JobStatus g_ping_status;

char **build_argv(const void *request) { return ping_test_argv(static_cast<const PingRequest *>(request)); }
void free_request(void *request) { ping_test_free_request(static_cast<PingRequest *>(request)); }

void ping_test_worker_run(Worker *worker) { job_run(kPingTestJob, worker); }
void ping_test_worker_prepare_stop(Worker *worker) { job_prepare_stop(kPingTestJob, worker); }

const WorkerCallbacks kPingCallbacks{nullptr, ping_test_worker_run, nullptr, nullptr, ping_test_worker_prepare_stop};

}  // namespace

const JobKind kPingTestJob{
    "ping_test",
    "/tmp/ping_test_status",
    "pingMsg",
    true,
    6,
    "There is already a ping_test worker running. Skip start ping test.",
    "Failed to create ping_test worker.",
    "Exec ping ret:%d.",
    "Failed to init ping_test rwlock. r = %d",
    "Failed to destroy ping_test rwlock. r = %d",
    "ping_test_worker_prepare_stop:end",
    build_argv,
    free_request,
    &kPingCallbacks,
    &g_ping_status,
};

int init_ping_test() { return job_init(kPingTestJob); }
void shutdown_ping_test() { job_fini(kPingTestJob); }

void ping_test_free_request(PingRequest *request) {
  if (request == nullptr) return;
  std::free(request->host);
  std::free(request);
}

char **ping_test_argv(const PingRequest *request) {
  char **argv = static_cast<char **>(xcalloc(kMaxArgs + 1, sizeof(char *)));
  size_t n = 0;
  argv[n++] = add_arg("%s", request->ipVersion == 6 ? "ping6" : "ping");
  if (request->host != nullptr) argv[n++] = add_arg("%s", request->host);
  argv[n++] = add_arg("%s", "-c");
  argv[n++] = add_arg("%d", request->count != 0 ? request->count : kDefaultCount);
  if (request->size != 0) {
    argv[n++] = add_arg("%s", "-s");
    argv[n++] = add_arg("%d", request->size);
  }
  return argv;
}
