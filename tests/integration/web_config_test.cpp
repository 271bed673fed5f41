// The web front end's settings over HTTP: every refusal of "http_config"
// leaves the stored settings as they were, the prefix leniency of language
// and theme, the no-change write, session limits from the next request, and
// "global_states" with its success answer to refusals.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/integration/web_suite.h"

namespace veltrum::test {
namespace {

class HttpConfigTest : public WebSuite {
 protected:
  JsonPtr current() { return get("http_config").json(); }
};

TEST_F(HttpConfigTest, ReadGivesTheNineSettingsInOrder) {
  HttpResponse r = get("http_config");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"http_config":{)"
                    R"("httpEnable":1,"httpPort":)" + std::to_string(http_port()) +
                        R"(,"httpsEnable":1,"httpsPort":)" + std::to_string(https_port()) +
                        R"(,"maxSes":4,"softTimeout":5,"hardTimeout":24,"httpLang":"en","themeSel":"system"}})");
}

TEST_F(HttpConfigTest, EveryRefusalLeavesTheStoredSettingsUnchanged) {
  struct Case {
    std::string changes;
    int rc;
    const char *log;  // last_error_text, logged at level 4
  };
  const Case cases[] = {
      {R"("httpEnable": 2)", -1, "Invalid HTTP/HTTPS config"},
      {R"("httpsEnable": -1)", -1, "Invalid HTTP/HTTPS config"},
      {R"("httpEnable": "x")", -1, "Invalid HTTP/HTTPS config"},
      {R"("httpEnable": 0, "httpsEnable": 0)", -1, "Can't disable both HTTP and HTTPs"},
      {R"("httpPort": 1023)", -1, "Invalid HTTP port:1023"},
      {R"("httpPort": 81)", -1, "Invalid HTTP port:81"},
      {R"("httpPort": 65536)", -1, "Invalid HTTP port:65536"},
      {R"("httpsPort": 80)", -1, "Invalid HTTPS port:80"},
      {R"("maxSes": 5)", -1, "Invalid HTTP session:5"},
      {R"("maxSes": 0)", -1, "Invalid HTTP session:0"},
      {R"("softTimeout": 61)", -1, "Invalid HTTP soft timeout:61"},
      {R"("hardTimeout": 169)", -1, "Invalid HTTP hard timeout:169"},
      {R"("httpLang": "fr")", -1, "Invalid HTTP language:fr"},
      {R"("httpLang": "aut")", -1, "Invalid HTTP language:aut"},
      {R"("themeSel": "sys")", -1, "Invalid HTTP theme selection:sys"},
      // The first failing check in table order is the one reported.
      {R"("httpPort": 5, "maxSes": 9)", -1, "Invalid HTTP port:5"},
  };
  std::string before = get("http_config").body;
  std::string stored = stored_config();
  for (const Case &c : cases) {
    size_t mark = harness().agent_log_size();
    HttpResponse r = post("http_config", settings(c.changes));
    EXPECT_EQ(rc_of(r), c.rc) << c.changes;
    EXPECT_EQ(json_string_at(r.json().get(), {"resp", "status"}), "failure") << c.changes;
    EXPECT_NE(harness().agent_log_since(mark).find(c.log), std::string::npos) << c.changes;
    EXPECT_EQ(get("http_config").body, before) << c.changes;
    EXPECT_EQ(stored_config(), stored) << c.changes;
  }
  // A missing member is a parse failure.
  HttpResponse r = harness().post("/api/v1/http_config", R"({"http_config": {"httpEnable": 1}})", auth());
  EXPECT_EQ(rc_of(r), -99);
  EXPECT_EQ(rc_of(post("http_config", R"({"other": {}})")), -99);
  EXPECT_EQ(get("http_config").body, before);
  EXPECT_EQ(stored_config(), stored);
}

TEST_F(HttpConfigTest, BoundaryValuesAreAccepted) {
  for (const char *changes : {R"("httpPort": 80)", R"("httpPort": 8080)", R"("httpsPort": 443)",
                              R"("httpsPort": 65535)", R"("softTimeout": 60, "hardTimeout": 168, "maxSes": 1)",
                              R"("httpEnable": 0)", R"("httpsEnable": 0)", R"("httpLang": "auto")"})
    EXPECT_EQ(rc_of(post("http_config", settings(changes))), 0) << changes;
}

TEST_F(HttpConfigTest, LanguageAndThemeAreCheckedByPrefixAndStoredCutToSevenCharacters) {
  ASSERT_EQ(rc_of(post("http_config", settings(R"("httpLang": "english", "themeSel": "darker")"))), 0);
  JsonPtr now = current();
  EXPECT_EQ(json_string_at(now.get(), {"http_config", "httpLang"}), "english");
  EXPECT_EQ(json_string_at(now.get(), {"http_config", "themeSel"}), "darker");
  EXPECT_NE(stored_config().find(R"("httpLang":"english")"), std::string::npos) << stored_config();

  ASSERT_EQ(rc_of(post("http_config", settings(R"("httpLang": "japanese-x", "themeSel": "lightest")"))), 0);
  now = current();
  EXPECT_EQ(json_string_at(now.get(), {"http_config", "httpLang"}), "japanes");
  EXPECT_EQ(json_string_at(now.get(), {"http_config", "themeSel"}), "lightes");
}

TEST_F(HttpConfigTest, TheSameValuesAgainWriteNothing) {
  std::string path = harness().root() + "/mnt/fastpath/veltrum/agent.cfg";
  ASSERT_EQ(rc_of(post("http_config", settings(R"("softTimeout": 7)"))), 0);
  struct stat before {};
  ASSERT_EQ(stat(path.c_str(), &before), 0);
  size_t mark = harness().agent_log_size();
  HttpResponse r = post("http_config", settings(R"("softTimeout": 7)"));
  EXPECT_EQ(rc_of(r), 0);
  struct stat after {};
  ASSERT_EQ(stat(path.c_str(), &after), 0);
  EXPECT_EQ(before.st_ino, after.st_ino);  // written files are replaced, so a write changes the inode
  EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
  EXPECT_EQ(harness().agent_log_since(mark).find("agent config:"), std::string::npos);
}

TEST_F(HttpConfigTest, MaxSesLimitsTheNextLogin) {
  // This test's own session is the one alive.
  ASSERT_EQ(rc_of(post("http_config", settings(R"("maxSes": 1)"))), 0);
  Login refused = harness().login();
  EXPECT_FALSE(refused.ok);
  EXPECT_EQ(json_int_at(refused.response.json().get(), {"resp", "errCode"}), 481);
  ASSERT_EQ(rc_of(post("http_config", settings(R"("maxSes": 2)"))), 0);
  EXPECT_TRUE(harness().login().ok);
}

TEST_F(HttpConfigTest, ZeroSoftTimeoutKeepsASessionOnlyWithinTheSecondOfItsLastUse) {
  ASSERT_EQ(rc_of(post("http_config", settings(R"("softTimeout": 0)"))), 0);
  harness().advance_clock(1);
  EXPECT_EQ(get("http_config").status, 307);
  // Back to the suite's settings, through logins that each live only within
  // their second (one may pass between the login and the write).
  bool restored = false;
  for (int attempt = 0; attempt < 5 && !restored; ++attempt) {
    Login again = harness().login();
    restored = again.ok && rc_of(harness().post("/api/v1/http_config", settings(), again.auth())) == 0;
  }
  ASSERT_TRUE(restored);
}

TEST_F(HttpConfigTest, SoftTimeoutCountsFromTheNextRequest) {
  ASSERT_EQ(rc_of(post("http_config", settings(R"("softTimeout": 1)"))), 0);
  harness().advance_clock(61);
  EXPECT_EQ(get("http_config").status, 307);  // idle longer than a minute: the session is gone
}

TEST_F(HttpConfigTest, GlobalStatesStoreChangesAndAnswerSuccessToRefusals) {
  HttpResponse r = get("global_states");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                    R"("global_states":{"pellmar":1,"localMgmt":1}})");
  std::string stored = stored_config();
  for (const char *body : {R"({"global_states": {"pellmar": 2, "localMgmt": 0}})",
                           R"({"global_states": {"pellmar": 0, "localMgmt": 7}})"}) {
    size_t mark = harness().agent_log_size();
    EXPECT_EQ(rc_of(post("global_states", body)), 0) << body;
    EXPECT_NE(harness().agent_log_since(mark).find(std::string(body).find("pellmar\": 2") != std::string::npos
                                                       ? "Invalid Pellmar config"
                                                       : "Invalid Local Mgmt config"),
              std::string::npos);
    EXPECT_EQ(stored_config(), stored);
  }
  EXPECT_EQ(rc_of(post("global_states", R"({"global_states": {"pellmar": 1}})")), -99);
  ASSERT_EQ(rc_of(post("global_states", R"({"global_states": {"pellmar": 0, "localMgmt": 1}})")), 0);
  EXPECT_EQ(json_int_at(get("global_states").json().get(), {"global_states", "pellmar"}), 0);
  EXPECT_NE(stored_config().find(R"("pellmar":0)"), std::string::npos) << stored_config();
}

}  // namespace
}  // namespace veltrum::test
