// Access control lists over HTTP against the simulated switch: named and
// numbered lists with their create, rename and delete rules, rules of every
// kind with every match (round trip through GET, the match order, the
// switch's refusals, failures counted per rule), and the bindings of lists
// to ports and VLANs.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::json_at;

class AclTest : public veltrum::test::ResourceSuite {
 protected:
  HttpResponse create(const std::string &elements) { return post("acl_cfg", R"({"acl_cfg":[)" + elements + "]}"); }
  // The "acl_cfg" lists of `type` as acl_config answers them.
  std::string lists(int type) {
    JsonPtr doc = get("acl_config?type=" + std::to_string(type)).json();
    return json_text(json_at(doc.get(), {"acl_config"}));
  }
  // Text of the member at `path` of an answer.
  static std::string member(const HttpResponse &r, std::initializer_list<const char *> path) {
    JsonPtr doc = r.json();
    return json_text(json_at(doc.get(), path));
  }
  std::string log_since(size_t mark) { return harness().agent_log_since(mark); }
};

constexpr const char *kMacRule = R"({"pri":10,"act":1,"asq":3,"mirrorIntf":2,"matchEvery":0,"logging":1,"cos":5,)"
                                 R"("dmac":"01:80:C2:00:00:00","dmask":"FF:FF:FF:00:00:00","smac":"00:11:22:33:44:55",)"
                                 R"("smask":"FF:FF:FF:FF:FF:FF","ethtype":0,"eth":34525,"vlan":1})";

// ---------------------------------------------------------------- the lists

TEST_F(AclTest, NamedAndNumberedListsAreCreatedRenamedListedAndDeleted) {
  // A numbered list ignores "type": 5 is standard, 150 extended, both IPv4.
  ASSERT_EQ(create(R"({"type":1,"name":"web"},{"type":3,"name":"macs"},{"type":2,"name":"v6"},)"
                   R"({"type":3,"name":"5"},{"type":2,"name":"150"})")
                .body,
            kSuccess);
  EXPECT_EQ(calls("NumberedAclCreate").size(), 2u);
  EXPECT_EQ(saves(), 1u);
  EXPECT_EQ(lists(1), R"([{"type":1,"acl_cfg":[{"name":"5"},{"name":"150"},{"name":"web"}]}])");
  EXPECT_EQ(lists(3), R"([{"type":3,"acl_cfg":[{"name":"macs"}]}])");
  EXPECT_EQ(member(get("acl_count_get"), {"acl_count_get"}), R"({"curNum":5,"maxNum":100})");
  EXPECT_EQ(list_length(get("acl_config"), "acl_config"), 3u);  // one element per type

  // The same named list twice is no failure and creates nothing.
  harness().sim().reset_counts();
  EXPECT_EQ(create(R"({"type":1,"name":"web"})").body, kSuccess);
  EXPECT_TRUE(calls("AclCreate").empty());
  EXPECT_EQ(member(get("acl_count_get"), {"acl_count_get", "curNum"}), "5");

  // Rename through "oldname"; an "oldname" the switch lacks fails that element only.
  EXPECT_EQ(create(R"({"type":1,"name":"www","oldname":"web"})").body, kSuccess);
  EXPECT_EQ(lists(1), R"([{"type":1,"acl_cfg":[{"name":"5"},{"name":"150"},{"name":"www"}]}])");
  size_t mark = harness().agent_log_size();
  HttpResponse r = create(R"({"type":1,"name":"x","oldname":"web"},{"type":3,"name":"m2"})");
  EXPECT_EQ(err_code(r), 96);
  EXPECT_NE(log_since(mark).find("Failed to get acl id for acl name web error -26"), std::string::npos);
  EXPECT_EQ(lists(3), R"([{"type":3,"acl_cfg":[{"name":"macs"},{"name":"m2"}]}])");

  // A numbered list is an IPv4 list, whatever "type" says.
  ASSERT_EQ(del("acl_cfg", R"({"acl_cfg":[{"type":2,"name":"v6"},{"type":3,"name":"150"}]})").body, kSuccess);
  EXPECT_EQ(lists(2), R"([{"type":2,"acl_cfg":[]}])");
  EXPECT_EQ(lists(1), R"([{"type":1,"acl_cfg":[{"name":"5"},{"name":"www"}]}])");
  r = del("acl_cfg", R"({"acl_cfg":[{"type":2,"name":"v6"}]})");
  EXPECT_EQ(err_code(r), 96);
}

