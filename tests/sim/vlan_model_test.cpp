// The simulated switch's VLANs through the platform calls: the VLAN table
// and its refusals, what a delete takes with it, membership, tagging and
// port VLAN ids, the VLAN lists of a port, ingress filtering, protected
// port groups, and what a factory reset brings back.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/platform_client.h"
#include "platform/calls/02_vlans.h"
#include "platform/calls/10_dai.h"
#include "platform/calls/23_vlan_classify.h"
#include "sim/cli/shell.h"
#include "tests/common/sim_fixture.h"

namespace {

using veltrum::test::InProcessSim;

constexpr uint32_t kPort = 3;
constexpr uint32_t kOtherPort = 5;
constexpr uint32_t kGap = 29;  // between the last port (28) and the first LAG
constexpr uint32_t kLag = 33;
constexpr uint32_t kCpu = 41;

using ListCall = open_error_t (*)(openapiClientHandle_t *, uint32_t, open_buffdesc *);

class VlanModel : public ::testing::Test {
 protected:
  openapiClientHandle_t *c() { return sim_.client(); }

  // A list call's ids, with room for `room` of them.
  open_error_t list(ListCall call, uint32_t index, std::vector<uint32_t> &out, size_t room = 64) {
    std::vector<uint32_t> buf(room + 1);
    open_buffdesc d{static_cast<uint32_t>(room * sizeof(uint32_t)), buf.data()};
    open_error_t rc = call(c(), index, &d);
    out.assign(buf.begin(), buf.begin() + (rc == OPEN_E_NONE ? d.size / sizeof(uint32_t) : 0));
    return rc;
  }
  std::vector<uint32_t> list(ListCall call, uint32_t index) {
    std::vector<uint32_t> out;
    EXPECT_EQ(list(call, index, out), OPEN_E_NONE);
    return out;
  }
  std::string name(uint32_t vlan, open_error_t expect = OPEN_E_NONE) {
    char text[OPEN_VLAN_NAME_LEN_MAX + 1] = {};
    open_buffdesc d{sizeof text, text};
    EXPECT_EQ(rpcclt_openapiVlanNameGet(c(), vlan, &d), expect);
    return text;
  }
  open_error_t set_name(uint32_t vlan, const std::string &text) {
    open_buffdesc d{static_cast<uint32_t>(text.size() + 1), const_cast<char *>(text.c_str())};
    return rpcclt_openapiVlanNameSet(c(), vlan, &d);
  }
  OPEN_VLAN_PARTICIPATION_MODE_t mode(uint32_t vlan, uint32_t ifNum) {
    auto m = static_cast<OPEN_VLAN_PARTICIPATION_MODE_t>(99);
    EXPECT_EQ(openapiVlanIfParticipationStatusGet(c(), vlan, ifNum, &m), OPEN_E_NONE);
    return m;
  }
  OPEN_CONTROL_t tagging(uint32_t ifNum, uint32_t vlan) {
    auto t = static_cast<OPEN_CONTROL_t>(99);
    EXPECT_EQ(openapiVlanIfTaggingGet(c(), ifNum, vlan, &t), OPEN_E_NONE);
    return t;
  }
  uint32_t pvid(uint32_t ifNum) {
    uint32_t v = 0;
    EXPECT_EQ(openapiVlanIfPvidGet(c(), ifNum, &v), OPEN_E_NONE);
    return v;
  }
  void dynamic_member(uint32_t vlan, uint32_t ifNum) {
    ASSERT_EQ(sim_.set("vlan_dynamic", "{\"key\":[" + std::to_string(vlan) + "," + std::to_string(ifNum) +
                                           "],\"record\":{}}"),
              OPEN_E_NONE);
  }

