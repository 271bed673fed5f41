// How tests (and benchmarks) start programs of the build.
//
// A cross build runs its test programs under the emulator CMake knows as
// CMAKE_CROSSCOMPILING_EMULATOR (qemu's user-mode emulator for armhf, see
// cmake/armhf-toolchain.cmake); ctest puts it in front of each test. A
// program that such a test starts itself (the agent, the simulator) reaches
// the kernel by execve, and the kernel runs a foreign binary only where a
// binfmt_misc handler is registered, which containers often lack. So the
// programs of the build directory are started through the same emulator;
// anything else (/bin/sh, ping) is the host's own and runs as it is. The
// native build has no emulator, and the argument vector stays unchanged.
//
// Under user-mode emulation the emulator is the process: its pid is the
// program's pid, and signals reach the program.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#ifndef VELTRUM_EMULATOR
#define VELTRUM_EMULATOR ""
#endif

namespace veltrum::test {

// `argv` with the emulator's words (separated by '|') in front when argv[0] is a
// program under `build_dir`, itself or through a link (a device root's
// program that links to the build's).
inline std::vector<std::string> launch_argv(std::vector<std::string> argv, const std::string &build_dir) {
  std::string emulator = VELTRUM_EMULATOR;
  if (emulator.empty() || argv.empty()) return argv;
  std::error_code ignored;
  std::string program = std::filesystem::weakly_canonical(argv[0], ignored).string();
  std::string build = std::filesystem::weakly_canonical(build_dir, ignored).string();
  if (program.compare(0, build.size() + 1, build + "/") != 0) return argv;
  std::vector<std::string> words;
  for (size_t start = 0;;) {
    size_t end = emulator.find('|', start);
    words.push_back(emulator.substr(start, end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  argv.insert(argv.begin(), words.begin(), words.end());
  return argv;
}

}  // namespace veltrum::test