TEST_F(AclTest, ListChecksAndCreateFailuresAreCountedApart) {
  HttpResponse r = create(R"({"type":4,"name":"a"})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":4,"params":"ACL Type","min":1,"max":3}}})");
  const std::string long_name(256, 'a');
  r = create(R"({"type":1,"name":")" + long_name + R"("})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":82,"errMsgArgs":{"value":")" + long_name +
                        R"("}}})");
  r = create(R"({"type":1,"name":""})");
  EXPECT_EQ(err_code(r), 82);
  EXPECT_TRUE(calls("Create").empty());

  // "type" 0 skips its element uncounted; a 255-character name is fine.
  r = create(R"({"type":0,"name":"skipped"},{"type":1,"name":")" + std::string(255, 'b') + R"("})");
  EXPECT_EQ(r.body, kSuccess);
  EXPECT_EQ(calls("AclCreate").size(), 1u);

  // Numbers above 199 are refused by the agent; one create failure keeps
  // no code of its own, so it answers 96.
  size_t mark = harness().agent_log_size();
  r = create(R"({"type":1,"name":"200"})");
  EXPECT_EQ(err_code(r), 96);
  EXPECT_NE(log_since(mark).find("Acl id exceeded range 1-199 200"), std::string::npos);
  EXPECT_TRUE(calls("NumberedAclCreate").empty());

  // A validation failure and a create failure: two in all, 96 with the details.
  r = create(R"({"type":9,"name":"a"},{"type":1,"name":"1x"},{"type":1,"name":"1"})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":96,)"
                    R"("errMsgArgs":{"value":9,"params":"ACL Type","min":1,"max":3}}})");
  EXPECT_NE(log_since(mark).find("Error: Specified ACL name already exists."), std::string::npos);  // "1x" is 1

  // A full table: the named message of its own.
  for (int id = 300; id < 400; ++id)
    if (harness().sim().set("acls", R"({"key":[)" + std::to_string(id) + R"(],"record":{"type":3,"name":"f)" +
                                        std::to_string(id) + R"("}})") != OPEN_E_NONE)
      break;  // the switch's table is full
  mark = harness().agent_log_size();
  r = create(R"({"type":2,"name":"onemore"})");
  EXPECT_EQ(err_code(r), 96);
  EXPECT_NE(log_since(mark).find("Error:No more ACL entries can be added as the table reached maximum allowed entries"),
            std::string::npos);
  EXPECT_EQ(member(get("acl_count_get"), {"acl_count_get"}), R"({"curNum":100,"maxNum":100})");
}

// ---------------------------------------------------------------- rules

TEST_F(AclTest, RulesOfEveryKindRoundTripThroughGet) {
  ASSERT_EQ(
      create(R"({"type":3,"name":"m"},{"type":1,"name":"7"},{"type":1,"name":"ext"},{"type":2,"name":"v6"})").body,
      kSuccess);
  ASSERT_EQ(post("mac_aclrule_cfg", std::string(R"({"mac_aclrule_cfg":[{"name":"m","aclrule":[)") + kMacRule +
                                        R"(,{"pri":20,"act":0,"redirectIntf":34,"ethtype":2,"eth":0}]}]})")
                .body,
            kSuccess);
  EXPECT_EQ(member(get("mac_aclrule_cfg?aclName=m"), {"mac_aclrule_cfg"}),
            R"([{"name":"m","aclrules":[{"pri":10,"act":1,"asq":3,"mirrorIntf":2,"matchEvery":0,"logging":1,"cos":5,)"
            R"("dmac":"01:80:C2:00:00:00","dmask":"FF:FF:FF:00:00:00","smac":"00:11:22:33:44:55",)"
            R"("smask":"FF:FF:FF:FF:FF:FF","ethtype":0,"eth":34525,"vlan":1},)"
            R"({"pri":20,"act":0,"redirectIntf":34,"ethtype":2,"eth":0}]}])");

  ASSERT_EQ(post("ip_aclrule_cfg", R"({"ip_aclrule_cfg":[{"aclname":"7","ipaclrule":[)"
                                   R"({"acl_rule":1,"act":0,"asq":0,"matchEvery":0,"redirectIntf":33,)"
                                   R"("sip":"10.1.0.0","smask":"255.255.0.0","logging":1}]}]})")
                .body,
            kSuccess);
  EXPECT_EQ(member(get("ip_aclrule_cfg"), {"ip_aclrule_cfg"}),
            R"([{"name":"7","aclrules":[{"acl_rule":1,"act":0,"asq":0,"redirectIntf":33,"matchEvery":0,"logging":1,)"
            R"("sip":"10.1.0.0","smask":"255.255.0.0"}]}])");

  // Extended rules: ports with operators and ranges, ICMP, IGMP, and the
  // service match "srvTypeR" selects (the other service values are ignored).
  ASSERT_EQ(
      post("ipextended_aclrule_cfg",
           R"({"ip_aclrule_cfg":[{"name":"ext","aclrules":[)"
           R"({"pri":10,"act":1,"proto":6,"sip":"192.168.1.0","smask":"255.255.255.0","sl4PortAct":1,)"
           R"("sl4PortS":1024,"sl4PortE":2048,"dip":"10.0.0.1","dmask":"255.255.255.255","dl4PortAct":0,)"
           R"("dl4Port":443,"frag":0,"srvTypeR":1,"servValDscp":46,"servValPrec":3},)"
           R"({"pri":20,"act":0,"proto":1,"icmpType":8,"icmpCode":0,"srvTypeR":2,"servValPrec":5,"servValDscp":9},)"
           R"({"pri":30,"act":1,"asq":6,"logging":0,"mirrorIntf":3,"matchEvery":1,"proto":2,"igmpType":17,)"
           R"("srvTypeR":3,"servValtos":160,"servValtosMask":224},)"
           R"({"pri":40,"act":1,"redirectIntf":5,"proto":17,"sl4PortAct":4,"sl4Port":1000,"dl4PortAct":1,)"
           R"("dl4PortS":5000,"dl4PortE":6000}]}]})")
          .body,
      kSuccess);
  EXPECT_EQ(member(get("ipextended_aclrule_cfg?aclName=ext"), {"ipextended_aclrule_cfg"}),
            R"([{"name":"ext","aclrules":[)"
            R"({"pri":10,"act":1,"proto":6,"sip":"192.168.1.0","smask":"255.255.255.0","sl4PortAct":1,)"
            R"("sl4PortS":1024,"sl4PortE":2048,"dip":"10.0.0.1","dmask":"255.255.255.255","dl4PortAct":0,)"
            R"("dl4Port":443,"frag":0,"srvTypeR":1,"servValDscp":46},)"
            R"({"pri":20,"act":0,"proto":1,"icmpType":8,"icmpCode":0,"srvTypeR":2,"servValPrec":5},)"
            R"({"pri":30,"act":1,"asq":6,"mirrorIntf":3,"matchEvery":1,"logging":0,"proto":2,"igmpType":17,)"
            R"("srvTypeR":3,"servValtos":160,"servValtosMask":224},)"
            R"({"pri":40,"act":1,"redirectIntf":5,"proto":17,"sl4PortAct":4,"sl4Port":1000,"dl4PortAct":1,)"
            R"("dl4PortS":5000,"dl4PortE":6000}]}])");

  ASSERT_EQ(post("ipv6_aclrule_cfg",
                 R"({"ipv6_aclrule_cfg":[{"aclname":"v6","aclrules":[)"
                 R"({"pri":5,"act":1,"logging":1,"asq":2,"redirectIntf":4,"proto":6,"sip":"2001:db8::","smask":32,)"
                 R"("sl4PortAct":0,"sl4Port":22,"dip":"2001:db8:1::1","dmask":128,"dl4PortAct":3,"dl4Port":1024,)"
                 R"("frag":0,"routing":1,"flow":12345,"srvTypeR":1,"dscp":10,"tcpVal":2,"tcpMask":18},)"
                 R"({"pri":6,"act":0,"matchEvery":1,"mirrorIntf":7,"proto":58,"icmpType":128,"icmpCode":0},)"
                 R"({"pri":7,"act":1,"proto":17,"sl4PortAct":1,"sl4PortS":10,"sl4PortE":20,"dl4PortAct":1,)"
                 R"("dl4PortS":30,"dl4PortE":40}]}]})")
                .body,
            kSuccess);
  EXPECT_EQ(member(get("ipv6_aclrule_cfg"), {"ipv6_aclrule_cfg"}),
            R"([{"name":"v6","aclrules":[)"
            R"({"pri":5,"act":1,"asq":2,"redirectIntf":4,"logging":1,"proto":6,"sip":"2001:db8::","smask":32,)"
            R"("sl4PortAct":0,"sl4Port":22,"dip":"2001:db8:1::1","dmask":128,"dl4PortAct":3,"dl4Port":1024,)"
            R"("frag":0,"routing":1,"flow":12345,"srvTypeR":1,"dscp":10,"tcpVal":2,"tcpMask":18},)"
            R"({"pri":6,"act":0,"mirrorIntf":7,"matchEvery":1,"proto":58,"icmpType":128,"icmpCode":0},)"
            R"({"pri":7,"act":1,"proto":17,"sl4PortAct":1,"sl4PortS":10,"sl4PortE":20,"dl4PortAct":1,)"
            R"("dl4PortS":30,"dl4PortE":40}]}])");

  // Each resource lists its own kind of list: standard numbered lists for
  // the IPv4 rules, the extended and named ones for the extended rules.
  EXPECT_EQ(list_length(get("ip_aclrule_cfg"), "ip_aclrule_cfg"), 1u);
  EXPECT_EQ(list_length(get("ipextended_aclrule_cfg"), "ipextended_aclrule_cfg"), 1u);
  EXPECT_EQ(member(get("ip_aclrule_cfg?aclName=ext"), {"ip_aclrule_cfg"}), "[]");
  EXPECT_EQ(member(get("mac_aclrule_cfg?aclName=none"), {"mac_aclrule_cfg"}), "[]");
}

