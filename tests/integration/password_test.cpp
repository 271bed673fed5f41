// The admin password change through the REST interface: each refusal with
// its error code, the cut to 64 characters, and the save that follows a
// successful change (and only that).
#include <string>

#include <gtest/gtest.h>

#include "tests/integration/harness.h"

namespace veltrum::test {
namespace {

const std::string kPath = "/api/v1/user_password_change";

std::string change_body(const std::string &current, const std::string &next, const std::string &confirm) {
  JsonPtr inner(json_object_new_object());
  json_object_object_add(inner.get(), "current", json_object_new_string(current.c_str()));
  json_object_object_add(inner.get(), "new", json_object_new_string(next.c_str()));
  json_object_object_add(inner.get(), "confirm", json_object_new_string(confirm.c_str()));
  JsonPtr body(json_object_new_object());
  json_object_object_add(body.get(), "user_password_change", json_object_get(inner.get()));
  return json_text(body.get());
}

class PasswordChangeTest : public LoggedInSuite {
 protected:
  HttpResponse change(const std::string &current, const std::string &next, const std::string &confirm) {
    return harness().post(kPath, change_body(current, next, confirm), session().auth());
  }

  // A failure envelope with this error code and argument object; nothing saved.
  void expect_refused(const HttpResponse &r, int code, const std::string &args = "{}") {
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":)" + std::to_string(code) +
                          R"(,"errMsgArgs":)" + args + "}}");
    EXPECT_EQ(harness().sim().count("rpcclt_openapiUserSet") > 0 ? 1 : 0, code == 312 ? 1 : 0);
    EXPECT_EQ(harness().sim().count("rpcclt_openapiSaveConfig"), 0u);
    EXPECT_TRUE(harness().program_log().empty()) << harness().program_log();
  }

  bool can_login(const std::string &password) { return harness().login("admin", password).ok; }

};

TEST_F(PasswordChangeTest, SuccessSavesOnceAndTheNewPasswordLogsIn) {
  HttpResponse r = change("password", "N3w-Passw0rd", "N3w-Passw0rd");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.header("Content-Type").value_or(""), "application/json");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"}})");
  EXPECT_EQ(harness().sim().count("rpcclt_openapiSaveConfig"), 1u);
  EXPECT_EQ(harness().program_log_lines(), std::vector<std::string>{"PellmarCli instant_monitoring"});
  // The save comes after the change.
  std::vector<std::string> journal = harness().sim().journal();
  ASSERT_FALSE(journal.empty());
  EXPECT_EQ(journal.back(), "rpcclt_openapiSaveConfig");

  EXPECT_FALSE(can_login("password"));
  Login fresh = harness().login("admin", "N3w-Passw0rd");
  ASSERT_TRUE(fresh.ok);
  EXPECT_EQ(json_int_at(fresh.response.json().get(), {"login", "def_password"}), 0);
  // Existing sessions live on.
  EXPECT_EQ(harness().get("/api/v1/ping", session().auth()).status, 200);
}

TEST_F(PasswordChangeTest, ReadsSaveNothing) {
  harness().sim().reset_counts();
  EXPECT_EQ(harness().get("/api/v1/ping", session().auth()).status, 200);
  EXPECT_EQ(harness().post("/api/v1/ping", std::string("{}"), session().auth()).status, 200);
  EXPECT_EQ(harness().get("/api/v1/setup").status, 307);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiSaveConfig"), 0u);
  EXPECT_TRUE(harness().program_log().empty());
}

TEST_F(PasswordChangeTest, MismatchIsRefusedWith309) {
  expect_refused(change("password", "N3w-Passw0rd", "N3w-Passw0rd!"), 309);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiValidateUserPassword"), 0u);
  EXPECT_TRUE(can_login("password"));
}

