// Sessions end to end: login with the platform's user database, the
// session table's limits and time-outs as the agent's clock moves, the
// Bearer and Basic checks, and logout.
#include <string>

#include <gtest/gtest.h>

#include "tests/integration/harness.h"

namespace veltrum::test {
namespace {

const std::string kPing = "/api/v1/ping";
constexpr long kSoftSeconds = 5 * 60;      // default softTimeout (minutes)
constexpr long kHardSeconds = 24 * 3600;   // default hardTimeout (hours)
constexpr int kMaxSessions = 4;            // default maxSes

class LoginTest : public AgentSuite {
 protected:
  bool ping_ok(const Credentials &credentials) { return harness().get(kPing, credentials).status == 200; }

  // Logs in and tells the session's creation time: false when the host's
  // second turned during the login, so that time is not known.
  bool login_in_one_second(Login &login, long &created) {
    long before = harness().agent_uptime();
    login = harness().login();
    EXPECT_TRUE(login.ok);
    created = before;
    return login.ok && harness().agent_uptime() == before;
  }
};

TEST_F(LoginTest, AcceptedLoginReturnsATokenAndTheAccountFlags) {
  Login s = harness().login();
  ASSERT_TRUE(s.ok) << s.response.body;
  EXPECT_EQ(s.response.status, 200);
  EXPECT_EQ(s.response.header("Content-Type").value_or(""), "application/json");
  JsonPtr doc = s.response.json();
  ASSERT_TRUE(doc);
  // Envelope and result members in their fixed order.
  std::string expected = R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"login":{"token":")" +
                         s.token + R"(","expire":)" + std::to_string(s.expire) +
                         R"(,"remote":0,"def_password":1,"locked":0}})";
  EXPECT_EQ(s.response.body, expected);
  // Four 32-bit values in upper-case hexadecimal without leading zeros.
  EXPECT_GE(s.token.size(), 4u);
  EXPECT_LE(s.token.size(), 32u);
  EXPECT_EQ(s.token.find_first_not_of("0123456789ABCDEF"), std::string::npos) << s.token;
  EXPECT_GT(s.expire, kHardSeconds - 60);
  EXPECT_LE(s.expire, kHardSeconds);
  EXPECT_TRUE(ping_ok(s.auth()));
  // A login saves nothing.
  EXPECT_EQ(harness().sim().count("rpcclt_openapiSaveConfig"), 0u);
  EXPECT_TRUE(harness().program_log().empty());
}

TEST_F(LoginTest, EveryLoginGetsItsOwnToken) {
  Login a = harness().login();
  Login b = harness().login();
  ASSERT_TRUE(a.ok);
  ASSERT_TRUE(b.ok);
  EXPECT_NE(a.token, b.token);
  // A token works only with the cookie it was made for.
  EXPECT_FALSE(ping_ok(Credentials{a.cookie, b.token, std::nullopt}));
  EXPECT_FALSE(ping_ok(Credentials{b.cookie, a.token, std::nullopt}));
  EXPECT_TRUE(ping_ok(a.auth()));
  EXPECT_TRUE(ping_ok(b.auth()));
}

TEST_F(LoginTest, RefusedLoginsAnswerAFailureEnvelopeWithCode2) {
  Login wrong = harness().login("admin", "not-the-password");
  EXPECT_FALSE(wrong.ok);
  EXPECT_EQ(wrong.response.status, 200);
  JsonPtr doc = wrong.response.json();
  EXPECT_EQ(json_string_at(doc.get(), {"resp", "status"}), "failure");
  EXPECT_EQ(json_int_at(doc.get(), {"resp", "respCode"}), -1);
  EXPECT_EQ(json_int_at(doc.get(), {"resp", "errCode"}), 2);
  EXPECT_EQ(json_string_at(doc.get(), {"login", "token"}), "");
  EXPECT_EQ(json_int_at(doc.get(), {"login", "expire"}), 0);
  EXPECT_EQ(json_int_at(doc.get(), {"login", "remote"}), 0);
  EXPECT_EQ(json_int_at(doc.get(), {"login", "def_password"}), 0);
  EXPECT_EQ(json_int_at(doc.get(), {"login", "locked"}), 0);

  Login unknown = harness().login("nobody", "password");
  EXPECT_FALSE(unknown.ok);
  EXPECT_EQ(json_int_at(unknown.response.json().get(), {"resp", "errCode"}), 2);

  // Empty credentials never reach the platform.
  harness().sim().reset_counts();
  EXPECT_FALSE(harness().login("admin", "").ok);
  EXPECT_FALSE(harness().login("", "password").ok);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiUserSessionAuthentication"), 0u);
}

TEST_F(LoginTest, MalformedLoginBodiesFailWithAnEmptyResult) {
  const char *bodies[] = {
      "{",                                              // not JSON
      R"({"login": {"username": "admin"}})",            // member missing
      R"({"username": "admin", "password": "password"})",  // no "login" object
      R"({"login": {"username": null, "password": "password"}})",  // not a text
  };
  for (const char *body : bodies) {
    SCOPED_TRACE(body);
    HttpResponse r = harness().post("/api/v1/login", std::string(body), Credentials{harness().new_cookie(), {}, {}});
    EXPECT_EQ(r.status, 200);
    JsonPtr doc = r.json();
    EXPECT_EQ(json_string_at(doc.get(), {"resp", "status"}), "failure");
    EXPECT_EQ(json_int_at(doc.get(), {"resp", "errCode"}), 2);
    json_object *result = json_at(doc.get(), {"login"});
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(json_object_object_length(result), 0);
  }
}

TEST_F(LoginTest, LoginWithoutTheCookieFailsEvenWithGoodCredentials) {
  HttpResponse r = harness().post("/api/v1/login", std::string(R"({"login": {"username": "admin", "password": "password"}})"), {});
  JsonPtr doc = r.json();
  EXPECT_EQ(json_string_at(doc.get(), {"resp", "status"}), "failure");
  EXPECT_EQ(json_int_at(doc.get(), {"resp", "errCode"}), 2);
  EXPECT_EQ(json_object_object_length(json_at(doc.get(), {"login"})), 0);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiUserSessionAuthentication"), 0u);
}

TEST_F(LoginTest, LockedAccountIsReported) {
  ASSERT_EQ(harness().sim().set("user_status", R"({"key": ["admin"], "record": {"failures": 5, "locked": 1}})"),
            OPEN_E_NONE);
  Login s = harness().login();  // the right password
  EXPECT_FALSE(s.ok);
  JsonPtr doc = s.response.json();
  EXPECT_EQ(json_int_at(doc.get(), {"login", "locked"}), 1);
  EXPECT_EQ(json_string_at(doc.get(), {"login", "token"}), "");
  EXPECT_EQ(json_int_at(doc.get(), {"resp", "errCode"}), 2);
}

TEST_F(LoginTest, FiveWrongPasswordsLockTheAccount) {
  for (int i = 0; i < 4; ++i) {
    Login s = harness().login("admin", "wrong");
    EXPECT_EQ(json_int_at(s.response.json().get(), {"login", "locked"}), 0) << i;
  }
  Login fifth = harness().login("admin", "wrong");
  EXPECT_EQ(json_int_at(fifth.response.json().get(), {"login", "locked"}), 1);
  EXPECT_FALSE(harness().login().ok);
}

TEST_F(LoginTest, SameUserAndCookieGetTheSameSessionBack) {
  Login first = harness().login();
  ASSERT_TRUE(first.ok);
  harness().advance_clock(30);
  Login again = harness().login("admin", "password", first.cookie);
  ASSERT_TRUE(again.ok);
  EXPECT_EQ(again.token, first.token);
  EXPECT_LT(again.expire, first.expire);
  // Another cookie is another session.
  Login other = harness().login();
  EXPECT_NE(other.token, first.token);
}

TEST_F(LoginTest, TableFullRefusesALoginUntilAPurgeFreesASlot) {
  Login oldest = harness().login();
  ASSERT_TRUE(oldest.ok);
  harness().advance_clock(kSoftSeconds - 100);
  std::vector<Login> sessions;
  for (int i = 1; i < kMaxSessions; ++i) {
    sessions.push_back(harness().login());
    ASSERT_TRUE(sessions.back().ok) << i;
  }
  Login refused = harness().login();
  EXPECT_FALSE(refused.ok);
  JsonPtr doc = refused.response.json();
  EXPECT_EQ(json_int_at(doc.get(), {"resp", "errCode"}), 481);
  EXPECT_EQ(json_int_at(doc.get(), {"resp", "respCode"}), -1);
  EXPECT_EQ(json_object_object_length(json_at(doc.get(), {"login"})), 0);
  // A repeated login of a live session does not need a slot.
  EXPECT_TRUE(harness().login("admin", "password", sessions[0].cookie).ok);

  // The oldest session goes idle past the soft limit; the others do not.
  harness().advance_clock(101);
  Login fresh = harness().login();
  EXPECT_TRUE(fresh.ok) << fresh.response.body;
  EXPECT_FALSE(ping_ok(oldest.auth()));
  for (const Login &s : sessions) EXPECT_TRUE(ping_ok(s.auth()));
  EXPECT_FALSE(harness().login().ok);
}

class SessionCheckTest : public LoginTest {};

TEST_F(SessionCheckTest, BearerNeedsItsOwnCookieAndTheExactScheme) {
  Login s = harness().login();
  ASSERT_TRUE(s.ok);
  EXPECT_TRUE(ping_ok(s.auth()));
  EXPECT_FALSE(ping_ok(Credentials{harness().new_cookie(), s.token, std::nullopt}));
  EXPECT_FALSE(ping_ok(Credentials{std::nullopt, s.token, std::nullopt}));
  EXPECT_FALSE(ping_ok(Credentials{s.cookie, s.token.substr(1), std::nullopt}));
  EXPECT_FALSE(ping_ok(Credentials{s.cookie, s.token + "0", std::nullopt}));
  EXPECT_FALSE(ping_ok(Credentials{s.cookie, std::string(""), std::nullopt}));

  auto with_header = [&](const std::string &line) {
    HttpRequest r;
    r.path = kPing;
    r.credentials.cookie = s.cookie;
    r.headers.push_back(line);
    return harness().request(r).status;
  };
  EXPECT_EQ(with_header("Authorization: Bearer " + s.token), 200);
  EXPECT_EQ(with_header("Authorization: bearer " + s.token), 307);
  EXPECT_EQ(with_header("Authorization: BEARER " + s.token), 307);
  EXPECT_EQ(with_header("Authorization: Bearer  " + s.token), 307);
  EXPECT_EQ(with_header("Authorization: Token " + s.token), 307);
  // Refused checks leave the session alone.
  EXPECT_TRUE(ping_ok(s.auth()));
}

TEST_F(SessionCheckTest, BasicCredentialsAreJudgedAlone) {
  const std::pair<std::string, std::string> good{"admin", "password"};
  const std::pair<std::string, std::string> bad{"admin", "wrong"};
  // Good Basic credentials with any cookie need no session.
  EXPECT_TRUE(ping_ok(Credentials{harness().new_cookie(), std::nullopt, good}));
  // Without the cookie nothing counts.
  EXPECT_FALSE(ping_ok(Credentials{std::nullopt, std::nullopt, good}));
  EXPECT_FALSE(ping_ok(Credentials{harness().new_cookie(), std::nullopt, bad}));
  // Wrong Basic credentials are refused even beside a valid Bearer token of
  // the same cookie: the Bearer header is then not looked at.
  Login s = harness().login();
  ASSERT_TRUE(s.ok);
  auto basic_then_bearer = [&](const std::string &basic64) {
    HttpRequest r;
    r.path = kPing;
    r.credentials.cookie = s.cookie;
    r.headers = {"Authorization: Basic " + basic64, "Authorization: Bearer " + s.token};
    return harness().request(r).status;
  };
  EXPECT_EQ(basic_then_bearer("YWRtaW46d3Jvbmc="), 307);     // admin:wrong
  EXPECT_EQ(basic_then_bearer("YWRtaW46cGFzc3dvcmQ="), 200);  // admin:password
  EXPECT_TRUE(ping_ok(s.auth()));
  // Basic checks go to the platform every time.
  harness().sim().reset_counts();
  ping_ok(Credentials{s.cookie, std::nullopt, good});
  ping_ok(Credentials{s.cookie, std::nullopt, good});
  EXPECT_EQ(harness().sim().count("rpcclt_openapiUserSessionAuthentication"), 2u);
  // Bearer checks never do.
  ping_ok(s.auth());
  EXPECT_EQ(harness().sim().count("rpcclt_openapiUserSessionAuthentication"), 2u);
}

TEST_F(SessionCheckTest, LogoutByTokenOrByBasicCredentials) {
  Login by_token = harness().login();
  Login by_basic = harness().login();
  Login bystander = harness().login();
  ASSERT_TRUE(by_token.ok && by_basic.ok && bystander.ok);

  EXPECT_EQ(harness().post("/api/v1/logout", std::nullopt, by_token.auth()).status, 200);
  EXPECT_FALSE(ping_ok(by_token.auth()));

  // Basic credentials on another cookie end nothing of this one.
  const std::pair<std::string, std::string> good{"admin", "password"};
  EXPECT_EQ(harness().post("/api/v1/logout", std::nullopt, Credentials{harness().new_cookie(), std::nullopt, good}).status,
            200);
  EXPECT_TRUE(ping_ok(by_basic.auth()));
  // On its cookie they end the user's session of that cookie.
  HttpResponse r = harness().post("/api/v1/logout", std::nullopt, Credentials{by_basic.cookie, std::nullopt, good});
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"logout":{}})");
  EXPECT_FALSE(ping_ok(by_basic.auth()));
  // Wrong Basic credentials log nobody out.
  EXPECT_EQ(harness().post("/api/v1/logout", std::nullopt,
                           Credentials{bystander.cookie, std::nullopt, std::pair<std::string, std::string>{"admin", "x"}})
                .status,
            307);
  EXPECT_TRUE(ping_ok(bystander.auth()));
  // A freed slot is a slot again: the logged-out cookie logs in anew.
  Login back = harness().login("admin", "password", by_token.cookie);
  EXPECT_TRUE(back.ok);
  EXPECT_NE(back.token, by_token.token);
}

