// Storm control over HTTP against the simulated switch: each storm type
// ("mode") is a setting of its own, the threshold's range is the
// platform's, and a port's action is set by the call of its type.
#include <gtest/gtest.h>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::json_at;
using veltrum::test::json_int_at;

class StormControlTest : public veltrum::test::ResourceSuite {};

TEST_F(StormControlTest, EachStormTypeKeepsItsOwnSettings) {
  ASSERT_EQ(post("stormcontrol_global_cfg",
                 R"({"stormcontrol_global_cfg":{"mode":1,"glbState":1,"glbThreshold":30,"act":2}})").body, kSuccess);
  EXPECT_EQ(get("stormcontrol_global_cfg?mode=1").body,
            R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
            R"("stormcontrol_global_cfg":{"mode":1,"glbState":1,"glbThreshold":30,"act":2}})");
  EXPECT_EQ(get("stormcontrol_global_cfg?mode=0").body,
            R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},)"
            R"("stormcontrol_global_cfg":{"mode":0,"glbState":0,"glbThreshold":5,"act":0}})");

  // The type is required and checked; a GET without it touches nothing.
  harness().sim().reset_counts();
  EXPECT_EQ(get("stormcontrol_global_cfg").body, R"({"resp":{"status":"failure","respCode":-1}})");
  EXPECT_EQ(resp_code(get("stormcontrol_global_cfg?mode=3")), -1);
  EXPECT_EQ(resp_code(get("stormcontrol_intf_cfg")), -1);
  EXPECT_TRUE(calls("StormControl").empty());
  // A type the switch does not have is refused before any call.
  HttpResponse r = post("stormcontrol_global_cfg",
                        R"({"stormcontrol_global_cfg":{"mode":3,"glbState":1,"glbThreshold":30,"act":2}})");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_TRUE(calls("Set").empty());
}

TEST_F(StormControlTest, APortsActionIsSetByTheCallOfItsType) {
  HttpResponse r = post("stormcontrol_intf_cfg", R"({"stormcontrol_intf_cfg":[)"
                                                 R"({"port":3,"mode":1,"state":1,"threshold":40,"act":1},)"
                                                 R"({"port":34,"mode":2,"state":1,"threshold":10,"act":2}]})");
  ASSERT_EQ(r.body, kSuccess);
  EXPECT_EQ(calls("ActionIntfSet"), (std::vector<std::string>{"rpcclt_openapiSwDevCtrlMcastStormControlActionIntfSet",
                                                              "rpcclt_openapiSwDevCtrlUcastStormControlActionIntfSet"}));
  JsonPtr mcast = get("stormcontrol_intf_cfg?mode=1").json();
  EXPECT_EQ(json_text(json_object_array_get_idx(json_at(mcast.get(), {"stormcontrol_intf_cfg"}), 2)),
            R"({"port":3,"state":1,"threshold":40,"act":1})");
  JsonPtr ucast = get("stormcontrol_intf_cfg?mode=2").json();
  json_object *lag = json_object_array_get_idx(json_at(ucast.get(), {"stormcontrol_intf_cfg"}), 29);
  EXPECT_EQ(json_text(lag), R"({"port":34,"state":1,"threshold":10,"act":2})");
  JsonPtr bcast = get("stormcontrol_intf_cfg?mode=0").json();
  EXPECT_EQ(json_int_at(json_object_array_get_idx(json_at(bcast.get(), {"stormcontrol_intf_cfg"}), 2), {"state"}), 0);
}

TEST_F(StormControlTest, TheThresholdRangeIsThePlatforms) {
  HttpResponse r = post("stormcontrol_intf_cfg",
                        R"({"stormcontrol_intf_cfg":[{"port":3,"mode":0,"state":1,"threshold":101,"act":0}]})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":9,)"
                    R"("errMsgArgs":{"value":101,"params":"Threshold","min":0,"max":100}}})");
  EXPECT_EQ(calls("ThresholdMinMaxGet").size(), 1u);
  EXPECT_TRUE(harness().agent_log().find("Invalid Threshold value. The allowable range is 0 - 100") != std::string::npos);

  // When the range cannot be read, the value is not applied.
  harness().sim().fail("rpcclt_openapiStormControlThresholdMinMaxGet", 1, OPEN_E_FAIL);
  r = post("stormcontrol_intf_cfg", R"({"stormcontrol_intf_cfg":[{"port":3,"mode":0,"state":1,"threshold":50,"act":0}]})");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_TRUE(calls("IntfThresholdSet").empty());
}

}  // namespace
