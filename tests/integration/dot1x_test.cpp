// 802.1X over HTTP against the simulated switch: what a port's status and
// state follow from, the clients it sees, what ends their sessions, the
// VLANs a port may name, the EAPOL counters and their clear, and the
// authentication list. Ranges, round trips and faults of the settings are
// the conformance test's.
#include <gtest/gtest.h>

#include <string>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::range_refusal;
using veltrum::test::RangeCase;
using veltrum::test::json_at;
using veltrum::test::json_int_at;

class Dot1xTest : public veltrum::test::ResourceSuite {
 protected:
  void client(int port, int slot, const std::string &record) {
    ASSERT_EQ(harness().sim().set("authmgr_clients", R"({"key":[)" + std::to_string(port) + "," + std::to_string(slot) +
                                                         R"(],"record":)" + record + "}"),
              OPEN_E_NONE);
  }
  void authentication(int state) {
    ASSERT_EQ(post("dot1x_global_cfg", R"({"dot1x_global_cfg":{"state":)" + std::to_string(state) +
                                           R"(,"assignMode":0,"createMode":0,"floodMode":0}})")
                  .body,
              kSuccess);
  }
  // One port of a per-port list, as text.
  std::string port_of(const std::string &resource, const char *wrapper, int index) {
    JsonPtr doc = get(resource).json();
    json_object *list = json_at(doc.get(), {resource.c_str()});
    if (wrapper) list = json_at(list, {wrapper});
    return json_text(json_object_array_get_idx(list, index));
  }
};

TEST_F(Dot1xTest, PortStatusFollowsTheAuthenticationManagerControlModeAndClients) {
  client(3, 0, R"({"mac":"00:11:22:33:44:55","user":"alice","status":1})");
  client(4, 0, R"({"mac":"00:11:22:33:44:66","user":"bob","status":2})");
  // Disabled: every port operates force-authorized, whatever it holds.
  EXPECT_EQ(port_of("dot1x_port_summary", "ports", 3), R"({"port":4,"ctrl":2,"operCtrl":3,"reauth":0,"status":1})");

  authentication(1);
  EXPECT_EQ(calls("ModeSet"),
            (std::vector<std::string>{"rpcclt_openapiDot1xSystemAuthControlModeSet",
                                      "rpcclt_openapiAuthMgrAdminModeSet", "rpcclt_openapiAuthMgrVlanAssignmentModeSet",
                                      "rpcclt_openapiAuthMgrDynamicVlanCreationModeSet",
                                      "rpcclt_openapiDot1xEapolFloodModeSet"}));
  JsonPtr doc = get("dot1x_port_summary").json();
  json_object *ports = json_at(doc.get(), {"dot1x_port_summary", "ports"});
  ASSERT_EQ(json_object_array_length(ports), 28u);  // physical ports only
  EXPECT_EQ(json_text(json_object_array_get_idx(ports, 2)),
            R"({"port":3,"ctrl":2,"operCtrl":2,"reauth":0,"status":1})");
  EXPECT_EQ(json_text(json_object_array_get_idx(ports, 3)),
            R"({"port":4,"ctrl":2,"operCtrl":2,"reauth":0,"status":2})");
  // The authenticator's state: authenticated, held after a failure, or
  // waiting for a client.
  JsonPtr cfg = get("port_authentication_cfg").json();
  json_object *cfg_ports = json_at(cfg.get(), {"port_authentication_cfg"});
  EXPECT_EQ(json_int_at(json_object_array_get_idx(cfg_ports, 2), {"paeState"}), 5);
  EXPECT_EQ(json_int_at(json_object_array_get_idx(cfg_ports, 3), {"paeState"}), 7);
  EXPECT_EQ(json_int_at(json_object_array_get_idx(cfg_ports, 4), {"paeState"}), 3);

  // Disabling it again ends every session.
  authentication(0);
  EXPECT_EQ(harness().sim().get("authmgr_clients"), "[]");
}

TEST_F(Dot1xTest, ClientsAreListedPortByPort) {
  client(5, 0,
         R"({"mac":"00:AA:00:00:00:05","user":"eve","status":1,"filter":"web","vlan":20,"timeout":3600,"action":2})");
  client(2, 1, R"({"mac":"00:AA:00:00:00:02","user":"carol","status":1})");
  client(2, 0, R"({"mac":"00:AA:00:00:00:01","user":"dave","status":2})");
  HttpResponse r = get("dot1x_client_summary");
  EXPECT_EQ(
      r.body,
      R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"dot1x_client_summary":[)"
      R"({"port":2,"user":"dave","filter":"","assign":0,"timeout":0,"mac":"00:AA:00:00:00:01","status":2,"termAction":1},)"
      R"({"port":2,"user":"carol","filter":"","assign":0,"timeout":0,"mac":"00:AA:00:00:00:02","status":1,"termAction":1},)"
      R"({"port":5,"user":"eve","filter":"web","assign":20,"timeout":3600,"mac":"00:AA:00:00:00:05","status":1,"termAction":2}]})");

  // A walk that cannot go on fails, with the clients listed so far.
  harness().sim().fail("rpcclt_openapiAuthMgrLogicalPortNextGet", 1, OPEN_E_RPC);
  r = get("dot1x_client_summary");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(list_length(r, "dot1x_client_summary"), 1u);
}

