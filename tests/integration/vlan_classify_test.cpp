// VLAN classification over HTTP against the simulated switch: MAC-based
// VLAN entries, protocol-based VLAN groups and their member ports; the
// checks with their error codes and details, platform faults, and what the
// simulated switch refuses by itself (a port classifying one EtherType into
// two groups, a VLAN that was deleted).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/calls/02_vlans.h"
#include "platform/calls/23_vlan_classify.h"
#include "platform/client.h"
#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::json_at;
using veltrum::test::json_int_at;
using veltrum::test::json_string_at;

class VlanClassifyTest : public veltrum::test::ResourceSuite {
 protected:
  void SetUp() override {
    ResourceSuite::SetUp();
    if (HasFatalFailure()) return;
    ASSERT_EQ(openapiClientRegister("vlan_classify_test", &client_), OPEN_E_NONE);
    ASSERT_EQ(harness().sim().set("vlans", R"({"key":[2],"record":{"name":"v2","type":2}})"), OPEN_E_NONE);
    harness().sim().reset_counts();
  }
  void TearDown() override { openapiClientTearDown(&client_); }

  std::string group_body(const std::string &elements) {
    return R"({"protocol_vlangroup_cfg":{"Protocol":[)" + elements + "]}}";
  }
  std::string members_body(int group, const std::string &ports) {
    return R"({"swcfg_pbvlan_membership":{"ProtoVlanMembership":[{"groupId":)" + std::to_string(group) +
           R"(,"ports":[)" + ports + "]}]}}";
  }
  // The listed group with this id, as JSON text ("" when not listed).
  std::string listed_group(int id) {
    HttpResponse r = get("protocol_vlangroup_cfg");
    JsonPtr doc = r.json();
    json_object *list = json_at(doc.get(), {"protocol_vlangroup_cfg"});
    if (!json_object_is_type(list, json_type_array)) return "";
    for (size_t i = 0; i < json_object_array_length(list); ++i) {
      json_object *g = json_object_array_get_idx(list, i);
      if (json_int_at(g, {"grp_id"}) == id) return json_object_to_json_string_ext(g, JSON_C_TO_STRING_PLAIN);
    }
    return "";
  }

  // "mac" of the first listed MAC-based entry.
  static std::string first_mac(const HttpResponse &r) {
    JsonPtr doc = r.json();
    json_object *list = json_at(doc.get(), {"macbased_vlan_cfg"});
    if (!json_object_is_type(list, json_type_array) || json_object_array_length(list) == 0) return "";
    return json_string_at(json_object_array_get_idx(list, 0), {"mac"});
  }

  openapiClientHandle_t client_{};
};

// ---------------------------------------------------------------- macbased_vlan_cfg

TEST_F(VlanClassifyTest, MacEntriesAreCheckedBeforeAnyPlatformCall) {
  HttpResponse r = post("macbased_vlan_cfg", R"({"macbased_vlan_cfg":[{"mac":"00:11:22:33:44","vlan_id":1}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":16,)"
                    R"("errMsgArgs":{"params":"MAC Address","value":"00:11:22:33:44"}}})");
  r = post("macbased_vlan_cfg", R"({"macbased_vlan_cfg":[{"mac":"00:11:22:33:44:55","vlan_id":7}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":412,"errMsgArgs":{"vlan_id":7}}})");
  EXPECT_TRUE(calls("VlanMac").empty());
  EXPECT_EQ(saves(), 0u);

  // Two bad elements: the family's aggregate code.
  r = post("macbased_vlan_cfg", R"({"macbased_vlan_cfg":[{"mac":"x","vlan_id":1},{"mac":"00:11:22:33:44:55","vlan_id":0}]})");
  EXPECT_EQ(err_code(r), 1460);
}

