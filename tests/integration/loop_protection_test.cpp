// Loop protection over HTTP against the simulated switch: what each port
// saw, and clearing its counters.
#include <gtest/gtest.h>

#include <ctime>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::json_at;

class LoopProtectionTest : public veltrum::test::ResourceSuite {
 protected:
  static int64_t monotonic_seconds() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec;
  }
  void saw_loop(int port, int count, int seconds_ago, bool disabled) {
    std::string row = R"({"key":[)" + std::to_string(port) + R"(],"record":{"detected":1,"disabled":)" +
                      (disabled ? "1" : "0") + R"(,"count":)" + std::to_string(count) + R"(,"last":)" +
                      std::to_string(monotonic_seconds() - seconds_ago) + "}}";
    ASSERT_EQ(harness().sim().set("loop_state", row), OPEN_E_NONE);
  }
  // One port's element; "lastTime" grows by the second, so it is checked
  // apart (within a second of `last_time`) and left out of the text.
  std::string port(int index, int64_t last_time = 0) {
    JsonPtr doc = get("loop_protection_cfg").json();
    json_object *el = json_object_array_get_idx(json_at(doc.get(), {"loop_protection_cfg"}), index);
    int64_t seen = veltrum::test::json_int_at(el, {"lastTime"});
    EXPECT_TRUE(seen == last_time || seen == last_time + 1) << "lastTime " << seen;
    json_object_object_del(el, "lastTime");
    return json_text(el);
  }
};

TEST_F(LoopProtectionTest, EachPortListsWhatItSaw) {
  ASSERT_EQ(post("loop_protection_cfg", R"({"loop_protection_cfg":[{"port":2,"keepalive":1,"rxaction":2}]})").body,
            kSuccess);
  saw_loop(2, 3, 40, true);
  EXPECT_EQ(port(1, 40), R"({"port":2,"state":1,"loop":1,"loopCnt":3,"status":1,"rxaction":2})");
  EXPECT_EQ(port(0), R"({"port":1,"state":0,"loop":0,"loopCnt":0,"status":0,"rxaction":0})");
}

TEST_F(LoopProtectionTest, ClearingForgetsTheCountsOfOneOrEveryPort) {
  saw_loop(2, 3, 40, true);
  saw_loop(5, 1, 10, false);
  ASSERT_EQ(post("loop_protection_clear", R"({"loop_protection_clear":{"port":5}})").body, kSuccess);
  EXPECT_EQ(calls("StatsClear"), std::vector<std::string>{"rpcclt_openapiLoopProtectPortStatsClear"});
  EXPECT_EQ(port(4), R"({"port":5,"state":0,"loop":1,"loopCnt":0,"status":0,"rxaction":0})");
  EXPECT_EQ(port(1, 40), R"({"port":2,"state":0,"loop":1,"loopCnt":3,"status":1,"rxaction":0})");

  ASSERT_EQ(post("loop_protection_clear", R"({"loop_protection_clear":{"port":0}})").body, kSuccess);
  EXPECT_EQ(calls("AllStatsClear").size(), 1u);
  // The port stays disabled: clearing forgets counts only.
  EXPECT_EQ(port(1), R"({"port":2,"state":0,"loop":1,"loopCnt":0,"status":1,"rxaction":0})");

  HttpResponse r = post("loop_protection_clear", R"({"loop_protection_clear":{"port":29}})");
  EXPECT_EQ(r.body, R"({"resp":{"status":"failure","respCode":-1,"errCode":247,"errMsgArgs":{"port_id":29}}})");
}

}  // namespace
