// The VLAN resources over HTTP against the simulated switch: the VLAN table
// with its reserved ids, membership per VLAN and per port in the list
// notation, what a deleted VLAN takes with it, the port's VLAN settings,
// protected ports and the reset of the table.
#include <gtest/gtest.h>

#include <string>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::json_at;
using veltrum::test::json_int_at;
using veltrum::test::json_string_at;

// The simulated switch: ports 1-28, LAGs 33-40, VLAN ids up to 4093.
constexpr const char *kAllPortsAndLags = "1-28,33-40";

class VlanTest : public veltrum::test::ResourceSuite {
 protected:
  void SetUp() override {
    ResourceSuite::SetUp();
    harness().sim().factory_reset();
    harness().sim().reset_counts();
  }

  HttpResponse create(int vlan, const std::string &name) {
    return post("swcfg_vlan", R"({"swcfg_vlan":{"vlanId":)" + std::to_string(vlan) + R"(,"name":")" + name + R"("}})");
  }
  HttpResponse remove(int vlan) {
    return del("swcfg_vlan", R"({"swcfg_vlan":{"vlan_id":)" + std::to_string(vlan) + "}}");
  }
  // The element of VLAN `vlan` in the VLAN table, or null.
  json_object *listed_vlan(json_object *answer, int vlan) {
    json_object *list = json_at(answer, {"swcfg_vlan"});
    for (size_t i = 0; list && i < json_object_array_length(list); ++i) {
      json_object *e = json_object_array_get_idx(list, i);
      if (json_int_at(e, {"vlanid"}) == vlan) return e;
    }
    return nullptr;
  }
  // The element of port `port` of vlan_advanced_cfg.
  static json_object *port_element(json_object *answer, int port) {
    json_object *list = json_at(answer, {"vlan_advanced_cfg"});
    for (size_t i = 0; list && i < json_object_array_length(list); ++i) {
      json_object *e = json_object_array_get_idx(list, i);
      if (json_int_at(e, {"port"}) == port) return e;
    }
    return nullptr;
  }
  HttpResponse membership(int vlan, const std::string &ports) {
    return post("swcfg_vlan_membership", R"({"swcfg_vlan_membership":{"vlanMemberports":[{"vlanId":)" +
                                             std::to_string(vlan) + R"(,"ports":[)" + ports + "]}]}}");
  }
};

// ---------------------------------------------------------------- swcfg_vlan

TEST_F(VlanTest, VlansAreCreatedNamedListedAndDeleted) {
  ASSERT_EQ(create(20, "voice-lab").body, kSuccess);
  EXPECT_EQ(saves(), 1u);
  JsonPtr listed = get("swcfg_vlan").json();
  json_object *v20 = listed_vlan(listed.get(), 20);
  ASSERT_NE(v20, nullptr) << json_text(listed.get());
  EXPECT_EQ(json_string_at(v20, {"vlanname"}), "voice-lab");
  EXPECT_EQ(json_int_at(v20, {"vlantype"}), 2);
  EXPECT_EQ(json_int_at(v20, {"routingref"}), 0);  // no routing interface: listed all the same
  EXPECT_EQ(json_string_at(v20, {"memberports"}), "");
  json_object *v1 = listed_vlan(listed.get(), 1);
  ASSERT_NE(v1, nullptr);
  EXPECT_EQ(json_string_at(v1, {"vlanname"}), "default");
  EXPECT_EQ(json_string_at(v1, {"memberports"}), kAllPortsAndLags);
  EXPECT_EQ(json_object_array_length(json_at(v1, {"swcfg_vlan_mbr"})), 36u);

  // An existing VLAN is only renamed; a long name is cut to the platform's longest.
  harness().sim().reset_counts();
  ASSERT_EQ(create(20, std::string(40, 'n')).body, kSuccess);
  EXPECT_TRUE(calls("rpcclt_openapiVlanCreate").empty());
  EXPECT_EQ(json_string_at(listed_vlan(get("swcfg_vlan").json().get(), 20), {"vlanname"}), std::string(32, 'n'));

  ASSERT_EQ(remove(20).body, kSuccess);
  EXPECT_EQ(listed_vlan(get("swcfg_vlan").json().get(), 20), nullptr);
}

