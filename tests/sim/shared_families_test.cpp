// The platform calls every feature family shares, through the in-process
// simulated switch: the system family (application control, identity), the
// interfaces family (state, speed, frames, descriptions, addresses, roles,
// routing interfaces in the walks) and the network family (management
// network, IPv6 of the network port, routing interfaces, conversions).
// Each call's round trip and the refusals a switch makes.
#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/calls/00_system.h"
#include "platform/calls/01_interfaces.h"
#include "platform/calls/02_vlans.h"
#include "platform/calls/03_network.h"
#include "tests/common/sim_fixture.h"

namespace {

using veltrum::test::InProcessSim;

constexpr uint32_t kPort = 3;     // a copper port
constexpr uint32_t kUplink = 26;  // an uplink (ports 25..28)
constexpr uint32_t kOtherPort = 5;
constexpr uint32_t kGap = 29;  // between the last port and the first LAG
constexpr uint32_t kLag = 33;
constexpr uint32_t kCpu = 41;

// A text argument.
struct Text {
  explicit Text(std::string s) : text(std::move(s)), desc{static_cast<uint32_t>(text.size() + 1), text.data()} {}
  std::string text;
  open_buffdesc desc;
  const open_buffdesc *operator&() const { return &desc; }
};

class SharedFamilies : public ::testing::Test {
 protected:
  openapiClientHandle_t *c() { return sim_.client(); }

  // Reads a text answer of a call (client, [args...], open_buffdesc *).
  template <typename Call, typename... A>
  std::string text(open_error_t expect, Call call, A... args) {
    char buf[512] = {};
    open_buffdesc d{sizeof buf, buf};
    EXPECT_EQ(call(c(), args..., &d), expect);
    return buf;
  }
  open_inet_addr_t v6(const char *text) {
    open_inet_addr_t a{};
    a.family = OPEN_AF_INET6;
    EXPECT_EQ(inet_pton(AF_INET6, text, a.addr.ipv6), 1);
    return a;
  }
  open_inet_addr_t v4(const char *text) {
    open_inet_addr_t a{};
    a.family = OPEN_AF_INET;
    in_addr in{};
    EXPECT_EQ(inet_pton(AF_INET, text, &in), 1);
    a.addr.ipv4 = ntohl(in.s_addr);
    return a;
  }
  uint32_t ip(const char *text) { return v4(text).addr.ipv4; }
  void plug(uint32_t ifNum, int carrier) {
    ASSERT_EQ(sim_.set("interfaces.intf.carrier",
                       "{\"index\":" + std::to_string(ifNum) + ",\"value\":" + std::to_string(carrier) + "}"),
              OPEN_E_NONE);
  }
  OPEN_LINK_STATE_t link(uint32_t ifNum) {
    auto s = static_cast<OPEN_LINK_STATE_t>(99);
    EXPECT_EQ(openapiIfLinkStateGet(c(), ifNum, &s), OPEN_E_NONE);
    return s;
  }
  std::vector<uint32_t> walk(OPEN_INTF_TYPE_t type) {
    std::vector<uint32_t> out;
    uint32_t n = 0;
    if (openapiIfFirstGet(c(), type, &n) != OPEN_E_NONE) return out;
    do out.push_back(n);
    while (openapiIfNextGet(c(), type, n, &n) == OPEN_E_NONE);
    return out;
  }
  uint32_t make_routing(uint32_t vlan) {
    EXPECT_EQ(rpcclt_openapiVlanCreate(c(), vlan), OPEN_E_NONE);
    EXPECT_EQ(rpcclt_openapiRtrVlanIntfCreate(c(), vlan), OPEN_E_NONE);
    uint32_t ifNum = 0;
    EXPECT_EQ(rpcclt_openapiRtrVlanIntfIfNumGet(c(), vlan, &ifNum), OPEN_E_NONE);
    return ifNum;
  }