TEST_F(AclTest, EachKindAddsItsMatchesInItsOwnOrder) {
  ASSERT_EQ(
      create(R"({"type":3,"name":"m"},{"type":1,"name":"9"},{"type":1,"name":"ext"},{"type":2,"name":"v6"})").body,
      kSuccess);
  auto order = [&](const std::string &resource, const std::string &body) {
    harness().sim().reset_counts();
    EXPECT_EQ(post(resource, body).body, kSuccess) << resource;
    std::vector<std::string> made;
    for (const std::string &c : calls("AclRule")) made.push_back(c.substr(std::string("rpcclt_openapiAclRule").size()));
    return made;
  };
  using V = std::vector<std::string>;
  EXPECT_EQ(order("mac_aclrule_cfg", std::string(R"({"mac_aclrule_cfg":[{"name":"m","aclrule":[)") + kMacRule + "]}]}"),
            (V{"ActionAdd", "MatchAssignQueueAdd", "MatchMirrorAdd", "MatchEveryAdd", "MatchLoggingAdd", "MatchCosAdd",
               "MatchMacDstMacAdd", "MatchMacSrcMacAdd", "MatchEthTypeAdd", "MatchVlanIdAdd"}));
  EXPECT_EQ(order("ip_aclrule_cfg", R"({"ip_aclrule_cfg":[{"aclname":"9","ipaclrule":[{"acl_rule":1,"act":1,)"
                                    R"("logging":1,"sip":"10.0.0.0","smask":"255.0.0.0","redirectIntf":5,)"
                                    R"("matchEvery":0,"asq":1}]}]})"),
            (V{"ActionAdd", "MatchAssignQueueAdd", "MatchEveryAdd", "MatchRedirectAdd", "MatchIpSrcMaskAdd",
               "MatchLoggingAdd"}));
  EXPECT_EQ(order("ipextended_aclrule_cfg",
                  R"({"ip_aclrule_cfg":[{"name":"ext","aclrules":[{"servValtos":1,"servValtosMask":1,"srvTypeR":3,)"
                  R"("frag":1,"dl4PortAct":0,"dl4Port":80,"dip":"10.0.0.2","dmask":"255.255.255.255","sl4PortAct":2,)"
                  R"("sl4Port":7,"sip":"10.0.0.1","smask":"255.255.255.255","proto":17,"matchEvery":0,)"
                  R"("redirectIntf":2,"logging":1,"asq":1,"act":1,"pri":1}]}]})"),
            (V{"ActionAdd", "MatchAssignQueueAdd", "MatchLoggingAdd", "MatchRedirectAdd", "MatchEveryAdd",
               "MatchProtocolAdd", "MatchIpSrcMaskAdd", "MatchL4SrcPortAdd", "MatchIpDstMaskAdd", "MatchL4DstPortAdd",
               "MatchFragmentsAdd", "MatchTosAdd"}));
  EXPECT_EQ(order("ipv6_aclrule_cfg", R"({"ipv6_aclrule_cfg":[{"aclname":"v6","aclrules":[{"tcpVal":1,"tcpMask":1,)"
                                      R"("dscp":1,"srvTypeR":1,"flow":1,"routing":0,"frag":0,"dl4PortAct":1,)"
                                      R"("dl4PortS":1,"dl4PortE":2,"dip":"::1","dmask":128,"sl4PortAct":0,"sl4Port":1,)"
                                      R"("sip":"::","smask":0,"proto":6,"matchEvery":0,"mirrorIntf":1,"logging":0,)"
                                      R"("asq":0,"act":1,"pri":1}]}]})"),
            (V{"ActionAdd", "MatchAssignQueueAdd", "MatchLoggingAdd", "MatchMirrorAdd", "MatchEveryAdd",
               "MatchProtocolAdd", "MatchIpv6SrcPfxAdd", "MatchL4SrcPortAdd", "MatchIpv6DstPfxAdd", "MatchL4DstPortAdd",
               "MatchFragmentsAdd", "MatchRoutingAdd", "MatchFlowLabelAdd", "MatchDscpAdd", "MatchTcpFlagsAdd"}));
}

