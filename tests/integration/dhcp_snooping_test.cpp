// DHCP snooping and the L2 relay over HTTP against the simulated switch:
// the VLANs snooping is on for, static bindings beside learned ones and
// their leases, the counters of each interface, the persistent database's
// place, and what the relay adds per VLAN. Ranges, round trips and faults
// of the settings are the conformance test's.
#include <gtest/gtest.h>

#include <string>

#include <ctime>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::range_refusal;
using veltrum::test::RangeCase;
using veltrum::test::json_at;
using veltrum::test::json_int_at;
using veltrum::test::json_string_at;

class DhcpSnoopingTest : public veltrum::test::ResourceSuite {
 protected:
  static int64_t monotonic_seconds() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec;
  }
  void vlan(int id) {
    ASSERT_EQ(harness().sim().set("vlans", R"({"key":[)" + std::to_string(id) + R"(],"record":{"name":"v","type":2}})"),
              OPEN_E_NONE);
  }
  void learned(const std::string &mac, const std::string &ip, int port, int lease_left) {
    ASSERT_EQ(harness().sim().set("dhcpsnp_dynamic", R"({"key":[")" + mac + R"("],"record":{"vlan":1,"ip":")" + ip +
                                                         R"(","port":)" + std::to_string(port) + R"(,"expires":)" +
                                                         std::to_string(monotonic_seconds() + lease_left) + "}}"),
              OPEN_E_NONE);
  }
  std::string persistent(const std::string &type_ip_name) {
    return post("dhcpsnp_persistent_cfg", R"({"dhcpsnp_persistent_cfg":{)" + type_ip_name + R"(,"writeDelay":600}})")
        .body;
  }
};

TEST_F(DhcpSnoopingTest, SnoopingIsOnForTheVlansPostedAndOnlyThose) {
  for (int id : {2, 3, 5}) vlan(id);
  ASSERT_EQ(post("dhcpsnp_vlan", R"({"dhcpsnp_vlan":{"dhcp_vlan_list":[{"vlan":2,"state":1},{"vlan":3,"state":1},)"
                                 R"({"vlan":5,"state":1}]}})")
                .body,
            kSuccess);
  ASSERT_EQ(post("dhcpsnp_vlan", R"({"dhcpsnp_vlan":{"dhcp_vlan_list":[{"vlan":3,"state":0}]}})").body, kSuccess);
  EXPECT_EQ(json_text(json_at(get("dhcpsnp_vlan").json().get(), {"dhcpsnp_vlan", "dhcp_vlan_list"})),
            R"([{"vlan":1,"state":0},{"vlan":2,"state":1},{"vlan":3,"state":0},{"vlan":5,"state":1}])");
  // A VLAN the switch does not have is refused before any call.
  HttpResponse r = post("dhcpsnp_vlan", R"({"dhcpsnp_vlan":{"dhcp_vlan_list":[{"vlan":4,"state":1}]}})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":412,"errMsgArgs":{"vlan_id":4}}})");
}