  InProcessSim sim_;
};

// ---------------------------------------------------------------- system

TEST_F(SharedFamilies, SystemApplicationEntriesStartStopAndGo) {
  Text app("Nimbrel");
  EXPECT_EQ(text(OPEN_E_NOT_FOUND, rpcclt_openapiAppCtrlStatusGet, &app), "");
  EXPECT_EQ(rpcclt_openapiAppCtrlStart(c(), &app), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiAppCtrlEntryDelete(c(), &app), OPEN_E_NOT_FOUND);

  ASSERT_EQ(rpcclt_openapiAppCtrlEntryCreate(c(), &app), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiAppCtrlEntryCreate(c(), &app), OPEN_E_EXISTS);
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapiAppCtrlStatusGet, &app), "");
  EXPECT_EQ(rpcclt_openapiAppCtrlStart(c(), &app), OPEN_E_NONE);
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapiAppCtrlStatusGet, &app), "Running");

  // What the application reports of itself replaces the run state's text.
  Text status("Connected"), version("2.4.1");
  EXPECT_EQ(rpcclt_openapiAppCtrlStatusSet(c(), &app, &status), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiAppCtrlVersionSet(c(), &app, &version), OPEN_E_NONE);
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapiAppCtrlStatusGet, &app), "Connected");
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapiAppCtrlVersionGet, &app), "2.4.1");

  EXPECT_EQ(rpcclt_openapiAppCtrlStop(c(), &app), OPEN_E_NONE);
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapiAppCtrlStatusGet, &app), "Stopped");
  EXPECT_EQ(rpcclt_openapiAppCtrlEntryDelete(c(), &app), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiAppCtrlStop(c(), &app), OPEN_E_NOT_FOUND);
  EXPECT_EQ(text(OPEN_E_NOT_FOUND, rpcclt_openapiAppCtrlVersionGet, &app), "");

  // A running application's entry goes too (it is stopped first).
  ASSERT_EQ(rpcclt_openapiAppCtrlEntryCreate(c(), &app), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiAppCtrlStart(c(), &app), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiAppCtrlEntryDelete(c(), &app), OPEN_E_NONE);

  // An application that only reported itself has no entry, until created.
  Text own("Veltrum");
  ASSERT_EQ(rpcclt_openapiAppCtrlStatusSet(c(), &own, &status), OPEN_E_NONE);
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapiAppCtrlStatusGet, &own), "Connected");
  EXPECT_EQ(rpcclt_openapiAppCtrlStop(c(), &own), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiAppCtrlEntryCreate(c(), &own), OPEN_E_NONE);

  Text bad("two words"), empty(""), longName(std::string(OPEN_APP_NAME_SIZE, 'a'));
  EXPECT_EQ(rpcclt_openapiAppCtrlEntryCreate(c(), &bad), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiAppCtrlEntryCreate(c(), &empty), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiAppCtrlEntryCreate(c(), &longName), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiAppCtrlEntryCreate(c(), nullptr), OPEN_E_PARAM);

  // A status that does not fit the caller's buffer is not cut.
  ASSERT_EQ(rpcclt_openapiAppCtrlStart(c(), &own), OPEN_E_NONE);
  char small[4];
  open_buffdesc d{sizeof small, small};
  EXPECT_EQ(rpcclt_openapiAppCtrlStatusGet(c(), &own, &d), OPEN_E_BUFFER);
}

TEST_F(SharedFamilies, SystemIdentityRowsDescriptionObjectIdAndUptime) {
  Text name("core-sw-1"), location("Rack 4, Room 2.13"), contact("noc@example.net");
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapi1213SystemSysNameGet), "");
  ASSERT_EQ(rpcclt_openapi1213SystemSysNameSet(c(), &name), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapi1213SystemSysLocationSet(c(), &location), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapi1213SystemSysContactSet(c(), &contact), OPEN_E_NONE);
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapi1213SystemSysNameGet), "core-sw-1");
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapi1213SystemSysLocationGet), "Rack 4, Room 2.13");
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapi1213SystemSysContactGet), "noc@example.net");

  Text tooLong(std::string(OPEN_SYSTEM_TEXT_LEN_MAX + 1, 'x')), control("bad\tname");
  EXPECT_EQ(rpcclt_openapi1213SystemSysNameSet(c(), &tooLong), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapi1213SystemSysContactSet(c(), &control), OPEN_E_PARAM);
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapi1213SystemSysNameGet), "core-sw-1");

  // Configuration: a save keeps it over a reload, a factory reset clears it.
  ASSERT_EQ(rpcclt_openapiSaveConfig(c()), OPEN_E_NONE);
  sim_.reload();
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapi1213SystemSysNameGet), "core-sw-1");
  sim_.factory_reset();
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapi1213SystemSysLocationGet), "");

  std::string descr = text(OPEN_E_NONE, rpcclt_openapi1213SystemSysDescrGet);
  EXPECT_NE(descr.find("28-port"), std::string::npos) << descr;
  std::string oid = text(OPEN_E_NONE, rpcclt_openapi1213SysObjectIDGet);
  EXPECT_EQ(oid.rfind("1.3.6.1.4.1.", 0), 0u) << oid;

  uint32_t up = 99999;
  ASSERT_EQ(rpcclt_openapi1213SystemSysUpTimeGet(c(), &up), OPEN_E_NONE);
  EXPECT_LT(up, 60u);
  EXPECT_EQ(rpcclt_openapi1213SystemSysUpTimeGet(c(), nullptr), OPEN_E_PARAM);
}

// ---------------------------------------------------------------- interfaces

