// Denial-of-service protection over HTTP against the simulated switch: the
// automatic mode switches every check with it.
#include <gtest/gtest.h>

#include <string>

#include "tests/integration/harness.h"

namespace {

using veltrum::test::HttpResponse;
using veltrum::test::range_refusal;
using veltrum::test::RangeCase;
using veltrum::test::json_at;

class DosTest : public veltrum::test::ResourceSuite {
 protected:
  // Every check's mode in dos_service_cfg, as "key=value" pairs.
  std::string modes() {
    JsonPtr doc = get("dos_service_cfg").json();
    std::string out;
    json_object_object_foreach(json_at(doc.get(), {"dos_service_cfg"}), key, value) {
      out += std::string(key) + "=" + json_object_get_string(value) + " ";
    }
    return out;
  }
};

TEST_F(DosTest, TheAutomaticModeSwitchesEveryCheck) {
  ASSERT_EQ(post("dos_service_cfg", R"({"dos_service_cfg":{"minTcpHead":8,"icmpv4":0,"icmpv4MaxSize":100,"icmpv6":0,)"
                                    R"("icmpv6MaxSize":200,"firstFrag":0,"icmpFrag":0,"sipEqDip":0,"smacEqDmac":0,)"
                                    R"("tcpFinUrgPsh":0,"tcpSeq":0,"tcpFrag":0,"tcpOffset":0,"tcpPort":0,"tcpSyn":0,)"
                                    R"("tcpSynFin":0,"udpPort":0}})").body, kSuccess);
  harness().sim().reset_counts();
  ASSERT_EQ(post("auto_dos_cfg", R"({"auto_dos_cfg":{"auto":1}})").body, kSuccess);
  EXPECT_EQ(saves(), 1u);
  EXPECT_EQ(modes(), "minTcpHead=20 icmpv4=1 icmpv4MaxSize=512 icmpv6=1 icmpv6MaxSize=512 firstFrag=1 icmpFrag=1 "
                     "sipEqDip=1 smacEqDmac=1 tcpFinUrgPsh=1 tcpSeq=1 tcpFrag=1 tcpOffset=1 tcpPort=1 tcpSyn=1 "
                     "tcpSynFin=1 udpPort=1 ");
  EXPECT_EQ(harness().sim().get("dos.smurf"), R"({"default":0,"value":1})");

  // Off: every check off, the sizes kept.
  ASSERT_EQ(post("auto_dos_cfg", R"({"auto_dos_cfg":{"auto":0}})").body, kSuccess);
  EXPECT_EQ(modes(), "minTcpHead=20 icmpv4=0 icmpv4MaxSize=512 icmpv6=0 icmpv6MaxSize=512 firstFrag=0 icmpFrag=0 "
                     "sipEqDip=0 smacEqDmac=0 tcpFinUrgPsh=0 tcpSeq=0 tcpFrag=0 tcpOffset=0 tcpPort=0 tcpSyn=0 "
                     "tcpSynFin=0 udpPort=0 ");
  EXPECT_EQ(get("auto_dos_cfg").body,
            R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"auto_dos_cfg":{"auto":0}})");
}

TEST_F(DosTest, AFailingCheckStopsTheAutomaticMode) {
  harness().sim().fail("rpcclt_openapiDoSTCPSynModeSet", 1, OPEN_E_FAIL);
  HttpResponse r = post("auto_dos_cfg", R"({"auto_dos_cfg":{"auto":1}})");
  EXPECT_EQ(resp_code(r), -1);
  EXPECT_EQ(saves(), 0u);
  EXPECT_TRUE(calls("UDPPortModeSet").empty());  // the calls after the fault were not made
  EXPECT_EQ(resp_code(post("auto_dos_cfg", R"({"auto_dos_cfg":{"auto":2}})")), -1);
}

// Each ranged member of the service checks, at both ends just outside its
// range, answers errCode 9 with its label and bounds and changes nothing.
TEST_F(DosTest, RangedMembersAnswerTheirLabelAndBounds) {
  const RangeCase cases[] = {
      {"minTcpHead", "Denial of Service Min TCP Header Size", 0, 31},
      {"icmpv4MaxSize", "Denial of Service Max ICMPV4 Packet Size", 0, 16376},
      {"icmpv6MaxSize", "Denial of Service Max ICMPV6 Packet Size", 0, 16376},
  };
  const std::string before = modes();
  for (const RangeCase &c : cases) {
    for (int64_t value : {c.min - 1, c.max + 1}) {
      JsonPtr doc = get("dos_service_cfg").json();
      json_object *settings = json_at(doc.get(), {"dos_service_cfg"});
      json_object_object_add(settings, c.key, json_object_new_int64(value));
      EXPECT_EQ(post("dos_service_cfg", R"({"dos_service_cfg":)" + json_text(settings) + "}").body,
                range_refusal(value, c.label, c.min, c.max))
          << c.key << " " << value;
    }
  }
  EXPECT_EQ(modes(), before);
  EXPECT_EQ(saves(), 0u);
}

}  // namespace
