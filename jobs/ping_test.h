// The ping test job: runs "ping" or "ping6" on a worker (jobs/job.h) and
// keeps its output for "ping_test_status".
#pragma once

#include <cstdint>

#include "jobs/job.h"

// A ping request, built from the body of "ping_test_start"; the job owns it
// once it has started.
struct PingRequest {
  int32_t action;     // 1 start, 0 stop
  char *host;         // target name or address (malloc), or null
  int32_t ipVersion;  // 6 runs ping6, anything else ping
  int32_t count;      // echo requests; 0: 3
  int32_t size;       // payload bytes; 0: the program's default
};

// The job kind: start, stop and view it with the calls of jobs/job.h.
extern const veltrum::jobs::JobKind kPingTestJob;

// The lock and the record, at start-up. 0, or the lock's error (logged).
int init_ping_test();
// Stops a running ping and destroys the lock, at shut-down.
void shutdown_ping_test();
void ping_test_free_request(PingRequest *request);

// The program's argument vector, in order: "ping6" (ipVersion 6) or "ping";
// the host when given; "-c" and the count, or "3" for 0; "-s" and the size
// when it is not 0. Release it with argv_free.
char **ping_test_argv(const PingRequest *request);
