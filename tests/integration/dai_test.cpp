// The Dynamic ARP Inspection resources over HTTP against the simulated
// switch: checks with their error codes and details, per-element failure
// counting, platform faults in the middle of an array, the reads, and the
// save that follows a successful write.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::Credentials;
using veltrum::test::HttpResponse;
using veltrum::test::json_at;
using veltrum::test::json_int_at;
using veltrum::test::json_string_at;

class DaiTest : public veltrum::test::ResourceSuite {};

// ---------------------------------------------------------------- dai_global_cfg

TEST_F(DaiTest, GlobalModesAreCheckedBeforeAnyPlatformCall) {
  HttpResponse r = post("dai_global_cfg", R"({"dai_global_cfg":{"smac":2,"dmac":0,"ip":1}})");
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(json_string_at(r.json().get(), {"resp", "status"}), "failure");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "respCode"}), -1);
  EXPECT_TRUE(calls("Dai").empty());
  EXPECT_EQ(saves(), 0u);

  r = post("dai_global_cfg", R"({"dai_global_cfg":{"smac":1,"dmac":0,"ip":1}})");
  EXPECT_EQ(r.body, kSuccess);
  EXPECT_EQ(calls("ValidateModeSet"),
            (std::vector<std::string>{"rpcclt_openapiDaiSourceMacValidateModeSet",
                                      "rpcclt_openapiDaiDestMacValidateModeSet",
                                      "rpcclt_openapiDaiIpAddrValidateModeSet"}));
  EXPECT_EQ(saves(), 1u);
  EXPECT_EQ(harness().program_log_lines(), std::vector<std::string>{"PellmarCli instant_monitoring"});

  r = get("dai_global_cfg");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                    R"("dai_global_cfg":{"smac":1,"dmac":0,"ip":1}})");
  EXPECT_EQ(saves(), 1u);  // a read saves nothing
}

// A text that is not a whole number, a fraction or an object is no number:
// the check fails and nothing is set. Numeric texts and booleans still read
// as numbers, for the clients that send them.
TEST_F(DaiTest, MembersThatAreNoNumbersChangeNothing) {
  for (const char *odd : {R"("abc")", "1.5", "{}", "[1]", "null", R"("1x")"}) {
    HttpResponse r = post("dai_global_cfg", std::string(R"({"dai_global_cfg":{"smac":)") + odd + R"(,"dmac":0,"ip":0}})");
    EXPECT_EQ(resp_code(r), -1) << odd;
    EXPECT_TRUE(calls("Set").empty()) << odd;
  }
  EXPECT_EQ(post("dai_global_cfg", R"({"dai_global_cfg":{"smac":"1","dmac":true,"ip":0}})").body, kSuccess);
  EXPECT_EQ(get("dai_global_cfg").body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                                        R"("dai_global_cfg":{"smac":1,"dmac":1,"ip":0}})");
  HttpResponse r = post("dai_intf_cfg", R"({"dai_intf_cfg":[{"port":1,"trust":0,"rate":"abc","burst":1}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":"abc","params":"Rate Limit","min":0,"max":300}}})");
}

TEST_F(DaiTest, GlobalSetStopsAtTheFirstPlatformFailure) {
  harness().sim().fail("rpcclt_openapiDaiDestMacValidateModeSet", 1, -28);
  HttpResponse r = post("dai_global_cfg", R"({"dai_global_cfg":{"smac":1,"dmac":1,"ip":1}})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "respCode"}), -1);
  EXPECT_EQ(calls("ValidateModeSet").size(), 2u);  // the IP mode was never set
  EXPECT_EQ(saves(), 0u);
  r = get("dai_global_cfg");
  EXPECT_EQ(json_int_at(r.json().get(), {"dai_global_cfg", "smac"}), 1);  // kept: nothing is rolled back
  EXPECT_EQ(json_int_at(r.json().get(), {"dai_global_cfg", "ip"}), 0);

  harness().sim().fail("rpcclt_openapiDaiIpAddrValidateModeGet", 1, -31);
  r = get("dai_global_cfg");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "respCode"}), -1);
  EXPECT_EQ(json_at(r.json().get(), {"dai_global_cfg"}), nullptr);  // a failed read has no data
}