  InProcessSim sim_;
};

TEST_F(VlanModel, TheVlanTableCreatesNamesAndRefuses) {
  OPEN_VLAN_TYPE_t type{};
  EXPECT_EQ(rpcclt_openapiVlanTypeGet(c(), 1, &type), OPEN_E_NONE);
  EXPECT_EQ(type, OPEN_VLAN_TYPE_DEFAULT);
  EXPECT_EQ(name(1), "default");
  uint32_t len = 0;
  EXPECT_EQ(rpcclt_openapiVlanNameLenGet(c(), &len), OPEN_E_NONE);
  EXPECT_EQ(len, 32u);

  // Create: range, duplicate; a new VLAN is an administrator's, unnamed.
  EXPECT_EQ(rpcclt_openapiVlanCreate(c(), 0), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiVlanCreate(c(), 4094), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiVlanCreate(c(), 4093), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiVlanCreate(c(), 5), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiVlanCreate(c(), 5), OPEN_E_EXISTS);
  EXPECT_EQ(rpcclt_openapiVlanTypeGet(c(), 5, &type), OPEN_E_NONE);
  EXPECT_EQ(type, OPEN_VLAN_TYPE_ADMIN);
  EXPECT_EQ(rpcclt_openapiVlanTypeGet(c(), 6, &type), OPEN_E_NOT_FOUND);
  EXPECT_EQ(name(5), "");
  EXPECT_EQ(openapiVlanCreatedCheck(c(), 5), OPEN_E_NONE);
  EXPECT_EQ(openapiVlanCreatedCheck(c(), 6), OPEN_E_NOT_FOUND);

  std::vector<uint32_t> walk;
  uint32_t v = 0;
  for (open_error_t rc = openapiVlanNextGet(c(), 0, &v); rc == OPEN_E_NONE; rc = openapiVlanNextGet(c(), v, &v))
    walk.push_back(v);
  EXPECT_EQ(walk, (std::vector<uint32_t>{1, 5, 4093}));

  // Names: up to 32 printable characters, of VLANs that exist.
  EXPECT_EQ(set_name(5, std::string(32, 'n')), OPEN_E_NONE);
  EXPECT_EQ(name(5), std::string(32, 'n'));
  EXPECT_EQ(set_name(5, std::string(33, 'n')), OPEN_E_PARAM);
  EXPECT_EQ(set_name(5, "tab\there"), OPEN_E_PARAM);
  EXPECT_EQ(set_name(5, "uplinks and servers"), OPEN_E_NONE);
  EXPECT_EQ(name(5), "uplinks and servers");
  EXPECT_EQ(set_name(6, "absent"), OPEN_E_NOT_FOUND);
  name(6, OPEN_E_NOT_FOUND);
  char tiny[4] = {};
  open_buffdesc small{sizeof tiny, tiny};
  EXPECT_EQ(rpcclt_openapiVlanNameGet(c(), 5, &small), OPEN_E_BUFFER);
}

TEST_F(VlanModel, TheVlanTableHoldsAThousandAndTwentyFourVlans) {
  for (uint32_t v = 2; v <= 1024; ++v) ASSERT_EQ(rpcclt_openapiVlanCreate(c(), v), OPEN_E_NONE) << v;
  EXPECT_EQ(rpcclt_openapiVlanCreate(c(), 2000), OPEN_E_FULL);
  EXPECT_EQ(rpcclt_openapiVlanDelete(c(), 1024), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiVlanCreate(c(), 2000), OPEN_E_NONE);
}

TEST_F(VlanModel, DeleteRefusesWhatTheSwitchCannotDrop) {
  ASSERT_EQ(rpcclt_openapiVlanCreate(c(), 5), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiVlanDelete(c(), 1), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiVlanDelete(c(), 0), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiVlanDelete(c(), 6), OPEN_E_NOT_FOUND);

  ASSERT_EQ(sim_.set("network.mgmt_vlan", R"({"value":5})"), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiVlanDelete(c(), 5), OPEN_E_INUSE);
  ASSERT_EQ(sim_.set("network.mgmt_vlan", R"({"value":1})"), OPEN_E_NONE);

  ASSERT_EQ(sim_.set("vlan_routing", R"({"key":[5],"record":{"ifNum":100,"addr":"10.5.0.1","pfxLen":24}})"),
            OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiVlanDelete(c(), 5), OPEN_E_INUSE);
  ASSERT_EQ(sim_.set("vlan_routing", R"({"key":[5],"record":null})"), OPEN_E_NONE);

  EXPECT_EQ(openapiVlanCreatedCheck(c(), 5), OPEN_E_NONE);  // every refusal left it
  EXPECT_EQ(rpcclt_openapiVlanDelete(c(), 5), OPEN_E_NONE);
  EXPECT_EQ(openapiVlanCreatedCheck(c(), 5), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiVlanDelete(c(), 5), OPEN_E_NOT_FOUND);
}

TEST_F(VlanModel, DeleteTakesMembershipsPortVlanIdsAndPerVlanSettingsWithIt) {
  ASSERT_EQ(rpcclt_openapiVlanCreate(c(), 10), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 10, kPort, OPEN_VLAN_PARTICIPATION_MODE_INCLUDE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfTaggingSet(c(), kPort, 10, OPEN_ENABLE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 10, kOtherPort, OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE),
            OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfPvidSet(c(), kPort, 10), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfPvidSet(c(), kLag, 10), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiDaiVlanEnableSet(c(), 10, OPEN_ENABLE), OPEN_E_NONE);
  dynamic_member(10, kOtherPort);
  ASSERT_EQ(rpcclt_openapiPbVlanGroupCreate(c(), 1), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiPbVlanGroupVlanIDAdd(c(), 1, 10), OPEN_E_NONE);
  const char *station = "02:00:00:00:00:0A";
  open_buffdesc mac{static_cast<uint32_t>(std::strlen(station) + 1), const_cast<char *>(station)};
  ASSERT_EQ(rpcclt_openapiVlanMacAdd(c(), &mac, 10), OPEN_E_NONE);

  ASSERT_EQ(rpcclt_openapiVlanDelete(c(), 10), OPEN_E_NONE);
  uint32_t classified = 0;
  EXPECT_EQ(rpcclt_openapiPbVlanGroupVlanIDGet(c(), 1, &classified), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiVlanMacGet(c(), &mac, &classified), OPEN_E_NOT_FOUND);
  EXPECT_EQ(pvid(kPort), 1u);
  EXPECT_EQ(pvid(kLag), 1u);
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortTaggedVlanListGet, kPort), std::vector<uint32_t>{});
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortForbiddenVlanListGet, kOtherPort), std::vector<uint32_t>{});
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortDynamicallyAddedVlanListGet, kOtherPort), std::vector<uint32_t>{});
  OPEN_CONTROL_t dai = OPEN_ENABLE;
  EXPECT_EQ(rpcclt_openapiDaiVlanEnableGet(c(), 10, &dai), OPEN_E_NOT_FOUND);

  // The same id created again starts from nothing.
  ASSERT_EQ(rpcclt_openapiVlanCreate(c(), 10), OPEN_E_NONE);
  EXPECT_EQ(mode(10, kPort), OPEN_VLAN_PARTICIPATION_MODE_AUTO);
  EXPECT_EQ(mode(10, kOtherPort), OPEN_VLAN_PARTICIPATION_MODE_AUTO);
  EXPECT_EQ(rpcclt_openapiDaiVlanEnableGet(c(), 10, &dai), OPEN_E_NONE);
  EXPECT_EQ(dai, OPEN_DISABLE);
  EXPECT_EQ(name(10), "");

  // The CLI's "no vlan" deletes the same way.
  ASSERT_EQ(rpcclt_openapiVlanIfPvidSet(c(), kPort, 10), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiDaiVlanEnableSet(c(), 10, OPEN_ENABLE), OPEN_E_NONE);
  veltrum::sim::cli::Shell shell(sim_.model(), veltrum::sim::cli::Shell::Mode::VlanDb);
  EXPECT_EQ(shell.execute("no vlan 10", shell.prompt().size()), "");
  EXPECT_EQ(openapiVlanCreatedCheck(c(), 10), OPEN_E_NOT_FOUND);
  EXPECT_EQ(pvid(kPort), 1u);
  ASSERT_EQ(rpcclt_openapiVlanCreate(c(), 10), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiDaiVlanEnableGet(c(), 10, &dai), OPEN_E_NONE);
  EXPECT_EQ(dai, OPEN_DISABLE);
}