TEST_F(VlanClassifyTest, MacEntryRoundTrip) {
  HttpResponse r = post("macbased_vlan_cfg", R"({"macbased_vlan_cfg":[{"mac":"00:11:22:33:44:aa","vlan_id":2},)"
                                              R"({"mac":"00:11:22:33:44:01","vlan_id":1}]})");
  EXPECT_EQ(r.body, kSuccess);
  EXPECT_EQ(saves(), 1u);
  r = get("macbased_vlan_cfg");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                    R"("macbased_vlan_cfg":[{"mac":"00:11:22:33:44:01","vlan":1},{"mac":"00:11:22:33:44:AA","vlan":2}]})");

  harness().sim().reset_counts();
  r = del("macbased_vlan_cfg", R"({"macbased_vlan_cfg":[{"mac":"00:11:22:33:44:aa"}]})");
  EXPECT_EQ(r.body, kSuccess);
  EXPECT_EQ(calls("VlanMac"), (std::vector<std::string>{"rpcclt_openapiVlanMacGet", "rpcclt_openapiVlanMacDelete"}));
  EXPECT_EQ(list_length(get("macbased_vlan_cfg"), "macbased_vlan_cfg"), 1u);

  // An entry that does not exist cannot be deleted; a group address is no station.
  r = del("macbased_vlan_cfg", R"({"macbased_vlan_cfg":[{"mac":"00:11:22:33:44:aa"}]})");
  EXPECT_EQ(resp_code(r), -1);
  r = post("macbased_vlan_cfg", R"({"macbased_vlan_cfg":[{"mac":"01:00:5e:00:00:01","vlan_id":1}]})");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(err_code(r), 1460);
  // The same address twice is refused by the switch.
  r = post("macbased_vlan_cfg", R"({"macbased_vlan_cfg":[{"mac":"00:11:22:33:44:01","vlan_id":2}]})");
  EXPECT_EQ(resp_code(r), -1);
}

TEST_F(VlanClassifyTest, MacEntryPlatformFailureSavesNothing) {
  harness().sim().fail("rpcclt_openapiVlanMacAdd", 1, -28);
  HttpResponse r = post("macbased_vlan_cfg", R"({"macbased_vlan_cfg":[{"mac":"00:11:22:33:44:55","vlan_id":1},)"
                                              R"({"mac":"00:11:22:33:44:66","vlan_id":1}]})");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(err_code(r), 1460);
  EXPECT_EQ(saves(), 0u);
  r = get("macbased_vlan_cfg");
  EXPECT_EQ(list_length(r, "macbased_vlan_cfg"), 1u);  // the second element was still written
  EXPECT_EQ(first_mac(r), "00:11:22:33:44:66");

  // A walk that cannot reach the platform fails the read; any other answer ends the list.
  harness().sim().fail("rpcclt_openapiVlanMacGetNext", 1, OPEN_E_RPC);
  EXPECT_EQ(resp_code(get("macbased_vlan_cfg")), -1);
}

// ---------------------------------------------------------------- protocol_vlangroup_cfg

TEST_F(VlanClassifyTest, GroupsAreCheckedBeforeAnyPlatformCall) {
  HttpResponse r = post("protocol_vlangroup_cfg", group_body(R"({"grp_id":129,"name":"a","proto":"ip","vlan":1})"));
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":129,"params":"Group ID","min":1,"max":128}}})");
  r = post("protocol_vlangroup_cfg", group_body(R"({"grp_id":1,"name":"a","proto":"ip","vlan":9})"));
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":412,"errMsgArgs":{"vlan_id":9}}})");
  for (const char *proto : {R"("")", R"("foo")", R"("ip,,bogus")", "[1]"}) {
    r = post("protocol_vlangroup_cfg",
             group_body(std::string(R"({"grp_id":1,"name":"a","proto":)") + proto + R"(,"vlan":1})"));
    EXPECT_EQ(resp_code(r), -1) << proto;
  }
  r = post("protocol_vlangroup_cfg",
           group_body(R"({"grp_id":1,"name":"seventeen-chars-x","proto":"ip","vlan":1})"));
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_TRUE(calls("PbVlan").empty());
  EXPECT_EQ(saves(), 0u);
  EXPECT_EQ(harness().agent_log().find("Parsing Error: 'proto' invalid.") != std::string::npos, true);
}