TEST_F(DaiTest, GlobalBodyWithoutAllKeysChangesNothing) {
  HttpResponse r = post("dai_global_cfg", R"({"dai_global_cfg":{"smac":1,"dmac":1}})");
  EXPECT_EQ(json_string_at(r.json().get(), {"resp", "status"}), "failure");
  EXPECT_TRUE(calls("Dai").empty());
}

// ---------------------------------------------------------------- dai_intf_cfg

TEST_F(DaiTest, InterfaceRangesReportTheirDetails) {
  HttpResponse r = post("dai_intf_cfg", R"({"dai_intf_cfg":[{"port":1,"trust":1,"rate":301,"burst":5}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":301,"params":"Rate Limit","min":0,"max":300}}})");
  for (int burst : {0, 16}) {
    r = post("dai_intf_cfg",
             R"({"dai_intf_cfg":[{"port":1,"trust":1,"rate":5,"burst":)" + std::to_string(burst) + "}]}");
    EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,"errMsgArgs":{"value":)" +
                          std::to_string(burst) + R"(,"params":"Burst Interval","min":1,"max":15}}})");
  }
  r = post("dai_intf_cfg", R"({"dai_intf_cfg":[{"port":30,"trust":1,"rate":5,"burst":5}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":247,"errMsgArgs":{"port_id":30}}})");
  EXPECT_TRUE(calls("IntfTrustSet").empty());
  EXPECT_EQ(saves(), 0u);
}

TEST_F(DaiTest, InterfaceArrayCountsFailuresAndSkipsIncompleteElements) {
  // Two failing elements: the aggregate code, with both elements' details.
  HttpResponse r = post("dai_intf_cfg", R"({"dai_intf_cfg":[{"port":1,"trust":3,"rate":5,"burst":5},)"
                                        R"({"port":2,"trust":1,"rate":5,"burst":99},)"
                                        R"({"port":3,"trust":1,"rate":7,"burst":7}]})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 116);
  EXPECT_EQ(json_string_at(r.json().get(), {"resp", "errMsgArgs", "params"}), "Burst Interval");
  EXPECT_EQ(saves(), 0u);

  // An element lacking "burst" is skipped; the rest succeeds and is saved.
  r = post("dai_intf_cfg", R"({"dai_intf_cfg":[{"port":4,"trust":1,"rate":20},{"port":5,"trust":1,"rate":20,"burst":3}]})");
  EXPECT_EQ(r.body, kSuccess);
  EXPECT_EQ(saves(), 1u);

  r = get("dai_intf_cfg");
  JsonPtr doc = r.json();
  json_object *list = json_at(doc.get(), {"dai_intf_cfg"});
  ASSERT_TRUE(json_object_is_type(list, json_type_array));
  ASSERT_EQ(json_object_array_length(list), 36u);  // 28 ports, then 8 LAGs
  auto element = [&](size_t i) { return json_object_to_json_string_ext(json_object_array_get_idx(list, i), 0); };
  EXPECT_STREQ(element(2), R"({"port":3,"trust":1,"rate":7,"burst":7})");  // the third element applied
  EXPECT_STREQ(element(3), R"({"port":4,"trust":0,"rate":15,"burst":1})");  // skipped
  EXPECT_STREQ(element(4), R"({"port":5,"trust":1,"rate":20,"burst":3})");
  EXPECT_EQ(json_int_at(json_object_array_get_idx(list, 28), {"port"}), 33);
}

TEST_F(DaiTest, InterfaceBodyThatIsNoArrayFailsWithTheAggregateCode) {
  HttpResponse r = post("dai_intf_cfg", R"({"dai_intf_cfg":{"port":1,"trust":1,"rate":5,"burst":5}})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":116,"errMsgArgs":{}}})");
  r = post("dai_intf_cfg", R"({"something_else":[]})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 116);
  EXPECT_TRUE(calls("Dai").empty());
}