TEST_F(VlanTest, ReservedAndOutOfRangeIdsAreRefusedWithTheirTexts) {
  size_t mark = harness().agent_log_size();
  // 0 and the platform's maximum + 1: errCode 9 with the label and bounds.
  for (int id : {0, 4094}) {
    HttpResponse r = create(id, "x");
    EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,"errMsgArgs":{"value":)" +
                          std::to_string(id) + R"(,"params":"VLAN ID","min":1,"max":4093}}})");
  }
  EXPECT_NE(harness().agent_log_since(mark).find("Error. VLAN ID 4094 out of range (1 - 4093)"), std::string::npos);

  // VLAN 1 and the voice VLAN cannot be created, renamed or deleted.
  ASSERT_EQ(create(30, "phones").body, kSuccess);
  ASSERT_EQ(harness().sim().set("voip.vlan", R"({"value":30})"), OPEN_E_NONE);
  harness().sim().reset_counts();
  for (int id : {1, 30}) {
    mark = harness().agent_log_size();
    EXPECT_EQ(resp_code(create(id, "mine")), -1) << id;
    EXPECT_NE(harness().agent_log_since(mark).find("Error. VLAN ID " + std::to_string(id) + " cannot be modified by user"),
              std::string::npos);
    mark = harness().agent_log_size();
    EXPECT_EQ(resp_code(remove(id)), -1) << id;
    EXPECT_NE(harness().agent_log_since(mark).find("cannot be modified by user)"), std::string::npos);
  }
  EXPECT_TRUE(calls("rpcclt_openapiVlanCreate").empty());
  EXPECT_TRUE(calls("rpcclt_openapiVlanDelete").empty());
  EXPECT_TRUE(calls("VlanNameSet").empty());
  EXPECT_EQ(saves(), 0u);

  // A DELETE without its member changes nothing.
  mark = harness().agent_log_size();
  EXPECT_EQ(resp_code(del("swcfg_vlan", R"({"swcfg_vlan":{"vlanId":30}})")), -1);
  EXPECT_NE(harness().agent_log_since(mark).find("Parsing Error 'vlan id' invalid."), std::string::npos);
}

TEST_F(VlanTest, TheSwitchRefusesWhatItCannotDrop) {
  ASSERT_EQ(create(40, "mgmt").body, kSuccess);
  ASSERT_EQ(harness().sim().set("network.mgmt_vlan", R"({"value":40})"), OPEN_E_NONE);
  EXPECT_EQ(resp_code(remove(40)), -1);  // the management VLAN
  EXPECT_NE(listed_vlan(get("swcfg_vlan").json().get(), 40), nullptr);
  // A creation the platform fails is counted and nothing is saved.
  harness().sim().reset_counts();
  harness().sim().fail("rpcclt_openapiVlanCreate", 1, OPEN_E_FULL);
  size_t mark = harness().agent_log_size();
  EXPECT_EQ(resp_code(create(41, "x")), -1);
  EXPECT_NE(harness().agent_log_since(mark).find("Failed to create a new VLAN result = -23"), std::string::npos);
  EXPECT_EQ(saves(), 0u);
}

TEST_F(VlanTest, ADeletedVlanTakesItsMembershipsAndSettingsWithIt) {
  ASSERT_EQ(create(20, "v20").body, kSuccess);
  ASSERT_EQ(membership(20, R"({"port":3,"tagstatus":1,"ispvid":1},{"port":33,"tagstatus":0,"ispvid":0})").body,
            kSuccess);
  ASSERT_EQ(post("dai_vlan_cfg", R"({"dai_vlan_cfg":[{"vlan":20,"state":1,"invalidPkts":1,"acl":"","staticFlag":0}]})").body,
            kSuccess);
  ASSERT_EQ(post("dhcpsnp_vlan", R"({"dhcpsnp_vlan":{"dhcp_vlan_list":[{"vlan":20,"state":1}]}})").body, kSuccess);

  ASSERT_EQ(remove(20).body, kSuccess);
  ASSERT_EQ(create(20, "again").body, kSuccess);
  JsonPtr m = get("swcfg_vlan_membership?vlanid=20").json();
  EXPECT_EQ(json_string_at(m.get(), {"swcfg_vlan_membership", "vlanMemberports"}), "");
  JsonPtr adv = get("vlan_advanced_cfg").json();
  EXPECT_EQ(json_int_at(port_element(adv.get(), 3), {"pvid"}), 1);  // back to the default VLAN
  for (const char *resource : {"dai_vlan_cfg", "dhcpsnp_vlan"}) {
    JsonPtr r = get(resource).json();
    json_object *list = json_at(r.get(), {resource});
    if (json_object_is_type(list, json_type_object)) list = json_at(list, {"dhcp_vlan_list"});
    bool found = false;
    for (size_t i = 0; list && i < json_object_array_length(list); ++i) {
      json_object *e = json_object_array_get_idx(list, i);
      if (json_int_at(e, {"vlan"}) != 20) continue;
      found = true;
      EXPECT_EQ(json_int_at(e, {"state"}), 0) << resource << " kept the deleted VLAN's setting";
    }
    EXPECT_TRUE(found) << resource;
  }
}

