// The traceroute job: runs "traceroute" or "traceroute6" on a worker
// (jobs/job.h) and keeps its output for "traceroute_status".
#pragma once

#include <cstdint>

#include "jobs/job.h"

// A traceroute request, built from the body of "traceroute_start"; the job
// owns it once it has started. Texts are malloc'ed or null.
struct TracerouteRequest {
  int32_t action;  // 1 start, 0 stop
  char *host;
  int32_t ipVersion;  // 6 runs traceroute6, anything else traceroute
  int32_t noFrag;        // "-F" when 1
  int32_t displayTTL;    // "-l" when 1
  int32_t printNumeric;  // "-n" when 1
  int32_t bypassRoute;   // "-r" when 1
  int32_t verbose;       // kept; no option
  int32_t maxTtl;        // "-m N" when above 0
  int32_t port;          // "-p N" when above 0
  int32_t nQueries;      // "-q N" when above 0
  int32_t tos;           // "-t N" when above 0
  int32_t wait;          // "-w N" when above 0
  char *srcAddr;         // "-s ADDR" when non-empty
  char *gateway;         // "-g ADDR" when non-empty
};

// The job kind: start, stop and view it with the calls of jobs/job.h.
extern const veltrum::jobs::JobKind kTracerouteJob;

// The lock and the record, at start-up. 0, or the lock's error (logged).
int init_traceroute();
// Stops a running traceroute and destroys the lock, at shut-down.
void shutdown_traceroute();
void traceroute_free_request(TracerouteRequest *request);

// The program's argument vector, in order: "traceroute6" (ipVersion 6) or
// "traceroute"; the host when given; "-F", "-l", "-n", "-r" for the flags
// that are exactly 1; "-m", "-p", "-q", "-t", "-w" each with its number
// when above 0; "-s" with srcAddr and "-g" with gateway when non-empty.
// Release it with argv_free. The options are the clients' contract; note
// that Debian's traceroute reads "-l" as taking a flow label, so there a
// request with displayTTL 1 fails (the program refuses its command line).
char **traceroute_argv(const TracerouteRequest *request);
