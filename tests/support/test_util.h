// Helpers shared by the support library tests.
#pragma once

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>

#include "support/device.h"
#include "tests/common/temp_dir.h"

using veltrum::test::TempDir;

// Points the device root at a directory for one test, then restores it.
class ScopedDeviceRoot {
 public:
  explicit ScopedDeviceRoot(const std::string &root) : saved_(device_root()) {
    set_device_root(root);
  }
  ~ScopedDeviceRoot() { set_device_root(saved_); }

 private:
  std::string saved_;
};

inline std::string read_text(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

inline void write_text(const std::string &path, const std::string &content) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

// Waits for a condition another thread brings about. The deadline only turns
// a hang into a failure; nothing is asserted about how long it took.
inline bool eventually(const std::function<bool()> &condition) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}