// ---------------------------------------------------------------- swcfg_vlan_membership

TEST_F(VlanTest, MembershipWrittenForAVlanReadsBackForEveryPortAndLag) {
  ASSERT_EQ(create(10, "ten").body, kSuccess);
  ASSERT_EQ(membership(10, R"({"port":1,"tagstatus":1,"ispvid":0},{"port":2,"tagstatus":1,"ispvid":0},)"
                           R"({"port":3,"tagstatus":0,"ispvid":1},{"port":5,"tagstatus":3,"ispvid":0},)"
                           R"({"port":34,"tagstatus":1,"ispvid":0})")
                .body,
            kSuccess);
  JsonPtr m = get("swcfg_vlan_membership?vlanid=10").json();
  json_object *data = json_at(m.get(), {"swcfg_vlan_membership"});
  ASSERT_NE(data, nullptr) << json_text(m.get());
  EXPECT_EQ(json_int_at(data, {"vlanid"}), 10);
  EXPECT_EQ(json_int_at(data, {"selVid"}), 10);
  EXPECT_EQ(json_string_at(data, {"name"}), "ten");
  EXPECT_EQ(json_string_at(data, {"vlanMemberports"}), "1-3,34");
  json_object *ports = json_at(data, {"ports"});
  ASSERT_EQ(json_object_array_length(ports), 36u);  // every port and LAG, members or not
  auto status = [&](int port) {
    for (size_t i = 0; i < json_object_array_length(ports); ++i) {
      json_object *e = json_object_array_get_idx(ports, i);
      if (json_int_at(e, {"port"}) == port) return std::make_pair(json_int_at(e, {"tagstatus"}), json_int_at(e, {"ispvid"}));
    }
    return std::make_pair(int64_t{-1}, int64_t{-1});
  };
  EXPECT_EQ(status(1), std::make_pair(int64_t{1}, int64_t{0}));
  EXPECT_EQ(status(3), std::make_pair(int64_t{0}, int64_t{1}));
  EXPECT_EQ(status(4), std::make_pair(int64_t{2}, int64_t{0}));  // not a member
  EXPECT_EQ(status(5), std::make_pair(int64_t{3}, int64_t{0}));  // forbidden
  EXPECT_EQ(status(34), std::make_pair(int64_t{1}, int64_t{0}));

  // The same in the VLAN table and from the port's side.
  EXPECT_EQ(json_string_at(listed_vlan(get("swcfg_vlan").json().get(), 10), {"memberports"}), "1-3,34");
  JsonPtr adv = get("vlan_advanced_cfg").json();
  EXPECT_EQ(json_string_at(port_element(adv.get(), 1), {"member"}), "1,10");
  EXPECT_EQ(json_string_at(port_element(adv.get(), 1), {"tagged"}), "10");
  EXPECT_EQ(json_string_at(port_element(adv.get(), 1), {"untagged"}), "1");
  EXPECT_EQ(json_string_at(port_element(adv.get(), 5), {"forbidden"}), "10");
  EXPECT_EQ(json_int_at(port_element(adv.get(), 3), {"pvid"}), 10);
}