TEST_F(PasswordChangeTest, QuoteAndQuestionMarkAreRefusedBeforeTheCurrentPasswordIsChecked) {
  // Code 0 is recorded for these: the answer carries "errCode": 0.
  expect_refused(change("wrong-current", "abc?defgh", "abc?defgh"), 0);
  expect_refused(change("wrong-current", "abc\"defgh", "abc\"defgh"), 0);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiValidateUserPassword"), 0u);
  EXPECT_TRUE(can_login("password"));
}

TEST_F(PasswordChangeTest, PlatformLimitsBelow64CharactersRefuseEveryChange) {
  // A failed size query leaves both limits 0: the maximum is below 65.
  harness().sim().fail("rpcclt_openapiUserPasswordSizeGet", 1, -28);
  expect_refused(change("password", "N3w-Passw0rd", "N3w-Passw0rd"), 0);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiUserPasswordSizeGet"), 1u);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiValidateUserPassword"), 0u);
  EXPECT_TRUE(can_login("password"));
}

TEST_F(PasswordChangeTest, WrongCurrentPasswordIsRefusedWith308) {
  expect_refused(change("not-it", "N3w-Passw0rd", "N3w-Passw0rd"), 308);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiValidateUserPassword"), 1u);
  EXPECT_TRUE(can_login("password"));
}

TEST_F(PasswordChangeTest, PlatformRefusalIsReportedWith312WithoutThePassword) {
  size_t mark = harness().agent_log_size();
  // The platform wants at least 8 characters. The detail names the member,
  // never its value.
  expect_refused(change("password", "sh0rt!", "sh0rt!"), 312, R"({"password":""})");
  EXPECT_TRUE(can_login("password"));
  EXPECT_EQ(harness().agent_log_since(mark).find("sh0rt!"), std::string::npos);
}
TEST_F(PasswordChangeTest, MissingMembersAreRefusedWithCode0) {
  expect_refused(change("password", "a", "b"), 309);
  HttpResponse r = harness().post(kPath, std::string(R"({"user_password_change": {"current": "password"}})"),
                                  session().auth());
  expect_refused(r, 0);
  r = harness().post(kPath, std::string("{}"), session().auth());
  expect_refused(r, 0);
}

TEST_F(PasswordChangeTest, ARefusedLoginCarriesTheArgumentsOfTheLastErrorButNoPassword) {
  expect_refused(change("password", "sh0rt!", "sh0rt!"), 312, R"({"password":""})");
  // The login records its code without arguments: the last ones stay, and
  // anyone who fails a login sees them.
  Login refused = harness().login("admin", "wrong");
  JsonPtr doc = refused.response.json();
  EXPECT_EQ(json_int_at(doc.get(), {"resp", "errCode"}), 2);
  EXPECT_EQ(json_string_at(doc.get(), {"resp", "errMsgArgs", "password"}), "");
  EXPECT_EQ(refused.response.body.find("sh0rt!"), std::string::npos) << refused.response.body;
}

TEST_F(PasswordChangeTest, LongPasswordsAreCutTo64Characters) {
  std::string seventy(70, 'x');
  for (size_t i = 0; i < seventy.size(); ++i) seventy[i] = static_cast<char>('a' + i % 26);
  HttpResponse r = change("password", seventy, seventy);
  ASSERT_EQ(json_string_at(r.json().get(), {"resp", "status"}), "success") << r.body;
  EXPECT_TRUE(can_login(seventy.substr(0, 64)));
  EXPECT_FALSE(can_login(seventy));
  // new and confirm are compared after the cut.
  std::string other = seventy.substr(0, 64) + "ZZZZ";
  r = change(seventy.substr(0, 64), seventy, other);
  EXPECT_EQ(json_string_at(r.json().get(), {"resp", "status"}), "success") << r.body;
}

TEST_F(PasswordChangeTest, NeedsASession) {
  HttpResponse r = harness().post(kPath, change_body("password", "N3w-Passw0rd", "N3w-Passw0rd"),
                                  Credentials{session().cookie, std::nullopt, std::nullopt});
  EXPECT_EQ(r.status, 307);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiUserSet"), 0u);
  EXPECT_TRUE(can_login("password"));
}

}  // namespace
}  // namespace veltrum::test