TEST_F(AclTest, RuleChecksGiveTheirCodesAndDetails) {
  ASSERT_EQ(create(R"({"type":3,"name":"m"})").body, kSuccess);
  auto rule = [&](const std::string &members) {
    return post("mac_aclrule_cfg",
                R"({"mac_aclrule_cfg":[{"name":"m","aclrule":[{"pri":1,"act":1,)" + members + "}]}]}");
  };
  EXPECT_EQ(rule(R"("smac":"00:11:22:33:44","smask":"FF:FF:FF:FF:FF:FF")").body,
            R"({"resp":{"status":"failure","respCode":-1,"errCode":16,)"
            R"("errMsgArgs":{"params":"Source MAC Address","value":"00:11:22:33:44"}}})");
  EXPECT_EQ(rule(R"("dmac":"zz","dmask":"FF:FF:FF:FF:FF:FF")").body,
            R"({"resp":{"status":"failure","respCode":-1,"errCode":16,)"
            R"("errMsgArgs":{"params":"Destination MAC Address","value":"zz"}}})");
  EXPECT_EQ(rule(R"("vlan":7)").body,
            R"({"resp":{"status":"failure","respCode":-1,"errCode":412,"errMsgArgs":{"vlan_id":7}}})");
  EXPECT_EQ(rule(R"("mirrorIntf":30)").body,
            R"({"resp":{"status":"failure","respCode":-1,"errCode":247,"errMsgArgs":{"port_id":30}}})");
  // The queue limit is the platform's (6 on the simulated switch).
  size_t mark = harness().agent_log_size();
  EXPECT_EQ(rule(R"("asq":7)").body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                                     R"("errMsgArgs":{"value":7,"params":"Assign Queue","min":0,"max":6}}})");
  EXPECT_NE(log_since(mark).find("Queue id exceeded max val 6"), std::string::npos);
  HttpResponse r = post("mac_aclrule_cfg", R"({"mac_aclrule_cfg":[{"name":"m","aclrule":[{"pri":0,"act":1}]}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":0,"params":"Sequence Number","min":1,"max":2147483647}}})");
  EXPECT_TRUE(calls("AclRule").empty());

  // IPv4 addresses go through the platform's conversion.
  ASSERT_EQ(create(R"({"type":1,"name":"3"})").body, kSuccess);
  mark = harness().agent_log_size();
  r = post("ip_aclrule_cfg", R"({"ip_aclrule_cfg":[{"aclname":"3","ipaclrule":[)"
                             R"({"acl_rule":1,"act":1,"sip":"10.0.0","smask":"255.0.0.0"},)"
                             R"({"acl_rule":2,"act":1,"sip":"10.0.0.0","smask":"mask"}]}]})");
  EXPECT_EQ(err_code(r), 1222);
  EXPECT_NE(log_since(mark).find("Invalid IP address (-22)"), std::string::npos);
  EXPECT_NE(log_since(mark).find("Invalid IP mask(-22)"), std::string::npos);
  EXPECT_EQ(calls("InetAddrGet").size(), 3u);
  EXPECT_TRUE(calls("AclRule").empty());

  // IPv6 port operators have ranges of their own.
  ASSERT_EQ(create(R"({"type":2,"name":"v6"})").body, kSuccess);
  r = post("ipv6_aclrule_cfg", R"({"ipv6_aclrule_cfg":[{"aclname":"v6","aclrules":[{"pri":1,"act":1,"proto":6,)"
                               R"("sl4PortAct":2,"sl4Port":80}]}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":2,"params":"Source L4 Port Action","min":0,"max":1}}})");
  r = post("ipv6_aclrule_cfg",
           R"({"ipv6_aclrule_cfg":[{"aclname":")" + std::string(256, 'v') + R"(","aclrules":[]}]})");
  EXPECT_EQ(err_code(r), 82);
}