TEST_F(SharedFamilies, InterfacesAdminAndCarrierMakeTheLink) {
  OPEN_CONTROL_t admin = OPEN_DISABLE;
  ASSERT_EQ(openapiIfAdminStateGet(c(), kPort, &admin), OPEN_E_NONE);
  EXPECT_EQ(admin, OPEN_ENABLE);
  EXPECT_EQ(link(kPort), OPEN_LINK_DOWN);  // nothing plugged in
  EXPECT_EQ(link(kCpu), OPEN_LINK_UP);

  plug(kPort, 1);
  EXPECT_EQ(link(kPort), OPEN_LINK_UP);
  OPEN_LINK_STATE_t oper = OPEN_LINK_DOWN;
  ASSERT_EQ(openapiIfOprStateGet(c(), kPort, &oper), OPEN_E_NONE);
  EXPECT_EQ(oper, OPEN_LINK_UP);
  ASSERT_EQ(openapiIfAdminStateSet(c(), kPort, OPEN_DISABLE), OPEN_E_NONE);
  EXPECT_EQ(link(kPort), OPEN_LINK_DOWN);
  ASSERT_EQ(openapiIfAdminStateSet(c(), kPort, OPEN_ENABLE), OPEN_E_NONE);

  EXPECT_EQ(openapiIfAdminStateSet(c(), kPort, static_cast<OPEN_CONTROL_t>(2)), OPEN_E_PARAM);
  EXPECT_EQ(openapiIfAdminStateSet(c(), kGap, OPEN_ENABLE), OPEN_E_PARAM);
  EXPECT_EQ(openapiIfLinkStateGet(c(), kGap, &oper), OPEN_E_PARAM);
  EXPECT_EQ(openapiIfLinkStateGet(c(), kPort, nullptr), OPEN_E_PARAM);

  // A LAG is up while one of its members is; the LAG part records members
  // in "intf_roles".
  EXPECT_EQ(link(kLag), OPEN_LINK_DOWN);
  ASSERT_EQ(sim_.set("intf_roles", R"({"key":[3],"record":{"role":1,"lag":33}})"), OPEN_E_NONE);
  EXPECT_EQ(link(kLag), OPEN_LINK_UP);
  OPEN_SPECIAL_PORT_TYPE_t role = OPEN_SPECIAL_PORT_TYPE_NORMAL;
  ASSERT_EQ(rpcclt_openapiIfSpecialPortTypeGet(c(), kPort, &role), OPEN_E_NONE);
  EXPECT_EQ(role, OPEN_SPECIAL_PORT_TYPE_TRUNK_MEMBER);
  ASSERT_EQ(rpcclt_openapiIfSpecialPortTypeGet(c(), kOtherPort, &role), OPEN_E_NONE);
  EXPECT_EQ(role, OPEN_SPECIAL_PORT_TYPE_NORMAL);
  EXPECT_EQ(rpcclt_openapiIfSpecialPortTypeGet(c(), kGap, &role), OPEN_E_PARAM);

  // A member forwards as part of its LAG, not on its own.
  OPEN_CONTROL_t active = OPEN_ENABLE;
  ASSERT_EQ(rpcclt_openapiIfActiveStateGet(c(), kPort, &active), OPEN_E_NONE);
  EXPECT_EQ(active, OPEN_DISABLE);
  plug(kOtherPort, 1);
  ASSERT_EQ(rpcclt_openapiIfActiveStateGet(c(), kOtherPort, &active), OPEN_E_NONE);
  EXPECT_EQ(active, OPEN_ENABLE);
  EXPECT_EQ(rpcclt_openapiIfActiveStateGet(c(), kGap, &active), OPEN_E_PARAM);

  // Link states are not configuration: a reload unplugs everything.
  ASSERT_EQ(rpcclt_openapiSaveConfig(c()), OPEN_E_NONE);
  sim_.reload();
  EXPECT_EQ(link(kOtherPort), OPEN_LINK_DOWN);
}

