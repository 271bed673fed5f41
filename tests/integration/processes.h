// What integration tests ask of processes: waiting for a condition, and the
// children of a process (the agent's jobs and forked flows) as /proc shows
// them.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace veltrum::test {

// Polls `condition` until it holds; false when `limit` passed first.
// Deadlines only turn a hang into a failure; nothing is measured.
bool eventually(const std::function<bool()> &condition, std::chrono::seconds limit = std::chrono::seconds(60));

// A process as /proc shows it.
struct Proc {
  pid_t pid;
  std::string name;
  char state;  // 'R', 'S', 'Z' ...
};

// The children of `parent`, zombies included.
std::vector<Proc> children_of(pid_t parent);

// The number of open descriptors of `pid`.
size_t open_descriptors(pid_t pid);

}  // namespace veltrum::test