TEST_F(Dot1xTest, InitialisingOrChangingAPortsControlModeEndsItsSessions) {
  client(3, 0, R"({"mac":"00:11:22:33:44:55","status":1})");
  client(4, 0, R"({"mac":"00:11:22:33:44:66","status":1})");
  // "auth" 0 initialises nothing.
  ASSERT_EQ(post("port_auth_initialise_cfg", R"({"port_auth_initialise_cfg":[{"port":3,"auth":0}]})").body, kSuccess);
  EXPECT_NE(harness().sim().get("authmgr_clients"), "[]");
  ASSERT_EQ(post("port_auth_initialise_cfg", R"({"port_auth_initialise_cfg":[{"port":3,"auth":1}]})").body, kSuccess);
  EXPECT_EQ(harness().sim().get("authmgr_clients"),
            R"([{"key":[4,0],"record":{"mac":"00:11:22:33:44:66","status":1}}])");

  // A port whose control mode is forced authenticates nobody: the switch
  // refuses to initialise it (one counted failure, the family's code).
  JsonPtr doc = get("port_authentication_cfg").json();
  json_object *port4 = json_object_array_get_idx(json_at(doc.get(), {"port_authentication_cfg"}), 3);
  json_object_object_add(port4, "ctrl", json_object_new_int(3));  // force-authorized
  ASSERT_EQ(post("port_authentication_cfg", R"({"port_authentication_cfg":[)" + json_text(port4) + "]}").body,
            kSuccess);
  EXPECT_EQ(harness().sim().get("authmgr_clients"), "[]");
  HttpResponse r = post("port_auth_initialise_cfg", R"({"port_auth_initialise_cfg":[{"port":4,"auth":1}]})");
  EXPECT_EQ(err_code(r), 1261);

  // Authentication is for physical ports: a LAG is no port here.
  r = post("port_auth_initialise_cfg", R"({"port_auth_initialise_cfg":[{"port":33,"auth":1}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":247,"errMsgArgs":{"port_id":33}}})");
}

TEST_F(Dot1xTest, GuestAndUnauthenticatedVlansAreNoneOrVlansThatExist) {
  ASSERT_EQ(harness().sim().set("vlans", R"({"key":[20],"record":{"name":"guests","type":2}})"), OPEN_E_NONE);
  JsonPtr doc = get("port_authentication_cfg").json();
  json_object *port1 = json_object_array_get_idx(json_at(doc.get(), {"port_authentication_cfg"}), 0);
  for (const char *key : {"paeState", "paeCapability", "protocolVersion", "ctrlDirection"})
    json_object_object_del(port1, key);
  auto post_vlans = [&](int guest, int unauth) {
    json_object_object_add(port1, "guestVid", json_object_new_int(guest));
    json_object_object_add(port1, "unauthVid", json_object_new_int(unauth));
    return post("port_authentication_cfg", R"({"port_authentication_cfg":[)" + json_text(port1) + "]}");
  };
  ASSERT_EQ(post_vlans(20, 0).body, kSuccess);
  HttpResponse r = post_vlans(21, 0);
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":412,"errMsgArgs":{"vlan_id":21}}})");
  r = post_vlans(0, 4094);
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":412,"errMsgArgs":{"vlan_id":4094}}})");
  JsonPtr after = get("port_authentication_cfg").json();
  json_object *listed = json_object_array_get_idx(json_at(after.get(), {"port_authentication_cfg"}), 0);
  EXPECT_EQ(json_int_at(listed, {"guestVid"}), 20);
  EXPECT_EQ(json_int_at(listed, {"unauthVid"}), 0);
  // The platform's own range of a key the agent does not bound.
  json_object_object_add(port1, "maxReauthReq", json_object_new_int(21));
  r = post_vlans(20, 20);
  EXPECT_EQ(err_code(r), 1260);
}

