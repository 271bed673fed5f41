// The firmware flows' own pieces in-process: which URLs may reach curl, how
// the announced length and versions are read, the progress texts, the
// progress segment, and the forked children (reaped, named, ended with the
// worker manager). The flows themselves run over HTTP in
// tests/integration/firmware_test.cpp.
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "jobs/fw_child.h"
#include "jobs/fw_common.h"
#include "support/process.h"
#include "support/worker.h"
#include "tests/common/temp_dir.h"

namespace {

using namespace veltrum::jobs;

TEST(FirmwareUrl, OnlyPlainNetworkUrlsReachCurl) {
  for (const char *url : {"https://updates.example.com/vsw/prod/fw-7.8.12.1.vfw", "HTTP://10.0.0.1:8080/a?b=1&c=%20",
                          "ftp://files.example.com/fw.vfw", "tftp://10.0.0.2/fw.vfw", "https://[::1]:8446/fw.vfw"})
    EXPECT_TRUE(fw_url_acceptable(url)) << url;

  std::string too_long = "https://h/" + std::string(1024, 'a');
  for (const std::string &url :
       {std::string("file:///etc/passwd"), std::string("-o/tmp/x"), std::string("--config=/tmp/x"),
        std::string("https://"), std::string("https:///x"), std::string("gopher://h/x"), std::string("https://h/a b"),
        std::string("https://h/a\tb"), std::string("https://h/a\nb"), std::string("https://h/a\x7f"),
        std::string("https://h/\xc3\xa9"), too_long})
    EXPECT_FALSE(fw_url_acceptable(url.c_str())) << url;
  for (char c : std::string(";$`|<>(){}\\'\"^"))
    EXPECT_FALSE(fw_url_acceptable((std::string("https://h/a") + c + "b").c_str())) << c;
  EXPECT_FALSE(fw_url_acceptable(nullptr));
}

TEST(FirmwareUrl, AnnouncedLengthAndVersions) {
  EXPECT_EQ(content_length_of("HTTP/1.1 200 OK\r\nServer: x\r\nContent-Length: 1234\r\n\r\n"), 1234);
  EXPECT_EQ(content_length_of("HTTP/2 200\r\ncontent-length: 99\r\n"), 99);
  EXPECT_EQ(content_length_of("HTTP/1.1 302 Found\r\nLocation: /b\r\n\r\n"), 0);
  EXPECT_EQ(content_length_of("CONTENT-LENGTH:\r\n"), 0);
  EXPECT_EQ(content_length_of(nullptr), 0);

  EXPECT_EQ(version_newer("7.8.12.1", "7.8.11.19"), 1);
  EXPECT_EQ(version_newer("7.10.0.0", "7.9.9.9"), 1) << "numbers, not texts";
  EXPECT_EQ(version_newer("7.8.11.19", "7.8.11.19"), 0);
  EXPECT_EQ(version_newer("7.8.11.18", "7.8.11.19"), 0);
  EXPECT_EQ(version_newer("7.8.12", "7.8.11.19"), -1);
  EXPECT_EQ(version_newer("7.8.12.1", ""), -1);

  EXPECT_EQ(percent_text(percent_of(512, 1024), 2), "50.00%");
  EXPECT_EQ(percent_text(percent_of(1024, 1024), 0), "100%");
  EXPECT_EQ(percent_text(percent_of(10, 0), 2), "inf%");
  EXPECT_EQ(percent_text(percent_of(0, 0), 2), "nan%");
}

// The segment's key is the working directory's: each test runs in one of its own.
class FirmwareSegment : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = std::filesystem::current_path();
    std::filesystem::current_path(dir_.path());
  }
  void TearDown() override {
    int id = shmget(ftok(".", kFwSegmentProjId), sizeof(FwProgress), 0);
    if (id >= 0) shmctl(id, IPC_RMID, nullptr);
    std::filesystem::current_path(saved_);
  }

  veltrum::test::TempDir dir_;
  std::filesystem::path saved_;
};

TEST_F(FirmwareSegment, CreatedByAFlowAndSeenByItsStatus) {
  EXPECT_EQ(FwSegment(FwSegment::Mode::Existing).failure(), FwSegment::Failure::Get);
  FwSegment child(FwSegment::Mode::Create);
  ASSERT_EQ(child.failure(), FwSegment::Failure::None);
  child.clear();
  child.set_total(4096);
  child.set_state(6, 1);
  FwSegment status(FwSegment::Mode::Existing);
  ASSERT_EQ(status.failure(), FwSegment::Failure::None);
  FwProgress p = status.read();
  EXPECT_EQ(p.state, 6);
  EXPECT_EQ(p.totalSize, 4096);
  EXPECT_EQ(p.busy, 1);
  EXPECT_TRUE(child.detach());
  // The segment outlives its creator's attachment.
  EXPECT_EQ(FwSegment(FwSegment::Mode::Existing).read().state, 6);
  EXPECT_STREQ(update_state_text(10), "Device Reboot or Reload Failed by Firmware Upgrade");
  EXPECT_STREQ(download_state_text(12), "Checksum Validation Failed");
  EXPECT_STREQ(download_state_text(13), "");
}

bool reaped(pid_t pid) {
  return !std::filesystem::exists("/proc/" + std::to_string(pid)) ||
         (waitpid(pid, nullptr, WNOHANG) < 0 && errno == ECHILD && !child_running(pid));
}

bool eventually(const std::function<bool()> &condition) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

TEST(FirmwareChild, RunsItsBodyUnderItsNameAndIsReaped) {
  ASSERT_EQ(init_worker_manager(), 0);
  veltrum::test::TempDir dir;
  std::string out = dir.path() + "/comm";
  pid_t pid = start_child("fw_test", [&out] {
    std::ifstream comm("/proc/self/comm");
    std::string name;
    std::getline(comm, name);
    std::ofstream(out) << name;
    return 3;
  });
  ASSERT_GT(pid, 0);
  EXPECT_TRUE(eventually([&] { return !child_running(pid); }));
  EXPECT_TRUE(reaped(pid)) << "no zombie is left";
  std::ifstream in(out);
  std::string name;
  std::getline(in, name);
  EXPECT_EQ(name, "fw_test");

  // A child still at work ends with the worker manager, and is reaped.
  pid_t busy = start_child("fw_busy", [] {
    char program[] = "sleep";
    char seconds[] = "30";
    char *argv[] = {program, seconds, nullptr};
    return execvp_cmd("sleep", argv, nullptr, 0);
  });
  ASSERT_GT(busy, 0);
  EXPECT_TRUE(child_running(busy));
  destroy_worker_manager();
  EXPECT_FALSE(child_running(busy));
  EXPECT_TRUE(reaped(busy));
}

}  // namespace
