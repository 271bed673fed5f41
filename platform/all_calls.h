// Every family of the platform API, in family order: for the channel's
// plumbing only (the hello fingerprints, the simulator's call table, the
// control tool). Handler and simulator code include the families they use.
//
// The family files are fixed, one per feature family in catalogue order; a
// family's work adds calls to its own file and never edits this one.
#pragma once

#include "platform/calls/00_system.h"
#include "platform/calls/01_interfaces.h"
#include "platform/calls/02_vlans.h"
#include "platform/calls/03_network.h"
#include "platform/calls/04_users.h"
#include "platform/calls/05_http.h"
#include "platform/calls/06_diagnostics.h"
#include "platform/calls/07_firmware.h"
#include "platform/calls/08_files.h"
#include "platform/calls/09_cli.h"
#include "platform/calls/10_dai.h"
#include "platform/calls/11_acl.h"
#include "platform/calls/12_port_security.h"
#include "platform/calls/13_dot1x.h"
#include "platform/calls/14_aaa.h"
#include "platform/calls/15_dhcp_snooping.h"
#include "platform/calls/16_mac_filter.h"
#include "platform/calls/17_storm_control.h"
#include "platform/calls/18_dos.h"
#include "platform/calls/19_loop_protection.h"
#include "platform/calls/20_mgmt_access.h"
#include "platform/calls/21_private_vlan.h"
#include "platform/calls/22_voice_vlan.h"
#include "platform/calls/23_vlan_classify.h"
#include "platform/calls/24_lag.h"
#include "platform/calls/25_stp.h"
#include "platform/calls/26_mac_table.h"
#include "platform/calls/27_ports.h"
#include "platform/calls/28_lldp.h"
#include "platform/calls/29_mirroring.h"
#include "platform/calls/30_garp.h"
#include "platform/calls/31_snooping.h"
#include "platform/calls/32_mvr.h"
#include "platform/calls/33_mfdb.h"
#include "platform/calls/34_routing.h"
#include "platform/calls/35_arp.h"
#include "platform/calls/36_ipv6.h"
#include "platform/calls/37_qos.h"
#include "platform/calls/38_diffserv.h"
#include "platform/calls/39_system_info.h"
#include "platform/calls/40_dns.h"
#include "platform/calls/41_time.h"
#include "platform/calls/42_logging.h"
#include "platform/calls/43_snmp.h"
#include "platform/calls/44_remote_access.h"
#include "platform/calls/45_dhcp_server.h"
#include "platform/calls/46_dhcp_relay.h"
#include "platform/calls/47_device_status.h"
#include "platform/calls/48_companion.h"

// F(family) for every family, in family order.
#define VELTRUM_FOR_EACH_FAMILY(F) \
  F(system) \
  F(interfaces) \
  F(vlans) \
  F(network) \
  F(users) \
  F(http) \
  F(diagnostics) \
  F(firmware) \
  F(files) \
  F(cli) \
  F(dai) \
  F(acl) \
  F(port_security) \
  F(dot1x) \
  F(aaa) \
  F(dhcp_snooping) \
  F(mac_filter) \
  F(storm_control) \
  F(dos) \
  F(loop_protection) \
  F(mgmt_access) \
  F(private_vlan) \
  F(voice_vlan) \
  F(vlan_classify) \
  F(lag) \
  F(stp) \
  F(mac_table) \
  F(ports) \
  F(lldp) \
  F(mirroring) \
  F(garp) \
  F(snooping) \
  F(mvr) \
  F(mfdb) \
  F(routing) \
  F(arp) \
  F(ipv6) \
  F(qos) \
  F(diffserv) \
  F(system_info) \
  F(dns) \
  F(time) \
  F(logging) \
  F(snmp) \
  F(remote_access) \
  F(dhcp_server) \
  F(dhcp_relay) \
  F(device_status) \
  F(companion)

namespace veltrum::rpc {

// What the channel's plumbing knows of each family.
struct FamilyInfo {
  uint32_t number;
  const char *name;
  uint32_t count;
  uint32_t fingerprint;
  const char *const *names;  // by position
};

#define VELTRUM_FAMILY_INFO(f)                                                                      \
  {veltrum::calls::f::kFamily, veltrum::calls::f::kFamilyName, veltrum::calls::f::kCount,           \
   veltrum::calls::f::kFingerprint, veltrum::calls::f::kNames},
inline constexpr FamilyInfo kFamilies[] = {VELTRUM_FOR_EACH_FAMILY(VELTRUM_FAMILY_INFO)};
#undef VELTRUM_FAMILY_INFO
inline constexpr uint32_t kFamilyCount = sizeof kFamilies / sizeof kFamilies[0];

constexpr bool families_in_order() {
  for (uint32_t i = 0; i < kFamilyCount; ++i)
    if (kFamilies[i].number != i) return false;
  return true;
}
static_assert(families_in_order(), "family numbers must count from 0 in the order of this file");

// A fingerprint of every call list, exchanged when a connection opens, so
// that a client and a service built from different lists refuse each other.
constexpr uint32_t platform_fingerprint() {
  uint32_t h = 2166136261u;
  for (const FamilyInfo &f : kFamilies)
    for (int shift = 0; shift < 32; shift += 8) h = (h ^ ((f.fingerprint >> shift) & 0xffu)) * 16777619u;
  return h;
}
inline constexpr uint32_t kPlatformFingerprint = platform_fingerprint();

// The family and position of a wire id; false for ids that name no call.
inline bool split_wire_id(uint32_t id, uint32_t &family, uint32_t &position) {
  family = id >> kFamilyShift;
  position = id & (kMaxFamilyCalls - 1);
  return family < kFamilyCount && position < kFamilies[family].count;
}

// The name of a platform call, "" for an unknown id.
inline const char *call_name(uint32_t id) {
  uint32_t family = 0, position = 0;
  return split_wire_id(id, family, position) ? kFamilies[family].names[position] : "";
}

}  // namespace veltrum::rpc