TEST_F(Dot1xTest, EapolCountersShowWhatThePortSawUntilCleared) {
  ASSERT_EQ(harness().sim().set("dot1x_eapol_stats",
                                R"({"key":[1],"record":{"frameRx":12,"frameTx":9,"startFrameRx":2,"logoffFrameRx":1,)"
                                R"("lastFrameVer":2,"lastFrameSrc":"00:11:22:33:44:55","invalidFrameRx":3,)"
                                R"("lenErrFrameRx":4,"responseIdFrameRx":5,"responseFrameRx":6,"requestIdFrameTx":7,)"
                                R"("requestFrameTx":8}})"),
            OPEN_E_NONE);
  ASSERT_EQ(harness().sim().set("dot1x_eapol_stats", R"({"key":[2],"record":{"frameRx":40}})"), OPEN_E_NONE);
  EXPECT_EQ(port_of("dot1x_eapol_stats", nullptr, 0),
            R"({"port":1,"frameRx":12,"frameTx":9,"startFrameRx":2,"logoffFrameRx":1,"lastFrameVer":2,)"
            R"("lastFrameSrc":"00:11:22:33:44:55","invalidFrameRx":3,"lenErrFrameRx":4,"responseIdFrameRx":5,)"
            R"("responseFrameRx":6,"requestIdFrameTx":7,"requestFrameTx":8})");

  ASSERT_EQ(post("dot1x_eapol_stats", R"({"dot1x_eapol_stats":[{"port":1}]})").body, kSuccess);
  EXPECT_EQ(calls("StatsClear"), std::vector<std::string>{"rpcclt_openapiDot1xPortStatsClear"});
  EXPECT_EQ(port_of("dot1x_eapol_stats", nullptr, 0),
            R"({"port":1,"frameRx":0,"frameTx":0,"startFrameRx":0,"logoffFrameRx":0,"lastFrameVer":0,)"
            R"("lastFrameSrc":"00:00:00:00:00:00","invalidFrameRx":0,"lenErrFrameRx":0,"responseIdFrameRx":0,)"
            R"("responseFrameRx":0,"requestIdFrameTx":0,"requestFrameTx":0})");
  JsonPtr doc = get("dot1x_eapol_stats").json();
  EXPECT_EQ(json_int_at(json_object_array_get_idx(json_at(doc.get(), {"dot1x_eapol_stats"}), 1), {"frameRx"}), 40);
}

TEST_F(Dot1xTest, TheAuthenticationListKeepsItsMethod) {
  EXPECT_EQ(get("dot1x_auth_list").body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                                         R"("dot1x_auth_list":{"Dot1xListName":"dot1xList","method_0":1}})");
  ASSERT_EQ(post("dot1x_auth_list", R"({"dot1x_auth_list":{"Dot1xListName":"dot1xList","method_0":3}})").body,
            kSuccess);
  EXPECT_EQ(json_int_at(get("dot1x_auth_list").json().get(), {"dot1x_auth_list", "method_0"}), 3);
  // TACACS+ (2) and "no method" (0) are no 802.1X methods: refused before
  // any call.
  for (int method : {2, 0}) {
    HttpResponse r = post("dot1x_auth_list", R"({"dot1x_auth_list":{"Dot1xListName":"dot1xList","method_0":)" +
                                                 std::to_string(method) + "}}");
    EXPECT_EQ(resp_code(r), -1);
  }
  EXPECT_TRUE(calls("AuthenticationMethodSet").size() == 1u);
}

// Each ranged member of a port's authentication settings, at both ends just
// outside its range, answers errCode 9 with its label and bounds, and the
// port keeps its settings.
TEST_F(Dot1xTest, RangedPortSettingsAnswerTheirLabelAndBounds) {
  const RangeCase cases[] = {
      {"mabAuthType", "MAB Auth Type", 0, 3},
      {"quietPeriod", "Quiet Period", 0, 65535},
      {"srvTimeout", "Server Timeout", 1, 65535},
      {"suppTimeout", "Supplicant Timeout", 1, 65535},
      {"maxEap", "MAX EAP Requests", 1, 10},
      {"resendEap", "Resending EAP", 1, 65535},
      {"reauthPeriod", "AgReauthentication Periode Time", 1, 65535},
      {"guestPeriod", "Guest VLAN Period", 1, 300},
  };
  const std::string before = port_of("port_authentication_cfg", nullptr, 0);
  for (const RangeCase &c : cases) {
    for (int64_t value : {c.min - 1, c.max + 1}) {
      JsonPtr element(json_tokener_parse(before.c_str()));
      json_object_object_add(element.get(), c.key, json_object_new_int64(value));
      EXPECT_EQ(
          post("port_authentication_cfg", R"({"port_authentication_cfg":[)" + json_text(element.get()) + "]}").body,
          range_refusal(value, c.label, c.min, c.max))
          << c.key << " " << value;
    }
  }
  EXPECT_EQ(port_of("port_authentication_cfg", nullptr, 0), before);
  EXPECT_EQ(saves(), 0u);
}

}  // namespace
