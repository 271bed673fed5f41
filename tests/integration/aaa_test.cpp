// RADIUS, TACACS+ and the authentication lists over HTTP against the
// simulated switch: secrets that are written but never read, logged or
// kept in clear text, primary and current servers, server statistics and
// their clear, the TACACS+ server table, and the method orders of the web
// lists. Ranges, round trips and faults of the settings are the
// conformance test's.
#include <gtest/gtest.h>

#include <string>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::range_refusal;
using veltrum::test::RangeCase;
using veltrum::test::json_at;
using veltrum::test::json_int_at;
using veltrum::test::json_string_at;

class AaaTest : public veltrum::test::ResourceSuite {
 protected:
  HttpResponse radius_server(const std::string &addr, const std::string &name, int pri, const std::string &secret = "",
                             int secret_cfg = 0) {
    return post("radius_server_cfg", R"({"radius_server_cfg":[{"addr":")" + addr + R"(","name":")" + name +
                                         R"(","port":1812,"secretCfg":)" + std::to_string(secret_cfg) +
                                         R"(,"secret":")" + secret + R"(","pri":)" + std::to_string(pri) +
                                         R"(,"msgAuth":1}]})");
  }
  HttpResponse tacacs_servers(const std::string &elements) {
    return post("tacacs_server_cfg", R"({"tacacs_server_cfg":{"tacacs_server_conf":[)" + elements + "]}}");
  }
  static std::string tacacs(const std::string &addr, int timeout = 5, const std::string &key = "", int key_flag = 0) {
    return R"({"addr":")" + addr + R"(","tacport":49,"pri":1,"timeout":)" + std::to_string(timeout) + R"(,"key":")" +
           key + R"(","keyFlag":)" + std::to_string(key_flag) + "}";
  }
};

TEST_F(AaaTest, SecretsAreWrittenButNeverReadLoggedOrKeptInClearText) {
  const std::string radius = "Rad1us-Shared-S3cret";
  const std::string accounting = "Acct-Shared-S3cret";
  const std::string global = "Tac-Gl0bal-Key";
  const std::string own = "Tac-Own-Key-9";
  const std::string refused = "Refused-Key-" + std::string(130, 'z');
  ASSERT_EQ(radius_server("10.1.1.1", "corp", 1, radius, 1).body, kSuccess);
  ASSERT_EQ(post("radius_accounting_cfg", R"({"radius_accounting_cfg":[{"addr":"10.1.1.2","name":"corp","port":1813,)"
                                          R"("secretCfg":1,"secret":")" +
                                              accounting + R"(","acctMode":1}]})")
                .body,
            kSuccess);
  ASSERT_EQ(post("tacacs_global_cfg", R"({"tacacs_global_cfg":{"key":")" + global + R"(","timeout":7}})").body,
            kSuccess);
  ASSERT_EQ(tacacs_servers(tacacs("10.1.1.3", 5, own, 1)).body, kSuccess);
  // A key beyond the platform's length: refused without showing it.
  HttpResponse r = tacacs_servers(tacacs("10.1.1.4", 5, refused, 1));
  EXPECT_EQ(err_code(r), 1280);
  std::string answers = r.body;
  r = post("tacacs_global_cfg", R"({"tacacs_global_cfg":{"key":")" + refused + R"(","timeout":7}})");
  EXPECT_EQ(resp_code(r), -1);
  answers += r.body;

  // The switch says a secret is configured, and nothing more.
  std::string &reads = answers;
  for (const char *resource : {"radius_server_cfg", "radius_accounting_cfg", "tacacs_global_cfg", "tacacs_server_cfg"})
    reads += get(resource).body;
  EXPECT_EQ(
      json_int_at(json_object_array_get_idx(json_at(get("radius_server_cfg").json().get(), {"radius_server_cfg"}), 0),
                  {"secretCfg"}),
      1);
  EXPECT_EQ(json_int_at(json_object_array_get_idx(
                            json_at(get("radius_accounting_cfg").json().get(), {"radius_accounting_cfg"}), 0),
                        {"secretCfg"}),
            1);

  // Neither the agent's log at its most verbose, nor an answer, nor the
  // switch's state or saved configuration holds one in clear text.
  const std::string log = harness().agent_log();
  const std::string state = harness().sim().get("radius_auth_servers") + harness().sim().get("radius_acct_servers") +
                            harness().sim().get("tacacs_servers") + harness().sim().get("tacacs.key");
  const std::string saved = harness().read_file("/mnt/fastpath/startup-config.json");
  // The request lines were logged, their secrets masked.
  ASSERT_NE(log.find(R"("secret":"****")"), std::string::npos);
  ASSERT_NE(log.find(R"("key":"****")"), std::string::npos);
  ASSERT_NE(saved.find("10.1.1.3"), std::string::npos);
  for (const std::string &secret : {radius, accounting, global, own, refused}) {
    EXPECT_EQ(log.find(secret.substr(0, 12)), std::string::npos) << secret;
    EXPECT_EQ(reads.find(secret.substr(0, 12)), std::string::npos) << secret;
    EXPECT_EQ(state.find(secret.substr(0, 12)), std::string::npos) << secret;
    EXPECT_EQ(saved.find(secret.substr(0, 12)), std::string::npos) << secret;
  }
  // Kept encrypted: a nonce, ':', then the secret's bytes encrypted.
  JsonPtr servers(json_tokener_parse(harness().sim().get("radius_auth_servers").c_str()));
  std::string stored = json_string_at(json_object_array_get_idx(servers.get(), 0), {"record", "secret"});
  EXPECT_EQ(stored.size(), 17u + 2 * radius.size()) << stored;

  // "secretCfg" 0: the server keeps no secret of its own.
  ASSERT_EQ(radius_server("10.1.1.1", "corp", 1).body, kSuccess);
  EXPECT_EQ(
      json_int_at(json_object_array_get_idx(json_at(get("radius_server_cfg").json().get(), {"radius_server_cfg"}), 0),
                  {"secretCfg"}),
      0);
}