TEST_F(DaiTest, PlatformFailureMidArrayKeepsEarlierElementsApplied) {
  // The second element's rate limit fails inside the platform.
  harness().sim().fail_after("rpcclt_openapiDaiIntfRateLimitSet", 1, 1, -31);
  HttpResponse r = post("dai_intf_cfg", R"({"dai_intf_cfg":[{"port":6,"trust":1,"rate":40,"burst":2},)"
                                        R"({"port":7,"trust":1,"rate":40,"burst":2},)"
                                        R"({"port":8,"trust":1,"rate":40,"burst":2}]})");
  // One platform failure leaves errCode 0, which becomes the aggregate.
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 116);
  EXPECT_EQ(saves(), 0u);
  r = get("dai_intf_cfg");
  JsonPtr doc = r.json();
  json_object *list = json_at(doc.get(), {"dai_intf_cfg"});
  ASSERT_TRUE(json_object_is_type(list, json_type_array));
  auto element = [&](size_t i) { return std::string(json_object_to_json_string_ext(json_object_array_get_idx(list, i), 0)); };
  EXPECT_EQ(element(5), R"({"port":6,"trust":1,"rate":40,"burst":2})");
  EXPECT_EQ(element(6), R"({"port":7,"trust":1,"rate":15,"burst":1})");  // trust set, then the failure ended it
  EXPECT_EQ(element(7), R"({"port":8,"trust":1,"rate":40,"burst":2})");  // the walk went on
}

TEST_F(DaiTest, InterfaceReadFailureEndsTheWalkWithThePartialList) {
  // The third interface's burst read fails: two complete elements go out.
  harness().sim().fail_after("rpcclt_openapiDaiIntfBurstIntervalGet", 2, 1, -31);
  HttpResponse r = get("dai_intf_cfg");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "respCode"}), -1);
  EXPECT_EQ(list_length(r, "dai_intf_cfg"), 2u);

  // The LAG walk cannot start: the GET fails after listing the ports.
  harness().sim().fail_after("openapiIfFirstGet", 1, 1, -26);
  r = get("dai_intf_cfg");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "respCode"}), -1);
  EXPECT_EQ(list_length(r, "dai_intf_cfg"), 28u);
}

// ---------------------------------------------------------------- dai_vlan_cfg

