// Device-level jobs in processes of their own: reload, factory reset, file
// download. The handler forks, answers at once, and the job goes on beside
// the agent.
//
// A job process is detached (forked twice, its first parent reaped at once),
// so it never lingers as a zombie of the agent, which reaps no children.
// It keeps standard input, output and error and none of the agent's other
// descriptors (the listening socket, the platform connection), and talks to
// the platform through a connection of its own. It ends with _exit: it
// never returns into the agent's code.
#pragma once

#include <sys/types.h>

#include "platform/calls/00_system.h"

// -1 when no job could be started; in the agent the job's process id; in
// the job 0. `name` becomes the job's process name.
pid_t fork_job(const char *name);

// In a job: registers a platform client of its own under `name` and waits
// for the service to answer, checking once a second for at most `seconds`.
// 0, or -1 (logged).
int job_connect(const char *name, openapiClientHandle_t *client, int seconds);