TEST_F(AaaTest, OneServerOfANameIsPrimaryAndTheFirstPrimaryIsCurrent) {
  EXPECT_EQ(get("radius_global_cfg").body,
            R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"radius_global_cfg":)"
            R"({"currSrv":"","srvCnt":0,"maxRetrans":4,"timeout":5,"acctState":0}})");
  ASSERT_EQ(radius_server("radius-b.example", "corp", 1).body, kSuccess);
  ASSERT_EQ(radius_server("10.0.0.9", "corp", 2).body, kSuccess);
  EXPECT_EQ(json_string_at(get("radius_global_cfg").json().get(), {"radius_global_cfg", "currSrv"}),
            "radius-b.example");
  // A new primary of the same name makes the other secondary.
  ASSERT_EQ(radius_server("10.0.0.9", "corp", 1).body, kSuccess);
  JsonPtr doc = get("radius_server_cfg").json();
  json_object *servers = json_at(doc.get(), {"radius_server_cfg"});
  ASSERT_EQ(json_object_array_length(servers), 2u);
  EXPECT_EQ(json_text(json_object_array_get_idx(servers, 0)),
            R"({"addr":"10.0.0.9","name":"corp","port":1812,"secretCfg":0,"pri":1,"msgAuth":1})");
  EXPECT_EQ(json_int_at(json_object_array_get_idx(servers, 1), {"pri"}), 2);
  JsonPtr global = get("radius_global_cfg").json();
  EXPECT_EQ(json_string_at(global.get(), {"radius_global_cfg", "currSrv"}), "10.0.0.9");
  EXPECT_EQ(json_int_at(global.get(), {"radius_global_cfg", "srvCnt"}), 2);

  // An address that names no server is the switch's to refuse.
  HttpResponse r = radius_server("224.0.0.5", "corp", 2);
  EXPECT_EQ(err_code(r), 1281);
  r = post("radius_accounting_cfg", R"({"radius_accounting_cfg":[{"addr":"0.0.0.0","name":"corp","port":1813,)"
                                    R"("secretCfg":0,"acctMode":1}]})");
  EXPECT_EQ(err_code(r), 1282);
  EXPECT_TRUE(calls("AcctServerAdd").empty());  // the address was verified first

  ASSERT_EQ(del("radius_server_cfg", R"({"radius_server_cfg":[{"addr":"10.0.0.9"}]})").body, kSuccess);
  r = del("radius_server_cfg", R"({"radius_server_cfg":[{"addr":"10.0.0.9"}]})");
  EXPECT_EQ(err_code(r), 1281);
  EXPECT_EQ(json_int_at(get("radius_global_cfg").json().get(), {"radius_global_cfg", "srvCnt"}), 1);
}

