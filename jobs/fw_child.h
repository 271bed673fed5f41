// The forked children of the firmware flows ("fw_update", "file_download").
//
// A flow's handler forks a child that does the device-level work on its own
// while the handler answers at once. The agent is one process with worker
// threads, so the child is careful about what it inherits:
//
// - it becomes the leader of a process group of its own, and ends that whole
//   group when it gets SIGTERM, so the programs it runs (curl) never outlive
//   it;
// - it gets SIGTERM when the agent ends (PR_SET_PDEATHSIG): no child
//   survives the agent it belongs to;
// - it closes the agent's network sockets (the HTTP listener and the client
//   connections), so a connection the agent closes is closed, and a new
//   agent can listen while a child still runs;
// - it never returns into the agent's code: its body's result is its exit
//   status (_exit, so no destructor or buffer of the agent runs twice).
//
// The agent reaps each child on a single-run worker of its own (named
// "<name> <pid>"), which waits for the child without blocking any request;
// destroying that worker (the worker manager's shut-down) ends the child:
// SIGTERM, and SIGKILL to its group after two seconds. So a child leaves
// neither a zombie nor a program behind.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>

namespace veltrum::jobs {

// Forks a child named `name` (its process name, at most 15 characters) that
// runs `body` and exits with its result. The pid, or -1 when the child could
// not be forked or watched (nothing runs then).
pid_t start_child(const char *name, const std::function<int()> &body);

// Whether a child started by start_child still runs (not yet reaped), and
// how many do.
bool child_running(pid_t pid);
size_t children_running();

}  // namespace veltrum::jobs
