// Management access control over HTTP against the simulated switch: the
// one list, its rules by priority, activation, and the count of packets it
// dropped.
#include <gtest/gtest.h>

#include <string>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::json_at;

class MgmtAccessTest : public veltrum::test::ResourceSuite {
 protected:
  HttpResponse list(const std::string &name, int status) {
    return post("protocol_access_control",
                R"({"protocol_access_control":{"name":")" + name + R"(","status":)" + std::to_string(status) + "}}");
  }
  HttpResponse rules(const std::string &elements) {
    return post("acal_rule_cfg", R"({"acal_rule_cfg":[)" + elements + "]}");
  }
  std::string data(const std::string &resource) {
    JsonPtr doc = get(resource).json();
    return json_text(json_at(doc.get(), {resource.c_str()}));
  }
};

TEST_F(MgmtAccessTest, RulesAreAddedListedChangedAndDeleted) {
  EXPECT_EQ(data("protocol_access_control"), R"({"name":"","status":0,"filter":0})");
  EXPECT_EQ(data("acal_rule_cfg"), "[]");
  EXPECT_EQ(resp_code(rules(R"({"type":1,"service":0,"pri":1,"sip":"0.0.0.0","mask":"0.0.0.0"})")), -1);  // no list

  ASSERT_EQ(list("mgmt", 0).body, kSuccess);
  ASSERT_EQ(rules(R"({"type":1,"service":3,"pri":2,"sip":"10.1.0.0","mask":"255.255.0.0"},)"
                  R"({"type":0,"service":0,"pri":64,"sip":"0.0.0.0","mask":"0.0.0.0"})")
                .body,
            kSuccess);
  EXPECT_EQ(data("acal_rule_cfg"), R"([{"type":1,"service":3,"pri":2,"sip":"10.1.0.0","mask":"255.255.0.0"},)"
                                   R"({"type":0,"service":0,"pri":64,"sip":"0.0.0.0","mask":"0.0.0.0"}])");

  // A priority the list has is changed in place.
  harness().sim().reset_counts();
  ASSERT_EQ(rules(R"({"type":0,"service":5,"pri":2,"sip":"192.168.0.7","mask":"255.255.255.255"})").body, kSuccess);
  EXPECT_EQ(calls("Macal"),
            (std::vector<std::string>{"rpcclt_openapiMacalNameGet", "rpcclt_openapiMacalRuleExists",
                                      "rpcclt_openapiMacalRuleActionAdd", "rpcclt_openapiMacalRuleServiceAdd",
                                      "rpcclt_openapiMacalRuleSrcIpMaskAdd"}));
  EXPECT_EQ(calls("InetAton").size(), 2u);
  EXPECT_EQ(list_length(get("acal_rule_cfg"), "acal_rule_cfg"), 2u);

  ASSERT_EQ(del("acal_rule_cfg", R"({"acal_rule_cfg":[{"Priority":64}]})").body, kSuccess);
  EXPECT_EQ(data("acal_rule_cfg"), R"([{"type":0,"service":5,"pri":2,"sip":"192.168.0.7","mask":"255.255.255.255"}])");
  EXPECT_EQ(err_code(del("acal_rule_cfg", R"({"acal_rule_cfg":[{"Priority":64}]})")), 1400);
  HttpResponse r = del("acal_rule_cfg", R"({"acal_rule_cfg":[{"Priority":65}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":65,"params":"Priority","min":1,"max":64}}})");
}

