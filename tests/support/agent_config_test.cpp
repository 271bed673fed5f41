// The agent configuration store, read and written under a private device root.
#include <json-c/json.h>

#include <filesystem>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "support/agent_config.h"
#include "support/device.h"
#include "support/mem.h"
#include "test_util.h"

namespace {

void expect_same(const AgentConfig &a, const AgentConfig &b) {
  EXPECT_EQ(a.httpEnable, b.httpEnable);
  EXPECT_EQ(a.httpPort, b.httpPort);
  EXPECT_EQ(a.httpsEnable, b.httpsEnable);
  EXPECT_EQ(a.httpsPort, b.httpsPort);
  EXPECT_EQ(a.maxSes, b.maxSes);
  EXPECT_EQ(a.softTimeout, b.softTimeout);
  EXPECT_EQ(a.hardTimeout, b.hardTimeout);
  EXPECT_STREQ(a.httpLang, b.httpLang);
  EXPECT_STREQ(a.themeSel, b.themeSel);
  EXPECT_EQ(a.pellmar, b.pellmar);
  EXPECT_EQ(a.localMgmt, b.localMgmt);
}

// The web front end's factory settings.
AgentConfig factory_settings() {
  return AgentConfig{1, 80, 1, 443, 4, 5, 24, "en", "system", 1, 1};
}

class AgentConfigStore : public ::testing::Test {
 protected:
  std::string file() const { return dir_.path() + AGENT_CONFIG_PATH; }
  void write_file(const std::string &content) const { write_text(file(), content); }

  TempDir dir_;
  ScopedDeviceRoot root_{dir_.path()};
};

}  // namespace

TEST_F(AgentConfigStore, MissingFileKeepsFactorySettings) {
  AgentConfig cfg;
  init_agent_config(&cfg);
  expect_same(cfg, factory_settings());
  EXPECT_EQ(parse_agent_config(&cfg), -1);
  expect_same(cfg, factory_settings());
}

TEST_F(AgentConfigStore, DumpThenParseRestoresEveryMember) {
  AgentConfig saved;
  saved = AgentConfig{0, 8080, 0, 8443, 9, 15, 48, "de", "dark", 0, 0};
  ASSERT_EQ(dump_agent_config(&saved), 0);

  // The file is under the device root, with the exact keys and no leftovers.
  json_object *root = json_object_from_file(file().c_str());
  ASSERT_NE(root, nullptr);
  std::set<std::string> keys;
  json_object_object_foreach(root, key, value) {
    (void)value;
    keys.insert(key);
  }
  json_object_put(root);
  EXPECT_EQ(keys, (std::set<std::string>{"httpEnable", "httpPort", "httpsEnable", "httpsPort",
                                         "maxSes", "softTimeout", "hardTimeout", "httpLang",
                                         "themeSel", "pellmar", "localMgmt"}));
  std::set<std::string> entries;
  for (const auto &entry : std::filesystem::directory_iterator(
           std::filesystem::path(file()).parent_path()))
    entries.insert(entry.path().filename());
  EXPECT_EQ(entries, std::set<std::string>{"agent.cfg"});

  AgentConfig loaded;
  init_agent_config(&loaded);
  ASSERT_EQ(parse_agent_config(&loaded), 0);
  expect_same(loaded, saved);
}

TEST_F(AgentConfigStore, MalformedFileKeepsFactorySettings) {
  for (const char *content : {"{ \"httpPort\": 8080, ", "[1, 2, 3]", "", "\"text\""}) {
    write_file(content);
    AgentConfig cfg;
    init_agent_config(&cfg);
    EXPECT_EQ(parse_agent_config(&cfg), -1) << content;
    expect_same(cfg, factory_settings());
  }
}

TEST_F(AgentConfigStore, MembersOfTheWrongTypeKeepTheirDefaults) {
  write_file(R"({"httpPort": "8080", "httpsPort": 99999999999, "maxSes": 9,
                 "httpLang": 5, "themeSel": "dark", "unknown": 1})");
  AgentConfig cfg;
  init_agent_config(&cfg);
  ASSERT_EQ(parse_agent_config(&cfg), 0);

  AgentConfig expected = factory_settings();
  expected.maxSes = 9;
  strncpyt(expected.themeSel, "dark", 7);
  expect_same(cfg, expected);
}

TEST_F(AgentConfigStore, TextMembersAreCutToSevenCharacters) {
  write_file(R"({"httpLang": "english-uk", "themeSel": "sevenCC"})");
  AgentConfig cfg;
  init_agent_config(&cfg);
  ASSERT_EQ(parse_agent_config(&cfg), 0);
  EXPECT_STREQ(cfg.httpLang, "english");
  EXPECT_STREQ(cfg.themeSel, "sevenCC");
}
