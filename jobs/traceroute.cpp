#include "jobs/traceroute.h"

#include <cstdlib>

#include "jobs/job.h"
#include "support/mem.h"
#include "support/process.h"

namespace {

using namespace veltrum::jobs;

constexpr size_t kMaxArgs = 32;

JobStatus g_traceroute_status;

char **build_argv(const void *request) { return traceroute_argv(static_cast<const TracerouteRequest *>(request)); }
void free_request(void *request) { traceroute_free_request(static_cast<TracerouteRequest *>(request)); }

extern const JobKind kTracerouteJob;

void traceroute_worker_run(Worker *worker) { job_run(kTracerouteJob, worker); }
void traceroute_worker_prepare_stop(Worker *worker) { job_prepare_stop(kTracerouteJob, worker); }

const WorkerCallbacks kTracerouteCallbacks{nullptr, traceroute_worker_run, nullptr, nullptr,
                                           traceroute_worker_prepare_stop};

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

}  // namespace

int init_traceroute() { return job_init(kTracerouteJob); }
void shutdown_traceroute() { job_fini(kTracerouteJob); }
int traceroute_exists() { return job_exists(kTracerouteJob); }
int traceroute_start(TracerouteRequest *request) { return job_start(kTracerouteJob, request); }
int traceroute_stop() { return job_stop(kTracerouteJob); }
json_object *traceroute_status_view() { return job_status_view(kTracerouteJob); }

void traceroute_free_request(TracerouteRequest *request) {
  if (request == nullptr) return;
  std::free(request->host);
  std::free(request->srcAddr);
  std::free(request->gateway);
  std::free(request);
}

char **traceroute_argv(const TracerouteRequest *request) {
  char **argv = static_cast<char **>(xcalloc(kMaxArgs + 1, sizeof(char *)));
  size_t n = 0;
  argv[n++] = add_arg("%s", request->ipVersion == 6 ? "traceroute6" : "traceroute");
  if (request->host != nullptr) argv[n++] = add_arg("%s", request->host);

  const struct {
    int32_t value;
    const char *option;
  } flags[] = {{request->noFrag, "-F"},
               {request->displayTTL, "-l"},
               {request->printNumeric, "-n"},
               {request->bypassRoute, "-r"}};
  for (const auto &flag : flags)
    if (flag.value == 1) argv[n++] = add_arg("%s", flag.option);

  const struct {
    int32_t value;
    const char *option;
  } numbers[] = {{request->maxTtl, "-m"},
                 {request->port, "-p"},
                 {request->nQueries, "-q"},
                 {request->tos, "-t"},
                 {request->wait, "-w"}};
  for (const auto &number : numbers) {
    if (number.value <= 0) continue;
    argv[n++] = add_arg("%s", number.option);
    argv[n++] = add_arg("%d", number.value);
  }

  const struct {
    const char *value;
    const char *option;
  } addresses[] = {{request->srcAddr, "-s"}, {request->gateway, "-g"}};
  for (const auto &address : addresses) {
    if (address.value == nullptr || *address.value == '\0') continue;
    argv[n++] = add_arg("%s", address.option);
    argv[n++] = add_arg("%s", address.value);
  }
  return argv;
}