TEST_F(MgmtAccessTest, RuleChecksRefuseBeforeAnyChange) {
  ASSERT_EQ(list("mgmt", 0).body, kSuccess);
  size_t mark = harness().agent_log_size();
  harness().sim().reset_counts();
  HttpResponse r = rules(R"({"type":2,"service":0,"pri":1,"sip":"0.0.0.0","mask":"0.0.0.0"},)"
                         R"({"type":1,"service":9,"pri":1,"sip":"0.0.0.0","mask":"0.0.0.0"},)"
                         R"({"type":1,"service":0,"pri":0,"sip":"0.0.0.0","mask":"0.0.0.0"},)"
                         R"({"type":1,"service":0,"pri":1,"sip":"10.0.0","mask":"0.0.0.0"},)"
                         R"({"type":1,"service":0,"pri":1,"sip":"0.0.0.0","mask":"255.0.0"})");
  EXPECT_EQ(err_code(r), 1400);
  std::string log = harness().agent_log_since(mark);
  for (const char *line : {"Invalid  action 2", "Invalid  service 9", "Invalid  priority 0",
                           "Parsing Error: 'Source IP Address' invalid.", "Parsing Error: 'Source mask' invalid."})
    EXPECT_NE(log.find(line), std::string::npos) << line;
  EXPECT_TRUE(calls("MacalRule").empty());

  // One failure without a code of its own answers the aggregate code; a
  // mask that is no mask is the switch's refusal.
  r = rules(R"({"type":1,"service":0,"pri":1,"sip":"10.0.0.0","mask":"255.0.255.0"})");
  EXPECT_EQ(err_code(r), 1400);
  EXPECT_EQ(data("acal_rule_cfg"), R"([{"type":1,"service":0,"pri":1,"sip":"0.0.0.0","mask":"0.0.0.0"}])");
}

TEST_F(MgmtAccessTest, OneListIsActiveAndCountsWhatItDrops) {
  ASSERT_EQ(list("mgmt", 0).body, kSuccess);
  // A list without rules would lock every client out: the switch refuses it.
  EXPECT_EQ(resp_code(list("mgmt", 1)), -1);
  ASSERT_EQ(rules(R"({"type":1,"service":2,"pri":1,"sip":"10.0.0.0","mask":"255.0.0.0"})").body, kSuccess);
  ASSERT_EQ(list("mgmt", 1).body, kSuccess);
  ASSERT_EQ(harness().sim().set("macal.filtered", R"({"value":42})"), OPEN_E_NONE);
  EXPECT_EQ(data("protocol_access_control"), R"({"name":"mgmt","status":1,"filter":42})");

  // The active list cannot be deleted by the switch; a new name replaces
  // the list (deactivated, deleted) by an empty one, which cannot be
  // activated yet.
  harness().sim().reset_counts();
  EXPECT_EQ(resp_code(list("other", 1)), -1);
  EXPECT_EQ(calls("Macal"),
            (std::vector<std::string>{"rpcclt_openapiMacalNameGet", "rpcclt_openapiMacalIsAnyListActivated",
                                      "rpcclt_openapiMacalDeactivate", "rpcclt_openapiMacalListDelete",
                                      "rpcclt_openapiMacalListCreate", "rpcclt_openapiMacalActivate"}));
  EXPECT_EQ(data("protocol_access_control"), R"({"name":"other","status":0,"filter":42})");
  EXPECT_EQ(data("acal_rule_cfg"), "[]");

  ASSERT_EQ(rules(R"({"type":1,"service":0,"pri":1,"sip":"0.0.0.0","mask":"0.0.0.0"})").body, kSuccess);
  ASSERT_EQ(list("other", 1).body, kSuccess);
  ASSERT_EQ(list("other", 0).body, kSuccess);
  EXPECT_EQ(data("protocol_access_control"), R"({"name":"other","status":0,"filter":42})");
  EXPECT_EQ(list_length(get("acal_rule_cfg"), "acal_rule_cfg"), 1u);  // the same list keeps its rules

  size_t mark = harness().agent_log_size();
  EXPECT_EQ(resp_code(list("bad name", 0)), -1);
  EXPECT_EQ(resp_code(post("protocol_access_control", R"({"protocol_access_control":{"status":0}})")), -1);
  EXPECT_NE(harness().agent_log_since(mark).find("Parsing Error: 'ACAL name' invalid."), std::string::npos);
  EXPECT_EQ(list_length(get("acal_rule_cfg"), "acal_rule_cfg"), 1u);  // a refused name replaced nothing
}

}  // namespace