// A rule's mirror and redirect interfaces are interface numbers like any
// other: present, they pass the port validator, so 0 (no interface) is
// refused by every kind alike; a rule without mirror or redirect leaves the
// member out.
TEST_F(AclTest, MirrorAndRedirectInterfaceZeroIsRefusedAlikeByEveryRuleKind) {
  ASSERT_EQ(
      create(R"({"type":3,"name":"m"},{"type":1,"name":"3"},{"type":1,"name":"ext"},{"type":2,"name":"v6"})").body,
      kSuccess);
  struct Kind {
    const char *resource;
    std::string before;  // the body up to the rule's members
    const char *after;
  };
  const Kind kinds[] = {
      {"mac_aclrule_cfg", R"({"mac_aclrule_cfg":[{"name":"m","aclrule":[{"pri":1,"act":1,)", "}]}]}"},
      {"ip_aclrule_cfg", R"({"ip_aclrule_cfg":[{"aclname":"3","ipaclrule":[{"acl_rule":1,"act":1,)", "}]}]}"},
      {"ipextended_aclrule_cfg", R"({"ip_aclrule_cfg":[{"name":"ext","aclrules":[{"pri":1,"act":1,)", "}]}]}"},
      {"ipv6_aclrule_cfg", R"({"ipv6_aclrule_cfg":[{"aclname":"v6","aclrules":[{"pri":1,"act":1,)", "}]}]}"},
  };
  for (const Kind &k : kinds) {
    for (const char *member : {"mirrorIntf", "redirectIntf"}) {
      size_t mark = harness().agent_log_size();
      HttpResponse r = post(k.resource, k.before + "\"" + member + "\":0" + k.after);
      EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":247,"errMsgArgs":{"port_id":0}}})")
          << k.resource << " " << member;
      const char *log = std::string(member) == "mirrorIntf" ? "Failed to validate mirror interface"
                                                            : "Failed to validate redirect interface";
      EXPECT_NE(log_since(mark).find(log), std::string::npos) << k.resource << " " << member;
    }
  }
  EXPECT_TRUE(calls("AclRule").empty());  // refused before the switch is asked
  EXPECT_EQ(saves(), 1u);                 // the lists only

  // Left out, neither is configured and GET does not list them.
  for (const Kind &k : kinds)
    EXPECT_EQ(post(k.resource, k.before + R"("logging":1)" + k.after).body, kSuccess) << k.resource;
  EXPECT_EQ(member(get("mac_aclrule_cfg"), {"mac_aclrule_cfg"}),
            R"([{"name":"m","aclrules":[{"pri":1,"act":1,"logging":1}]}])");
  EXPECT_EQ(calls("MatchMirrorAdd").size() + calls("MatchRedirectAdd").size(), 0u);
}

// Every ranged key of the ACL resources, just outside its range, answers
// errCode 9 with its label and bounds, and nothing reaches the switch.
TEST_F(AclTest, EveryRangeAnswersItsLabelAndBounds) {
  ASSERT_EQ(
      create(R"({"type":3,"name":"m"},{"type":1,"name":"3"},{"type":1,"name":"ext"},{"type":2,"name":"v6"})").body,
      kSuccess);
  const size_t created = calls("AclCreate").size();
  struct Case {
    const char *resource;
    const char *before;  // the body up to the value
    const char *after;
    int64_t value;
    const char *label;
    int64_t min;
    int64_t max;
  };
  constexpr int64_t kSeqMax = 2147483647;
  const Case cases[] = {
      {"acl_cfg", R"({"acl_cfg":[{"name":"x","type":)", "}]}", 4, "ACL Type", 1, 3},
      {"mac_aclrule_cfg", R"({"mac_aclrule_cfg":[{"name":"m","aclrule":[{"act":1,"pri":)", "}]}]}", 0,
       "Sequence Number", 1, kSeqMax},
      {"mac_aclrule_cfg", R"({"mac_aclrule_cfg":[{"name":"m","aclrule":[{"act":1,"pri":)", "}]}]}", kSeqMax + 1,
       "Sequence Number", 1, kSeqMax},
      {"ip_aclrule_cfg", R"({"ip_aclrule_cfg":[{"aclname":"3","ipaclrule":[{"act":1,"acl_rule":)", "}]}]}", 0,
       "Sequence Number", 1, kSeqMax},
      {"ipextended_aclrule_cfg", R"({"ip_aclrule_cfg":[{"name":"ext","aclrules":[{"act":1,"pri":)", "}]}]}",
       kSeqMax + 1, "Sequence Number", 1, kSeqMax},
      {"ipv6_aclrule_cfg", R"({"ipv6_aclrule_cfg":[{"aclname":"v6","aclrules":[{"act":1,"pri":)", "}]}]}", 0,
       "Sequence Number", 1, kSeqMax},
      {"ipv6_aclrule_cfg",
       R"({"ipv6_aclrule_cfg":[{"aclname":"v6","aclrules":[{"pri":1,"act":1,"proto":6,"sl4Port":80,"sl4PortAct":)",
       "}]}]}", -1, "Source L4 Port Action", 0, 1},
      {"ipv6_aclrule_cfg",
       R"({"ipv6_aclrule_cfg":[{"aclname":"v6","aclrules":[{"pri":1,"act":1,"proto":6,"dl4Port":80,"dl4PortAct":)",
       "}]}]}", 5, "Destination L4 Port Action", 0, 4},
      {"acl_binding", R"({"acl_binding":{"aclname":"ext","direction":0,"ports":[],"type":)", "}}", 0, "ACL Type", 1, 3},
      {"acl_binding", R"({"acl_binding":{"aclname":"ext","type":1,"direction":0,"ports":[{"port_id":1,"seqno":)",
       "}]}}", kSeqMax + 1, "Sequence Number", 1, kSeqMax},
      {"acl_vlan_binding", R"({"acl_vlan_binding":[{"vlan":1,"aclname":"ext","seqno":1,"type":)", "}]}", 4, "ACL Type",
       1, 3},
      {"acl_vlan_binding", R"({"acl_vlan_binding":[{"vlan":1,"aclname":"ext","type":1,"seqno":)", "}]}", 0,
       "Sequence Number", 1, kSeqMax},
  };
  for (const Case &c : cases) {
    const std::string value = std::to_string(c.value);
    EXPECT_EQ(post(c.resource, c.before + value + c.after).body,
              R"({"resp":{"status":"failure","respCode":-1,"errCode":9,"errMsgArgs":{"value":)" + value +
                  R"(,"params":")" + c.label + R"(","min":)" + std::to_string(c.min) + R"(,"max":)" +
                  std::to_string(c.max) + "}}}")
        << c.resource << " " << c.label << " " << value;
  }
  EXPECT_TRUE(calls("AclRule").empty());
  EXPECT_TRUE(calls("DirAdd").empty());
  EXPECT_EQ(calls("AclCreate").size(), created);
}