TEST_F(DaiTest, VlanElementsAreValidatedAgainstTheSwitch) {
  HttpResponse r =
      post("dai_vlan_cfg", R"({"dai_vlan_cfg":[{"vlan":0,"state":1,"invalidPkts":1,"acl":"a","staticFlag":0}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":412,"errMsgArgs":{"vlan_id":0}}})");
  r = post("dai_vlan_cfg", R"({"dai_vlan_cfg":[{"vlan":7,"state":1,"invalidPkts":1,"acl":"a","staticFlag":0}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":412,"errMsgArgs":{"vlan_id":7}}})");

  r = post("dai_vlan_cfg", R"({"dai_vlan_cfg":[{"vlan":1,"state":2,"invalidPkts":1,"acl":"a","staticFlag":0},)"
                           R"({"vlan":1,"state":1,"invalidPkts":5,"acl":"a","staticFlag":0}]})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 113);
  r = post("dai_vlan_cfg", R"({"dai_vlan_cfg":{"vlan":1}})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 113);
  EXPECT_TRUE(calls("DaiVlan").empty());
  EXPECT_EQ(saves(), 0u);
}

TEST_F(DaiTest, VlanSettingsAreAppliedInOrderAndListedPerVlan) {
  ASSERT_EQ(harness().sim().set("vlans", R"({"key":[20],"record":{"name":"v20","type":2}})"), OPEN_E_NONE);
  // A VLAN names ARP ACLs that exist.
  ASSERT_EQ(harness().sim().set("arp_acls", R"({"key":["guests"],"record":{}})"), OPEN_E_NONE);
  ASSERT_EQ(harness().sim().set("arp_acls", R"({"key":["abcdefghijklmnopqrstuvwxyz01234"],"record":{}})"),
            OPEN_E_NONE);
  HttpResponse r = post("dai_vlan_cfg",
                        R"({"dai_vlan_cfg":[{"vlan":20,"state":1,"invalidPkts":0,"acl":"guests","staticFlag":1}]})");
  EXPECT_EQ(r.body, kSuccess);
  EXPECT_EQ(calls("Set"), (std::vector<std::string>{"rpcclt_openapiDaiVlanEnableSet",
                                                    "rpcclt_openapiDaiVlanLoggingEnableSet",
                                                    "rpcclt_openapiDaiVlanArpAclSet",
                                                    "rpcclt_openapiDaiVlanArpAclStaticFlagSet"}));
  r = get("dai_vlan_cfg");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"dai_vlan_cfg":[)"
                    R"({"vlan":1,"state":0,"invalidPkts":1,"acl":"","staticFlag":0},)"
                    R"({"vlan":20,"state":1,"invalidPkts":0,"acl":"guests","staticFlag":1}]})");

  // The switch keeps ARP ACL names of up to 31 characters: the agent hands
  // it at most 32, and the switch refuses what is longer.
  r = post("dai_vlan_cfg", R"({"dai_vlan_cfg":[{"vlan":20,"state":1,"invalidPkts":0,)"
                           R"("acl":"abcdefghijklmnopqrstuvwxyz01234","staticFlag":1}]})");
  EXPECT_EQ(r.body, kSuccess);
  r = post("dai_vlan_cfg", R"({"dai_vlan_cfg":[{"vlan":20,"state":1,"invalidPkts":0,)"
                           R"("acl":"abcdefghijklmnopqrstuvwxyz0123456789","staticFlag":1}]})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 113);
  r = get("dai_vlan_cfg");
  JsonPtr doc = r.json();
  json_object *list = json_at(doc.get(), {"dai_vlan_cfg"});
  ASSERT_EQ(list_length(r, "dai_vlan_cfg"), 2u);
  EXPECT_EQ(json_string_at(json_object_array_get_idx(list, 1), {"acl"}), "abcdefghijklmnopqrstuvwxyz01234");
}

// ---------------------------------------------------------------- dai_acl_cfg, dai_aclrule_cfg

TEST_F(DaiTest, ArpAclsAndTheirRules) {
  HttpResponse r = post("dai_acl_cfg", R"({"dai_acl_cfg":[{"name":"web"},{"name":"db"}]})");
  EXPECT_EQ(r.body, kSuccess);
  r = post("dai_acl_cfg", R"({"dai_acl_cfg":[{"name":"web"}]})");  // exists already
  EXPECT_EQ(json_string_at(r.json().get(), {"resp", "status"}), "failure");
  r = get("dai_acl_cfg");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                    R"("dai_acl_cfg":[{"name":"db"},{"name":"web"}]})");

  r = post("dai_aclrule_cfg", R"({"dai_aclrule_cfg":{"acls":[{"name":"web","aclrules":[)"
                              R"({"idx":1,"ip":"10.0.0.1","mac":"00:11:22:33:44:55","action":1},)"
                              R"({"idx":2,"ip":"","mac":"00:11:22:33:44:66","action":2}]},)"
                              R"({"name":"db","aclrules":[{"idx":5,"ip":"10.0.0.9","mac":"aa:bb:cc:dd:ee:ff","action":1}]}]}})");
  EXPECT_EQ(r.body, kSuccess);

  r = harness().get("/api/v1/dai_aclrule_cfg?aclName=web", auth());
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                    R"("dai_aclrule_cfg":{"acls":[{"name":"web","aclrules":[)"
                    R"({"idx":1,"ip":"10.0.0.1","mac":"00:11:22:33:44:55","action":1},)"
                    R"({"idx":2,"ip":"0.0.0.0","mac":"00:11:22:33:44:66","action":2}]}]}})");
  r = get("dai_aclrule_cfg");
  JsonPtr doc = r.json();
  json_object *acls = json_at(doc.get(), {"dai_aclrule_cfg", "acls"});
  ASSERT_TRUE(json_object_is_type(acls, json_type_array));
  EXPECT_EQ(json_object_array_length(acls), 2u);

  r = del("dai_aclrule_cfg", R"({"dai_aclrule_cfg":{"acls":[{"name":"web","aclrules":[{"idx":1}]}]}})");
  EXPECT_EQ(r.body, kSuccess);
  r = del("dai_acl_cfg", R"({"dai_acl_cfg":[{"name":"db"}]})");
  EXPECT_EQ(r.body, kSuccess);
  r = get("dai_aclrule_cfg");
  EXPECT_EQ(json_object_to_json_string_ext(json_at(r.json().get(), {"dai_aclrule_cfg"}), 0),
            std::string(R"({"acls":[{"name":"web","aclrules":[{"idx":2,"ip":"0.0.0.0","mac":"00:11:22:33:44:66","action":2}]}]})"));
}