TEST_F(SharedFamilies, InterfacesSpeedFollowsThePortKindAndTheLink) {
  OPEN_PORT_SPEED_t speed = OPEN_PORT_SPEED_UNKNOWN;
  OPEN_CONTROL_t autoNeg = OPEN_DISABLE;
  ASSERT_EQ(rpcclt_openapiIfSpeedModeGet(c(), kPort, &speed), OPEN_E_NONE);
  EXPECT_EQ(speed, OPEN_PORT_SPEED_AUTO_NEG);
  ASSERT_EQ(openapiIfAutoNegGet(c(), kPort, &autoNeg), OPEN_E_NONE);
  EXPECT_EQ(autoNeg, OPEN_ENABLE);
  ASSERT_EQ(openapiIfSpeedGet(c(), kPort, &speed), OPEN_E_NONE);
  EXPECT_EQ(speed, OPEN_PORT_SPEED_UNKNOWN);  // link down

  plug(kPort, 1);
  plug(kUplink, 1);
  ASSERT_EQ(openapiIfSpeedGet(c(), kPort, &speed), OPEN_E_NONE);
  EXPECT_EQ(speed, OPEN_PORT_SPEED_FULL_1000);
  ASSERT_EQ(openapiIfSpeedGet(c(), kUplink, &speed), OPEN_E_NONE);
  EXPECT_EQ(speed, OPEN_PORT_SPEED_FULL_10G);

  ASSERT_EQ(rpcclt_openapiIfSpeedSet(c(), kPort, OPEN_PORT_SPEED_HALF_100), OPEN_E_NONE);
  ASSERT_EQ(openapiIfSpeedGet(c(), kPort, &speed), OPEN_E_NONE);
  EXPECT_EQ(speed, OPEN_PORT_SPEED_HALF_100);
  ASSERT_EQ(openapiIfAutoNegGet(c(), kPort, &autoNeg), OPEN_E_NONE);
  EXPECT_EQ(autoNeg, OPEN_DISABLE);

  EXPECT_EQ(rpcclt_openapiIfSpeedSet(c(), kPort, OPEN_PORT_SPEED_FULL_10G), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiIfSpeedSet(c(), kUplink, OPEN_PORT_SPEED_FULL_100), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiIfSpeedSet(c(), kUplink, OPEN_PORT_SPEED_FULL_1000), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiIfSpeedSet(c(), kPort, OPEN_PORT_SPEED_UNKNOWN), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiIfSpeedSet(c(), kPort, static_cast<OPEN_PORT_SPEED_t>(42)), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiIfSpeedSet(c(), kLag, OPEN_PORT_SPEED_AUTO_NEG), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiIfSpeedSet(c(), kGap, OPEN_PORT_SPEED_AUTO_NEG), OPEN_E_PARAM);
  ASSERT_EQ(rpcclt_openapiIfSpeedModeGet(c(), kPort, &speed), OPEN_E_NONE);
  EXPECT_EQ(speed, OPEN_PORT_SPEED_HALF_100);
  ASSERT_EQ(rpcclt_openapiIfSpeedModeGet(c(), kLag, &speed), OPEN_E_NONE);
  EXPECT_EQ(speed, OPEN_PORT_SPEED_LAG);
  EXPECT_EQ(openapiIfSpeedGet(c(), kGap, &speed), OPEN_E_PARAM);

  OPEN_PORT_MEDIA_TYPE_t media = OPEN_PORT_MEDIA_UNKNOWN;
  ASSERT_EQ(rpcclt_openapiIfActiveMediaTypeGet(c(), kPort, &media), OPEN_E_NONE);
  EXPECT_EQ(media, OPEN_PORT_MEDIA_COPPER);
  ASSERT_EQ(rpcclt_openapiIfActiveMediaTypeGet(c(), kUplink, &media), OPEN_E_NONE);
  EXPECT_EQ(media, OPEN_PORT_MEDIA_FIBER);
  EXPECT_EQ(rpcclt_openapiIfActiveMediaTypeGet(c(), kLag, &media), OPEN_E_PARAM);
}

TEST_F(SharedFamilies, InterfacesFramesTrapsDescriptionsAndAddresses) {
  uint32_t frame = 0, mtu = 0;
  ASSERT_EQ(openapiIfMaxFrameSizeGet(c(), kPort, &frame), OPEN_E_NONE);
  EXPECT_EQ(frame, uint32_t{OPEN_FRAME_SIZE_MIN});
  ASSERT_EQ(openapiIfMaxFrameSizeSet(c(), kPort, 9216), OPEN_E_NONE);
  ASSERT_EQ(openapiIfMtuSizeGet(c(), kPort, &mtu), OPEN_E_NONE);
  EXPECT_EQ(mtu, 9216u - OPEN_FRAME_OVERHEAD);
  EXPECT_EQ(openapiIfMaxFrameSizeSet(c(), kPort, 1517), OPEN_E_PARAM);
  EXPECT_EQ(openapiIfMaxFrameSizeSet(c(), kPort, 9217), OPEN_E_PARAM);
  EXPECT_EQ(openapiIfMaxFrameSizeSet(c(), kGap, 2000), OPEN_E_PARAM);
  EXPECT_EQ(openapiIfMtuSizeGet(c(), kGap, &mtu), OPEN_E_PARAM);

  OPEN_CONTROL_t trap = OPEN_DISABLE;
  ASSERT_EQ(rpcclt_openapiIfLinkTrapGet(c(), kLag, &trap), OPEN_E_NONE);
  EXPECT_EQ(trap, OPEN_ENABLE);
  ASSERT_EQ(rpcclt_openapiIfLinkTrapSet(c(), kLag, OPEN_DISABLE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiIfLinkTrapGet(c(), kLag, &trap), OPEN_E_NONE);
  EXPECT_EQ(trap, OPEN_DISABLE);
  EXPECT_EQ(rpcclt_openapiIfLinkTrapSet(c(), kLag, static_cast<OPEN_CONTROL_t>(5)), OPEN_E_PARAM);

  Text descr("uplink to core"), cpu("management CPU"), tooLong(std::string(OPEN_INTF_DESCR_LEN_MAX + 1, 'd'));
  ASSERT_EQ(rpcclt_openapiIfDescrSet(c(), kPort, &descr), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiIfDescrSet(c(), kCpu, &cpu), OPEN_E_NONE);
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapiIfDescrGet, kPort), "uplink to core");
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapiIfDescrGet, kCpu), "management CPU");
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapiIfDescrGet, kLag), "");
  EXPECT_EQ(rpcclt_openapiIfDescrSet(c(), kPort, &tooLong), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiIfDescrSet(c(), kGap, &descr), OPEN_E_PARAM);

  // The CPU interface has the base address, every port its own above it.
  std::string base = text(OPEN_E_NONE, rpcclt_openapiIfMacAddrGet, kCpu);
  std::string port = text(OPEN_E_NONE, rpcclt_openapiIfMacAddrGet, kPort);
  EXPECT_EQ(base.size(), 17u);
  EXPECT_EQ(base.substr(0, 15), port.substr(0, 15));
  EXPECT_EQ(std::stoi(port.substr(15), nullptr, 16) - std::stoi(base.substr(15), nullptr, 16), int{kPort});
  EXPECT_NE(text(OPEN_E_NONE, rpcclt_openapiIfMacAddrGet, kOtherPort), port);
  EXPECT_EQ(text(OPEN_E_PARAM, rpcclt_openapiIfMacAddrGet, kGap), "");
}