TEST_F(VlanModel, MembershipTaggingAndPortVlanIds) {
  ASSERT_EQ(rpcclt_openapiVlanCreate(c(), 10), OPEN_E_NONE);
  EXPECT_EQ(mode(1, kPort), OPEN_VLAN_PARTICIPATION_MODE_INCLUDE);
  EXPECT_EQ(mode(1, kLag), OPEN_VLAN_PARTICIPATION_MODE_INCLUDE);
  EXPECT_EQ(tagging(kPort, 1), OPEN_DISABLE);
  EXPECT_EQ(mode(10, kPort), OPEN_VLAN_PARTICIPATION_MODE_AUTO);

  // A member may be tagged; it stays tagged when included again, and
  // leaving the VLAN (forbidden or not) clears it.
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 10, kPort, OPEN_VLAN_PARTICIPATION_MODE_INCLUDE), OPEN_E_NONE);
  EXPECT_EQ(tagging(kPort, 10), OPEN_DISABLE);
  ASSERT_EQ(rpcclt_openapiVlanIfTaggingSet(c(), kPort, 10, OPEN_ENABLE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 10, kPort, OPEN_VLAN_PARTICIPATION_MODE_INCLUDE), OPEN_E_NONE);
  EXPECT_EQ(tagging(kPort, 10), OPEN_ENABLE);
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 10, kPort, OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE), OPEN_E_NONE);
  EXPECT_EQ(mode(10, kPort), OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE);
  EXPECT_EQ(tagging(kPort, 10), OPEN_DISABLE);
  EXPECT_EQ(rpcclt_openapiVlanIfTaggingSet(c(), kPort, 10, OPEN_ENABLE), OPEN_E_PARAM);
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 10, kPort, OPEN_VLAN_PARTICIPATION_MODE_INCLUDE), OPEN_E_NONE);
  EXPECT_EQ(tagging(kPort, 10), OPEN_DISABLE);
  ASSERT_EQ(rpcclt_openapiVlanIfTaggingSet(c(), kPort, 10, OPEN_ENABLE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 10, kPort, OPEN_VLAN_PARTICIPATION_MODE_AUTO), OPEN_E_NONE);
  EXPECT_EQ(mode(10, kPort), OPEN_VLAN_PARTICIPATION_MODE_AUTO);
  EXPECT_EQ(tagging(kPort, 10), OPEN_DISABLE);
  EXPECT_EQ(rpcclt_openapiVlanIfTaggingSet(c(), kPort, 10, OPEN_ENABLE), OPEN_E_PARAM);

  // Ports and LAGs only, VLANs that exist, values of the enumerations.
  auto m = OPEN_VLAN_PARTICIPATION_MODE_AUTO;
  for (uint32_t bad : {kCpu, kGap, 0u}) {
    EXPECT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 10, bad, OPEN_VLAN_PARTICIPATION_MODE_INCLUDE), OPEN_E_PARAM);
    EXPECT_EQ(openapiVlanIfParticipationStatusGet(c(), 10, bad, &m), OPEN_E_PARAM);
    EXPECT_EQ(rpcclt_openapiVlanIfPvidSet(c(), bad, 10), OPEN_E_PARAM);
  }
  EXPECT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 10, kLag, OPEN_VLAN_PARTICIPATION_MODE_INCLUDE), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 11, kPort, OPEN_VLAN_PARTICIPATION_MODE_INCLUDE),
            OPEN_E_NOT_FOUND);
  EXPECT_EQ(openapiVlanIfParticipationStatusGet(c(), 11, kPort, &m), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 10, kPort, static_cast<OPEN_VLAN_PARTICIPATION_MODE_t>(3)),
            OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiVlanIfTaggingSet(c(), kPort, 1, static_cast<OPEN_CONTROL_t>(2)), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiVlanIfTaggingSet(c(), kPort, 11, OPEN_ENABLE), OPEN_E_NOT_FOUND);

  // Port VLAN ids name VLANs that exist.
  EXPECT_EQ(pvid(kPort), 1u);
  EXPECT_EQ(rpcclt_openapiVlanIfPvidSet(c(), kPort, 10), OPEN_E_NONE);
  EXPECT_EQ(pvid(kPort), 10u);
  EXPECT_EQ(rpcclt_openapiVlanIfPvidSet(c(), kPort, 11), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiVlanIfPvidSet(c(), kPort, 0), OPEN_E_PARAM);
  EXPECT_EQ(pvid(kPort), 10u);
  EXPECT_EQ(rpcclt_openapiVlanIfPvidSet(c(), kLag, 10), OPEN_E_NONE);
  EXPECT_EQ(pvid(kLag), 10u);
  uint32_t v = 0;
  EXPECT_EQ(openapiVlanIfPvidGet(c(), kCpu, &v), OPEN_E_PARAM);
}