TEST_F(AaaTest, ServerStatisticsShowWhatTheSwitchCountedUntilCleared) {
  ASSERT_EQ(radius_server("10.0.0.1", "corp", 1).body, kSuccess);
  ASSERT_EQ(post("radius_accounting_cfg", R"({"radius_accounting_cfg":[{"addr":"10.0.0.2","name":"corp","port":1813,)"
                                          R"("secretCfg":0,"acctMode":1}]})")
                .body,
            kSuccess);
  ASSERT_EQ(harness().sim().set("radius_auth_stats",
                                R"({"key":["10.0.0.1"],"record":{"accsReq":10,"accsRetrans":1,"accsAccept":6,)"
                                R"("accsReject":2,"accsChallen":1,"malAccs":1,"badAuth":1,"pendReq":1,"timeout":3,)"
                                R"("unknown":1,"pktDrop":2,"rtt":15}})"),
            OPEN_E_NONE);
  ASSERT_EQ(harness().sim().set("radius_acct_stats",
                                R"({"key":["10.0.0.2"],"record":{"acctReq":8,"acctRetrans":2,"acctResp":6,"malResp":1,)"
                                R"("badAuth":1,"pendReq":0,"timeout":2,"unknown":1,"pktDrop":1,"rtt":30}})"),
            OPEN_E_NONE);
  // Counters of a server the switch does not have are not shown.
  ASSERT_EQ(harness().sim().set("radius_auth_stats", R"({"key":["10.9.9.9"],"record":{"accsReq":99}})"), OPEN_E_NONE);
  const std::string auth_stats = R"({"addr":"10.0.0.1","accsReq":10,"accsRetrans":1,"accsAccept":6,"accsReject":2,)"
                                 R"("accsChallen":1,"malAccs":1,"badAuth":1,"pendReq":1,"timeout":3,"unknown":1,)"
                                 R"("pktDrop":2,"rtt":15})";
  const std::string acct_stats = R"({"addr":"10.0.0.2","acctReq":8,"acctRetrans":2,"acctResp":6,"malResp":1,)"
                                 R"("badAuth":1,"pendReq":0,"timeout":2,"unknown":1,"pktDrop":1,"rtt":30})";
  EXPECT_EQ(json_text(json_at(get("radius_server_stats").json().get(), {"radius_server_stats"})),
            "[" + auth_stats + "]");
  EXPECT_EQ(json_text(json_at(get("radius_accounting_stats").json().get(), {"radius_accounting_stats"})),
            "[" + acct_stats + "]");

  ASSERT_EQ(post("radius_accounting_stats_clear", R"({"radius_accounting_stats_clear":{}})").body, kSuccess);
  EXPECT_EQ(calls("StatsClear"), std::vector<std::string>{"rpcclt_openapiRadiusStatsClear"});
  JsonPtr auth = get("radius_server_stats").json();
  JsonPtr acct = get("radius_accounting_stats").json();
  json_object *auth_el = json_object_array_get_idx(json_at(auth.get(), {"radius_server_stats"}), 0);
  json_object *acct_el = json_object_array_get_idx(json_at(acct.get(), {"radius_accounting_stats"}), 0);
  for (json_object *el : {auth_el, acct_el}) {
    json_object_object_foreach(el, key, value) {
      if (std::string(key) != "addr") {
        EXPECT_EQ(json_object_get_int64(value), 0) << key;
      }
    }
  }

  harness().sim().fail("rpcclt_openapiRadiusStatsClear", 1, OPEN_E_FAIL);
  EXPECT_EQ(resp_code(post("radius_accounting_stats_clear", R"({"radius_accounting_stats_clear":{}})")), -1);
}