TEST_F(SharedFamilies, InterfacesWalksAndNamesIncludeRoutingInterfaces) {
  EXPECT_EQ(walk(OPEN_INTF_TYPE_VLAN), std::vector<uint32_t>{});
  uint32_t ifNum = make_routing(10);
  EXPECT_GT(ifNum, kCpu);
  EXPECT_EQ(walk(OPEN_INTF_TYPE_VLAN), std::vector<uint32_t>{ifNum});
  std::vector<uint32_t> any = walk(OPEN_INTF_TYPE_ANY);
  EXPECT_EQ(any.back(), ifNum);
  EXPECT_EQ(walk(OPEN_INTF_TYPE_PHY).size(), 28u);
  EXPECT_EQ(text(OPEN_E_NONE, openapiIfNameGet, ifNum), "vlan 10");
  OPEN_INTF_TYPE_t type = OPEN_INTF_TYPE_ANY;
  ASSERT_EQ(openapiIfTypeGet(c(), ifNum, &type), OPEN_E_NONE);
  EXPECT_EQ(type, OPEN_INTF_TYPE_VLAN);
  uint32_t n = 0;
  EXPECT_EQ(openapiIfFirstGet(c(), static_cast<OPEN_INTF_TYPE_t>(8), &n), OPEN_E_PARAM);
  EXPECT_EQ(text(OPEN_E_NOT_FOUND, openapiIfNameGet, kGap), "");
}

// ---------------------------------------------------------------- network

TEST_F(SharedFamilies, NetworkManagementVlanAndIpv4Parameters) {
  EXPECT_EQ(rpcclt_openapiNetworkMgmtVlanSet(c(), 20), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiNetworkMgmtVlanSet(c(), 0), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiNetworkMgmtVlanSet(c(), 4094), OPEN_E_PARAM);
  ASSERT_EQ(rpcclt_openapiVlanCreate(c(), 20), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiNetworkMgmtVlanSet(c(), 20), OPEN_E_NONE);
  uint32_t vlan = 0;
  ASSERT_EQ(rpcclt_openapiNetworkMgmtVlanGet(c(), &vlan), OPEN_E_NONE);
  EXPECT_EQ(vlan, 20u);
  EXPECT_EQ(rpcclt_openapiVlanDelete(c(), 20), OPEN_E_INUSE);

  uint32_t addr = 0, mask = 0, gw = 1;
  ASSERT_EQ(rpcclt_openapiNetworkPortGatewayIPv4AddrGet(c(), &gw), OPEN_E_NONE);
  EXPECT_EQ(gw, 0u);
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv4ParametersSet(c(), ip("10.1.2.3"), ip("255.255.0.0"), ip("10.1.0.1")),
            OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv4AddrGet(c(), &addr, &mask), OPEN_E_NONE);
  EXPECT_EQ(addr, ip("10.1.2.3"));
  EXPECT_EQ(mask, ip("255.255.0.0"));
  ASSERT_EQ(rpcclt_openapiNetworkPortGatewayIPv4AddrGet(c(), &gw), OPEN_E_NONE);
  EXPECT_EQ(gw, ip("10.1.0.1"));

  auto set = [this](const char *a, const char *m, const char *g) {
    return rpcclt_openapiNetworkPortIPv4ParametersSet(c(), ip(a), ip(m), ip(g));
  };
  EXPECT_EQ(set("10.1.2.3", "255.0.255.0", "0.0.0.0"), OPEN_E_PARAM);      // no mask
  EXPECT_EQ(set("10.1.0.0", "255.255.0.0", "0.0.0.0"), OPEN_E_PARAM);      // network address
  EXPECT_EQ(set("10.1.255.255", "255.255.0.0", "0.0.0.0"), OPEN_E_PARAM);  // broadcast
  EXPECT_EQ(set("127.0.0.5", "255.0.0.0", "0.0.0.0"), OPEN_E_PARAM);
  EXPECT_EQ(set("224.0.0.5", "255.255.255.0", "0.0.0.0"), OPEN_E_PARAM);
  EXPECT_EQ(set("10.1.2.3", "255.255.255.255", "0.0.0.0"), OPEN_E_PARAM);
  EXPECT_EQ(set("10.1.2.3", "255.255.0.0", "10.2.0.1"), OPEN_E_PARAM);  // gateway elsewhere
  EXPECT_EQ(set("10.1.2.3", "255.255.0.0", "10.1.2.3"), OPEN_E_PARAM);  // gateway is itself
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv4AddrGet(c(), &addr, &mask), OPEN_E_NONE);
  EXPECT_EQ(addr, ip("10.1.2.3"));

  // The protocol is a row: none, DHCP, BOOTP.
  OPEN_PROTOCOL_t proto = OPEN_PROTOCOL_BOOTP;
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv4ProtocolModeGet(c(), &proto), OPEN_E_NONE);
  EXPECT_EQ(proto, OPEN_PROTOCOL_NONE);
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv4ProtocolModeSet(c(), OPEN_PROTOCOL_DHCP), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv4ProtocolModeSet(c(), static_cast<OPEN_PROTOCOL_t>(3)), OPEN_E_PARAM);
}

