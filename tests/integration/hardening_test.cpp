// What an attacker or an unlucky client can send, and what the agent does
// with it: secrets stay out of answers and the log, bodies are read whole
// (in any number of pieces, up to 1 MiB), a length told twice is refused, an
// empty cookie opens no session, members that are no text are refused, and a
// locked-out account opens again once the lock-out time has passed.
#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "server/dispatch.h"
#include "tests/integration/harness.h"
#include "tests/integration/raw_http.h"

namespace veltrum::test {
namespace {

const std::string kPing = "/api/v1/ping";
const std::string kIntf = "/api/v1/dai_intf_cfg";
const std::string kTooLarge = "Request body too large!\r\n";
constexpr int kPhysicalPorts = 28;

// A valid "dai_intf_cfg" write for every physical port (rate 10 + port),
// padded with an unused member to `size` bytes.
std::string intf_body(size_t size) {
  std::string body = R"({"dai_intf_cfg": [)";
  for (int port = 1; port <= kPhysicalPorts; ++port) {
    if (port > 1) body += ", ";
    body += R"({"port": )" + std::to_string(port) + R"(, "trust": 1, "rate": )" + std::to_string(10 + port) +
            R"(, "burst": 2})";
  }
  body += R"(], "padding": ")";
  const std::string end = "\"}";
  if (body.size() + end.size() < size) body.append(size - body.size() - end.size(), 'x');
  return body + end;
}

// Sends a request whose body goes in `pieces` parts with a pause after each,
// so the agent reads it in as many chunks at least; returns the answer.
std::optional<RawAnswer> post_in_pieces(const std::string &path, const Credentials &credentials,
                                        const std::string &body, int pieces) {
  RawConnection c;
  c.send(request_head("POST", path, credentials, {"Content-Length: " + std::to_string(body.size())}));
  size_t step = body.size() / pieces + 1;
  for (size_t at = 0; at < body.size(); at += step) {
    c.send(std::string_view(body).substr(at, step));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return c.read_answer();
}

class BodyTest : public LoggedInSuite {
 protected:
  unsigned rate_sets() { return harness().sim().count("rpcclt_openapiDaiIntfRateLimitSet"); }
  unsigned saves() { return harness().sim().count("rpcclt_openapiSaveConfig"); }
};

TEST_F(BodyTest, ABodyInTenPiecesIsAppliedOnce) {
  std::string body = intf_body(200 * 1024);
  std::optional<RawAnswer> a = post_in_pieces(kIntf, auth(), body, 10);
  ASSERT_TRUE(a);
  EXPECT_EQ(a->status, 200);
  EXPECT_EQ(a->body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"}})");
  EXPECT_EQ(rate_sets(), static_cast<unsigned>(kPhysicalPorts));
  EXPECT_EQ(saves(), 1u);
  JsonPtr doc = harness().get(kIntf, auth()).json();
  EXPECT_EQ(json_int_at(json_object_array_get_idx(json_at(doc.get(), {"dai_intf_cfg"}), 27), {"rate"}), 38);

  // A login body in pieces is read whole too.
  std::string login = R"({"login": {"username": "admin", "password": "password"}})";
  a = post_in_pieces("/api/v1/login", Credentials{harness().new_cookie(), {}, {}}, login, 3);
  ASSERT_TRUE(a);
  EXPECT_EQ(json_string_at(JsonPtr(json_tokener_parse(a->body.c_str())).get(), {"resp", "status"}), "success")
      << a->body;
}

TEST_F(BodyTest, BodiesAboveOneMebibyteAreRefusedWith413) {
  // Exactly the limit is read.
  HttpResponse r = harness().post(kIntf, intf_body(kMaxBodySize), auth());
  EXPECT_EQ(json_string_at(r.json().get(), {"resp", "status"}), "success") << r.body.substr(0, 200);
  EXPECT_EQ(saves(), 1u);

  harness().sim().reset_counts();
  for (size_t size : {kMaxBodySize + 1, 2 * kMaxBodySize}) {
    SCOPED_TRACE(size);
    r = harness().post(kIntf, intf_body(size), auth());
    EXPECT_EQ(r.status, 413);
    EXPECT_EQ(r.body, kTooLarge);
    EXPECT_FALSE(r.header("Content-Type"));
    r = harness().del(kIntf, intf_body(size), auth());
    EXPECT_EQ(r.status, 413);
  }
  EXPECT_EQ(rate_sets(), 0u);
  EXPECT_EQ(saves(), 0u);

  // The open login path has the same limit; a body without a session is
  // still swallowed and refused as before.
  r = harness().post("/api/v1/login", intf_body(2 * kMaxBodySize), Credentials{harness().new_cookie(), {}, {}});
  EXPECT_EQ(r.status, 413);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiUserSessionAuthentication"), 0u);
  r = harness().post(kIntf, intf_body(2 * kMaxBodySize), Credentials{session().cookie, {}, {}});
  EXPECT_EQ(r.status, 307);
  // The agent goes on serving.
  EXPECT_EQ(harness().get(kPing, auth()).status, 200);
}

TEST_F(BodyTest, ALengthToldTwiceIsRefusedBeforeTheBodyIsRead) {
  const std::string body = intf_body(0);
  const std::string length = "Content-Length: " + std::to_string(body.size());
  for (const auto &headers : {std::initializer_list<std::string>{length, "Transfer-Encoding: chunked"},
                              std::initializer_list<std::string>{"Transfer-Encoding: chunked", length},
                              std::initializer_list<std::string>{length, length}}) {
    RawConnection c;
    c.send(request_head("POST", kIntf, auth(), headers));
    c.send(body);
    std::optional<RawAnswer> a = c.read_answer();
    ASSERT_TRUE(a);
    EXPECT_EQ(a->status, 400);
    EXPECT_EQ(a->body, kAmbiguousLengthText);
    EXPECT_TRUE(a->has_header("Connection: close")) << a->head;
    EXPECT_TRUE(c.closed_by_peer(std::chrono::seconds(5)));
  }
  EXPECT_EQ(rate_sets(), 0u);
  // One length, told once, is fine.
  RawConnection c;
  c.send(request_head("POST", kIntf, auth(), {length}) + body);
  std::optional<RawAnswer> a = c.read_answer();
  ASSERT_TRUE(a);
  EXPECT_EQ(a->status, 200);
  EXPECT_EQ(rate_sets(), static_cast<unsigned>(kPhysicalPorts));
}

class SecretTest : public LoggedInSuite {};

TEST_F(SecretTest, NoSecretReachesTheLog) {
  size_t mark = harness().agent_log_size();
  // The password change itself, with its key spelt with an escape.
  HttpResponse r = harness().post(
      "/api/v1/user_password_change",
      std::string(
          R"({"user_password_change": {"current": "password", "n\u0065w": "Secr3t-A1", "c\u006Fnfirm": "Secr3t-A1"}})"),
      auth());
  EXPECT_EQ(json_string_at(r.json().get(), {"resp", "status"}), "success") << r.body;
  // Nested, in another case, as an object, in the second piece of a body,
  // and in a body that is not JSON at all.
  harness().post(kPing, std::string(R"({"a": [{"b": {"PassWord": "Secr3t-B2"}}], "Key": {"x": "Secr3t-C3"}})"), auth());
  std::optional<RawAnswer> a =
      post_in_pieces(kPing, auth(), R"({"name": "visible", "secret": "Secr3t-D4-and-a-long-tail"})", 2);
  ASSERT_TRUE(a);
  EXPECT_EQ(a->status, 200);
  const std::string broken = R"({"password": "Secr3t-E5")";
  r = harness().post(kPing, broken, auth());
  EXPECT_EQ(r.status, 400);
  // A valid token with another cookie.
  EXPECT_EQ(harness().get(kPing, Credentials{harness().new_cookie(), session().token, {}}).status, 307);

  std::string log = harness().agent_log_since(mark);
  EXPECT_EQ(log.find("Secr3t"), std::string::npos) << log;
  EXPECT_EQ(log.find(session().token), std::string::npos) << log;
  EXPECT_NE(log.find(R"(POST /api/v1/ping {"name":"visible","secret":"****"})"), std::string::npos) << log;
  EXPECT_NE(log.find("POST /api/v1/ping (a body of " + std::to_string(broken.size()) + " bytes that is not JSON)"),
            std::string::npos)
      << log;
  EXPECT_NE(log.find("Not find session for token:" + session().token.substr(0, 4) + "...\n"), std::string::npos) << log;
}

class AccessTest : public AgentSuite {};

TEST_F(AccessTest, AnEmptyCookieOpensNoSession) {
  // Stored, an empty cookie would be a prefix of every cookie: the session
  // of every later login of that user.
  const std::string body = R"({"login": {"username": "admin", "password": "password"}})";
  HttpResponse r = harness().post("/api/v1/login", body, Credentials{std::string(""), {}, {}});
  JsonPtr doc = r.json();
  EXPECT_EQ(json_string_at(doc.get(), {"resp", "status"}), "failure") << r.body;
  EXPECT_EQ(json_int_at(doc.get(), {"resp", "errCode"}), 2);
  EXPECT_EQ(json_object_object_length(json_at(doc.get(), {"login"})), 0);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiUserSessionAuthentication"), 0u);

  // Logins with cookies get sessions of their own, which an empty cookie
  // cannot use.
  Login first = harness().login();
  Login second = harness().login();
  ASSERT_TRUE(first.ok);
  ASSERT_TRUE(second.ok);
  EXPECT_NE(first.token, second.token);
  EXPECT_EQ(harness().get(kPing, Credentials{std::string(""), first.token, {}}).status, 307);
  EXPECT_EQ(harness().get(kPing, first.auth()).status, 200);
}

TEST_F(AccessTest, MembersThatAreNoTextAreRefusedBeforeThePlatformIsAsked) {
  for (const char *body : {R"({"login": {"username": {"name": "admin"}, "password": "password"}})",
                           R"({"login": {"username": "admin", "password": ["password"]}})"}) {
    SCOPED_TRACE(body);
    HttpResponse r = harness().post("/api/v1/login", std::string(body), Credentials{harness().new_cookie(), {}, {}});
    EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 2);
  }
  EXPECT_EQ(harness().sim().count("rpcclt_openapiUserSessionAuthentication"), 0u);

  Login s = harness().login();
  ASSERT_TRUE(s.ok);
  for (const char *body :
       {R"({"user_password_change": {"current": "password", "new": ["N3w-Passw0rd"], "confirm": "N3w-Passw0rd"}})",
        R"({"user_password_change": {"current": {}, "new": "N3w-Passw0rd", "confirm": "N3w-Passw0rd"}})",
        R"({"user_password_change": {"current": "password", "new": "N3w-Passw0rd", "confirm": null}})"}) {
    SCOPED_TRACE(body);
    HttpResponse r = harness().post("/api/v1/user_password_change", std::string(body), s.auth());
    JsonPtr doc = r.json();
    EXPECT_EQ(json_string_at(doc.get(), {"resp", "status"}), "failure") << r.body;
    EXPECT_EQ(json_int_at(doc.get(), {"resp", "errCode"}), 0);
  }
  EXPECT_EQ(harness().sim().count("rpcclt_openapiValidateUserPassword"), 0u);
  EXPECT_EQ(harness().sim().count("rpcclt_openapiUserSet"), 0u);
  EXPECT_TRUE(harness().login("admin", "password").ok);
}

TEST_F(AccessTest, ALockOutEndsWhenItsTimeHasPassed) {
  // Two seconds: six logins fit in the lock even on a slow (emulated) run.
  ASSERT_EQ(harness().sim().set("users.lockout_seconds", R"({"value": 2})"), OPEN_E_NONE);
  for (int i = 0; i < 5; ++i) EXPECT_FALSE(harness().login("admin", "wrong").ok);
  Login locked = harness().login();
  EXPECT_FALSE(locked.ok);
  EXPECT_EQ(json_int_at(locked.response.json().get(), {"login", "locked"}), 1);
  std::this_thread::sleep_for(std::chrono::milliseconds(2100));
  Login back = harness().login();
  EXPECT_TRUE(back.ok) << back.response.body;
  EXPECT_EQ(json_int_at(back.response.json().get(), {"login", "locked"}), 0);
}

}  // namespace
}  // namespace veltrum::test