TEST_F(VlanTest, MembershipChecksAndFailuresAreCounted) {
  // The query variable is required and must name a VLAN that exists.
  EXPECT_EQ(resp_code(get("swcfg_vlan_membership")), -1);
  EXPECT_EQ(resp_code(get("swcfg_vlan_membership?vlanid=77")), -1);

  // An absent VLAN: 412 with its id; nothing changes.
  HttpResponse r = membership(77, R"({"port":1,"tagstatus":1,"ispvid":0})");
  EXPECT_EQ(err_code(r), 412);
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errMsgArgs", "vlan_id"}), 77);
  EXPECT_TRUE(calls("Participation").empty());

  ASSERT_EQ(create(10, "ten").body, kSuccess);
  size_t mark = harness().agent_log_size();
  // A port outside the switch (247), a tag status out of range, an element
  // without "ispvid" (skipped, not counted): two failures give the aggregate.
  r = membership(10, R"({"port":30,"tagstatus":1,"ispvid":0},{"port":2,"tagstatus":4,"ispvid":0},{"port":3,"tagstatus":1})");
  EXPECT_EQ(err_code(r), 1040);
  std::string log = harness().agent_log_since(mark);
  EXPECT_NE(log.find("Parsing Error: 'port' invalid."), std::string::npos);
  EXPECT_NE(log.find("Parsing Error: 'tagstatus' invalid."), std::string::npos);
  EXPECT_NE(log.find("Parsing Error: 'ispvid' invalid."), std::string::npos);
  EXPECT_EQ(json_string_at(get("swcfg_vlan_membership?vlanid=10").json().get(),
                           {"swcfg_vlan_membership", "vlanMemberports"}),
            "");

  // A platform failure on the second port keeps the first.
  harness().sim().fail_after("rpcclt_openapiVlanIfParticipationSet", 1, 1, OPEN_E_FAIL);
  r = membership(10, R"({"port":1,"tagstatus":0,"ispvid":0},{"port":2,"tagstatus":0,"ispvid":0})");
  EXPECT_EQ(err_code(r), 1040);
  EXPECT_EQ(json_string_at(get("swcfg_vlan_membership?vlanid=10").json().get(),
                           {"swcfg_vlan_membership", "vlanMemberports"}),
            "1");
}

// ---------------------------------------------------------------- vlan_advanced_cfg

TEST_F(VlanTest, APortsVlanSettingsRoundTrip) {
  ASSERT_EQ(create(10, "a").body, kSuccess);
  ASSERT_EQ(create(11, "b").body, kSuccess);
  ASSERT_EQ(create(12, "c").body, kSuccess);
  ASSERT_EQ(post("vlan_advanced_cfg", R"({"vlan_advanced_cfg":[{"port":4,"member":"1,10-12","vlanTag":"10-11",)"
                                      R"("pvid":12,"ppri":5,"frameType":1,"ingress":0}]})")
                .body,
            kSuccess);
  JsonPtr adv = get("vlan_advanced_cfg").json();
  json_object *p4 = port_element(adv.get(), 4);
  ASSERT_NE(p4, nullptr);
  EXPECT_EQ(json_string_at(p4, {"member"}), "1,10-12");
  EXPECT_EQ(json_string_at(p4, {"vlanTag"}), "10-11");
  EXPECT_EQ(json_string_at(p4, {"untagged"}), "1,12");
  EXPECT_EQ(json_int_at(p4, {"pvid"}), 12);
  EXPECT_EQ(json_int_at(p4, {"ppri"}), 5);
  EXPECT_EQ(json_int_at(p4, {"frameType"}), 1);
  EXPECT_EQ(json_int_at(p4, {"ingress"}), 0);
  EXPECT_EQ(json_int_at(p4, {"ingressOper"}), 1);  // a port that admits tagged frames only filters

  // The sets are replaced: VLAN 11 left, 10 no longer tagged.
  ASSERT_EQ(post("vlan_advanced_cfg", R"({"vlan_advanced_cfg":[{"port":4,"member":"1,10,12","vlanTag":""}]})").body,
            kSuccess);
  adv = get("vlan_advanced_cfg").json();
  p4 = port_element(adv.get(), 4);
  EXPECT_EQ(json_string_at(p4, {"member"}), "1,10,12");
  EXPECT_EQ(json_string_at(p4, {"tagged"}), "");
  EXPECT_EQ(json_int_at(p4, {"ppri"}), 5);  // members left out are left alone
}