TEST_F(VlanModel, ThePortsVlanListsAndWhatASaveKeeps) {
  for (uint32_t v : {10u, 20u, 30u}) ASSERT_EQ(rpcclt_openapiVlanCreate(c(), v), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 10, kPort, OPEN_VLAN_PARTICIPATION_MODE_INCLUDE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfTaggingSet(c(), kPort, 10, OPEN_ENABLE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 20, kPort, OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE), OPEN_E_NONE);
  dynamic_member(30, kPort);

  EXPECT_EQ(list(rpcclt_openapiVlanVIDListGet, kPort), (std::vector<uint32_t>{1, 10, 30}));
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortTaggedVlanListGet, kPort), std::vector<uint32_t>{10});
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortUntaggedVlanListGet, kPort), std::vector<uint32_t>{1});
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortForbiddenVlanListGet, kPort), std::vector<uint32_t>{20});
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortDynamicallyAddedVlanListGet, kPort), std::vector<uint32_t>{30});
  EXPECT_EQ(list(rpcclt_openapiVlanVIDListGet, kOtherPort), std::vector<uint32_t>{1});

  // The caller's buffer: an exact fit answers, one id short does not.
  std::vector<uint32_t> out;
  EXPECT_EQ(list(rpcclt_openapiVlanVIDListGet, kPort, out, 3), OPEN_E_NONE);
  EXPECT_EQ(out, (std::vector<uint32_t>{1, 10, 30}));
  EXPECT_EQ(list(rpcclt_openapiVlanVIDListGet, kPort, out, 2), OPEN_E_BUFFER);
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortForbiddenVlanListGet, kCpu, out), OPEN_E_PARAM);
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortTaggedVlanListGet, kGap, out), OPEN_E_PARAM);

  // Static membership is configuration; dynamic members are not.
  ASSERT_EQ(rpcclt_openapiSaveConfig(c()), OPEN_E_NONE);
  sim_.reload();
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortTaggedVlanListGet, kPort), std::vector<uint32_t>{10});
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortForbiddenVlanListGet, kPort), std::vector<uint32_t>{20});
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortDynamicallyAddedVlanListGet, kPort), std::vector<uint32_t>{});
  EXPECT_EQ(list(rpcclt_openapiVlanVIDListGet, kPort), (std::vector<uint32_t>{1, 10}));
}