TEST_F(DhcpSnoopingTest, StaticBindingsStandBesideLearnedOnesAndReplaceThem) {
  learned("00:AA:00:00:00:01", "10.0.0.11", 3, 600);
  learned("00:AA:00:00:00:02", "10.0.0.12", 4, 100);
  learned("00:AA:00:00:00:03", "10.0.0.13", 5, -1);  // its lease ran out
  HttpResponse r = get("dhcpsnpg_binding_dynamic");
  JsonPtr doc = r.json();
  json_object *bindings = json_at(doc.get(), {"dhcpsnpg_binding_dynamic"});
  ASSERT_EQ(json_object_array_length(bindings), 2u) << r.body;
  json_object *first = json_object_array_get_idx(bindings, 0);
  int64_t lease = json_int_at(first, {"leaseTime"});
  EXPECT_TRUE(lease == 600 || lease == 599) << lease;
  json_object_object_del(first, "leaseTime");
  EXPECT_EQ(json_text(first), R"({"mac":"00:AA:00:00:00:01","vlan":1,"ip":"10.0.0.11","port":3})");

  // A static binding of a learned address replaces what was learned.
  ASSERT_EQ(post("dhcpsnpg_binding_static", R"({"dhcpsnpg_binding_static":[)"
                                            R"({"mac":"00:aa:00:00:00:01","vlan":1,"ip":"10.0.0.21","port":7}]})")
                .body,
            kSuccess);
  EXPECT_EQ(list_length(get("dhcpsnpg_binding_dynamic"), "dhcpsnpg_binding_dynamic"), 1u);
  EXPECT_EQ(json_text(json_at(get("dhcpsnpg_binding_static").json().get(), {"dhcpsnpg_binding_static"})),
            R"([{"mac":"00:AA:00:00:00:01","vlan":1,"ip":"10.0.0.21","port":7}])");

  // What the agent checks, and what the switch refuses: a group address,
  // an address that is not a client's.
  r = post("dhcpsnpg_binding_static", R"({"dhcpsnpg_binding_static":[{"mac":"00:AA:00:00:00:0G","vlan":1,)"
                                      R"("ip":"10.0.0.22","port":7}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":16,)"
                    R"("errMsgArgs":{"params":"MAC Address","value":"00:AA:00:00:00:0G"}}})");
  r = post("dhcpsnpg_binding_static", R"({"dhcpsnpg_binding_static":[{"mac":"00:AA:00:00:00:05","vlan":1,)"
                                      R"("ip":"10.0.0.256","port":7}]})");
  EXPECT_EQ(err_code(r), 11);
  r = post("dhcpsnpg_binding_static", R"({"dhcpsnpg_binding_static":[)"
                                      R"({"mac":"01:00:5E:00:00:01","vlan":1,"ip":"10.0.0.22","port":7},)"
                                      R"({"mac":"00:AA:00:00:00:06","vlan":1,"ip":"224.0.0.9","port":7}]})");
  EXPECT_EQ(err_code(r), 1300);
  EXPECT_EQ(list_length(get("dhcpsnpg_binding_static"), "dhcpsnpg_binding_static"), 1u);

  ASSERT_EQ(del("dhcpsnpg_binding_static", R"({"dhcpsnpg_binding_static":[{"mac":"00:AA:00:00:00:01"}]})").body,
            kSuccess);
  r = del("dhcpsnpg_binding_static", R"({"dhcpsnpg_binding_static":[{"mac":"00:AA:00:00:00:01"}]})");
  EXPECT_EQ(err_code(r), 1300);
}

TEST_F(DhcpSnoopingTest, InterfaceCountersShowWhatTheSwitchCounted) {
  ASSERT_EQ(harness().sim().set("dhcpsnp_stats", R"({"key":[2],"record":{"macVerify":4,"mismatch":2,"untrusted":9}})"),
            OPEN_E_NONE);
  ASSERT_EQ(harness().sim().set("l2relay_stats",
                                R"({"key":[33],"record":{"utsrvw82":1,"utclientw82":2,"tsrvwo82":3,"tclientwo82":4}})"),
            OPEN_E_NONE);
  JsonPtr doc = get("dhcp_snpg_stats").json();
  json_object *ports = json_at(doc.get(), {"dhcp_snpg_stats"});
  ASSERT_EQ(json_object_array_length(ports), 36u);  // 28 ports, then 8 LAGs
  EXPECT_EQ(json_text(json_object_array_get_idx(ports, 1)), R"({"port":2,"macVerify":4,"mismatch":2,"untrusted":9})");
  EXPECT_EQ(json_text(json_object_array_get_idx(ports, 2)), R"({"port":3,"macVerify":0,"mismatch":0,"untrusted":0})");
  JsonPtr relay = get("dhcpl2relay_stats").json();
  json_object *lags = json_at(relay.get(), {"dhcpl2relay_stats", "statistics"});
  EXPECT_EQ(json_text(json_object_array_get_idx(lags, 28)),
            R"({"intf":33,"utsrvw82":1,"utclientw82":2,"tsrvwo82":3,"tclientwo82":4})");
}