// Runs `request` with the agent's clock at exactly `agent_time`. False when
// the host's second turned meanwhile, so the agent may have read another
// second (the caller tries again).
template <typename F>
bool at_agent_time(AgentHarness &h, long agent_time, F request) {
  long host = AgentHarness::host_uptime();
  h.set_clock_offset(agent_time - host);
  request();
  return AgentHarness::host_uptime() == host;
}

TEST_F(SessionCheckTest, SoftTimeoutEndsAnIdleSessionOneSecondAfterTheLimit) {
  bool decided = false;
  for (int attempt = 0; attempt < 10 && !decided; ++attempt) {
    Login s;
    long created = 0;
    if (!login_in_one_second(s, created)) continue;

    // Exactly at the limit: alive, and refreshed.
    HttpResponse at_limit;
    if (!at_agent_time(harness(), created + kSoftSeconds, [&] { at_limit = harness().get(kPing, s.auth()); }))
      continue;
    EXPECT_EQ(at_limit.status, 200);
    long last_access = created + kSoftSeconds;

    // One second past the refreshed limit: dead, and deleted.
    HttpResponse past;
    if (!at_agent_time(harness(), last_access + kSoftSeconds + 1, [&] { past = harness().get(kPing, s.auth()); }))
      continue;
    EXPECT_EQ(past.status, 307);
    EXPECT_EQ(past.body, "Bad Credentials or Access Restricted\r\n");
    // Gone for good, even with the clock set back.
    harness().set_clock_offset(harness().clock_offset() - 1000);
    EXPECT_FALSE(ping_ok(s.auth()));
    decided = true;
  }
  EXPECT_TRUE(decided) << "the host clock turned during every attempt";
}

