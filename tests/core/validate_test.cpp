// Address, name and MAC checks, address conversions, and the port and VLAN
// validators against the simulated switch.
#include "core/validate.h"

#include <arpa/inet.h>

#include <cstring>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/response.h"
#include "tests/core/validate_test_util.h"

using ::testing::HasSubstr;

namespace {

// ---- address and name checks ------------------------------------------------

TEST(AddressChecks, Ipv4Ipv6AndZeroAddress) {
  EXPECT_EQ(validate_ipv4_text("192.168.1.254"), 0);
  EXPECT_EQ(validate_ipv4_text("256.1.1.1"), -1);
  EXPECT_EQ(validate_ipv4_text("2001:db8::1"), -1);
  EXPECT_EQ(validate_ipv4_text(nullptr), -1);

  EXPECT_EQ(validate_ipv6_text("2001:db8::1"), 0);
  EXPECT_EQ(validate_ipv6_text("10.0.0.1"), -1);
  EXPECT_EQ(validate_ipv6_text(nullptr), -1);

  EXPECT_EQ(check_zero_ipv4("0.0.0.0"), 0);
  EXPECT_EQ(check_zero_ipv4("0.0.0.1"), -1);
  EXPECT_EQ(check_zero_ipv4("::"), -1);
  EXPECT_EQ(check_zero_ipv4("0"), -1);
  EXPECT_EQ(check_zero_ipv4(nullptr), -1);
}

TEST(AddressChecks, KindIsJudgedByTheFirstCharacter) {
  EXPECT_EQ(ip_addr_kind("10.0.0.1"), 0);
  EXPECT_EQ(ip_addr_kind("2001:db8::1"), 1);
  EXPECT_EQ(ip_addr_kind("::ffff:10.0.0.1"), -1);  // first character ":"
  EXPECT_EQ(ip_addr_kind("1:2.3"), 0);              // a "." anywhere wins over ":"
  // IPv6 texts that begin with a letter count as host names.
  EXPECT_EQ(ip_addr_kind("fe80::1"), 2);
  EXPECT_EQ(ip_addr_kind("Z"), 2);
  EXPECT_EQ(ip_addr_kind("10"), -1);
  EXPECT_EQ(ip_addr_kind("-1.2"), -1);
  EXPECT_EQ(ip_addr_kind(""), -1);
  EXPECT_EQ(ip_addr_kind(nullptr), -1);
}

TEST(NameChecks, DomainName) {
  EXPECT_EQ(validate_domain_name("example.com"), 0);
  EXPECT_EQ(validate_domain_name("my-host.sub.Example.ORG"), 0);
  EXPECT_EQ(validate_domain_name("localhost"), -1);      // no dot
  EXPECT_EQ(validate_domain_name("example.c"), -1);      // last label of one letter
  EXPECT_EQ(validate_domain_name("example.c0m"), -1);    // last label not all letters
  EXPECT_EQ(validate_domain_name("10.0.0.1"), -1);
  EXPECT_EQ(validate_domain_name("-host.com"), -1);
  EXPECT_EQ(validate_domain_name("example.com."), -1);
  EXPECT_EQ(validate_domain_name(""), -1);
  EXPECT_EQ(validate_domain_name(nullptr), -1);
}

TEST(NameChecks, HostName) {
  std::string label63(63, 'a');
  EXPECT_EQ(validate_host_name("switch"), 0);
  EXPECT_EQ(validate_host_name("1.2.3.4"), 0);
  EXPECT_EQ(validate_host_name("edge-"), 0);  // a hyphen may end a label
  EXPECT_EQ(validate_host_name(label63.c_str()), 0);
  EXPECT_EQ(validate_host_name((label63 + "a").c_str()), -1);
  EXPECT_EQ(validate_host_name((label63 + "." + label63).c_str()), 0);
  EXPECT_EQ(validate_host_name("-edge"), -1);
  EXPECT_EQ(validate_host_name("a..b"), -1);
  EXPECT_EQ(validate_host_name("a_b"), -1);
  EXPECT_EQ(validate_host_name(""), -1);
  EXPECT_EQ(validate_host_name(nullptr), -1);

  // 255 characters pass, 256 fail however well-formed.
  std::string name = label63 + "." + label63 + "." + label63 + "." + std::string(63, 'b');
  ASSERT_EQ(name.size(), 255u);
  EXPECT_EQ(validate_host_name(name.c_str()), 0);
  name += "b";
  EXPECT_EQ(validate_host_name(name.c_str()), -1);
}

TEST(NameChecks, NameText) {
  EXPECT_EQ(validate_name_text("a"), 0);
  EXPECT_EQ(validate_name_text("Vlan_10-a.b:c"), 0);
  EXPECT_EQ(validate_name_text(std::string(32, 'x').c_str()), 0);
  EXPECT_EQ(validate_name_text(std::string(33, 'x').c_str()), -1);
  EXPECT_EQ(validate_name_text(""), -1);
  EXPECT_EQ(validate_name_text("two words"), -1);
  EXPECT_EQ(validate_name_text("a/b"), -1);
  EXPECT_EQ(validate_name_text("a@b"), -1);
  EXPECT_EQ(validate_name_text(nullptr), -1);
}

// ---- MAC address texts ------------------------------------------------------------

TEST(MacText, Check) {
  EXPECT_EQ(validate_mac_text("00:1a:2B:3c:4D:ff"), 0);
  EXPECT_EQ(validate_mac_text("FF:FF:FF:FF:FF:FF"), 0);
  EXPECT_EQ(validate_mac_text("00:1a:2B:3c:4D:f"), -1);     // 16 characters
  EXPECT_EQ(validate_mac_text("00:1a:2B:3c:4D:ff:"), -1);   // 18 characters
  EXPECT_EQ(validate_mac_text("00-1a-2B-3c-4D-ff"), -1);
  EXPECT_EQ(validate_mac_text("001:a2B:3c:4D:ff0"), -1);    // colons shifted
  EXPECT_EQ(validate_mac_text("00:1g:2B:3c:4D:ff"), -1);
  EXPECT_EQ(validate_mac_text("00:1a:2B:3c:4D::f"), -1);
  EXPECT_EQ(validate_mac_text(""), -1);
  EXPECT_EQ(validate_mac_text(nullptr), -1);

  EXPECT_EQ(check_zero_mac("00:00:00:00:00:00"), -1);
  EXPECT_EQ(check_zero_mac("00:00:00:00:00:01"), 0);
  EXPECT_EQ(check_zero_mac("00-00-00-00-00-00"), 0);
  EXPECT_EQ(check_zero_mac(""), 0);
  EXPECT_EQ(check_zero_mac(nullptr), -1);
}

TEST(MacText, ToBytes) {
  uint8_t bytes[6];
  ASSERT_EQ(mac_text_to_bytes("00:1a:2B:c3:D4:ff", bytes), 0);
  const uint8_t expected[6] = {0x00, 0x1a, 0x2b, 0xc3, 0xd4, 0xff};
  EXPECT_EQ(std::memcmp(bytes, expected, 6), 0);

  const uint8_t untouched[6] = {0xee, 0xee, 0xee, 0xee, 0xee, 0xee};
  auto refill = [&] { std::memcpy(bytes, untouched, 6); };
  auto is_untouched = [&] { return std::memcmp(bytes, untouched, 6) == 0; };

  // A ":" early in its group succeeds at once, before anything later is
  // looked at, and leaves the bytes alone.
  refill();
  EXPECT_EQ(mac_text_to_bytes("0:11:22:33:44:55x", bytes), 0);
  EXPECT_TRUE(is_untouched());
  refill();
  EXPECT_EQ(mac_text_to_bytes("00:11:2:33:44:55a", bytes), 0);  // in the third group
  EXPECT_TRUE(is_untouched());

  // Refusals.
  refill();
  EXPECT_EQ(mac_text_to_bytes("00:11:22:33:44:5", bytes), -1);
  EXPECT_EQ(mac_text_to_bytes("00:11:22:33:44:555", bytes), -1);
  EXPECT_EQ(mac_text_to_bytes("x0:11:22:33:44:55", bytes), -1);  // above "f"
  EXPECT_EQ(mac_text_to_bytes(" 0:11:22:33:44:55", bytes), -1);  // below "0"
  EXPECT_EQ(mac_text_to_bytes("G0:11:22:33:44:55", bytes), -1);  // in range, no digit
  EXPECT_EQ(mac_text_to_bytes("00;11:22:33:44:55", bytes), -1);
  EXPECT_EQ(mac_text_to_bytes("00:11:22:33:44:5x", bytes), -1);  // bad last character
  EXPECT_EQ(mac_text_to_bytes("001122:33:44:55:6", bytes), -1);  // digit where ":" belongs
  EXPECT_EQ(mac_text_to_bytes("00112233445566778", bytes), -1);
  EXPECT_EQ(mac_text_to_bytes(nullptr, bytes), -1);
  EXPECT_TRUE(is_untouched());
}

TEST(MacText, Oui) {
  EXPECT_EQ(validate_oui_text("00:1a:2B"), 0);
  EXPECT_EQ(validate_oui_text("AB:cd:EF"), 0);
  EXPECT_EQ(validate_oui_text("00:1a:2"), -1);   // missing position 7
  EXPECT_EQ(validate_oui_text("00:1a"), -1);
  EXPECT_EQ(validate_oui_text(""), -1);
  EXPECT_EQ(validate_oui_text("00:1a:2B:"), -1);  // 9 characters
  EXPECT_EQ(validate_oui_text("00-1a-2B"), -1);
  EXPECT_EQ(validate_oui_text("001a:2B0"), -1);
  EXPECT_EQ(validate_oui_text("00:1g:2B"), -1);
  EXPECT_EQ(validate_oui_text(std::string(40, 'a').c_str()), -1);
  EXPECT_EQ(validate_oui_text(nullptr), -1);
}

// ---- address conversions -----------------------------------------------------------

TEST(AddressConversion, PlatformRecordAndIpv4Value) {
  char text[kInetAddrTextSize];
  open_inet_addr_t addr{};
  addr.family = OPEN_AF_INET;
  addr.addr.ipv4 = 0xC0A80A01;  // host order
  EXPECT_EQ(platform_addr_to_text(&addr, text), text);
  EXPECT_STREQ(text, "192.168.10.1");

  addr = {};
  addr.family = OPEN_AF_INET6;
  ASSERT_EQ(inet_pton(AF_INET6, "2001:db8::8:1", addr.addr.ipv6), 1);
  EXPECT_EQ(platform_addr_to_text(&addr, text), text);
  EXPECT_STREQ(text, "2001:db8::8:1");

  addr.family = OPEN_AF_NONE;
  EXPECT_EQ(platform_addr_to_text(&addr, text), nullptr);
  addr.family = static_cast<OPEN_AF_t>(3);
  EXPECT_EQ(platform_addr_to_text(&addr, text), nullptr);
  EXPECT_EQ(platform_addr_to_text(nullptr, text), nullptr);

  char dotted[kIpv4TextSize];
  EXPECT_EQ(ipv4_to_text(0x0A000102, dotted), 0);
  EXPECT_STREQ(dotted, "10.0.1.2");
  EXPECT_EQ(ipv4_to_text(0xFFFFFFFF, dotted), 0);
  EXPECT_STREQ(dotted, "255.255.255.255");
  EXPECT_EQ(ipv4_to_text(0, dotted), 0);
  EXPECT_STREQ(dotted, "0.0.0.0");
  EXPECT_EQ(ipv4_to_text(0x01020304, nullptr), -1);
}

TEST(AddressConversion, PrefixLengthToMask) {
  EXPECT_EQ(prefix_len_to_mask(1), 0x80000000u);
  EXPECT_EQ(prefix_len_to_mask(8), 0xFF000000u);
  EXPECT_EQ(prefix_len_to_mask(23), 0xFFFFFE00u);
  EXPECT_EQ(prefix_len_to_mask(31), 0xFFFFFFFEu);
  EXPECT_EQ(prefix_len_to_mask(32), 0xFFFFFFFFu);

  LogCapture log;
  EXPECT_EQ(prefix_len_to_mask(0), 0u);
  // Too long a prefix gives the mask of 32: callers check the length first.
  EXPECT_EQ(prefix_len_to_mask(33), 0xFFFFFFFFu);
  EXPECT_EQ(prefix_len_to_mask(4000000000u), 0xFFFFFFFFu);
  std::string lines = log.text();
  EXPECT_THAT(lines, HasSubstr(" 7: Prefix length 0, MASK: 0.0.0.0\n"));
  EXPECT_THAT(lines, HasSubstr(" 7: Invalid Prefix length 33\n"));
  EXPECT_THAT(lines, HasSubstr(" 7: Invalid Prefix length 4000000000\n"));
}

class MaskConversion : public SimulatedSwitchTest {};

TEST_F(MaskConversion, CountsEveryOneBit) {
  uint32_t length = 99;
  EXPECT_EQ(mask_to_prefix_len("255.255.255.0", &length), 0);
  EXPECT_EQ(length, 24u);
  EXPECT_EQ(mask_to_prefix_len("255.255.255.255", &length), 0);
  EXPECT_EQ(length, 32u);
  EXPECT_EQ(mask_to_prefix_len("0.0.0.0", &length), 0);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(mask_to_prefix_len("128.0.0.0", &length), 0);
  EXPECT_EQ(length, 1u);
  // Non-contiguous masks are not refused: the ones are counted.
  EXPECT_EQ(mask_to_prefix_len("255.0.255.0", &length), 0);
  EXPECT_EQ(length, 16u);
  EXPECT_EQ(mask_to_prefix_len("0.0.0.255", &length), 0);
  EXPECT_EQ(length, 8u);

  length = 99;
  EXPECT_EQ(mask_to_prefix_len("255.255.0", &length), OPEN_E_PARAM);
  EXPECT_EQ(mask_to_prefix_len("mask", &length), OPEN_E_PARAM);
  EXPECT_EQ(length, 99u);
  EXPECT_EQ(mask_to_prefix_len(nullptr, &length), -1);
  EXPECT_EQ(mask_to_prefix_len("255.0.0.0", nullptr), -1);

  sim_.fail("rpcclt_openapiInetAton", 1, OPEN_E_INTERNAL);
  EXPECT_EQ(mask_to_prefix_len("255.0.0.0", &length), OPEN_E_INTERNAL);
  EXPECT_EQ(length, 99u);
}

// ---- ports -------------------------------------------------------------------------

class PortValidation : public SimulatedSwitchTest {};

TEST_F(PortValidation, FirstAndCountOfEachType) {
  EXPECT_EQ(intf_first_get(OPEN_INTF_TYPE_PHY), 1u);
  EXPECT_EQ(intf_count_get(OPEN_INTF_TYPE_PHY), 28u);
  EXPECT_EQ(intf_first_get(OPEN_INTF_TYPE_LAG), 33u);
  EXPECT_EQ(intf_count_get(OPEN_INTF_TYPE_LAG), 8u);
  EXPECT_EQ(intf_first_get(OPEN_INTF_TYPE_CPU), 41u);
  EXPECT_EQ(intf_count_get(OPEN_INTF_TYPE_CPU), 1u);
  // A type the switch does not have.
  EXPECT_EQ(intf_first_get(OPEN_INTF_TYPE_TUNNEL), 4294967295u);
  EXPECT_EQ(intf_count_get(OPEN_INTF_TYPE_TUNNEL), 0u);

  sim_.fail("openapiIfFirstGet", 2, OPEN_E_INTERNAL);
  EXPECT_EQ(intf_first_get(OPEN_INTF_TYPE_PHY), 4294967295u);
  EXPECT_EQ(intf_count_get(OPEN_INTF_TYPE_PHY), 0u);
  // A failing step ends the count where it stands.
  sim_.fail("openapiIfNextGet", 1, OPEN_E_INTERNAL);
  EXPECT_EQ(intf_count_get(OPEN_INTF_TYPE_LAG), 1u);
}

TEST_F(PortValidation, Kinds) {
  struct Case {
    uint32_t port;
    int physical, lag, any;
  };
  const Case cases[] = {
      {0, -1, -1, -1},  {1, 0, -1, 0},    {14, 0, -1, 0},   {28, 0, -1, 0},
      {29, -1, -1, -1}, {32, -1, -1, -1}, {33, -1, 0, 0},   {40, -1, 0, 0},
      {41, -1, -1, -1}, {1000, -1, -1, -1}, {4294967295u, -1, -1, -1},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE("port " + std::to_string(c.port));
    EXPECT_EQ(validate_port(c.port, PORT_KIND_PHYSICAL), c.physical);
    EXPECT_EQ(validate_port(c.port, PORT_KIND_LAG), c.lag);
    EXPECT_EQ(validate_port(c.port, PORT_KIND_ANY), c.any);
    // Kinds the validator does not know accept everything.
    EXPECT_EQ(validate_port(c.port, 7), 0);
    EXPECT_EQ(validate_port(c.port, 0), 0);
    EXPECT_EQ(validate_port(c.port, -1), 0);
  }
}

TEST_F(PortValidation, PlatformWithoutAnswersAcceptsNoPort) {
  sim_.fail("openapiIfFirstGet", 1000, OPEN_E_INTERNAL);
  for (uint32_t port : {0u, 1u, 28u, 33u, 4294967294u, 4294967295u}) {
    SCOPED_TRACE("port " + std::to_string(port));
    EXPECT_EQ(validate_port(port, PORT_KIND_PHYSICAL), -1);
    EXPECT_EQ(validate_port(port, PORT_KIND_LAG), -1);
    EXPECT_EQ(validate_port(port, PORT_KIND_ANY), -1);
  }
}

class PortValidationWithoutLags : public SimulatedSwitchTest {
 protected:
  PortValidationWithoutLags() : SimulatedSwitchTest(options()) {}
  static veltrum::sim::SimOptions options() {
    veltrum::sim::SimOptions o;
    o.copper = 8;
    o.uplinks = 2;
    o.lags = 0;
    return o;
  }
};

TEST_F(PortValidationWithoutLags, AnyKindEndsWithThePhysicalPorts) {
  ASSERT_EQ(intf_count_get(OPEN_INTF_TYPE_LAG), 0u);
  EXPECT_EQ(validate_port(1, PORT_KIND_ANY), 0);
  EXPECT_EQ(validate_port(10, PORT_KIND_ANY), 0);
  EXPECT_EQ(validate_port(11, PORT_KIND_ANY), -1);
  EXPECT_EQ(validate_port(4294967295u, PORT_KIND_ANY), -1);
  EXPECT_EQ(validate_port(10, PORT_KIND_PHYSICAL), 0);
  EXPECT_EQ(validate_port(11, PORT_KIND_PHYSICAL), -1);
  for (uint32_t port : {1u, 11u, 15u, 4294967295u}) EXPECT_EQ(validate_port(port, PORT_KIND_LAG), -1);
}

// ---- VLANs -------------------------------------------------------------------------

class VlanValidation : public SimulatedSwitchTest {};

TEST_F(VlanValidation, RangeAndExistence) {
  add_vlan(5);
  add_vlan(4093);
  EXPECT_EQ(validate_vlan(1), 0);
  EXPECT_EQ(validate_vlan(5), 0);
  EXPECT_EQ(validate_vlan(4093), 0);

  EXPECT_EQ(validate_vlan(0), OPEN_E_PARAM);
  EXPECT_STREQ(last_error_text, "Invalid vlan id(0) allowed range(1..4093)");
  EXPECT_EQ(validate_vlan(4094), OPEN_E_PARAM);
  EXPECT_STREQ(last_error_text, "Invalid vlan id(4094) allowed range(1..4093)");
  EXPECT_EQ(validate_vlan(4294967295u), OPEN_E_PARAM);
  EXPECT_STREQ(last_error_text, "Invalid vlan id(4294967295) allowed range(1..4093)");

  EXPECT_EQ(validate_vlan(6), OPEN_E_NOT_FOUND);
  EXPECT_STREQ(last_error_text, "Invalid VLAN ID 6");
}

TEST_F(VlanValidation, PlatformFailures) {
  add_vlan(5);

  // The existence check fails: its result is passed on with a message.
  sim_.fail("openapiVlanCreatedCheck", 1, OPEN_E_INTERNAL);
  EXPECT_EQ(validate_vlan(5), OPEN_E_INTERNAL);
  EXPECT_STREQ(last_error_text, "Failed to check VLAN ID 5");
  EXPECT_EQ(validate_vlan(5), 0);

  // The highest id cannot be read: its result is passed on, nothing is
  // formatted and the existence is not asked.
  format_last_error("untouched");
  sim_.reset_counts();
  sim_.fail("rpcclt_openapiDot1VlanMaxGet", 1, OPEN_E_UNAVAIL);
  EXPECT_EQ(validate_vlan(5), OPEN_E_UNAVAIL);
  EXPECT_STREQ(last_error_text, "untouched");
  EXPECT_EQ(sim_.count("openapiVlanCreatedCheck"), 0u);
  sim_.fail("rpcclt_openapiDot1VlanMaxGet", 1, OPEN_E_INTERNAL);
  EXPECT_EQ(validate_vlan(0), OPEN_E_INTERNAL);  // even before the range check
  EXPECT_STREQ(last_error_text, "untouched");
}

TEST_F(VlanValidation, Type) {
  add_vlan(5);
  EXPECT_EQ(vlan_type_get(1), OPEN_VLAN_TYPE_DEFAULT);
  EXPECT_EQ(vlan_type_get(5), OPEN_VLAN_TYPE_ADMIN);

  LogCapture log;
  EXPECT_EQ(vlan_type_get(7), -1);
  sim_.fail("rpcclt_openapiVlanTypeGet", 1, OPEN_E_INTERNAL);
  EXPECT_EQ(vlan_type_get(5), -1);
  std::string lines = log.text();
  EXPECT_THAT(lines, HasSubstr(" 4: Failed to max VLAN limits:-26\n"));
  EXPECT_THAT(lines, HasSubstr(" 4: Failed to max VLAN limits:-31\n"));
}

// ---- file types ---------------------------------------------------------------------

TEST(FileType, OnlyTransferableTypes) {
  for (int type : {3, 5, 6, 8, 9, 17, 19, 27, 35, 37, 38, 45}) EXPECT_EQ(validate_file_type(type), 0) << type;
  for (int type : {-1, 0, 1, 2, 4, 7, 10, 16, 18, 20, 26, 28, 34, 36, 39, 44, 46, 100})
    EXPECT_EQ(validate_file_type(type), -1) << type;
}

}  // namespace