TEST_F(AaaTest, TacacsServersAreAddedChangedAndRemovedWithinTheSwitchsTable) {
  ASSERT_EQ(tacacs_servers(tacacs("10.0.0.1") + "," + tacacs("tacacs.example")).body, kSuccess);
  // A server that exists is changed, not refused.
  ASSERT_EQ(tacacs_servers(tacacs("10.0.0.1", 9)).body, kSuccess);
  EXPECT_EQ(json_text(json_at(get("tacacs_server_cfg").json().get(), {"tacacs_server_cfg", "tacacs_server_conf"})),
            R"([{"addr":"10.0.0.1","tacport":49,"pri":1,"timeout":9},)"
            R"({"addr":"tacacs.example","tacport":49,"pri":1,"timeout":5}])");

  size_t mark = harness().agent_log_size();
  HttpResponse r = tacacs_servers(tacacs("10.0.0.1", 31));
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":31,"params":"Connection Timeout","min":1,"max":30}}})");
  EXPECT_NE(harness().agent_log_since(mark).find("Error. timeout 31 out of range (1 - 30)"), std::string::npos);
  std::string long_name = std::string(60, 'a') + ".com";
  r = tacacs_servers(tacacs(long_name));
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":1280,"errMsgArgs":{"value":")" + long_name +
                        R"("}}})");
  EXPECT_NE(harness().agent_log_since(mark).find("Tacacs server address length can not be longer than 63."),
            std::string::npos);

  // The switch holds five servers.
  r = tacacs_servers(tacacs("10.0.0.3") + "," + tacacs("10.0.0.4") + "," + tacacs("10.0.0.5") + "," +
                     tacacs("10.0.0.6"));
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":1280,"errMsgArgs":{}}})");
  EXPECT_EQ(json_object_array_length(
                json_at(get("tacacs_server_cfg").json().get(), {"tacacs_server_cfg", "tacacs_server_conf"})),
            5u);

  ASSERT_EQ(
      del("tacacs_server_cfg", R"({"tacacs_server_cfg":{"tacacs_server_conf":[{"addr":"tacacs.example"}]}})").body,
      kSuccess);
  r = del("tacacs_server_cfg", R"({"tacacs_server_cfg":{"tacacs_server_conf":[{"addr":"tacacs.example"}]}})");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_NE(harness().agent_log_since(mark).find("Invalid tacacs server address with error(-26)"), std::string::npos);
}

