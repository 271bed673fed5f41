// Time, text, base64 and digest helpers, files, command output, the version
// check and the companion notification.
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/validate.h"
#include "sim/device_root.h"
#include "support/device.h"
#include "tests/common/sim_fixture.h"

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

// Sets the local time zone for one test.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char *zone) {
    if (const char *old = std::getenv("TZ")) saved_ = old;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedTimeZone() {
    if (saved_)
      setenv("TZ", saved_->c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }

 private:
  std::optional<std::string> saved_;
};

std::string take_text(char *text) {
  std::string copy = text ? text : "(null)";
  std::free(text);
  return copy;
}

TEST(TimeText, LocalTimeWithZone) {
  {
    ScopedTimeZone zone("UTC0");
    EXPECT_EQ(take_text(time_text(0)), "Thu 1970-01-01 00:00:00 UTC");
    EXPECT_EQ(take_text(time_text(31536000 + 3723)), "Fri 1971-01-01 01:02:03 UTC");
  }
  {
    ScopedTimeZone zone("CET-1");
    EXPECT_EQ(take_text(time_text(0)), "Thu 1970-01-01 01:00:00 CET");
  }
  // A time local time cannot express: only a 64-bit time_t holds one (the
  // armhf build's time_t has 32 bits and ends in 2038).
  if constexpr (sizeof(time_t) > 4) {
    EXPECT_EQ(time_text(std::numeric_limits<time_t>::max()), nullptr);
  } else {
    ScopedTimeZone zone("UTC0");
    EXPECT_EQ(take_text(time_text(std::numeric_limits<time_t>::max())), "Tue 2038-01-19 03:14:07 UTC");
  }
}

TEST(UpperCase, InPlace) {
  char text[] = "lag 1/0:ab-Cd_é";
  str_to_upper(text);
  EXPECT_STREQ(text, "LAG 1/0:AB-CD_é");
  char empty[] = "";
  str_to_upper(empty);
  EXPECT_STREQ(empty, "");
  str_to_upper(nullptr);
}

TEST(Base64, EncodeWithoutLineBreaks) {
  EXPECT_EQ(take_text(base64_encode("hello", 5)), "aGVsbG8=");
  EXPECT_EQ(take_text(base64_encode("admin:password", 14)), "YWRtaW46cGFzc3dvcmQ=");
  EXPECT_EQ(take_text(base64_encode("", 0)), "");
  EXPECT_EQ(base64_encode(nullptr, 3), nullptr);

  // Longer than one line of the encoder's default layout (64 characters).
  std::string data(300, 'x');
  std::string text = take_text(base64_encode(data.data(), data.size()));
  EXPECT_EQ(text.size(), 400u);
  EXPECT_THAT(text, Not(HasSubstr("\n")));
}

TEST(Base64, DecodeIntoZeroedBuffer) {
  size_t length = 99;
  unsigned char *bytes = base64_decode("aGVsbG8=", 8, &length);
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(length, 5u);
  // length + 1 bytes, zero after the decoded ones.
  EXPECT_EQ(std::memcmp(bytes, "hello\0\0\0\0", 9), 0);
  std::free(bytes);

  // Only the given length of the text is decoded.
  bytes = base64_decode("aGVsbG8=YWRt", 8, &length);
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(length, 5u);
  EXPECT_STREQ(reinterpret_cast<char *>(bytes), "hello");
  std::free(bytes);

  bytes = base64_decode("", 0, &length);
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(bytes[0], 0);
  std::free(bytes);

  bytes = base64_decode("YWRt", 4);  // the length is optional
  ASSERT_NE(bytes, nullptr);
  EXPECT_STREQ(reinterpret_cast<char *>(bytes), "adm");
  std::free(bytes);

  EXPECT_EQ(base64_decode(nullptr, 4), nullptr);
}

TEST(Base64, RoundTripOfBinaryData) {
  std::vector<unsigned char> data;
  for (int round = 0; round < 3; ++round)
    for (int b = 0; b < 256; ++b) data.push_back(static_cast<unsigned char>(b));
  for (size_t size : {size_t{1}, size_t{2}, size_t{3}, size_t{64}, size_t{65}, data.size()}) {
    SCOPED_TRACE(size);
    char *text = base64_encode(data.data(), size);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::strlen(text), (size + 2) / 3 * 4);
    size_t length = 0;
    unsigned char *bytes = base64_decode(text, std::strlen(text), &length);
    ASSERT_NE(bytes, nullptr);
    ASSERT_EQ(length, size);
    EXPECT_EQ(std::memcmp(bytes, data.data(), size), 0);
    std::free(bytes);
    std::free(text);
  }
}

TEST(DigestToHex, Md5AsLowerCaseHex) {
  char out[33];
  ASSERT_EQ(digest_to_hex("", 0, out, sizeof out), 0);
  EXPECT_STREQ(out, "d41d8cd98f00b204e9800998ecf8427e");
  ASSERT_EQ(digest_to_hex("abc", 3, out, sizeof out), 0);
  EXPECT_STREQ(out, "900150983cd24fb0d6963f7d28e17f72");
  // Only the given length counts.
  ASSERT_EQ(digest_to_hex("abcdef", 3, out, sizeof out), 0);
  EXPECT_STREQ(out, "900150983cd24fb0d6963f7d28e17f72");

  // An output of 32 bytes or less is left alone.
  char small[32];
  std::memset(small, 'Z', sizeof small);
  EXPECT_EQ(digest_to_hex("abc", 3, small, sizeof small), -1);
  EXPECT_EQ(std::string(small, sizeof small), std::string(32, 'Z'));
  EXPECT_EQ(digest_to_hex("abc", 3, nullptr, 64), -1);
}

