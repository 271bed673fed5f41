#include "support/device.h"

#include <cstdlib>

namespace {

// "/" and "" both mean the real root; trailing slashes are dropped so
// device_path() can simply prepend the root.
std::string normalise_root(std::string_view root) {
  while (!root.empty() && root.back() == '/') root.remove_suffix(1);
  return std::string(root);
}

std::string &root_storage() {
  static std::string root = [] {
    const char *env = std::getenv("VELTRUM_ROOT");
    return normalise_root(env != nullptr ? std::string_view(env) : std::string_view());
  }();
  return root;
}

}  // namespace

const std::string &device_root() { return root_storage(); }

void set_device_root(std::string_view root) { root_storage() = normalise_root(root); }

std::string device_path(std::string_view absolute) {
  if (absolute.empty() || absolute.front() != '/') return std::string(absolute);
  const std::string &root = device_root();
  std::string path;
  path.reserve(root.size() + absolute.size());
  path += root;
  path += absolute;
  return path;
}

long development_setting(const char *name, long fallback, long min, long max) {
  if (device_root().empty()) return fallback;
  const char *text = std::getenv(name);
  if (text == nullptr || *text == '\0') return fallback;
  char *end = nullptr;
  long value = std::strtol(text, &end, 10);
  if (*end != '\0' || value < min || value > max) return fallback;
  return value;
}
