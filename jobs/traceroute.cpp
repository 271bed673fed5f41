#include "jobs/traceroute.h"

#include <cstdlib>
#include <initializer_list>
#include <utility>

#include "support/mem.h"
#include "support/process.h"

using namespace veltrum::jobs;

namespace {

constexpr size_t kMaxArgs = 32;

JobStatus g_traceroute_status;

char **build_argv(const void *request) { return traceroute_argv(static_cast<const TracerouteRequest *>(request)); }
void free_request(void *request) { traceroute_free_request(static_cast<TracerouteRequest *>(request)); }

void traceroute_worker_run(Worker *worker) { job_run(kTracerouteJob, worker); }
void traceroute_worker_prepare_stop(Worker *worker) { job_prepare_stop(kTracerouteJob, worker); }

const WorkerCallbacks kTracerouteCallbacks{nullptr, traceroute_worker_run, nullptr, nullptr,
                                           traceroute_worker_prepare_stop};

// Appends to an argument vector of kMaxArgs entries at most.
class ArgvBuilder {
 public:
  ArgvBuilder() : argv_(static_cast<char **>(xcalloc(kMaxArgs + 1, sizeof(char *)))) {}
  void text(const char *value) { argv_[n_++] = add_arg("%s", value); }
  void number(int32_t value) { argv_[n_++] = add_arg("%d", value); }
  char **release() { return argv_; }

 private:
  char **argv_;
  size_t n_ = 0;
};

}  // namespace

// The refusal text says "speed test": clients and log readers know it so.
const JobKind kTracerouteJob{
    "traceroute",
    "/tmp/traceroute_status",
    "tracerouteMsg",
    false,
    7,
    "There is already a traceroute worker running. Skip start speed test.",
    "Failed to create traceroute worker.",
    "Exec traceroute ret:%d.",
    "Failed to init traceroute rwlock. r = %d",
    "Failed to destroy traceroute rwlock. r = %d",
    nullptr,
    build_argv,
    free_request,
    &kTracerouteCallbacks,
    &g_traceroute_status,
};

int init_traceroute() { return job_init(kTracerouteJob); }
void shutdown_traceroute() { job_fini(kTracerouteJob); }

void traceroute_free_request(TracerouteRequest *request) {
  if (request == nullptr) return;
  std::free(request->host);
  std::free(request->srcAddr);
  std::free(request->gateway);
  std::free(request);
}

char **traceroute_argv(const TracerouteRequest *request) {
  ArgvBuilder argv;
  argv.text(request->ipVersion == 6 ? "traceroute6" : "traceroute");
  if (request->host != nullptr) argv.text(request->host);
  for (auto [value, option] : {std::pair{request->noFrag, "-F"}, std::pair{request->displayTTL, "-l"},
                               std::pair{request->printNumeric, "-n"}, std::pair{request->bypassRoute, "-r"}})
    if (value == 1) argv.text(option);
  for (auto [value, option] : {std::pair{request->maxTtl, "-m"}, std::pair{request->port, "-p"},
                               std::pair{request->nQueries, "-q"}, std::pair{request->tos, "-t"},
                               std::pair{request->wait, "-w"}}) {
    if (value <= 0) continue;
    argv.text(option);
    argv.number(value);
  }
  for (auto [value, option] : {std::pair{request->srcAddr, "-s"}, std::pair{request->gateway, "-g"}}) {
    if (value == nullptr || *value == '\0') continue;
    argv.text(option);
    argv.text(value);
  }
  return argv.release();
}