TEST_F(VlanClassifyTest, GroupRoundTrip) {
  HttpResponse r = post("protocol_vlangroup_cfg", group_body(R"({"grp_id":3,"name":"ipgrp","proto":"arp,ip","vlan":2})"));
  EXPECT_EQ(r.body, kSuccess);
  EXPECT_EQ(saves(), 1u);
  EXPECT_EQ(post("swcfg_pbvlan_membership", members_body(3, R"({"port":5},{"port":1},{"port":2},{"port":3})")).body,
            kSuccess);
  EXPECT_EQ(listed_group(3), R"({"grp_id":3,"name":"ipgrp","proto":"0x0800,0x0806","vlan":2,"ports":"1-3,5"})");

  // The protocol set and the VLAN become what the body says.
  harness().sim().reset_counts();
  r = post("protocol_vlangroup_cfg", group_body(R"({"grp_id":3,"name":"v6","proto":"0x86DD,2048","vlan":1})"));
  EXPECT_EQ(r.body, kSuccess);
  EXPECT_EQ(calls("ProtocolAdd").size(), 1u);
  EXPECT_EQ(calls("ProtocolDelete").size(), 1u);
  EXPECT_EQ(calls("VlanID"), (std::vector<std::string>{"rpcclt_openapiPbVlanGroupVlanIDGet",
                                                       "rpcclt_openapiPbVlanGroupVlanIDDelete",
                                                       "rpcclt_openapiPbVlanGroupVlanIDAdd"}));
  EXPECT_EQ(listed_group(3), R"({"grp_id":3,"name":"v6","proto":"0x0800,0x86dd","vlan":1,"ports":"1-3,5"})");

  harness().sim().reset_counts();
  r = del("protocol_vlangroup_cfg", group_body(R"({"grpId":3})"));
  EXPECT_EQ(r.body, kSuccess);
  EXPECT_EQ(saves(), 1u);
  EXPECT_EQ(listed_group(3), "");
  r = del("protocol_vlangroup_cfg", group_body(R"({"grpId":3})"));  // gone already
  EXPECT_EQ(resp_code(r), -1);
  r = del("protocol_vlangroup_cfg", group_body(R"({"grpId":0})"));
  EXPECT_EQ(err_code(r), 9);
}

TEST_F(VlanClassifyTest, GroupPlatformFailuresAreCounted) {
  // EtherTypes below 0x0600 are frame lengths: the switch refuses them.
  HttpResponse r = post("protocol_vlangroup_cfg", group_body(R"({"grp_id":4,"name":"len","proto":"1500","vlan":1})"));
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(err_code(r), 1461);
  EXPECT_EQ(saves(), 0u);

  harness().sim().fail("rpcclt_openapiPbVlanGroupProtocolAdd", 1, -28);
  r = post("protocol_vlangroup_cfg", group_body(R"({"grp_id":5,"name":"a","proto":"ip","vlan":1},)"
                                                R"({"grp_id":6,"name":"b","proto":"arp","vlan":1})"));
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(err_code(r), 1461);
  EXPECT_EQ(saves(), 0u);
  EXPECT_EQ(listed_group(6), R"({"grp_id":6,"name":"b","proto":"0x0806","vlan":1,"ports":""})");

  harness().sim().fail("rpcclt_openapiPbVlanGroupProtocolGet", 1, -31);
  EXPECT_EQ(resp_code(get("protocol_vlangroup_cfg")), -1);
}

// ---------------------------------------------------------------- swcfg_pbvlan_membership

TEST_F(VlanClassifyTest, MembershipReadsOneGroup) {
  EXPECT_EQ(resp_code(get("swcfg_pbvlan_membership")), -1);  // grp_id is required
  ASSERT_EQ(post("protocol_vlangroup_cfg", group_body(R"({"grp_id":7,"name":"g7","proto":"ipx","vlan":1},)"
                                                      R"({"grp_id":2,"name":"g2","proto":"ip","vlan":1})"))
                .body,
            kSuccess);
  ASSERT_EQ(post("swcfg_pbvlan_membership", members_body(7, R"({"port":4},{"port":6})")).body, kSuccess);
  HttpResponse r = get("swcfg_pbvlan_membership?grp_id=7");
  JsonPtr doc = r.json();
  json_object *data = json_at(doc.get(), {"swcfg_pbvlan_membership"});
  ASSERT_NE(data, nullptr) << r.body;
  EXPECT_EQ(json_int_at(data, {"selIdx"}), 7);
  EXPECT_EQ(json_string_at(data, {"name"}), "g7");
  EXPECT_EQ(json_object_to_json_string_ext(json_at(data, {"idxs"}), JSON_C_TO_STRING_PLAIN), std::string("[2,7]"));
  EXPECT_EQ(json_string_at(data, {"vlanGroupMemberports"}), "4,6");
  EXPECT_EQ(json_object_to_json_string_ext(json_at(data, {"ports"}), JSON_C_TO_STRING_PLAIN),
            std::string(R"([{"port":4},{"port":6}])"));

  // The set becomes exactly the listed ports.
  harness().sim().reset_counts();
  ASSERT_EQ(post("swcfg_pbvlan_membership", members_body(7, R"({"port":6},{"port":8})")).body, kSuccess);
  EXPECT_EQ(calls("PortAdd").size(), 1u);
  EXPECT_EQ(calls("PortDelete").size(), 1u);
  EXPECT_EQ(json_string_at(get("swcfg_pbvlan_membership?grp_id=7").json().get(),
                           {"swcfg_pbvlan_membership", "vlanGroupMemberports"}),
            "6,8");
  EXPECT_EQ(resp_code(get("swcfg_pbvlan_membership?grp_id=9")), -1);  // no such group
}

