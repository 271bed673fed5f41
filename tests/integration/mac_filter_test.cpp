// MAC filters over HTTP against the simulated switch: filters name one
// station on a VLAN that exists, their port lists are replaced by what a
// POST lists, and removing a filter removes its ports.
#include <gtest/gtest.h>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;

class MacFilterTest : public veltrum::test::ResourceSuite {
 protected:
  HttpResponse ports(const std::string &src, const std::string &dst) {
    return post("macfilter_portsetting", R"({"macfilter_portsetting":[{"macAddr":"00:11:22:33:44:55","vlan":1,)"
                                         R"("srcPorts":)" + src + R"(,"dstPorts":)" + dst + "}]}");
  }
};

TEST_F(MacFilterTest, FiltersNameOneStationOnAVlanThatExists) {
  HttpResponse r = post("macfilter_config", R"({"macfilter_config":[)"
                                            R"({"macAddr":"00:11:22:33:44:55","vlan":1},)"
                                            R"({"macAddr":"01:00:5E:00:00:01","vlan":1},)"
                                            R"({"macAddr":"00:11:22:33:44:55","vlan":7}]})");
  EXPECT_EQ(err_code(r), 1320);  // a group address, an absent VLAN
  EXPECT_EQ(saves(), 0u);
  r = get("macfilter_config");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"macfilter_config":[)"
                    R"({"macAddr":"00:11:22:33:44:55","vlan":1,"srcPorts":[],"dstPorts":[],"drcPorts":[]}]})");

  // The same filter twice is refused by the switch; the MAC check is the agent's.
  r = post("macfilter_config", R"({"macfilter_config":[{"macAddr":"00:11:22:33:44:55","vlan":1}]})");
  EXPECT_EQ(err_code(r), 1320);
  r = post("macfilter_config", R"({"macfilter_config":[{"macAddr":"00:11:22:33:44","vlan":1}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":16,)"
                    R"("errMsgArgs":{"params":"MAC Address","value":"00:11:22:33:44"}}})");
}

TEST_F(MacFilterTest, PortListsAreReplacedByWhatThePostLists) {
  ASSERT_EQ(post("macfilter_config", R"({"macfilter_config":[{"macAddr":"00:11:22:33:44:55","vlan":1}]})").body, kSuccess);
  ASSERT_EQ(ports(R"([{"port":1},{"port":2},{"port":33}])", R"([{"port":4}])").body, kSuccess);
  HttpResponse r = get("macfilter_portsetting?macAddr=00:11:22:33:44:55&vlan=1");
  EXPECT_EQ(r.body, R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"macfilter_portsetting":)"
                    R"({"macAddr":"00:11:22:33:44:55","vlan":1,"srcPorts":[{"port":1},{"port":2},{"port":33}],)"
                    R"("dstPorts":[{"port":4}]}})");

  harness().sim().reset_counts();
  ASSERT_EQ(ports(R"([{"port":2}])", "[]").body, kSuccess);
  EXPECT_EQ(calls("IntfAdd").size(), 0u);
  EXPECT_EQ(calls("IntfDelete").size(), 3u);  // ports 1 and 33, and destination 4
  r = get("macfilter_portsetting?macAddr=00:11:22:33:44:55&vlan=1");
  EXPECT_NE(r.body.find(R"("srcPorts":[{"port":2}],"dstPorts":[])"), std::string::npos) << r.body;

  // A port that does not exist changes nothing of that filter.
  r = ports(R"([{"port":2},{"port":30}])", "[]");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":247,"errMsgArgs":{"port_id":30}}})");

  // Removing the filter removes its ports.
  ASSERT_EQ(del("macfilter_config", R"({"macfilter_config":[{"macAddr":"00:11:22:33:44:55","vlan":1}]})").body, kSuccess);
  EXPECT_EQ(harness().sim().get("mac_filter_ports"), "[]");
  EXPECT_EQ(resp_code(get("macfilter_portsetting?macAddr=00:11:22:33:44:55&vlan=1")), -1);
  EXPECT_EQ(resp_code(ports("[]", "[]")), -1);  // no such filter any more
}

TEST_F(MacFilterTest, AFullTableRefusesFurtherFilters) {
  for (int i = 0; i < 100; ++i) {
    char mac[18];
    std::snprintf(mac, sizeof mac, "00:11:22:33:%02X:%02X", i / 256, i % 256);
    ASSERT_EQ(harness().sim().set("mac_filters", std::string(R"({"key":[")") + mac + R"(",1],"record":{}})"), OPEN_E_NONE);
  }
  HttpResponse r = post("macfilter_config", R"({"macfilter_config":[{"macAddr":"00:11:22:33:FF:FF","vlan":1}]})");
  EXPECT_EQ(err_code(r), 1320);
  EXPECT_EQ(list_length(get("macfilter_config"), "macfilter_config"), 100u);
}

}  // namespace
