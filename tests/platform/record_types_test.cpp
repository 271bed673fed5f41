// The platform API's types do not depend on the target. Records travel on
// the channel as their bytes and parameters as their values, so a `long`, a
// `size_t` or a pointer in a record or a signature would give the wire (and
// the records' layout) another shape on 32-bit ARM than on x86-64. The
// emulated 32-bit suite cannot see that, since both ends are built alike
// there; this reads the platform headers instead. Allowed: intN_t and
// uintN_t, char texts, the platform's own enumerations (a fixed 32-bit
// underlying type) and records; pointers only as parameters.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> platform_headers() {
  const fs::path source(VELTRUM_SOURCE_DIR);
  std::vector<fs::path> files = {source / "platform/open_types.h", source / "sim/control_calls.h"};
  for (const auto &entry : fs::directory_iterator(source / "platform/calls")) files.push_back(entry.path());
  return files;
}

// The file's text with comments blanked out (line numbers kept).
std::string code_of(const fs::path &file) {
  std::ifstream in(file);
  std::stringstream buffer;
  buffer << in.rdbuf();
  std::string text = buffer.str();
  for (size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] == '/' && text[i + 1] == '/') {
      while (i < text.size() && text[i] != '\n') text[i++] = ' ';
    } else if (text[i] == '/' && text[i + 1] == '*') {
      size_t end = text.find("*/", i + 2);
      end = end == std::string::npos ? text.size() : end + 2;
      for (; i < end; ++i)
        if (text[i] != '\n') text[i] = ' ';
    }
  }
  return text;
}

std::string where(const fs::path &file, const std::string &text, size_t offset) {
  return file.filename().string() + ":" + std::to_string(1 + std::count(text.begin(), text.begin() + offset, '\n'));
}

TEST(PlatformTypes, NoWidthDependsOnTheTarget) {
  static const std::regex kTargetWidth(
      R"(\b(long|short|int|unsigned|signed|size_t|ssize_t|time_t|off_t|bool|float|double|wchar_t|u?intptr_t|ptrdiff_t)\b)");
  static const std::regex kRecord(R"(typedef\s+struct\s*\{([^}]|\{[^}]*\})*\}\s*(\w+)\s*;)");
  std::vector<std::string> faults;
  size_t records = 0;
  for (const fs::path &file : platform_headers()) {
    std::string text = code_of(file);
    for (std::sregex_iterator m(text.begin(), text.end(), kTargetWidth), end; m != end; ++m)
      faults.push_back(where(file, text, m->position()) + ": " + m->str());
    for (std::sregex_iterator m(text.begin(), text.end(), kRecord), end; m != end; ++m) {
      ++records;
      // open_buffdesc is a caller's descriptor: it travels as a size and the
      // bytes it points to, never as itself.
      if ((*m)[2] != "open_buffdesc" && m->str().find('*') != std::string::npos)
        faults.push_back(where(file, text, m->position()) + ": a pointer in " + (*m)[2].str());
    }
  }
  EXPECT_GE(records, 4u) << "the records were not found";
  EXPECT_TRUE(faults.empty()) << ::testing::PrintToString(faults);
}

}  // namespace