TEST_F(VlanClassifyTest, MembershipRefusesPortsThatAreNoPhysicalPorts) {
  ASSERT_EQ(post("protocol_vlangroup_cfg", group_body(R"({"grp_id":1,"name":"g","proto":"ip","vlan":1})")).body,
            kSuccess);
  harness().sim().reset_counts();
  HttpResponse r = post("swcfg_pbvlan_membership", members_body(1, R"({"port":1},{"port":33})"));  // 33: a LAG
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":247,"errMsgArgs":{"port_id":33}}})");
  r = post("swcfg_pbvlan_membership", members_body(0, R"({"port":1})"));
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":0,"params":"Group ID","min":1,"max":128}}})");
  EXPECT_TRUE(calls("PortAdd").empty());

  harness().sim().fail("rpcclt_openapiPbVlanGroupPortAdd", 1, -28);
  r = post("swcfg_pbvlan_membership", members_body(1, R"({"port":1},{"port":2})"));
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(err_code(r), 1462);
  EXPECT_EQ(saves(), 0u);
}

// ---------------------------------------------------------------- the simulated switch

// A port classifies an EtherType into one group at most.
TEST_F(VlanClassifyTest, PortCannotJoinTwoGroupsWithACommonProtocol) {
  ASSERT_EQ(post("protocol_vlangroup_cfg", group_body(R"({"grp_id":1,"name":"a","proto":"ip","vlan":1},)"
                                                      R"({"grp_id":2,"name":"b","proto":"arp,ip","vlan":1},)"
                                                      R"({"grp_id":3,"name":"c","proto":"ipx","vlan":1})"))
                .body,
            kSuccess);
  ASSERT_EQ(post("swcfg_pbvlan_membership", members_body(1, R"({"port":1})")).body, kSuccess);
  HttpResponse r = post("swcfg_pbvlan_membership", members_body(2, R"({"port":1})"));
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupPortAdd(&client_, 2, 1), OPEN_E_EXISTS);
  EXPECT_EQ(post("swcfg_pbvlan_membership", members_body(3, R"({"port":1})")).body, kSuccess);
  // An EtherType that would put port 1 in two groups is refused as well.
  EXPECT_EQ(rpcclt_openapiPbVlanGroupProtocolAdd(&client_, 3, 0x0800), OPEN_E_EXISTS);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupProtocolAdd(&client_, 3, 0x86DD), OPEN_E_NONE);
}