TEST_F(AclTest, TheSwitchRefusesRulesThatDoNotFitTheirList) {
  ASSERT_EQ(create(R"({"type":1,"name":"12"},{"type":1,"name":"ext"},{"type":3,"name":"m"})").body, kSuccess);
  auto ext = [&](const std::string &list, const std::string &rules) {
    return post("ipextended_aclrule_cfg",
                R"({"ip_aclrule_cfg":[{"name":")" + list + R"(","aclrules":[)" + rules + "]}]}");
  };
  // Each rule fails alone at the switch: a destination on a standard list,
  // ports without TCP or UDP, an inverted range, a mask that is no mask,
  // ICMP types on a TCP rule, a sequence number the list has already.
  ASSERT_EQ(ext("ext", R"({"pri":1,"act":1})").body, kSuccess);
  const char *refused[] = {
      R"({"pri":2,"act":1,"proto":17,"sl4PortAct":1,"sl4PortS":90,"sl4PortE":80})",
      R"({"pri":3,"act":1,"sl4PortAct":0,"sl4Port":80})",
      R"({"pri":4,"act":1,"sip":"10.0.0.0","smask":"255.0.255.0"})",
      R"({"pri":5,"act":1,"proto":6,"icmpType":8,"icmpCode":0})",
      R"({"pri":1,"act":0})",
  };
  for (const char *rule : refused) {
    HttpResponse r = ext("ext", rule);
    EXPECT_EQ(err_code(r), 1223) << rule << ": " << r.body;
  }
  EXPECT_EQ(err_code(ext("12", R"({"pri":1,"act":1,"dip":"10.0.0.1","dmask":"255.255.255.255"})")), 1223);
  EXPECT_EQ(err_code(ext("none", R"({"pri":1,"act":1})")), 1223);
  EXPECT_EQ(err_code(post("mac_aclrule_cfg", R"({"mac_aclrule_cfg":[{"name":"m","aclrule":[)"
                                             R"({"pri":1,"act":1,"ethtype":4,"eth":2048}]}]})")),
            1221);  // a keyword takes no value
  // What a failing rule made before its failure stays: nothing is rolled back.
  JsonPtr doc = get("ipextended_aclrule_cfg?aclName=ext").json();
  json_object *rules =
      json_at(json_object_array_get_idx(json_at(doc.get(), {"ipextended_aclrule_cfg"}), 0), {"aclrules"});
  ASSERT_TRUE(json_object_is_type(rules, json_type_array));
  EXPECT_EQ(json_object_array_length(rules), 5u);  // 1, and 2 to 5 with what they made before the refusal
  EXPECT_STREQ(json_object_to_json_string_ext(json_object_array_get_idx(rules, 1), 0),
               R"({"pri":2,"act":1,"proto":17})");
  EXPECT_EQ(saves(), 2u);  // the lists and the first rule: no refused request saved
}