TEST_F(DaiTest, AnArpAclNamedByAVlanCannotBeDeleted) {
  ASSERT_EQ(post("dai_acl_cfg", R"({"dai_acl_cfg":[{"name":"web"}]})").body, kSuccess);
  ASSERT_EQ(post("dai_vlan_cfg", R"({"dai_vlan_cfg":[{"vlan":1,"state":1,"invalidPkts":0,"acl":"web","staticFlag":0}]})")
                .body,
            kSuccess);
  HttpResponse r = del("dai_acl_cfg", R"({"dai_acl_cfg":[{"name":"web"}]})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 115);
  EXPECT_EQ(list_length(get("dai_acl_cfg"), "dai_acl_cfg"), 1u);
  EXPECT_TRUE(harness().agent_log().find("Failed to delete the ACL Name: web and error code : -33") != std::string::npos);
  // A name no ACL has is refused too.
  r = post("dai_vlan_cfg", R"({"dai_vlan_cfg":[{"vlan":1,"state":1,"invalidPkts":0,"acl":"none","staticFlag":0}]})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 113);
}

TEST_F(DaiTest, ArpRuleChecks) {
  post("dai_acl_cfg", R"({"dai_acl_cfg":[{"name":"web"}]})");
  harness().sim().reset_counts();
  auto rule = [&](const std::string &r) {
    return post("dai_aclrule_cfg", R"({"dai_aclrule_cfg":{"acls":[{"name":"web","aclrules":[)" + r + "]}]}}");
  };
  HttpResponse r = rule(R"({"idx":1,"ip":"10.0.0.1","mac":"00:11:22:33:44","action":1})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":16,)"
                    R"("errMsgArgs":{"params":"Source MAC Address","value":"00:11:22:33:44"}}})");
  r = rule(R"({"idx":1,"ip":"10.0.0.300","mac":"00:11:22:33:44:55","action":1})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 117);  // no code of its own: the aggregate
  r = rule(R"({"idx":0,"ip":"","mac":"00:11:22:33:44:55","action":1},{"idx":2,"ip":"","mac":"00:11:22:33:44:55","action":3})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 117);
  EXPECT_TRUE(calls("RuleAdd").empty());

  // A rule of an ACL that does not exist fails inside the platform.
  r = post("dai_aclrule_cfg", R"({"dai_aclrule_cfg":{"acls":[{"name":"nope","aclrules":[)"
                              R"({"idx":1,"ip":"","mac":"00:11:22:33:44:55","action":1}]}]}})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 117);
  EXPECT_EQ(calls("RuleAdd").size(), 1u);

  // Body faults end the request at once.
  r = post("dai_aclrule_cfg", R"({"dai_aclrule_cfg":{"acl":[]}})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 117);
  r = post("dai_aclrule_cfg", R"({"dai_aclrule_cfg":{"acls":[{"name":"web","aclrules":{}},)"
                              R"({"name":"web","aclrules":[{"idx":3,"ip":"","mac":"00:11:22:33:44:55","action":1}]}]}})");
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errCode"}), 117);
  EXPECT_EQ(calls("RuleAdd").size(), 1u);  // the second ACL was never reached
  EXPECT_EQ(saves(), 0u);
}

// ---------------------------------------------------------------- dai_stats

TEST_F(DaiTest, StatisticsOfVlansWithInspectionData) {
  HttpResponse r = get("dai_stats");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"dai_stats":[]})");
  ASSERT_EQ(harness().sim().set("dai_stats", R"({"key":[1],"record":{"dhcpDrops":3,"aclPermits":9,"dropped":4000000000}})"),
            OPEN_E_NONE);
  r = get("dai_stats");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"dai_stats":[)"
                    R"({"vlan":1,"dhcpDrop":3,"dhcpPermit":0,"aclDrop":0,"aclPermit":9,"badSMAC":0,"badDMAC":0,)"
                    R"("badIP":0,"forward":0,"drops":4000000000}]})");
}

}  // namespace