TEST_F(VlanClassifyTest, SwitchRefusesWhatItCannotHold) {
  EXPECT_EQ(rpcclt_openapiPbVlanGroupCreate(&client_, 0), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupCreate(&client_, 129), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupCreate(&client_, 10), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupCreate(&client_, 10), OPEN_E_EXISTS);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupDelete(&client_, 11), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupProtocolAdd(&client_, 11, 0x0800), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupProtocolAdd(&client_, 10, 0x05FF), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupProtocolAdd(&client_, 10, 0x0800), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupProtocolAdd(&client_, 10, 0x0800), OPEN_E_EXISTS);
  for (uint32_t p = 0x9000; p < 0x9000 + OPEN_PBVLAN_PROTOCOLS_MAX - 1; ++p)
    EXPECT_EQ(rpcclt_openapiPbVlanGroupProtocolAdd(&client_, 10, p), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupProtocolAdd(&client_, 10, 0x0806), OPEN_E_PARAM);  // a 17th
  EXPECT_EQ(rpcclt_openapiPbVlanGroupPortAdd(&client_, 10, 33), OPEN_E_PARAM);        // a LAG
  EXPECT_EQ(rpcclt_openapiPbVlanGroupPortDelete(&client_, 10, 1), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupVlanIDAdd(&client_, 10, 9), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupVlanIDAdd(&client_, 10, 2), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupVlanIDAdd(&client_, 10, 1), OPEN_E_EXISTS);
  EXPECT_EQ(rpcclt_openapiPbVlanGroupVlanIDDelete(&client_, 10, 1), OPEN_E_NOT_FOUND);
  char name[] = "seventeen-chars-x";
  open_buffdesc long_name{sizeof name, name};
  EXPECT_EQ(rpcclt_openapiPbVlanGroupNameSet(&client_, 10, &long_name), OPEN_E_PARAM);

  auto mac = [](const char *text, std::string &holder) {
    holder = text;
    return open_buffdesc{static_cast<uint32_t>(holder.size() + 1), holder.data()};
  };
  std::string h;
  open_buffdesc d = mac("01:00:5e:00:00:01", h);
  EXPECT_EQ(rpcclt_openapiVlanMacAdd(&client_, &d, 1), OPEN_E_PARAM);
  d = mac("00:11:22:33:44", h);
  EXPECT_EQ(rpcclt_openapiVlanMacAdd(&client_, &d, 1), OPEN_E_PARAM);
  d = mac("00:11:22:33:44:55", h);
  EXPECT_EQ(rpcclt_openapiVlanMacAdd(&client_, &d, 9), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiVlanMacDelete(&client_, &d, 1), OPEN_E_NOT_FOUND);
  for (int i = 0; i < OPEN_VLAN_MAC_ENTRIES_MAX; ++i) {
    char text[18];
    std::snprintf(text, sizeof text, "02:00:00:00:%02x:%02x", i / 256, i % 256);
    d = mac(text, h);
    ASSERT_EQ(rpcclt_openapiVlanMacAdd(&client_, &d, 1), OPEN_E_NONE) << text;
  }
  d = mac("00:11:22:33:44:55", h);
  EXPECT_EQ(rpcclt_openapiVlanMacAdd(&client_, &d, 1), OPEN_E_FULL);
}

// A VLAN deleted elsewhere leaves the groups that named it without one and
// takes the MAC-based entries mapping to it along.
TEST_F(VlanClassifyTest, DeletedVlanLeavesTheGroupsAndEntries) {
  ASSERT_EQ(post("protocol_vlangroup_cfg", group_body(R"({"grp_id":1,"name":"a","proto":"ip","vlan":2})")).body,
            kSuccess);
  ASSERT_EQ(post("macbased_vlan_cfg", R"({"macbased_vlan_cfg":[{"mac":"00:11:22:33:44:55","vlan_id":2},)"
                                      R"({"mac":"00:11:22:33:44:66","vlan_id":1}]})")
                .body,
            kSuccess);
  ASSERT_EQ(rpcclt_openapiVlanDelete(&client_, 2), OPEN_E_NONE);
  EXPECT_EQ(listed_group(1), R"({"grp_id":1,"name":"a","proto":"0x0800","vlan":0,"ports":""})");
  HttpResponse r = get("macbased_vlan_cfg");
  EXPECT_EQ(list_length(r, "macbased_vlan_cfg"), 1u);
  EXPECT_EQ(first_mac(r), "00:11:22:33:44:66");

  EXPECT_EQ(rpcclt_openapiPbVlanGroupVlanIDAdd(&client_, 1, 2), OPEN_E_NOT_FOUND);
  std::string text = "00:11:22:33:44:77";
  open_buffdesc d{static_cast<uint32_t>(text.size() + 1), text.data()};
  EXPECT_EQ(rpcclt_openapiVlanMacAdd(&client_, &d, 2), OPEN_E_NOT_FOUND);
  r = post("protocol_vlangroup_cfg", group_body(R"({"grp_id":1,"name":"a","proto":"ip","vlan":2})"));
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":412,"errMsgArgs":{"vlan_id":2}}})");
}

}  // namespace