TEST_F(SharedFamilies, NetworkPortIpv6SettingsAddressesAndNeighbours) {
  OPEN_CONTROL_t mode = OPEN_DISABLE;
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv6AdminModeGet(c(), &mode), OPEN_E_NONE);
  EXPECT_EQ(mode, OPEN_ENABLE);
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv6AutoConfigModeSet(c(), OPEN_ENABLE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv6AutoConfigModeGet(c(), &mode), OPEN_E_NONE);
  EXPECT_EQ(mode, OPEN_ENABLE);
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6ProtocolModeSet(c(), OPEN_PROTOCOL_BOOTP), OPEN_E_PARAM);
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv6ProtocolModeSet(c(), OPEN_PROTOCOL_DHCP), OPEN_E_NONE);
  Text gw("2001:db8::1"), notV6("10.0.0.1");
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv6GatewaySet(c(), &gw), OPEN_E_NONE);
  EXPECT_EQ(text(OPEN_E_NONE, rpcclt_openapiNetworkPortIPv6GatewayGet), "2001:db8::1");
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6GatewaySet(c(), &notV6), OPEN_E_PARAM);

  ASSERT_EQ(rpcclt_openapiNetworkPortIPv6AddressAdd(c(), v6("2001:db8:1::5"), 64, OPEN_FALSE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv6AddressAdd(c(), v6("2001:db8::9"), 64, OPEN_TRUE), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6AddressAdd(c(), v6("2001:db8::9"), 64, OPEN_FALSE), OPEN_E_EXISTS);
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6AddressAdd(c(), v6("fe80::1"), 64, OPEN_FALSE), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6AddressAdd(c(), v6("ff02::1"), 64, OPEN_FALSE), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6AddressAdd(c(), v6("2001:db8::7"), 129, OPEN_FALSE), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6AddressAdd(c(), v6("2001:db8::7"), 48, OPEN_TRUE), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6AddressAdd(c(), v4("10.0.0.1"), 24, OPEN_FALSE), OPEN_E_PARAM);

  // The walk answers in address order.
  open_inet_addr_t a{};
  uint32_t pfx = 0;
  OPEN_BOOL_t eui = OPEN_FALSE;
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv6AddressGetNext(c(), &a, &pfx, &eui), OPEN_E_NONE);
  EXPECT_EQ(std::memcmp(a.addr.ipv6, v6("2001:db8::9").addr.ipv6, 16), 0);
  EXPECT_EQ(eui, OPEN_TRUE);
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv6AddressGetNext(c(), &a, &pfx, &eui), OPEN_E_NONE);
  EXPECT_EQ(std::memcmp(a.addr.ipv6, v6("2001:db8:1::5").addr.ipv6, 16), 0);
  EXPECT_EQ(pfx, 64u);
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6AddressGetNext(c(), &a, &pfx, &eui), OPEN_E_NOT_FOUND);

  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6PrefixDelete(c(), v6("2001:db8:1::5"), 48), OPEN_E_NOT_FOUND);
  ASSERT_EQ(rpcclt_openapiNetworkPortIPv6PrefixDelete(c(), v6("2001:db8:1::5"), 64), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6PrefixDelete(c(), v6("2001:db8:1::5"), 64), OPEN_E_NOT_FOUND);

  // The table holds OPEN_NETWORK_IPV6_ADDRS addresses.
  for (int i = 1; i < OPEN_NETWORK_IPV6_ADDRS; ++i)
    ASSERT_EQ(
        rpcclt_openapiNetworkPortIPv6AddressAdd(c(), v6(("2001:db8:2::" + std::to_string(i)).c_str()), 64, OPEN_FALSE),
        OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv6AddressAdd(c(), v6("2001:db8:3::1"), 64, OPEN_FALSE), OPEN_E_FULL);

  // Neighbours are learned: the test plays the network.
  OPEN_IP6_NBR_ENTRY_t nbr{};
  EXPECT_EQ(rpcclt_openapiNetworkPortIpv6NbrEntryGetNext(c(), &nbr), OPEN_E_NOT_FOUND);
  ASSERT_EQ(sim_.set("network_ipv6_neighbors",
                     R"({"key":["20010db8000000000000000000000001"],"record":{"addr":"2001:db8::1",)"
                     R"("mac":"00:11:22:aa:bb:cc","router":1,"state":1,"updated":42}})"),
            OPEN_E_NONE);
  nbr = {};
  ASSERT_EQ(rpcclt_openapiNetworkPortIpv6NbrEntryGetNext(c(), &nbr), OPEN_E_NONE);
  EXPECT_EQ(std::string(nbr.mac), "00:11:22:AA:BB:CC");
  EXPECT_EQ(nbr.isRouter, OPEN_TRUE);
  EXPECT_EQ(nbr.state, OPEN_IP6_NBR_STATE_STALE);
  EXPECT_EQ(nbr.lastUpdated, 42u);
  EXPECT_EQ(rpcclt_openapiNetworkPortIpv6NbrEntryGetNext(c(), &nbr), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiNetworkPortIpv6NbrEntryGetNext(c(), nullptr), OPEN_E_PARAM);
}