TEST(Files, SizeAndReplacement) {
  veltrum::test::TempDir dir;
  std::string path = dir.path() + "/config.txt";

  write_text_file(path.c_str(), "0123456789");
  EXPECT_EQ(read_file(path), "0123456789");
  EXPECT_EQ(file_size(path.c_str()), 10);
  struct stat st {};
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);  // the agent's own file

  // The old file goes: a shorter text leaves nothing of it behind, and a
  // file that could not be written to is replaced as well.
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  write_text_file(path.c_str(), "ab");
  EXPECT_EQ(read_file(path), "ab");
  EXPECT_EQ(file_size(path.c_str()), 2);

  write_text_file(path.c_str(), "");
  EXPECT_EQ(file_size(path.c_str()), 0);

  write_text_file(path.c_str(), nullptr);
  write_text_file(nullptr, "x");
  EXPECT_EQ(file_size(path.c_str()), 0);
  EXPECT_TRUE(std::ifstream(path).good());

  EXPECT_EQ(file_size((dir.path() + "/missing").c_str()), -1);
  EXPECT_EQ(file_size(nullptr), -1);
  write_text_file((dir.path() + "/no/such/dir/file").c_str(), "x");
  EXPECT_EQ(file_size((dir.path() + "/no/such/dir/file").c_str()), -1);
}

TEST(CommandOutput, FirstLineText) {
  char out[32];
  ASSERT_EQ(command_output_text(out, sizeof out, "echo %s-%s", "eth0", "up"), 0);
  EXPECT_STREQ(out, "eth0-up");
  // At most 8 characters, cut at the first line break.
  ASSERT_EQ(command_output_text(out, sizeof out, "printf 'abcdefghijk\\n'"), 0);
  EXPECT_STREQ(out, "abcdefgh");
  ASSERT_EQ(command_output_text(out, sizeof out, "printf 'ab\\ncd\\n'"), 0);
  EXPECT_STREQ(out, "ab");
  // Bounded by the caller's buffer.
  char small[4];
  ASSERT_EQ(command_output_text(small, sizeof small, "echo %d", 123456), 0);
  EXPECT_STREQ(small, "123");
  // Nothing printed, or nothing runnable: an empty text.
  std::strcpy(out, "stale");
  ASSERT_EQ(command_output_text(out, sizeof out, "true"), 0);
  EXPECT_STREQ(out, "");
  std::strcpy(out, "stale");
  ASSERT_EQ(command_output_text(out, sizeof out, "/nonexistent/program 2>/dev/null"), 0);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(command_output_text(nullptr, 8, "true"), -1);
}

TEST(CommandOutput, Number) {
  EXPECT_EQ(command_output_number("echo %d", 42), 42);
  EXPECT_EQ(command_output_number("echo 123456"), 1234);  // at most 4 characters
  EXPECT_EQ(command_output_number("echo -12"), -12);
  EXPECT_EQ(command_output_number("echo up"), 0);
  EXPECT_EQ(command_output_number("true"), 0);
}

TEST(VersionCheck, AgainstTheMinimum) {
  EXPECT_EQ(version_check("7.8.11.19"), 0);
  EXPECT_EQ(version_check("7.8.11.18"), 1);
  EXPECT_EQ(version_check("7.8.10.99"), 1);
  EXPECT_EQ(version_check("7.7.99.99"), 1);
  EXPECT_EQ(version_check("6.99.99.99"), 1);
  EXPECT_EQ(version_check("7.8.11.20"), -1);
  EXPECT_EQ(version_check("7.8.12.0"), -1);
  EXPECT_EQ(version_check("7.9.0.0"), -1);
  EXPECT_EQ(version_check("10.0.0.0"), -1);
  EXPECT_EQ(version_check("7.8.11.19.3"), 0);  // a fifth part is not read
  EXPECT_EQ(version_check("7.8.11"), -2);
  EXPECT_EQ(version_check("7.8.11.x"), -2);
  EXPECT_EQ(version_check("v7.8.11.19"), -2);
  EXPECT_EQ(version_check(""), -2);
  EXPECT_EQ(version_check(nullptr), -2);
}

TEST(Companion, RunsTheMonitoringTool) {
  veltrum::test::TempDir root;
  std::string saved_root = device_root();
  set_device_root(root.path());
  ASSERT_TRUE(veltrum::sim::prepare_device_root(root.path()));
  EXPECT_EQ(notify_companion(), 0);
  EXPECT_EQ(notify_companion(), 0);
  EXPECT_EQ(read_file(device_path(SIM_PROGRAM_LOG)),
            "PellmarCli instant_monitoring\nPellmarCli instant_monitoring\n");
  set_device_root(saved_root);
}

}  // namespace