TEST_F(SessionCheckTest, HardTimeoutEndsABusySession) {
  bool decided = false;
  for (int attempt = 0; attempt < 10 && !decided; ++attempt) {
    Login s;
    long created = 0;
    if (!login_in_one_second(s, created)) continue;
    // Kept busy well inside the soft limit up to the hard one (a second
    // more or less does not matter here).
    for (long t = created + kSoftSeconds - 10; t < created + kHardSeconds; t += kSoftSeconds - 10)
      at_agent_time(harness(), t, [&] { EXPECT_TRUE(ping_ok(s.auth())) << t - created; });
    HttpResponse at_limit;
    if (!at_agent_time(harness(), created + kHardSeconds, [&] { at_limit = harness().get(kPing, s.auth()); }))
      continue;
    EXPECT_EQ(at_limit.status, 200);
    HttpResponse past;
    if (!at_agent_time(harness(), created + kHardSeconds + 1, [&] { past = harness().get(kPing, s.auth()); })) continue;
    EXPECT_EQ(past.status, 307);
    decided = true;
  }
  EXPECT_TRUE(decided) << "the host clock turned during every attempt";
}

TEST_F(SessionCheckTest, ExpireCountsDownToTheHardLimit) {
  Login s = harness().login();
  ASSERT_TRUE(s.ok);
  // An hour of use, never idle up to the soft limit.
  for (int i = 0; i < 18; ++i) {
    harness().advance_clock(200);
    ASSERT_TRUE(ping_ok(s.auth())) << i;
  }
  Login again = harness().login("admin", "password", s.cookie);
  ASSERT_TRUE(again.ok);
  EXPECT_EQ(again.token, s.token);
  // One hour less, give or take the second that may have turned.
  EXPECT_GE(s.expire - again.expire, 3600 - 1);
  EXPECT_LE(s.expire - again.expire, 3600 + 1);
}

}  // namespace
}  // namespace veltrum::test
