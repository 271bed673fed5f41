// DHCP snooping and the DHCP L2 relay: "dhcpsnp_global_cfg",
// "dhcpsnp_intf_cfg", "dhcpsnp_vlan", "dhcpsnpg_binding_static",
// "dhcpsnpg_binding_dynamic", "dhcp_snpg_stats", "dhcpsnp_persistent_cfg",
// "dhcpl2relay_global_cfg", "dhcpl2relay_intf", "dhcpl2relay_vlan" and
// "dhcpl2relay_stats".
#include "core/platform_call.h"
#include "platform/calls/03_network.h"
#include "platform/calls/15_dhcp_snooping.h"

using namespace veltrum::handler;

namespace {

// Aggregate codes of the family (docs/security.md).
constexpr int kBindingAggregate = 1300;
constexpr int kIntfAggregate = 1301;
constexpr int kVlanAggregate = 1302;
constexpr int kRelayVlanAggregate = 1303;
constexpr int kRelayIntfAggregate = 1304;

constexpr size_t kMacText = OPEN_MAC_TEXT_SIZE;  // the text and its NUL

// ---------------------------------------------------------------- dhcpsnp_global_cfg

const Field kGlobalFields[] = {
    {.key = "admin",
     .check = flag("Invalid DHCP Snooping Admin mode %d"),
     .get = platform_get<&rpcclt_openapiDhcpSnoopingAdminModeGet>,
     .set = platform_set<&rpcclt_openapiDsAdminModeSet>,
     .set_log = SetLog::ValueRc},
    {.key = "mac",
     .check = flag("Invalid DHCP Snooping Mac Status %d"),
     .get = platform_get<&rpcclt_openapiDhcpSnoopingVerifySourceMacGet>,
     .set = platform_set<&rpcclt_openapiDsVerifyMacSet>,
     .set_log = SetLog::ValueRc},
};
const Resource kGlobal{.name = "dhcpsnp_global_cfg", .walk = scalar(), .fields = kGlobalFields};

// ---------------------------------------------------------------- dhcpsnp_intf_cfg

const Field kIntfFields[] = {
    {.key = "port", .check = port_check(3, "Port validation failed")},
    {.key = "trust",
     .check = flag("Invalid  trusted %d"),
     .get = platform_get<&rpcclt_openapiDhcpSnoopingIntfTrustedGet>,
     .set = platform_set<&rpcclt_openapiDsIntfTrustSet>},
    {.key = "invalidPkts",
     .check = flag("Invalid  logged %d"),
     .get = platform_get<&rpcclt_openapiDhcpSnoopingIntfLoggedGet>,
     .set = platform_set<&rpcclt_openapiDsIntfLogInvalidSet>,
     .get_error = "Failed to DHCP scooping invalid packets mode : %d",
     .set_error = "Failed to set DHCP Snooping Invalid packets mode:%d"},
    {.key = "rate",
     .check = range(0, 300, "Rate Limit", "Invalid  rate %d"),
     .get = platform_get<&rpcclt_openapiDsIntfRateLimitGet>,
     .set = platform_set<&rpcclt_openapiDsIntfRateLimitSet>},
    {.key = "burst",
     .check = range(1, 15, "Burst Interval", "Invalid  Interval %d"),
     .get = platform_get<&rpcclt_openapiDsIntfBurstIntervalGet>,
     .set = platform_set<&rpcclt_openapiDsIntfBurstIntervalSet>},
};
const Resource kIntf{.name = "dhcpsnp_intf_cfg", .walk = ports(), .fields = kIntfFields, .aggregate = kIntfAggregate};

// ---------------------------------------------------------------- dhcpsnp_vlan

// Whether snooping is on for the element's VLAN: the run of enabled VLANs
// that follows the VLAN before it starts at this one.
int vlan_snooping(const Element &e, json_object **out) {
  uint32_t vlan = e.index.num[0];
  uint32_t start = 0;
  uint32_t end = vlan - 1;
  int rc = rpcclt_openapiDhcpSnoopingEnabledVlanRangeNextGet(&g_client_handle, &start, &end);
  if (rc != OPEN_E_NONE && rc != OPEN_E_NOT_FOUND) return rc;
  *out = json_object_new_int(rc == OPEN_E_NONE && start == vlan ? 1 : 0);
  return OPEN_E_NONE;
}

const Field kVlanFields[] = {
    {.key = "vlan", .check = vlan_check("Validation failed for vlan %d.\n")},
    {.key = "state",
     .check = flag("Invalid DHCP Vlan Admin Mode %d"),
     .get = vlan_snooping,
     .set = set<&rpcclt_openapiDsVlanConfigSet, Idx<0>, Idx<0>, Val>,
     .set_log = SetLog::IndexRc},
};
const Resource kVlan{.name = "dhcpsnp_vlan",
                     .walk = vlans(),
                     .fields = kVlanFields,
                     .aggregate = kVlanAggregate,
                     .wrapper = "dhcp_vlan_list"};

// ---------------------------------------------------------------- dhcpsnpg_binding_static, dhcpsnpg_binding_dynamic

// The bindings of one type in MAC order; the same call gives each one's
// VLAN, address, interface and remaining lease.
template <OPEN_DS_BINDING_TYPE_t Type>
constexpr Cursor kBindingWalk = cursor<&rpcclt_openapiDsBindingGetNext, Lit<Type>, Txt<0>, NextTxt<0, kMacText>,
                                       Row<"vlan">, Row<"ip">, Row<"port">, Row<"leaseTime">>;
constexpr const char *kBindingWalkError = "Failed to get the DHCP snooping bindings and error code:%d";

// The platform converts the address before the binding is added.
int add_static_binding(const Element &e) {
  std::string ip;
  std::string mac;
  read_text(e.value("ip"), ip);
  read_text(e.value("mac"), mac);
  open_buffdesc ip_text{static_cast<uint32_t>(ip.size() + 1), ip.data()};
  open_inet_addr_t addr{};
  if (int rc = rpcclt_openapiInetAddrGet(&g_client_handle, &ip_text, &addr)) return rc;
  open_buffdesc mac_text{static_cast<uint32_t>(mac.size() + 1), mac.data()};
  return rpcclt_openapiDsIpStaticBindingAdd(&g_client_handle, &mac_text, static_cast<uint32_t>(int_of(e.value("vlan"))),
                                            addr, static_cast<uint32_t>(int_of(e.value("port"))));
}

// A binding is named by its MAC address: a DELETE needs nothing else.
const Field kStaticFields[] = {
    {.key = "mac", .check = mac_check("MAC Address", "Invalid Mac Address"), .flags = kIndex},
    {.key = "vlan",
     .check = vlan_check("Validation failed for vlan %d.\n"),
     .get = from_row<"vlan">,
     .flags = kGet | kPost},
    {.key = "ip",
     .check = ipv4_check("IP Address", "Invalid IP Address", 11),
     .get = from_row<"ip">,
     .flags = kGet | kPost},
    {.key = "port", .check = port_check(3, "Port validation failed"), .get = from_row<"port">, .flags = kGet | kPost},
};
const Resource kStatic{.name = "dhcpsnpg_binding_static",
                       .walk = list(kBindingWalk<OPEN_DS_BINDING_STATIC>, kBindingWalkError),
                       .fields = kStaticFields,
                       .aggregate = kBindingAggregate,
                       .create = add_static_binding,
                       .create_error = "Failed to add the static binding %s and error code : %d",
                       .create_log = ActionLog::TextRc,
                       .remove = act<&rpcclt_openapiDsIpStaticBindingRemove, Txt<0>>,
                       .remove_error = "Failed to remove the static binding %s and error code : %d",
                       .remove_log = ActionLog::TextRc};

const Field kDynamicFields[] = {
    {.key = "mac", .check = any_text(), .flags = kIndex},
    {.key = "vlan", .get = from_row<"vlan">},
    {.key = "ip", .get = from_row<"ip">},
    {.key = "port", .get = from_row<"port">},
    {.key = "leaseTime", .get = from_row<"leaseTime">},
};
const Resource kDynamic{.name = "dhcpsnpg_binding_dynamic",
                        .walk = list(kBindingWalk<OPEN_DS_BINDING_DYNAMIC>, kBindingWalkError),
                        .fields = kDynamicFields};

// ---------------------------------------------------------------- dhcp_snpg_stats

constexpr Member kStatsMembers[] = {
    VELTRUM_MEMBER(OPEN_DS_INTF_STATS_t, macVerifyFailures, "macVerify"),
    VELTRUM_MEMBER(OPEN_DS_INTF_STATS_t, clientIfMismatch, "mismatch"),
    VELTRUM_MEMBER(OPEN_DS_INTF_STATS_t, untrustedSvrMsgs, "untrusted"),
};
const Field kStatsFields[] = {
    {.key = "port", .check = port_check(3, "Port validation failed")},
    {.key = "counters", .get = get<&rpcclt_openapiDsIntfStatsGet, Idx<0>, Rec<kStatsMembers>>, .flags = kGet | kMerge},
};
const Resource kStats{.name = "dhcp_snpg_stats", .walk = ports(), .fields = kStatsFields};

// ---------------------------------------------------------------- dhcpsnp_persistent_cfg

// "type" 0 keeps the database on the switch, 1 on the server "ip". The
// switch tells them apart by the server address alone (0: local).
constexpr int64_t kDbTypes[] = {0, 1};

int db_type(const Element &, json_object **out) {
  uint32_t ip = 0;
  int rc = rpcclt_openapiDhcpSnoopingDbIpAddressGet(&g_client_handle, &ip);
  if (rc == OPEN_E_NONE) *out = json_object_new_int(ip != 0 ? 1 : 0);
  return rc;
}

// Local: no server. Remote: the platform converts the address, which must
// name one.
int set_db_address(const Element &e, json_object *value) {
  uint32_t ip = 0;
  if (int_of(e.value("type")) == 1) {
    std::string text;
    read_text(value, text);
    open_buffdesc desc{static_cast<uint32_t>(text.size() + 1), text.data()};
    if (int rc = rpcclt_openapiInetAton(&g_client_handle, &desc, &ip)) return rc;
    if (ip == 0) return OPEN_E_PARAM;
  }
  return rpcclt_openapiDsDbIpAddrSet(&g_client_handle, ip);
}

const Field kPersistentFields[] = {
    {.key = "type", .check = one_of(kDbTypes, "Invalid DHCP Snooping Type %d"), .get = db_type, .flags = kGet | kPost},
    {.key = "ip",
     .check = ipv4_check(nullptr, "Invalid DHCP Snooping server address %s"),
     .get = get<&rpcclt_openapiDhcpSnoopingDbIpAddressGet, Ipv4<Val>>,
     .set = set_db_address},
    {.key = "name",
     .check = platform_text_length(platform_limits<&rpcclt_openapiDhcpSnoopingDbFileNameMaxLengthGet, 1>, "File Name",
                                   "File name length is upto %d characters only"),
     .get = platform_get<&rpcclt_openapiDhcpSnoopingDbFileNameGet, OPEN_DS_DB_FILE_NAME_MAX + 1>,
     .set = platform_set<&rpcclt_openapiDsDbFileNameSet>},
    {.key = "writeDelay",
     .check = range(15, 86400, "Write Delay", "Invalid write delay %d"),
     .get = platform_get<&rpcclt_openapiDhcpSnoopingDbWriteDelayGet>,
     .set = platform_set<&rpcclt_openapiDsDbStoreIntervalSet>,
     .set_log = SetLog::ValueRc},
};
const Resource kPersistent{.name = "dhcpsnp_persistent_cfg", .walk = scalar(), .fields = kPersistentFields};

// ---------------------------------------------------------------- dhcpl2relay_global_cfg

const Field kRelayGlobalFields[] = {
    {.key = "admin",
     .check = flag("Invalid DHCP L2 Relay Admin mode %d"),
     .get = platform_get<&rpcclt_openapiDsL2RelayAdminModeGet>,
     .set = platform_set<&rpcclt_openapiDsL2RelayAdminModeSet>,
     .set_log = SetLog::ValueRc},
};
const Resource kRelayGlobal{.name = "dhcpl2relay_global_cfg", .walk = scalar(), .fields = kRelayGlobalFields};

// ---------------------------------------------------------------- dhcpl2relay_intf

const Field kRelayIntfFields[] = {
    {.key = "port", .check = port_check(3, "Port validation failed.\n")},
    {.key = "admin",
     .check = flag("Invalid Admin mode: %d"),
     .get = platform_get<&rpcclt_openapiDsL2RelayIntfModeGet>,
     .set = platform_set<&rpcclt_openapiDsL2RelayIntfModeSet>,
     .set_log = SetLog::IndexRc},
    {.key = "trust82",
     .check = flag("Invalid trust82 mode: %d"),
     .get = platform_get<&rpcclt_openapiDsL2RelayIntfTrustGet>,
     .set = platform_set<&rpcclt_openapiDsL2RelayIntfTrustSet>,
     .set_log = SetLog::IndexRc},
};
const Resource kRelayIntf{.name = "dhcpl2relay_intf",
                          .walk = ports(),
                          .fields = kRelayIntfFields,
                          .aggregate = kRelayIntfAggregate,
                          .wrapper = "dhcp_l2relay_list"};

// ---------------------------------------------------------------- dhcpl2relay_vlan

// Per VLAN: the relay's mode, whether it adds the circuit id to option 82,
// and the remote id it adds ("" none; the platform's length).
const Field kRelayVlanFields[] = {
    {.key = "vlan", .check = vlan_check("Validation failed for vlan Id %d.\n")},
    {.key = "state",
     .check = flag("Invalid dhcp l2 relay mode: %d"),
     .get = platform_get<&rpcclt_openapiDsL2RelayVlanModeGet>,
     .set = platform_set<&rpcclt_openapiDsL2RelayVlanModeSet>,
     .set_log = SetLog::IndexRc},
    {.key = "circuitId",
     .check = flag("Invalid circuit id: %d"),
     .get = platform_get<&rpcclt_openapiDsL2RelayCircuitIdGet>,
     .set = platform_set<&rpcclt_openapiDsL2RelayCircuitIdSet>,
     .set_log = SetLog::IndexRc},
    {.key = "remoteId",
     .check = any_text(),
     .get = platform_get<&rpcclt_openapiDsL2RelayRemoteIdGet, OPEN_DS_REMOTE_ID_MAX + 1>,
     .set = set<&rpcclt_openapiDsL2RelayRemoteIdSet, Idx<0>, Val>,
     .set_log = SetLog::IndexRc},
};
const Resource kRelayVlan{.name = "dhcpl2relay_vlan",
                          .walk = vlans(),
                          .fields = kRelayVlanFields,
                          .aggregate = kRelayVlanAggregate,
                          .wrapper = "dhcp_l2relay_list"};

// ---------------------------------------------------------------- dhcpl2relay_stats

constexpr Member kRelayStatsMembers[] = {
    VELTRUM_MEMBER(OPEN_DS_L2RELAY_INTF_STATS_t, untrustedSrvMsgsWithOpt82, "utsrvw82"),
    VELTRUM_MEMBER(OPEN_DS_L2RELAY_INTF_STATS_t, untrustedCliMsgsWithOpt82, "utclientw82"),
    VELTRUM_MEMBER(OPEN_DS_L2RELAY_INTF_STATS_t, trustedSrvMsgsWithoutOpt82, "tsrvwo82"),
    VELTRUM_MEMBER(OPEN_DS_L2RELAY_INTF_STATS_t, trustedCliMsgsWithoutOpt82, "tclientwo82"),
};
const Field kRelayStatsFields[] = {
    {.key = "intf", .check = port_check(3, "Port validation failed.\n")},
    {.key = "counters",
     .get = get<&rpcclt_openapiDsL2RelayIntfStatsGet, Idx<0>, Rec<kRelayStatsMembers>>,
     .flags = kGet | kMerge},
};
const Resource kRelayStats{
    .name = "dhcpl2relay_stats", .walk = ports(), .fields = kRelayStatsFields, .wrapper = "statistics"};

}  // namespace

VELTRUM_SERVE(dhcpsnp_global_cfg, kGlobal);
VELTRUM_SERVE(dhcpsnp_intf_cfg, kIntf);
VELTRUM_SERVE(dhcpsnp_vlan, kVlan);
VELTRUM_SERVE(dhcpsnpg_binding_static, kStatic);
VELTRUM_SERVE(dhcpsnpg_binding_dynamic, kDynamic);
VELTRUM_SERVE(dhcp_snpg_stats, kStats);
VELTRUM_SERVE(dhcpsnp_persistent_cfg, kPersistent);
VELTRUM_SERVE(dhcpl2relay_global_cfg, kRelayGlobal);
VELTRUM_SERVE(dhcpl2relay_intf, kRelayIntf);
VELTRUM_SERVE(dhcpl2relay_vlan, kRelayVlan);
VELTRUM_SERVE(dhcpl2relay_stats, kRelayStats);