TEST_F(AclTest, APlatformFaultMidRuleIsCountedAndKeepsTheEarlierRules) {
  ASSERT_EQ(create(R"({"type":3,"name":"m"})").body, kSuccess);
  harness().sim().reset_counts();
  harness().sim().fail_after("rpcclt_openapiAclRuleMatchCosAdd", 1, 1, OPEN_E_FAIL);
  HttpResponse r = post("mac_aclrule_cfg", R"({"mac_aclrule_cfg":[{"name":"m","aclrule":[)"
                                           R"({"pri":1,"act":1,"cos":1,"vlan":1},)"
                                           R"({"pri":2,"act":1,"logging":1,"cos":2,"vlan":1},)"
                                           R"({"pri":3,"act":0}]}]})");
  EXPECT_EQ(err_code(r), 1221);  // one platform failure: no code of its own
  EXPECT_EQ(saves(), 0u);
  EXPECT_EQ(calls("MatchVlanIdAdd").size(), 1u);  // the second rule ended at its cos
  EXPECT_EQ(member(get("mac_aclrule_cfg"), {"mac_aclrule_cfg"}),
            R"([{"name":"m","aclrules":[{"pri":1,"act":1,"cos":1,"vlan":1},{"pri":2,"act":1,"logging":1},)"
            R"({"pri":3,"act":0}]}])");

  // Two failing rules give the aggregate code with the details of the last.
  r = post("mac_aclrule_cfg", R"({"mac_aclrule_cfg":[{"name":"m","aclrule":[)"
                              R"({"pri":4,"act":1,"vlan":0},{"pri":5,"act":1,"mirrorIntf":0}]}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":1221,)"
                    R"("errMsgArgs":{"vlan_id":0,"port_id":0}}})");

  // A body without the rule array ends the request.
  r = post("mac_aclrule_cfg", R"({"mac_aclrule_cfg":[{"name":"m"},{"name":"m","aclrule":[{"pri":6,"act":1}]}]})");
  EXPECT_EQ(err_code(r), 1221);
  EXPECT_EQ(calls("AclRuleActionAdd").size(), 3u);  // from the first request only
}

TEST_F(AclTest, RulesAreDeletedOneByOne) {
  ASSERT_EQ(create(R"({"type":1,"name":"ext"})").body, kSuccess);
  ASSERT_EQ(post("ipextended_aclrule_cfg",
                 R"({"ip_aclrule_cfg":[{"name":"ext","aclrules":[{"pri":1,"act":1},{"pri":2,"act":0}]}]})")
                .body,
            kSuccess);
  EXPECT_EQ(del("aclrule_cfg", R"({"aclrule_cfg":[{"type":1,"name":"ext","seq":1}]})").body, kSuccess);
  EXPECT_EQ(member(get("ipextended_aclrule_cfg"), {"ipextended_aclrule_cfg"}),
            R"([{"name":"ext","aclrules":[{"pri":2,"act":0}]}])");
  EXPECT_EQ(err_code(del("aclrule_cfg", R"({"aclrule_cfg":[{"type":1,"name":"ext","seq":1}]})")), 1220);
  EXPECT_EQ(err_code(del("aclrule_cfg", R"({"aclrule_cfg":[{"type":2,"name":"ext","seq":2}]})")), 1220);
  HttpResponse r = del("aclrule_cfg", R"({"aclrule_cfg":[{"type":1,"name":"ext","seq":0}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":0,"params":"Sequence Number","min":1,"max":2147483647}}})");
  size_t mark = harness().agent_log_size();
  EXPECT_EQ(del("aclrule_cfg", R"({"aclrule_cfg":[{"type":1,"name":"ext"}]})").body, kSuccess);  // skipped
  EXPECT_NE(log_since(mark).find("Parsing Error: 'seq' invalid."), std::string::npos);
  EXPECT_EQ(list_length(get("ipextended_aclrule_cfg"), "ipextended_aclrule_cfg"), 1u);
}

// ---------------------------------------------------------------- bindings

TEST_F(AclTest, ABindingPostReplacesThePortSetOfItsDirection) {
  ASSERT_EQ(create(R"({"type":1,"name":"web"},{"type":3,"name":"m"})").body, kSuccess);
  auto bind = [&](const std::string &ports, int direction = 0) {
    return post("acl_binding", R"({"acl_binding":{"aclname":"web","type":1,"direction":)" + std::to_string(direction) +
                                   R"(,"ports":)" + ports + "}}");
  };
  ASSERT_EQ(bind(R"([{"port_id":1},{"port_id":2,"seqno":5},{"port":33}])").body, kSuccess);
  ASSERT_EQ(bind(R"([{"port_id":2}])", 1).body, kSuccess);
  EXPECT_EQ(member(get("acl_binding?aclname=web&type=1&direction=0"), {"acl_binding"}),
            R"({"aclname":"web","type":1,"direction":0,"ports":[{"port":1},{"port":2},{"port":33}]})");

  harness().sim().reset_counts();
  ASSERT_EQ(bind(R"([{"port_id":2,"seqno":5}])").body, kSuccess);
  EXPECT_EQ(calls("IntfDirDelete").size(), 2u);  // ports 1 and 33
  EXPECT_EQ(member(get("acl_binding?aclname=web&type=1&direction=0"), {"acl_binding", "ports"}), R"([{"port":2}])");

  // Bindings of every ACL, port and direction, with their sequence numbers.
  ASSERT_EQ(
      post("acl_binding", R"({"acl_binding":{"aclname":"m","type":3,"direction":0,"ports":[{"port_id":2}]}})").body,
      kSuccess);
  EXPECT_EQ(member(get("acl_intf_binding"), {"acl_intf_binding"}),
            R"([{"port":2,"direction":0,"aclname":"web","seqno":5,"type":1},)"
            R"({"port":2,"direction":0,"aclname":"m","seqno":6,"type":3},)"
            R"({"port":2,"direction":1,"aclname":"web","seqno":1,"type":1}])");

  // A bound list cannot be deleted; unbound, it can.
  EXPECT_EQ(err_code(del("acl_cfg", R"({"acl_cfg":[{"type":3,"name":"m"}]})")), 96);
  ASSERT_EQ(del("acl_intf_binding", R"({"acl_intf_binding":[{"port":2,"direction":0,"aclname":"m","type":3}]})").body,
            kSuccess);
  EXPECT_EQ(list_length(get("acl_intf_binding"), "acl_intf_binding"), 2u);
  EXPECT_EQ(del("acl_cfg", R"({"acl_cfg":[{"type":3,"name":"m"}]})").body, kSuccess);
  EXPECT_EQ(
      err_code(del("acl_intf_binding", R"({"acl_intf_binding":[{"port":2,"direction":0,"aclname":"m","type":3}]})")),
      1225);
}