TEST_F(SharedFamilies, NetworkRoutingInterfacesAndTheirAddresses) {
  OPEN_CONTROL_t mode = OPEN_ENABLE;
  ASSERT_EQ(rpcclt_openapiRtrAdminModeGet(c(), OPEN_AF_INET, &mode), OPEN_E_NONE);
  EXPECT_EQ(mode, OPEN_DISABLE);
  ASSERT_EQ(rpcclt_openapiRtrAdminModeSet(c(), OPEN_AF_INET, OPEN_ENABLE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiRtrAdminModeGet(c(), OPEN_AF_INET, &mode), OPEN_E_NONE);
  EXPECT_EQ(mode, OPEN_ENABLE);
  ASSERT_EQ(rpcclt_openapiRtrAdminModeGet(c(), OPEN_AF_INET6, &mode), OPEN_E_NONE);
  EXPECT_EQ(mode, OPEN_DISABLE);
  EXPECT_EQ(rpcclt_openapiRtrAdminModeSet(c(), OPEN_AF_NONE, OPEN_ENABLE), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiRtrAdminModeSet(c(), OPEN_AF_INET6, static_cast<OPEN_CONTROL_t>(2)), OPEN_E_PARAM);

  EXPECT_EQ(rpcclt_openapiRtrVlanIntfCreate(c(), 30), OPEN_E_NOT_FOUND);
  EXPECT_EQ(rpcclt_openapiRtrVlanIntfCreate(c(), 0), OPEN_E_PARAM);
  uint32_t if30 = make_routing(30);
  uint32_t if10 = make_routing(10);
  EXPECT_NE(if30, if10);
  EXPECT_EQ(rpcclt_openapiRtrVlanIntfCreate(c(), 30), OPEN_E_EXISTS);

  uint32_t vlan = 0;
  ASSERT_EQ(rpcclt_openapiIpVlanRtrVlanIdGetNext(c(), &vlan), OPEN_E_NONE);
  EXPECT_EQ(vlan, 10u);
  ASSERT_EQ(rpcclt_openapiIpVlanRtrVlanIdGetNext(c(), &vlan), OPEN_E_NONE);
  EXPECT_EQ(vlan, 30u);
  EXPECT_EQ(rpcclt_openapiIpVlanRtrVlanIdGetNext(c(), &vlan), OPEN_E_NOT_FOUND);
  ASSERT_EQ(rpcclt_openapiIpVlanRtrIntIfNumToVlanId(c(), if30, &vlan), OPEN_E_NONE);
  EXPECT_EQ(vlan, 30u);
  ASSERT_EQ(rpcclt_openapiRtrIntfVlanIdGet(c(), if10, &vlan), OPEN_E_NONE);
  EXPECT_EQ(vlan, 10u);
  EXPECT_EQ(rpcclt_openapiRtrIntfVlanIdGet(c(), kPort, &vlan), OPEN_E_NOT_FOUND);

  // IPv4: one address, replaced by the next; no overlaps.
  open_inet_addr_t got{};
  uint32_t pfx = 0;
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrGet(c(), OPEN_AF_INET, if30, &got, &pfx), OPEN_E_UNAVAIL);
  ASSERT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET, if30, v4("172.16.30.1"), 24, OPEN_FALSE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET, if30, v4("172.16.31.1"), 24, OPEN_FALSE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiRtrIntfIpAddrGet(c(), OPEN_AF_INET, if30, &got, &pfx), OPEN_E_NONE);
  EXPECT_EQ(got.addr.ipv4, ip("172.16.31.1"));
  EXPECT_EQ(pfx, 24u);
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET, if10, v4("172.16.31.2"), 16, OPEN_FALSE), OPEN_E_EXISTS);
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET, if10, v4("192.168.0.5"), 24, OPEN_FALSE),
            OPEN_E_EXISTS);  // the network port's subnet
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET, if10, v4("172.17.0.0"), 24, OPEN_FALSE), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET, if10, v4("172.17.0.1"), 33, OPEN_FALSE), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET, if10, v6("2001:db8::1"), 64, OPEN_FALSE), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET, kPort, v4("172.17.0.1"), 24, OPEN_FALSE),
            OPEN_E_NOT_FOUND);
  // The network port cannot move into a routed subnet.
  EXPECT_EQ(rpcclt_openapiNetworkPortIPv4ParametersSet(c(), ip("172.16.31.9"), ip("255.255.255.0"), 0), OPEN_E_PARAM);

  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrDel(c(), OPEN_AF_INET, if30, v4("172.16.30.1"), 24), OPEN_E_NOT_FOUND);
  ASSERT_EQ(rpcclt_openapiRtrIntfIpAddrDel(c(), OPEN_AF_INET, if30, v4("172.16.31.1"), 24), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrGet(c(), OPEN_AF_INET, if30, &got, &pfx), OPEN_E_UNAVAIL);

  // IPv6: several addresses; EUI-64 takes a /64.
  ASSERT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET6, if10, v6("2001:db8:10::"), 64, OPEN_TRUE), OPEN_E_NONE);
  ASSERT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET6, if10, v6("2001:db8:11::1"), 48, OPEN_FALSE),
            OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET6, if10, v6("2001:db8:11::1"), 48, OPEN_FALSE),
            OPEN_E_EXISTS);
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrAdd(c(), OPEN_AF_INET6, if10, v6("2001:db8:12::"), 56, OPEN_TRUE), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrDel(c(), OPEN_AF_INET6, if10, v6("2001:db8:11::1"), 64), OPEN_E_NOT_FOUND);
  ASSERT_EQ(rpcclt_openapiRtrIntfIpAddrDel(c(), OPEN_AF_INET6, if10, v6("2001:db8:11::1"), 48), OPEN_E_NONE);

  // A VLAN with a routing interface stays until the interface goes; the
  // interface takes its IPv6 addresses with it.
  EXPECT_EQ(rpcclt_openapiVlanDelete(c(), 10), OPEN_E_INUSE);
  ASSERT_EQ(rpcclt_openapiRtrVlanIntfDelete(c(), 10), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiRtrVlanIntfDelete(c(), 10), OPEN_E_NOT_FOUND);
  EXPECT_EQ(sim_.get("rtr_ipv6_addrs").find("2001:db8:10::"), std::string::npos);
  EXPECT_EQ(rpcclt_openapiVlanDelete(c(), 10), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiIpVlanRtrIntIfNumToVlanId(c(), if10, &vlan), OPEN_E_NOT_FOUND);
}