TEST_F(VlanModel, IngressFilteringIsOnWhenConfiguredOrWhenOnlyTaggedFramesAreAdmitted) {
  auto current = [&](uint32_t ifNum) {
    auto m = static_cast<OPEN_CONTROL_t>(99);
    EXPECT_EQ(rpcclt_openapiQportsCurrentIngressFilteringGet(c(), ifNum, &m), OPEN_E_NONE);
    return m;
  };
  EXPECT_EQ(current(kPort), OPEN_DISABLE);
  ASSERT_EQ(rpcclt_openapiVlanIfAcceptFrameTypeSet(c(), kPort, OPEN_DOT1Q_ADMIT_UNTAGGED_ONLY), OPEN_E_NONE);
  EXPECT_EQ(current(kPort), OPEN_DISABLE);
  ASSERT_EQ(rpcclt_openapiVlanIfAcceptFrameTypeSet(c(), kPort, OPEN_DOT1Q_ADMIT_VLAN_ONLY), OPEN_E_NONE);
  EXPECT_EQ(current(kPort), OPEN_ENABLE);
  OPEN_CONTROL_t configured = OPEN_ENABLE;
  EXPECT_EQ(rpcclt_openapiQportsEnableIngressFilteringGet(c(), kPort, &configured), OPEN_E_NONE);
  EXPECT_EQ(configured, OPEN_DISABLE);
  ASSERT_EQ(rpcclt_openapiVlanIfAcceptFrameTypeSet(c(), kPort, OPEN_DOT1Q_ADMIT_ALL), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiQportsEnableIngressFilteringSet(c(), kLag, OPEN_ENABLE), OPEN_E_NONE);
  EXPECT_EQ(current(kPort), OPEN_DISABLE);
  EXPECT_EQ(current(kLag), OPEN_ENABLE);
  OPEN_CONTROL_t m{};
  EXPECT_EQ(rpcclt_openapiQportsCurrentIngressFilteringGet(c(), kCpu, &m), OPEN_E_PARAM);
}