TEST_F(DhcpSnoopingTest, TheDatabaseIsKeptOnTheSwitchOrOnAServer) {
  EXPECT_EQ(json_text(json_at(get("dhcpsnp_persistent_cfg").json().get(), {"dhcpsnp_persistent_cfg"})),
            R"({"type":0,"ip":"0.0.0.0","name":"dhcpsnooping.db","writeDelay":300})");
  ASSERT_EQ(persistent(R"("type":1,"ip":"192.0.2.7","name":"snoop.db")"), kSuccess);
  EXPECT_EQ(json_text(json_at(get("dhcpsnp_persistent_cfg").json().get(), {"dhcpsnp_persistent_cfg"})),
            R"({"type":1,"ip":"192.0.2.7","name":"snoop.db","writeDelay":600})");
  // Back on the switch: the server is forgotten.
  ASSERT_EQ(persistent(R"("type":0,"ip":"192.0.2.7","name":"snoop.db")"), kSuccess);
  EXPECT_EQ(json_string_at(get("dhcpsnp_persistent_cfg").json().get(), {"dhcpsnp_persistent_cfg", "ip"}), "0.0.0.0");

  // A server needs an address that names one; a name has the platform's
  // length. Nothing after the refusal is set.
  for (const char *bad : {R"("type":1,"ip":"0.0.0.0","name":"a.db")", R"("type":1,"ip":"224.0.0.1","name":"a.db")"})
    EXPECT_NE(persistent(bad), kSuccess) << bad;
  size_t mark = harness().agent_log_size();
  EXPECT_NE(persistent(R"("type":0,"ip":"0.0.0.0","name":")" + std::string(65, 'n') + R"(")"), kSuccess);
  EXPECT_NE(harness().agent_log_since(mark).find("File name length is upto 64 characters only"), std::string::npos);
  EXPECT_EQ(json_string_at(get("dhcpsnp_persistent_cfg").json().get(), {"dhcpsnp_persistent_cfg", "name"}), "snoop.db");
}

TEST_F(DhcpSnoopingTest, TheRelayAddsItsOptionPerVlan) {
  vlan(10);
  const std::string list = R"([{"vlan":1,"state":0,"circuitId":0,"remoteId":""},)"
                           R"({"vlan":10,"state":1,"circuitId":1,"remoteId":"sw-7 rack 3"}])";
  ASSERT_EQ(post("dhcpl2relay_vlan", R"({"dhcpl2relay_vlan":{"dhcp_l2relay_list":)" + list + "}}").body, kSuccess);
  EXPECT_EQ(json_text(json_at(get("dhcpl2relay_vlan").json().get(), {"dhcpl2relay_vlan", "dhcp_l2relay_list"})), list);
  // A remote id beyond the platform's length is its refusal, counted.
  HttpResponse r = post("dhcpl2relay_vlan", R"({"dhcpl2relay_vlan":{"dhcp_l2relay_list":[{"vlan":10,"state":1,)"
                                            R"("circuitId":1,"remoteId":")" +
                                                std::string(129, 'r') + R"("}]}})");
  EXPECT_EQ(err_code(r), 1303);
  EXPECT_EQ(json_text(json_at(get("dhcpl2relay_vlan").json().get(), {"dhcpl2relay_vlan", "dhcp_l2relay_list"})), list);
}

// Each ranged member of the interface settings and of the database, at
// both ends just outside its range, answers errCode 9 with its label and
// bounds and changes nothing.
TEST_F(DhcpSnoopingTest, RangedMembersAnswerTheirLabelAndBounds) {
  const RangeCase intf_cases[] = {
      {"rate", "Rate Limit", 0, 300},
      {"burst", "Burst Interval", 1, 15},
  };
  JsonPtr doc = get("dhcpsnp_intf_cfg").json();
  const std::string port = json_text(json_object_array_get_idx(json_at(doc.get(), {"dhcpsnp_intf_cfg"}), 0));
  for (const RangeCase &c : intf_cases) {
    for (int64_t value : {c.min - 1, c.max + 1}) {
      JsonPtr element(json_tokener_parse(port.c_str()));
      json_object_object_add(element.get(), c.key, json_object_new_int64(value));
      EXPECT_EQ(post("dhcpsnp_intf_cfg", R"({"dhcpsnp_intf_cfg":[)" + json_text(element.get()) + "]}").body,
                range_refusal(value, c.label, c.min, c.max))
          << c.key << " " << value;
    }
  }
  for (int64_t delay : {14, 86401})
    EXPECT_EQ(post("dhcpsnp_persistent_cfg", R"({"dhcpsnp_persistent_cfg":{"type":1,"ip":"192.0.2.7",)"
                                             R"("name":"snoop.db","writeDelay":)" +
                                                 std::to_string(delay) + "}}")
                  .body,
              range_refusal(delay, "Write Delay", 15, 86400));
  doc = get("dhcpsnp_intf_cfg").json();
  EXPECT_EQ(json_text(json_object_array_get_idx(json_at(doc.get(), {"dhcpsnp_intf_cfg"}), 0)), port);
  EXPECT_EQ(json_text(json_at(get("dhcpsnp_persistent_cfg").json().get(), {"dhcpsnp_persistent_cfg"})),
            R"({"type":0,"ip":"0.0.0.0","name":"dhcpsnooping.db","writeDelay":300})");
  EXPECT_EQ(saves(), 0u);
}

}  // namespace
