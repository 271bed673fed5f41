// The access handler and dispatcher seen from a client: status codes, fixed
// texts (exact bytes), headers, path matching, the open paths, and what the
// log keeps of a request.
#include <string>

#include <gtest/gtest.h>

#include "tests/integration/harness.h"

namespace veltrum::test {
namespace {

const std::string kPing = "/api/v1/ping";
const std::string kPingBody = "{\"ping\": \"\"}";
const std::string kUnhandled = "Invalid request! (or) Unhandled URI\r\n";
const std::string kBadCredentials = "Bad Credentials or Access Restricted\r\n";

class DispatchTest : public LoggedInSuite {
 protected:
  HttpResponse send(const std::string &method, const std::string &path, std::optional<std::string> body,
                    const Credentials &credentials) {
    return harness().send(method, path, std::move(body), credentials);
  }

};

// An answer made from a fixed text: exact body, no content type.
void expect_plain(const HttpResponse &r, long status, const std::string &body) {
  EXPECT_EQ(r.error, CURLE_OK);
  EXPECT_EQ(r.status, status);
  EXPECT_EQ(r.body, body);
  EXPECT_FALSE(r.header("Content-Type").has_value()) << *r.header("Content-Type");
}

// An answer made from the response holder: exact body, JSON content type.
void expect_holder(const HttpResponse &r, long status, const std::string &body) {
  EXPECT_EQ(r.error, CURLE_OK);
  EXPECT_EQ(r.status, status);
  EXPECT_EQ(r.body, body);
  EXPECT_EQ(r.header("Content-Type").value_or("(none)"), "application/json");
}

void expect_refused(const HttpResponse &r) {
  expect_plain(r, 307, kBadCredentials);
  EXPECT_EQ(r.header("Location").value_or("(none)"), "/");
}

TEST_F(DispatchTest, OnlyGetPostAndDeleteAreServed) {
  for (const char *method : {"PUT", "PATCH", "HEAD", "OPTIONS"}) {
    SCOPED_TRACE(method);
    HttpResponse r = send(method, kPing, std::nullopt, session().auth());
    if (std::string(method) == "HEAD") {
      // A HEAD answer has no body on the wire.
      EXPECT_EQ(r.status, 406);
      continue;
    }
    expect_plain(r, 406, "Illegal request method!\r\n");
  }
  // The method is refused before anything else: no session needed, any path.
  expect_plain(send("PUT", "/no/such/path", std::nullopt, {}), 406, "Illegal request method!\r\n");
  expect_plain(send("PUT", "/api/v1/login", std::string("{}"), {}), 406, "Illegal request method!\r\n");
}

TEST_F(DispatchTest, PingAnswersWithASessionOnly) {
  expect_holder(harness().get(kPing, session().auth()), 200, kPingBody);
  expect_holder(harness().post(kPing, std::string("{}"), session().auth()), 200, kPingBody);

  expect_refused(harness().get(kPing));
  expect_refused(harness().get(kPing, Credentials{session().cookie, std::nullopt, std::nullopt}));
  expect_refused(harness().get(kPing, Credentials{std::nullopt, session().token, std::nullopt}));
  // The body of a refused POST is swallowed; the end of the request is refused.
  expect_refused(harness().post(kPing, std::string("{}"), {}));
  expect_refused(harness().del(kPing, std::string("{}"), {}));
}

TEST_F(DispatchTest, BodyErrorsOfAPost) {
  expect_holder(harness().post(kPing, std::string("{"), session().auth()), 400, "Failed to parse json data.\r\n");
  expect_holder(harness().post(kPing, std::string("not json"), session().auth()), 400,
                "Failed to parse json data.\r\n");
  expect_plain(harness().post(kPing, std::nullopt, session().auth()), 400, "Empty data for POST request!\r\n");
  expect_plain(harness().post(kPing, std::string(""), session().auth()), 400, "Empty data for POST request!\r\n");
}

TEST_F(DispatchTest, PathsMatchExactlyAndIgnoreTheQuery) {
  expect_holder(harness().get("/api/v1/no_such_resource", session().auth()), 404, kUnhandled);
  expect_holder(harness().get("/api/v1/ping/", session().auth()), 404, kUnhandled);
  expect_holder(harness().get("/API/v1/ping", session().auth()), 404, kUnhandled);
  expect_holder(harness().get("/api/v1/pin", session().auth()), 404, kUnhandled);
  expect_holder(harness().get("/api/v1/ping?verbose=1&x", session().auth()), 200, kPingBody);
  // An unknown path is looked up only after the session check.
  expect_refused(harness().get("/api/v1/no_such_resource"));
}

TEST_F(DispatchTest, EmptyMethodSlotsAnswer404) {
  expect_holder(harness().del(kPing, std::nullopt, session().auth()), 404, kUnhandled);
  expect_holder(harness().del(kPing, std::string("{}"), session().auth()), 404, kUnhandled);
  // A DELETE body is parsed before the slot is looked at.
  expect_holder(harness().del(kPing, std::string("{"), session().auth()), 400, "Failed to parse json data.\r\n");
  expect_holder(harness().get("/api/v1/user_password_change", session().auth()), 404, kUnhandled);
  // login and logout have no rows: a GET of either is an unknown path.
  expect_holder(harness().get("/api/v1/login", session().auth()), 404, kUnhandled);
  expect_holder(harness().get("/api/v1/logout", session().auth()), 404, kUnhandled);
}

TEST_F(DispatchTest, MethodsOutsideTheCatalogueAnswer404) {
  const auto &auth = session().auth();
  const std::string body = "{}";
  expect_holder(harness().get("/api/v1/aclrule_cfg", auth), 404, kUnhandled);
  expect_holder(harness().post("/api/v1/aclrule_cfg", body, auth), 404, kUnhandled);
  expect_holder(harness().get("/api/v1/arp_entry_delete", auth), 404, kUnhandled);
  expect_holder(harness().post("/api/v1/arp_entry_delete", body, auth), 404, kUnhandled);
  expect_holder(harness().get("/api/v1/cable_test_status", auth), 404, kUnhandled);
  expect_holder(harness().del("/api/v1/cable_test_status", body, auth), 404, kUnhandled);
  expect_holder(harness().get("/api/v1/ssh_key", auth), 404, kUnhandled);
  expect_holder(harness().post("/api/v1/acl_intf_binding", body, auth), 404, kUnhandled);
  expect_holder(harness().del("/api/v1/dai_stats", body, auth), 404, kUnhandled);
}

TEST_F(DispatchTest, SetupRedirectsToTheFrontEndLogin) {
  // No session needed; the address comes from the service port by default.
  HttpResponse r = harness().get("/api/v1/setup");
  expect_plain(r, 307, "http://192.168.0.239:80/login");
  EXPECT_EQ(r.header("Location").value_or("(none)"), "/");

  harness().sim().set("network.ipv4_addr", R"({"value": "10.20.30.40"})");
  expect_plain(harness().get("/api/v1/setup"), 307, "http://10.20.30.40:80/login");

  // A routing interface on the management VLAN wins over the service port.
  ASSERT_EQ(harness().sim().set("vlan_routing", R"({"key": [1], "record": {"ifNum": 100, "addr": "172.16.5.1", "pfxLen": 24}})"),
            OPEN_E_NONE);
  expect_plain(harness().get("/api/v1/setup"), 307, "http://172.16.5.1:80/login");
  // A routing interface whose address the platform cannot give (-30): the
  // service port's address after all.
  ASSERT_EQ(harness().sim().set("vlan_routing", R"({"key": [1], "record": {"ifNum": 100, "pfxLen": 24}})"),
            OPEN_E_NONE);
  expect_plain(harness().get("/api/v1/setup"), 307, "http://10.20.30.40:80/login");
  // Any other failure of that query still takes the (empty) routed address.
  ASSERT_EQ(harness().sim().set("vlan_routing", R"({"key": [1], "record": {"ifNum": 100, "addr": "172.16.5.1", "pfxLen": 24}})"),
            OPEN_E_NONE);
  harness().sim().fail("rpcclt_openapiRtrIntfIpAddrGet", 1, -28);
  expect_plain(harness().get("/api/v1/setup"), 307, "http://0.0.0.0:80/login");
  expect_plain(harness().get("/api/v1/setup"), 307, "http://172.16.5.1:80/login");

  // Without a management address the target is empty, still a 307 to "/".
  harness().sim().factory_reset();
  harness().sim().fail("rpcclt_openapiNetworkMgmtVlanGet", 1, -28);
  r = harness().get("/api/v1/setup");
  expect_plain(r, 307, "");
  EXPECT_EQ(r.header("Location").value_or("(none)"), "/");
  harness().sim().fail("rpcclt_openapiNetworkPortIPv4AddrGet", 1, -30);
  expect_plain(harness().get("/api/v1/setup"), 307, "");
  expect_plain(harness().get("/api/v1/setup"), 307, "http://192.168.0.239:80/login");
}

TEST_F(DispatchTest, OpenPathsAnswerTheUntouchedHolderWhenNothingFilledIt) {
  // The final call of a device_admincred post sends the untouched holder
  // (status 0), which libmicrohttpd refuses: the connection closes unanswered.
  HttpResponse r = harness().post("/api/v1/device_admincred", std::string(R"({"a": 1})"), {});
  EXPECT_EQ(r.error, CURLE_GOT_NOTHING);
  EXPECT_EQ(r.status, 0);
  // The same for a login without body: the login handler never ran.
  r = harness().post("/api/v1/login", std::nullopt, Credentials{harness().new_cookie(), {}, {}});
  EXPECT_EQ(r.error, CURLE_GOT_NOTHING);
  // With a session, a device_admincred post is an unknown path.
  expect_holder(harness().post("/api/v1/device_admincred", std::string("{}"), session().auth()), 404, kUnhandled);
  // The agent is still there.
  expect_holder(harness().get(kPing, session().auth()), 200, kPingBody);
}

TEST_F(DispatchTest, LogoutAnswersASuccessEnvelopeAndEndsTheSession) {
  HttpResponse r = harness().post("/api/v1/logout", std::nullopt, session().auth());
  expect_holder(r, 200, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"logout":{}})");
  expect_refused(harness().get(kPing, session().auth()));
  // Now the token is unknown: a second logout is refused.
  expect_refused(harness().post("/api/v1/logout", std::nullopt, session().auth()));
  // A logout with a body answers the same way at the end of the request.
  Login other = harness().login();
  ASSERT_TRUE(other.ok);
  expect_holder(harness().post("/api/v1/logout", std::string("{}"), other.auth()), 200,
                R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"logout":{}})");
  expect_refused(harness().get(kPing, other.auth()));
  // Logging out saves nothing.
  EXPECT_EQ(harness().sim().count("rpcclt_openapiSaveConfig"), 0u);
  EXPECT_TRUE(harness().program_log().empty()) << harness().program_log();
}

