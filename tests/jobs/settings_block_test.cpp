// The agent settings block: written at the head of an exported startup
// configuration, removed from a downloaded one, and read back into the
// agent configuration with the same checks as "http_config".
#include "jobs/settings_block.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "support/device.h"
#include "tests/common/temp_dir.h"
#include "tests/support/test_util.h"

namespace {

using veltrum::test::TempDir;

AgentConfig factory() { return AgentConfig{1, 80, 1, 443, 4, 5, 24, "en", "system", 1, 1}; }

class SettingsBlock : public ::testing::Test {
 protected:
  std::string path(const char *name) const { return dir_.path() + "/" + name; }
  void write(const char *name, const std::string &text) const { write_text(path(name), text); }
  // Reads `text` as a block into the factory settings.
  AgentConfig read(const std::string &text) {
    write("in.cfg", text);
    AgentConfig cfg = factory();
    EXPECT_EQ(read_settings_block(path("in.cfg").c_str(), &cfg), 0);
    return cfg;
  }

  TempDir dir_;
  ScopedDeviceRoot root_{dir_.path()};
};

TEST_F(SettingsBlock, StagingFileIsTheBlockThenTheStartupConfiguration) {
  write("startup", "{\n  \"settings\": {}\n}\n");
  AgentConfig cfg{0, 8080, 1, 8443, 2, 0, 168, "ja", "light", 1, 1};
  ASSERT_EQ(write_export_staging(cfg, path("startup").c_str(), path("staging").c_str()), 0);
  EXPECT_EQ(read_text(path("staging")),
            "!Switch Veltrum Configuration:\n"
            "!no ip http server\n"
            "!ip http port 8080\n"
            "!ip http secure server\n"
            "!ip http secure port 8443\n"
            "!ip http session maxsessions 2\n"
            "!ip http session soft_timeout 0\n"
            "!ip http session hard_timeout 168\n"
            "!ip http language ja\n"
            "!ip http theme light\n"
            "!Switch Veltrum Configuration End\n"
            "{\n  \"settings\": {}\n}\n");
  // Read back, the block gives the same settings.
  AgentConfig back = factory();
  ASSERT_EQ(read_settings_block(path("staging").c_str(), &back), 0);
  EXPECT_EQ(back.httpEnable, 0);
  EXPECT_EQ(back.httpPort, 8080);
  EXPECT_EQ(back.httpsPort, 8443);
  EXPECT_EQ(back.maxSes, 2);
  EXPECT_EQ(back.softTimeout, 0);
  EXPECT_EQ(back.hardTimeout, 168);
  EXPECT_STREQ(back.httpLang, "ja");
  EXPECT_STREQ(back.themeSel, "light");
  // And stores them.
  EXPECT_NE(read_text(dir_.path() + AGENT_CONFIG_PATH).find("\"httpPort\":8080"), std::string::npos);

  EXPECT_EQ(write_export_staging(cfg, path("absent").c_str(), path("staging").c_str()), -1);
}

TEST_F(SettingsBlock, WordsAreMatchedByTheirLeadingCharacters) {
  AgentConfig cfg = read("!ipv4 http portal 9090\n"
                         "!ip x secure port 9443\n"
                         "!no ip http secured\n"
                         "!ip http session maxsess 3\n"
                         "!ip http languages deutsch\n");
  EXPECT_EQ(cfg.httpPort, 9090);
  EXPECT_EQ(cfg.httpsPort, 9443);
  EXPECT_EQ(cfg.httpsEnable, 0);  // "no" with anything but "server" turns HTTPS off
  EXPECT_EQ(cfg.maxSes, 4);       // "maxsess" is not "maxsessions"
  EXPECT_STREQ(cfg.httpLang, "deutsch");
}

TEST_F(SettingsBlock, ValuesTheSettingsChecksRefuseAreSkipped) {
  AgentConfig cfg = read("!ip http port 81\n"
                         "!ip http secure port 70000\n"
                         "!ip http session maxsessions 5\n"
                         "!ip http session soft_timeout 61\n"
                         "!ip http session hard_timeout -1\n"
                         "!ip http language fr\n"
                         "!ip http theme blue\n"
                         "!ip http session soft_timeout 10\n");
  AgentConfig f = factory();
  EXPECT_EQ(cfg.httpPort, f.httpPort);
  EXPECT_EQ(cfg.httpsPort, f.httpsPort);
  EXPECT_EQ(cfg.maxSes, f.maxSes);
  EXPECT_EQ(cfg.hardTimeout, f.hardTimeout);
  EXPECT_STREQ(cfg.httpLang, "en");
  EXPECT_STREQ(cfg.themeSel, "system");
  EXPECT_EQ(cfg.softTimeout, 10);

  // Both listeners off keeps the listener states as they were.
  cfg = read("!no ip http server\n!no ip http secure server\n!ip http port 8081\n");
  EXPECT_EQ(cfg.httpEnable, 1);
  EXPECT_EQ(cfg.httpsEnable, 1);
  EXPECT_EQ(cfg.httpPort, 8081);
}

TEST_F(SettingsBlock, AFileWithoutBlockChangesNothing) {
  AgentConfig cfg = read("{\n  \"settings\": {\"port 80\": 1}\n}\n");
  AgentConfig f = factory();
  EXPECT_EQ(std::memcmp(&cfg, &f, sizeof cfg), 0);
  AgentConfig untouched = factory();
  EXPECT_EQ(read_settings_block(path("missing").c_str(), &untouched), -1);
}

TEST_F(SettingsBlock, RemovingTheBlockKeepsWhatFollowsIt) {
  write("with", "!Switch Veltrum Configuration:\n!ip http port 8080\n!Switch Veltrum Configuration End\n{\n}\n");
  ASSERT_EQ(remove_settings_block(path("with").c_str(), path("out").c_str()), 0);
  EXPECT_EQ(read_text(path("out")), "{\n}\n");
  // A file without a block is the configuration itself.
  write("without", "{\n}\n");
  ASSERT_EQ(remove_settings_block(path("without").c_str(), path("out").c_str()), 0);
  EXPECT_EQ(read_text(path("out")), "{\n}\n");
  EXPECT_EQ(remove_settings_block(path("missing").c_str(), path("out").c_str()), -1);
}

}  // namespace