TEST_F(SharedFamilies, NetworkConversions) {
  Text mac("00:1a:2B:3c:4d:5e"), dashed("00-1A-2B-3C-4D-5E"), bad("00:1a:2b:3c:4d"), group("zz:1a:2b:3c:4d:5e");
  uint8_t out[8] = {};
  open_buffdesc d{sizeof out, out};
  ASSERT_EQ(rpcclt_openapiMacAddrStringToHexGet(c(), &mac, &d), OPEN_E_NONE);
  EXPECT_EQ(d.size, uint32_t{OPEN_MAC_ADDR_LEN});
  const uint8_t want[6] = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e};
  EXPECT_EQ(std::memcmp(out, want, 6), 0);
  d = {sizeof out, out};
  EXPECT_EQ(rpcclt_openapiMacAddrStringToHexGet(c(), &dashed, &d), OPEN_E_NONE);
  d = {sizeof out, out};
  EXPECT_EQ(rpcclt_openapiMacAddrStringToHexGet(c(), &bad, &d), OPEN_E_PARAM);
  EXPECT_EQ(rpcclt_openapiMacAddrStringToHexGet(c(), &group, &d), OPEN_E_PARAM);
  open_buffdesc small{4, out};
  EXPECT_EQ(rpcclt_openapiMacAddrStringToHexGet(c(), &mac, &small), OPEN_E_BUFFER);
}

}  // namespace