TEST_F(AaaTest, WebAuthenticationListsRoundTripTheirMethodOrders) {
  EXPECT_EQ(get("http_https_auth_list").body,
            R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"http_https_auth_list":)"
            R"({"HttpListName":"httpList","method_0":3,"method_1":0,"method_2":0,"method_3":0}})");
  // RADIUS, then TACACS+, then the local users.
  const std::string body = R"({"http_https_auth_list":{"HttpListName":"httpList","HttpsListName":"httpsList",)"
                           R"("method_0":1,"method_1":2,"method_2":3,"method_3":0}})";
  ASSERT_EQ(post("http_https_auth_list", body).body, kSuccess);
  EXPECT_EQ(calls("AuthenticationMethodSet").size(), 8u);
  EXPECT_EQ(json_text(json_at(get("http_https_auth_list").json().get(), {"http_https_auth_list"})),
            R"({"HttpListName":"httpList","method_0":1,"method_1":2,"method_2":3,"method_3":0})");
  EXPECT_EQ(harness().sim().get("auth_lists"), R"([{"key":[0,"dot1xList"],"record":{"m0":1,"m1":0,"m2":0,"m3":0}},)"
                                               R"({"key":[1,"httpList"],"record":{"m0":1,"m1":2,"m2":3,"m3":0}},)"
                                               R"({"key":[2,"httpsList"],"record":{"m0":1,"m1":2,"m2":3,"m3":0}}])");

  // No first method, or one the web server cannot use: refused before any call.
  harness().sim().reset_counts();
  for (const char *methods : {R"("method_0":0,"method_1":3,"method_2":0,"method_3":0)",
                              R"("method_0":3,"method_1":4,"method_2":0,"method_3":0)"}) {
    HttpResponse r = post("http_https_auth_list", R"({"http_https_auth_list":{"HttpListName":"httpList",)"
                                                  R"("HttpsListName":"httpsList",)" +
                                                      std::string(methods) + "}}");
    EXPECT_EQ(resp_code(r), -1) << methods;
  }
  EXPECT_TRUE(calls("AuthenticationMethod").empty());
}

// Each ranged member of the RADIUS and TACACS+ resources, at both ends just
// outside its range, answers errCode 9 with its label and bounds.
TEST_F(AaaTest, RangedMembersAnswerTheirLabelAndBounds) {
  struct Case {
    const char *resource;
    std::string before;  // the body up to the value
    const char *after;
    RangeCase range;
  };
  const std::string radius = R"({"radius_server_cfg":[{"addr":"10.0.0.1","name":"corp","secretCfg":0,"secret":"",)"
                             R"("pri":1,"msgAuth":1,"port":)";
  const std::string accounting = R"({"radius_accounting_cfg":[{"addr":"10.0.0.2","name":"corp","secretCfg":0,)"
                                 R"("secret":"","acctMode":1,"port":)";
  const std::string tacacs = R"({"tacacs_server_cfg":{"tacacs_server_conf":[{"addr":"10.0.0.3","key":"","keyFlag":0,)";
  const Case cases[] = {
      {"radius_server_cfg", radius, "}]}", {"port", "Authentication Port", 1, 65535}},
      {"radius_accounting_cfg", accounting, "}]}", {"port", "Port", 1, 65535}},
      {"radius_global_cfg",
       R"({"radius_global_cfg":{"acctState":0,"timeout":5,"maxRetrans":)",
       "}}",
       {"maxRetrans", "Max Number of Retransmits", 1, 15}},
      {"radius_global_cfg",
       R"({"radius_global_cfg":{"acctState":0,"maxRetrans":4,"timeout":)",
       "}}",
       {"timeout", "Timeout Duration", 1, 30}},
      {"tacacs_global_cfg", R"({"tacacs_global_cfg":{"timeout":)", "}}", {"timeout", "Connection Timeout", 1, 30}},
      {"tacacs_server_cfg", tacacs + R"("pri":1,"timeout":5,"tacport":)", "}]}}", {"tacport", "Port", 0, 65535}},
      {"tacacs_server_cfg", tacacs + R"("tacport":49,"timeout":5,"pri":)", "}]}}", {"pri", "Priority", 0, 65535}},
      {"tacacs_server_cfg",
       tacacs + R"("tacport":49,"pri":1,"timeout":)",
       "}]}}",
       {"timeout", "Connection Timeout", 1, 30}},
  };
  for (const Case &c : cases) {
    for (int64_t value : {c.range.min - 1, c.range.max + 1}) {
      EXPECT_EQ(post(c.resource, c.before + std::to_string(value) + c.after).body,
                range_refusal(value, c.range.label, c.range.min, c.range.max))
          << c.resource << " " << c.range.key << " " << value;
    }
  }
  EXPECT_TRUE(calls("ServerAdd").empty());
  EXPECT_TRUE(calls("AcctServerAdd").empty());
  EXPECT_EQ(saves(), 0u);
}

}  // namespace
