// Port security over HTTP against the simulated switch: what a port
// learned, moving it to static entries as the switch allows, the limits
// the switch enforces, and the last violation of each port. Ranges, round
// trips and faults of the settings are the conformance test's.
#include <gtest/gtest.h>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::json_at;
using veltrum::test::json_int_at;
using veltrum::test::json_string_at;

class PortSecurityTest : public veltrum::test::ResourceSuite {
 protected:
  void learn(int port, const char *mac, int vlan) {
    std::string row = R"({"key":[)" + std::to_string(port) + R"(,")" + mac + R"(",)" + std::to_string(vlan) +
                      R"(],"record":{}})";
    ASSERT_EQ(harness().sim().set("pml_dynamic", row), OPEN_E_NONE);
  }
  HttpResponse enable_port(int port, int max_static) {
    return post("port_security_intf", R"({"port_security_intf":[{"port":)" + std::to_string(port) +
                                          R"(,"admin":1,"maxLearn":100,"maxStatic":)" + std::to_string(max_static) +
                                          R"(,"shutdown":0,"trap":1}]})");
  }
};

TEST_F(PortSecurityTest, LearnedAddressesAreListedPerPort) {
  learn(3, "00:11:22:33:44:55", 1);
  learn(3, "00:11:22:33:44:66", 2);
  learn(4, "00:AA:BB:CC:DD:EE", 1);
  HttpResponse r = get("port_security_dynamicmac?port=3");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
                    R"("port_security_dynamicmac":[{"mac":"00:11:22:33:44:55","vlan":1,"port":3},)"
                    R"({"mac":"00:11:22:33:44:66","vlan":2,"port":3}]})");
  EXPECT_EQ(json_int_at(get("port_security_settings?port=3").json().get(), {"port_security_settings", "macNum"}), 2);

  // The port is required and must exist; neither failure touches the error record.
  EXPECT_EQ(get("port_security_dynamicmac").body, R"({"resp":{"status":"failure","respCode":-1}})");
  EXPECT_EQ(resp_code(get("port_security_dynamicmac?port=99")), -1);
  EXPECT_EQ(resp_code(get("port_security_settings?port=abc")), -1);
}

TEST_F(PortSecurityTest, LearnedAddressesMoveToStaticWithinTheLimit) {
  learn(5, "00:11:22:33:44:01", 1);
  learn(5, "00:11:22:33:44:02", 1);
  // Port security off on the port: the switch refuses.
  HttpResponse r = post("port_security_settings", R"({"port_security_settings":[{"port":5}]})");
  EXPECT_EQ(err_code(r), 1241);
  EXPECT_EQ(saves(), 0u);

  // A static limit of one cannot hold two addresses: nothing moves.
  ASSERT_EQ(enable_port(5, 1).body, kSuccess);
  r = post("port_security_settings", R"({"port_security_settings":[{"port":5}]})");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(harness().sim().get("pml_static"), "[]");

  ASSERT_EQ(enable_port(5, 2).body, kSuccess);
  harness().sim().reset_counts();
  r = post("port_security_settings", R"({"port_security_settings":[{"port":5}]})");
  EXPECT_EQ(r.body, kSuccess);
  EXPECT_EQ(saves(), 1u);
  EXPECT_EQ(harness().sim().get("pml_static"),
            R"([{"key":[5,"00:11:22:33:44:01",1],"record":{}},{"key":[5,"00:11:22:33:44:02",1],"record":{}}])");
  EXPECT_EQ(json_int_at(get("port_security_settings?port=5").json().get(), {"port_security_settings", "macNum"}), 0);

  // The kept addresses hold the static limit up: it cannot fall below them.
  r = enable_port(5, 1);
  EXPECT_EQ(err_code(r), 1240);
  JsonPtr list = get("port_security_intf").json();
  EXPECT_EQ(json_int_at(json_object_array_get_idx(json_at(list.get(), {"port_security_intf"}), 4), {"maxStatic"}), 2);
}

TEST_F(PortSecurityTest, LimitsBeyondThePlatformsAreCountedFailures) {
  HttpResponse r = post("port_security_intf", R"({"port_security_intf":[)"
                                              R"({"port":1,"admin":1,"maxLearn":4097,"maxStatic":1,"shutdown":0,"trap":0},)"
                                              R"({"port":2,"admin":1,"maxLearn":10,"maxStatic":21,"shutdown":0,"trap":0}]})");
  EXPECT_EQ(err_code(r), 1240);
  EXPECT_EQ(saves(), 0u);
  // Port 1's mode was set before its limit was refused; nothing is rolled back.
  JsonPtr list = get("port_security_intf").json();
  json_object *ports = json_at(list.get(), {"port_security_intf"});
  EXPECT_EQ(json_int_at(json_object_array_get_idx(ports, 0), {"admin"}), 1);
  EXPECT_EQ(json_int_at(json_object_array_get_idx(ports, 0), {"maxLearn"}), 4096);
  EXPECT_EQ(json_int_at(json_object_array_get_idx(ports, 1), {"maxStatic"}), 20);
}

TEST_F(PortSecurityTest, ViolationsAreListedForEveryPort) {
  ASSERT_EQ(harness().sim().set("pml_violations", R"({"key":[2],"record":{"mac":"00:DE:AD:BE:EF:00","vlan":7}})"),
            OPEN_E_NONE);
  JsonPtr doc = get("port_security_violations").json();
  json_object *ports = json_at(doc.get(), {"port_security_violations"});
  ASSERT_EQ(json_object_array_length(ports), 36u);  // 28 ports, then 8 LAGs
  EXPECT_EQ(json_text(json_object_array_get_idx(ports, 0)), R"({"port":1,"mac":"","vlan":0})");
  EXPECT_EQ(json_text(json_object_array_get_idx(ports, 1)), R"({"port":2,"mac":"00:DE:AD:BE:EF:00","vlan":7})");

  harness().sim().fail_after("rpcclt_openapiPmlIntfLastViolationAddrGet", 3, 1, OPEN_E_FAIL);
  HttpResponse r = get("port_security_violations");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(list_length(r, "port_security_violations"), 3u);  // the partial list goes out
}

}  // namespace