TEST_F(DispatchTest, RequestLinesAreLoggedWithSecretsMasked) {
  size_t mark = harness().agent_log_size();
  std::string body =
      R"({"user_password_change": {"current": "password", "new": "S3cret-new-pw", "confirm": "S3cret-new-pw"}})";
  HttpResponse r = harness().post("/api/v1/user_password_change", body, session().auth());
  ASSERT_EQ(r.status, 200);
  harness().post(kPing, std::string(R"({"key": "k3y-value", "authKey": 1234567, "name": "visible"})"),
                 session().auth());
  harness().get("/api/v1/ping?password=x", session().auth());
  std::string log = harness().agent_log_since(mark);
  EXPECT_NE(
      log.find(
          R"(POST /api/v1/user_password_change {"user_password_change":{"current":"****","new":"****","confirm":"****"}})"),
      std::string::npos)
      << log;
  EXPECT_NE(log.find(R"(POST /api/v1/ping {"key":"****","authKey":"****","name":"visible"})"), std::string::npos)
      << log;
  EXPECT_NE(log.find("GET /api/v1/ping (null)"), std::string::npos) << log;
  EXPECT_EQ(log.find("S3cret-new-pw"), std::string::npos) << log;
  EXPECT_EQ(log.find("k3y-value"), std::string::npos) << log;
  EXPECT_EQ(log.find("1234567"), std::string::npos) << log;
  EXPECT_EQ(log.find("\"password\""), std::string::npos) << log;
}

TEST_F(DispatchTest, LoginAnswersAreNeverLogged) {
  size_t mark = harness().agent_log_size();
  Login second = harness().login();
  ASSERT_TRUE(second.ok);
  Login refused = harness().login("admin", "wrong-password");
  ASSERT_FALSE(refused.ok);
  std::string log = harness().agent_log_since(mark);
  EXPECT_EQ(log.find(second.token), std::string::npos) << log;
  EXPECT_EQ(log.find("\"resp\""), std::string::npos) << log;
  EXPECT_EQ(log.find("wrong-password"), std::string::npos) << log;
}

}  // namespace
}  // namespace veltrum::test
