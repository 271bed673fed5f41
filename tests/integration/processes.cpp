#include "tests/integration/processes.h"

#include <dirent.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

namespace veltrum::test {

bool eventually(const std::function<bool()> &condition, std::chrono::seconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::vector<Proc> children_of(pid_t parent) {
  std::vector<Proc> out;
  DIR *dir = opendir("/proc");
  if (!dir) return out;
  while (dirent *entry = readdir(dir)) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') continue;
    std::ifstream in(std::string("/proc/") + entry->d_name + "/stat");
    std::string stat;
    if (!std::getline(in, stat)) continue;
    size_t open = stat.find('(');
    size_t close = stat.rfind(')');
    if (open == std::string::npos || close == std::string::npos) continue;
    std::istringstream rest(stat.substr(close + 2));
    char state = '?';
    pid_t ppid = 0;
    rest >> state >> ppid;
    if (ppid == parent) out.push_back({std::atoi(entry->d_name), stat.substr(open + 1, close - open - 1), state});
  }
  closedir(dir);
  return out;
}

size_t open_descriptors(pid_t pid) {
  size_t n = 0;
  DIR *dir = opendir(("/proc/" + std::to_string(pid) + "/fd").c_str());
  if (!dir) return 0;
  while (dirent *entry = readdir(dir))
    if (entry->d_name[0] != '.') ++n;
  closedir(dir);
  return n;
}

}  // namespace veltrum::test