TEST_F(VlanModel, ProtectedPortGroupsHoldEachPhysicalPortOnce) {
  ASSERT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(c(), 0, kOtherPort), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(c(), 0, kPort), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(c(), 0, kPort), OPEN_E_NONE);  // already there
  EXPECT_EQ(list(rpcclt_openapiProtectedPortGroupIntfListGet, 0), (std::vector<uint32_t>{kPort, kOtherPort}));
  EXPECT_EQ(list(rpcclt_openapiProtectedPortGroupIntfListGet, 2), std::vector<uint32_t>{});

  EXPECT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(c(), 1, kPort), OPEN_E_EXISTS);
  EXPECT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(c(), OPEN_PROTECTED_PORT_GROUPS, 7), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(c(), 1, kLag), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(c(), 1, kCpu), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(c(), 1, kGap), OPEN_E_PARAM);
  std::vector<uint32_t> out;
  EXPECT_EQ(list(rpcclt_openapiProtectedPortGroupIntfListGet, OPEN_PROTECTED_PORT_GROUPS, out), OPEN_E_PARAM);
  EXPECT_EQ(list(rpcclt_openapiProtectedPortGroupIntfListGet, 0, out, 1), OPEN_E_BUFFER);

  EXPECT_EQ(rpcclt_openapiProtectedPortGroupIntfDelete(c(), 1, kPort), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiProtectedPortGroupIntfDelete(c(), 0, kPort), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiProtectedPortGroupIntfDelete(c(), 0, kPort), OPEN_E_NOT_FOUND);
  EXPECT_EQ(list(rpcclt_openapiProtectedPortGroupIntfListGet, 0), std::vector<uint32_t>{kOtherPort});
  EXPECT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(c(), 1, kPort), OPEN_E_NONE);
  EXPECT_EQ(list(rpcclt_openapiProtectedPortGroupIntfListGet, 1), std::vector<uint32_t>{kPort});
}

TEST_F(VlanModel, AFactoryResetBringsBackVlanOneWithEveryPortAndLag) {
  ASSERT_EQ(rpcclt_openapiVlanCreate(c(), 10), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 1, kPort, OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfParticipationSet(c(), 1, kLag, OPEN_VLAN_PARTICIPATION_MODE_AUTO), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiVlanIfPvidSet(c(), kOtherPort, 10), OPEN_E_NONE);
  ASSERT_EQ(set_name(1, "renamed"), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiProtectedPortGroupIntfAdd(c(), 2, kPort), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiSaveConfig(c()), OPEN_E_NONE);

  sim_.factory_reset();
  EXPECT_EQ(openapiVlanCreatedCheck(c(), 10), OPEN_E_NOT_FOUND);
  EXPECT_EQ(name(1), "default");
  EXPECT_EQ(mode(1, kPort), OPEN_VLAN_PARTICIPATION_MODE_INCLUDE);
  EXPECT_EQ(mode(1, kLag), OPEN_VLAN_PARTICIPATION_MODE_INCLUDE);
  EXPECT_EQ(list(rpcclt_openapiDot1qSwPortUntaggedVlanListGet, kLag), std::vector<uint32_t>{1});
  EXPECT_EQ(pvid(kOtherPort), 1u);
  EXPECT_EQ(list(rpcclt_openapiProtectedPortGroupIntfListGet, 2), std::vector<uint32_t>{});

  // The saved file went with it: a reload starts from the same defaults.
  sim_.reload();
  EXPECT_EQ(openapiVlanCreatedCheck(c(), 10), OPEN_E_NOT_FOUND);
  EXPECT_EQ(mode(1, kPort), OPEN_VLAN_PARTICIPATION_MODE_INCLUDE);
}

}  // namespace
