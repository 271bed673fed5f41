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

// A private directory removed with everything in it at the end of the test.
class TempDir {
 public:
  TempDir() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "veltrum-support-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    path_ = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

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