TEST_F(VlanTest, APortsVlanSettingsAreCheckedWithTheirTexts) {
  ASSERT_EQ(create(10, "a").body, kSuccess);
  harness().sim().reset_counts();
  size_t mark = harness().agent_log_size();
  HttpResponse r = post("vlan_advanced_cfg", R"({"vlan_advanced_cfg":[{"port":4,"ppri":8}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":8,"params":"Port Priority","min":0,"max":7}}})");
  r = post("vlan_advanced_cfg", R"({"vlan_advanced_cfg":[{"port":4,"pvid":99}]})");
  EXPECT_EQ(err_code(r), 412);
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errMsgArgs", "vlan_id"}), 99);
  r = post("vlan_advanced_cfg", R"({"vlan_advanced_cfg":[{"port":4,"member":"1,99"}]})");
  EXPECT_EQ(err_code(r), 412);
  // Tagging a VLAN the port is no member of, with the members the element sets or those it has.
  r = post("vlan_advanced_cfg", R"({"vlan_advanced_cfg":[{"port":4,"vlanTag":"10"},{"port":5,"member":"1","vlanTag":"10"}]})");
  EXPECT_EQ(err_code(r), 1041);
  std::string log = harness().agent_log_since(mark);
  for (const char *text : {"Invalid  priority 8", "Validation failed for vlan id: 99",
                           "Cannot set VLAN tagging for port 4 due to not member of VLAN 10",
                           "Cannot set VLAN tagging for port 5 due to not member of VLAN 10"})
    EXPECT_NE(log.find(text), std::string::npos) << text;
  for (const std::string &call : calls("Set")) ADD_FAILURE() << "changed by " << call;
  EXPECT_EQ(saves(), 0u);
}

// ---------------------------------------------------------------- protected_mbrship

TEST_F(VlanTest, ProtectedPortsAreReplacedAsASet) {
  ASSERT_EQ(post("protected_mbrship", R"({"protected_mbrship":{"ports":[{"port":1},{"port":2},{"port":7}]}})").body,
            kSuccess);
  EXPECT_EQ(get("protected_mbrship").body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                                           R"("protected_mbrship":{"ports":[{"port":1},{"port":2},{"port":7}]}})");
  ASSERT_EQ(post("protected_mbrship", R"({"protected_mbrship":{"ports":[{"port":2},{"port":8}]}})").body, kSuccess);
  EXPECT_EQ(json_text(json_at(get("protected_mbrship").json().get(), {"protected_mbrship", "ports"})),
            R"([{"port":2},{"port":8}])");

  // A LAG is no physical port: 247 with its id, nothing changes.
  harness().sim().reset_counts();
  HttpResponse r = post("protected_mbrship", R"({"protected_mbrship":{"ports":[{"port":33}]}})");
  EXPECT_EQ(err_code(r), 247);
  EXPECT_EQ(json_int_at(r.json().get(), {"resp", "errMsgArgs", "port_id"}), 33);
  EXPECT_TRUE(calls("ProtectedPortGroupIntf").empty());

  // A platform failure of the list read fails the write and the read.
  harness().sim().fail("rpcclt_openapiProtectedPortGroupIntfListGet", 2, OPEN_E_FAIL);
  EXPECT_EQ(resp_code(post("protected_mbrship", R"({"protected_mbrship":{"ports":[]}})")), -1);
  EXPECT_EQ(resp_code(get("protected_mbrship")), -1);
}

// ---------------------------------------------------------------- swcfg_vlan_reset

TEST_F(VlanTest, TheResetKeepsOnlyTheVlansTheSwitchNeeds) {
  for (int id : {5, 6, 7, 8}) ASSERT_EQ(create(id, "v").body, kSuccess);
  ASSERT_EQ(harness().sim().set("network.mgmt_vlan", R"({"value":6})"), OPEN_E_NONE);
  ASSERT_EQ(harness().sim().set("voip.vlan", R"({"value":7})"), OPEN_E_NONE);
  harness().sim().reset_counts();
  ASSERT_EQ(post("swcfg_vlan_reset", R"({"swcfg_vlan_reset":{}})").body, kSuccess);
  JsonPtr listed = get("swcfg_vlan").json();
  EXPECT_EQ(json_object_array_length(json_at(listed.get(), {"swcfg_vlan"})), 3u) << json_text(listed.get());
  EXPECT_EQ(listed_vlan(listed.get(), 5), nullptr);
  EXPECT_EQ(listed_vlan(listed.get(), 8), nullptr);
  EXPECT_EQ(saves(), 1u);

  // A deletion the platform refuses counts; the others go on.
  for (int id : {9, 10}) ASSERT_EQ(create(id, "v").body, kSuccess);
  harness().sim().fail("rpcclt_openapiVlanDelete", 1, OPEN_E_INUSE);
  HttpResponse r = post("swcfg_vlan_reset", "{}");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(json_object_array_length(json_at(get("swcfg_vlan").json().get(), {"swcfg_vlan"})), 4u);
}

}  // namespace
