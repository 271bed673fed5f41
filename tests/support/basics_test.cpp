// Text, device path, file, uptime and logging helpers.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "support/device.h"
#include "support/files.h"
#include "support/log.h"
#include "support/mem.h"
#include "support/uptime.h"
#include "test_util.h"

namespace fs = std::filesystem;

namespace {

std::set<std::string> entries_of(const std::string &dir) {
  std::set<std::string> names;
  for (const auto &entry : fs::directory_iterator(dir)) names.insert(entry.path().filename());
  return names;
}

}  // namespace

TEST(Strncpyt, CopiesAtMostMaximumAndAlwaysTerminates) {
  char buffer[8];

  std::memset(buffer, 'Z', sizeof buffer);
  EXPECT_EQ(strncpyt(buffer, "abcd", 4), buffer);
  EXPECT_STREQ(buffer, "abcd");
  EXPECT_EQ(buffer[5], 'Z') << "wrote past maximum + 1";

  std::memset(buffer, 'Z', sizeof buffer);
  strncpyt(buffer, "abcdefghijk", 4);
  EXPECT_STREQ(buffer, "abcd");
  EXPECT_EQ(buffer[5], 'Z') << "wrote past maximum + 1";

  std::memset(buffer, 'Z', sizeof buffer);
  strncpyt(buffer, "ab", 4);
  EXPECT_STREQ(buffer, "ab");

  std::memset(buffer, 'Z', sizeof buffer);
  strncpyt(buffer, "abc", 0);
  EXPECT_STREQ(buffer, "");
}

TEST(Strncpyt, NullSourceGivesEmptyText) {
  char buffer[8] = "old";
  EXPECT_EQ(strncpyt(buffer, nullptr, 7), buffer);
  EXPECT_STREQ(buffer, "");
}

TEST(DevicePath, ResolvesAbsolutePathsUnderTheRoot) {
  ScopedDeviceRoot root("/srv/switch//");
  EXPECT_EQ(device_root(), "/srv/switch");
  EXPECT_EQ(device_path("/mnt/fastpath/x.cfg"), "/srv/switch/mnt/fastpath/x.cfg");
  EXPECT_EQ(device_path("relative/x"), "relative/x");

  set_device_root("/");
  EXPECT_EQ(device_root(), "");
  EXPECT_EQ(device_path("/tmp/x"), "/tmp/x");
}

TEST(WriteFileAtomic, CreatesParentsAndReplacesContentWithoutLeftovers) {
  TempDir dir;
  std::string parent = dir.path() + "/a/b";
  std::string target = parent + "/state.json";

  ASSERT_EQ(write_file_atomic(target, "a rather long first content\n"), 0);
  EXPECT_EQ(read_text(target), "a rather long first content\n");

  ASSERT_EQ(write_file_atomic(target, "short"), 0);
  char *loaded = load_file(target.c_str());
  ASSERT_NE(loaded, nullptr);
  EXPECT_STREQ(loaded, "short");
  std::free(loaded);

  EXPECT_EQ(entries_of(parent), std::set<std::string>{"state.json"});
  // Only the owner may read what the system keeps for itself, also when the
  // file it replaces was readable by others.
  struct stat st {};
  ASSERT_EQ(::chmod(target.c_str(), 0644), 0);
  ASSERT_EQ(write_file_atomic(target, "again"), 0);
  ASSERT_EQ(::stat(target.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);
  ASSERT_EQ(write_file_atomic(target, "#!/bin/sh\n", 0755), 0);
  ASSERT_EQ(::stat(target.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0755u);
  EXPECT_EQ(exists(target.c_str()), 1);
  EXPECT_EQ(exists((parent + "/missing").c_str()), 0);
  EXPECT_EQ(load_file((parent + "/missing").c_str()), nullptr);
}

TEST(CopyFile, CopiesBinaryContentOverALongerTarget) {
  TempDir dir;
  std::string from = dir.path() + "/from";
  std::string to = dir.path() + "/to";
  std::string content("bin\0ary\n", 8);
  content.append(200000, 'x');  // several read buffers
  write_text(from, content);
  write_text(to, std::string(300000, 'y'));

  ASSERT_EQ(copy_file(from.c_str(), to.c_str()), 0);
  EXPECT_EQ(read_text(to), content);
  EXPECT_EQ(copy_file((dir.path() + "/missing").c_str(), to.c_str()), -1);
}

TEST(MakeDirs, CreatesNestedDirectoriesAndAcceptsExistingOnes) {
  TempDir dir;
  std::string nested = dir.path() + "/x//y/z/";
  ASSERT_EQ(make_dirs(nested), 0);
  EXPECT_TRUE(fs::is_directory(dir.path() + "/x/y/z"));
  EXPECT_EQ(make_dirs(nested), 0);

  write_text(dir.path() + "/file", "not a directory");
  EXPECT_EQ(make_dirs(dir.path() + "/file/sub"), -1);
}

TEST(Uptime, OffsetFileUnderTheDeviceRootIsAdded) {
  TempDir dir;
  ScopedDeviceRoot root(dir.path());
  const long offset = 1000000;

  write_text(dir.path() + "/run/uptime-offset", "0\n");  // present from the first reading
  long plain = get_uptime();
  EXPECT_GT(plain, 0);

  write_text(dir.path() + "/run/uptime-offset", std::to_string(offset) + "\n");
  EXPECT_GE(get_uptime(), plain + offset);

  fs::remove(dir.path() + "/run/uptime-offset");
  EXPECT_LT(get_uptime(), plain + offset);
}

TEST(Log, WritesOneLinePerCallAndDropsLinesAboveTheThreshold) {
  TempDir dir;
  std::string captured = dir.path() + "/stderr";
  int file = ::open(captured.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ASSERT_GE(file, 0);
  int saved = ::dup(STDERR_FILENO);
  ::dup2(file, STDERR_FILENO);
  ::close(file);

  int old_threshold = log_threshold();
  log_configure(LogSink::Stderr, 4);
  agent_log(7, "dropped %d", 1);
  agent_log(4, "value %d", 42);
  agent_log(3, "already ends with a newline\n");
  std::string long_text(3000, 'L');
  agent_log(1, "%s", long_text.c_str());
  log_configure(LogSink::Stderr, old_threshold);

  ::dup2(saved, STDERR_FILENO);
  ::close(saved);

  std::string prefix = "veltrum[" + std::to_string(::getpid()) + "] ";
  EXPECT_EQ(read_text(captured), prefix + "4: value 42\n" + prefix +
                                     "3: already ends with a newline\n" + prefix + "1: " +
                                     long_text + "\n");
}