TEST_F(AclTest, BindingChecks) {
  ASSERT_EQ(create(R"({"type":1,"name":"web"})").body, kSuccess);
  // The GET names its binding by three query variables.
  size_t mark = harness().agent_log_size();
  HttpResponse r = get("acl_binding?aclname=web&type=1");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(json_at(r.json().get(), {"acl_binding"}), nullptr);
  EXPECT_NE(log_since(mark).find("direction not found in query var"), std::string::npos);
  EXPECT_EQ(resp_code(get("acl_binding?aclname=web&type=4&direction=0")), -1);
  EXPECT_NE(log_since(mark).find("Invalid type 4"), std::string::npos);

  r = post("acl_binding",
           R"({"acl_binding":{"aclname":"web","type":1,"direction":0,"ports":[{"port_id":1},{"port_id":30}]}})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":247,"errMsgArgs":{"port_id":30}}})");
  r = post("acl_binding",
           R"({"acl_binding":{"aclname":"web","type":1,"direction":0,"ports":[{"port_id":1,"seqno":0}]}})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":0,"params":"Sequence Number","min":1,"max":2147483647}}})");
  r = post("acl_binding", R"({"acl_binding":{"aclname":"web","type":5,"direction":0,"ports":[]}})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":5,"params":"ACL Type","min":1,"max":3}}})");
  EXPECT_TRUE(calls("IntfDir").empty());  // nothing bound by a refused body
  mark = harness().agent_log_size();
  r = post("acl_binding", R"({"acl_binding":{"aclname":"nope","type":1,"direction":0,"ports":[]}})");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_NE(log_since(mark).find("Failed to get ACL id = -26"), std::string::npos);

  // At most four lists per port and direction, each sequence number once.
  ASSERT_EQ(create(R"({"type":1,"name":"a"},{"type":1,"name":"b"},{"type":1,"name":"c"},{"type":1,"name":"d"})").body,
            kSuccess);
  for (const char *name : {"web", "a", "b", "c"})
    ASSERT_EQ(post("acl_binding", std::string(R"({"acl_binding":{"aclname":")") + name +
                                      R"(","type":1,"direction":0,"ports":[{"port_id":7}]}})")
                  .body,
              kSuccess);
  EXPECT_EQ(resp_code(post("acl_binding",
                           R"({"acl_binding":{"aclname":"d","type":1,"direction":0,"ports":[{"port_id":7}]}})")),
            -1);
  EXPECT_EQ(resp_code(post("acl_binding", R"({"acl_binding":{"aclname":"d","type":1,"direction":1,)"
                                          R"("ports":[{"port_id":7,"seqno":3},{"port_id":8,"seqno":3}]}})")),
            0);
  EXPECT_EQ(resp_code(post("acl_binding", R"({"acl_binding":{"aclname":"web","type":1,"direction":1,)"
                                          R"("ports":[{"port_id":7,"seqno":3}]}})")),
            -1);
}

TEST_F(AclTest, VlanBindingsAreListedAndDeleted) {
  ASSERT_EQ(harness().sim().set("vlans", R"({"key":[20],"record":{"name":"v20","type":2}})"), OPEN_E_NONE);
  ASSERT_EQ(create(R"({"type":1,"name":"web"},{"type":2,"name":"v6"})").body, kSuccess);
  HttpResponse r = post("acl_vlan_binding", R"({"acl_vlan_binding":[{"vlan":20,"aclname":"web","type":1,"seqno":10},)"
                                            R"({"vlan":1,"aclname":"v6","type":2,"seqno":1},)"
                                            R"({"vlan":20,"aclname":"v6","type":2,"seqno":10},)"
                                            R"({"vlan":30,"aclname":"v6","type":2,"seqno":2}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":1226,"errMsgArgs":{"vlan_id":30}}})");
  EXPECT_EQ(member(get("acl_vlan_binding"), {"acl_vlan_binding"}),
            R"([{"vlan":1,"direction":0,"aclname":"v6","type":2,"seqno":1},)"
            R"({"vlan":20,"direction":0,"aclname":"web","type":1,"seqno":10}])");
  r = post("acl_vlan_binding", R"({"acl_vlan_binding":[{"vlan":1,"aclname":"nope","type":1,"seqno":4}]})");
  EXPECT_EQ(err_code(r), 1226);

  ASSERT_EQ(
      del("acl_vlan_binding", R"({"acl_vlan_binding":[{"vlan":20,"aclname":"web","direction":0,"type":1}]})").body,
      kSuccess);
  EXPECT_EQ(list_length(get("acl_vlan_binding"), "acl_vlan_binding"), 1u);
  EXPECT_EQ(
      err_code(del("acl_vlan_binding", R"({"acl_vlan_binding":[{"vlan":20,"aclname":"web","direction":0,"type":1}]})")),
      1226);
}

}  // namespace
