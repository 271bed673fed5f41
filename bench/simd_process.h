// The simulated switch of a benchmark: veltrum-simd started on a device
// root of the benchmark's own, as a child process the benchmark stops.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/common/launch.h"

// Starts veltrum-simd (VELTRUM_SIMD, under the emulator of a cross build)
// with `root` as its device root; answers its process id.
inline pid_t start_simd(const std::string &root) {
  pid_t simd = fork();
  if (simd == 0) {
    std::vector<std::string> command = veltrum::test::launch_argv({VELTRUM_SIMD, "--root", root}, VELTRUM_BUILD_DIR);
    std::vector<char *> args;
    for (auto &a : command) args.push_back(a.data());
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  return simd;
}
