// Dynamic ARP Inspection: "dai_global_cfg", "dai_vlan_cfg", "dai_intf_cfg",
// "dai_acl_cfg", "dai_aclrule_cfg", "dai_stats".
//
// Every resource is a declaration served by the shared walkers; the only
// code of its own is the check of a rule's address, which asks the
// platform to convert it before it is validated.
#include "core/platform_call.h"
#include "core/validate.h"
#include "platform/calls/10_dai.h"
#include "support/log.h"

using namespace veltrum::handler;

namespace {

// Error codes of requests with several failing elements.
constexpr int kDaiVlanAggregate = 113;
// The ARP ACL list has no code of its own in the client's table; it shares
// the next free code of the family.
constexpr int kDaiAclAggregate = 115;
constexpr int kDaiIntfAggregate = 116;
constexpr int kDaiAclRuleAggregate = 117;

// ARP ACL names are handed over with at most 32 characters.
constexpr size_t kAclNameMax = 32;

// ---------------------------------------------------------------- dai_global_cfg

const Field kGlobalFields[] = {
    {.key = "smac",
     .check = flag("Invalid Source Mac Mode %d "),
     .get = platform_get<&rpcclt_openapiDaiSourceMacValidateModeGet>,
     .set = platform_set<&rpcclt_openapiDaiSourceMacValidateModeSet>,
     .get_error = "Failed to get the Source MAC validation mode and error code:%d",
     .set_error = "Failed to set the Source MAC validation mode %d and error code : %d",
     .set_log = SetLog::ValueRc},
    {.key = "dmac",
     .check = flag("Invalid Destination Mac Mode %d"),
     .get = platform_get<&rpcclt_openapiDaiDestMacValidateModeGet>,
     .set = platform_set<&rpcclt_openapiDaiDestMacValidateModeSet>,
     .get_error = "Failed to get the Destination MAC validation mode and error code:%d",
     .set_error = "Failed to set the Destination MAC validation mode %d and error code : %d",
     .set_log = SetLog::ValueRc},
    {.key = "ip",
     .check = flag("Invalid IP address validation Mode %d"),
     .get = platform_get<&rpcclt_openapiDaiIpAddrValidateModeGet>,
     .set = platform_set<&rpcclt_openapiDaiIpAddrValidateModeSet>,
     .get_error = "Failed to get the IP address validation mode and error code:%d",
     .set_error = "Failed to set the IP address validation mode %d and error code : %d",
     .set_log = SetLog::ValueRc},
};
const Resource kGlobal{.name = "dai_global_cfg", .walk = scalar(), .fields = kGlobalFields};

// ---------------------------------------------------------------- dai_vlan_cfg

const Field kVlanFields[] = {
    {.key = "vlan", .check = vlan_check("Validation failed for vlan id: %d.\n")},
    {.key = "state",
     .check = flag("Invalid Admin Mode %d "),
     .get = platform_get<&rpcclt_openapiDaiVlanEnableGet>,
     .set = platform_set<&rpcclt_openapiDaiVlanEnableSet>,
     .set_error = "Failed to set the Admin Mode for vlan id:%d and error code : %d",
     .set_log = SetLog::IndexRc},
    {.key = "invalidPkts",
     .check = flag("Invalid data for Invalid Packets %d"),
     .get = platform_get<&rpcclt_openapiDaiVlanLoggingEnableGet>,
     .set = platform_set<&rpcclt_openapiDaiVlanLoggingEnableSet>,
     .set_error = "Failed to set the Invalid Packets for vlan id:%d and error code : %d",
     .set_log = SetLog::IndexRc},
    {.key = "acl",
     .get = platform_get<&rpcclt_openapiDaiVlanArpAclGet, kAclNameMax>,
     .set = set<&rpcclt_openapiDaiVlanArpAclSet, Idx<0>, Val>,
     .set_error = "Failed to set the ARP ACL Name :%s and error code : %d",
     .set_log = SetLog::ValueRc},
    {.key = "staticFlag",
     .get = platform_get<&rpcclt_openapiDaiVlanArpAclStaticFlagGet>,
     .set = platform_set<&rpcclt_openapiDaiVlanArpAclStaticFlagSet>,
     .set_error = "Failed to set the ARP ACL Static Flag for vlan id :%d and error code : %d",
     .set_log = SetLog::IndexRc},
};
const Resource kVlan{.name = "dai_vlan_cfg", .walk = vlans(), .fields = kVlanFields, .aggregate = kDaiVlanAggregate};

// ---------------------------------------------------------------- dai_intf_cfg

const Field kIntfFields[] = {
    {.key = "port", .check = port_check(3, "Port validation failed")},
    {.key = "trust",
     .check = flag("Invalid  trusted %d"),
     .get = platform_get<&rpcclt_openapiDaiIntfTrustGet>,
     .set = platform_set<&rpcclt_openapiDaiIntfTrustSet>,
     .get_error = "Failed to get the DAI interface trust mode : %d",
     .set_error = "Failed to set  DAI trusted mode:%d"},
    {.key = "rate",
     .check = range(0, 300, "Rate Limit", "Invalid  rate %d"),
     .get = platform_get<&rpcclt_openapiDaiIntfRateLimitGet>,
     .set = platform_set<&rpcclt_openapiDaiIntfRateLimitSet>,
     .get_error = "Failed to DAI scooping interface rate limit : %d",
     .set_error = "Failed to set  DAI interface rate limit:%d"},
    {.key = "burst",
     .check = range(1, 15, "Burst Interval", "Invalid  Interval %d"),
     .get = platform_get<&rpcclt_openapiDaiIntfBurstIntervalGet>,
     .set = platform_set<&rpcclt_openapiDaiIntfBurstIntervalSet>,
     .get_error = "Failed to get DAI snooping burst interval : %d",
     .set_error = "Failed to set DAI burst interval :%d"},
};
const Resource kIntf{.name = "dai_intf_cfg",
                     .walk = ports(),
                     .fields = kIntfFields,
                     .aggregate = kDaiIntfAggregate,
                     .missing_key_log = "Parsing Error 'dai_intf_cfg' object "};

// ---------------------------------------------------------------- dai_acl_cfg

// The ARP ACL names in platform order: an empty name asks for the first.
constexpr Cursor kAclWalk = cursor<&rpcclt_openapiArpAclNextGet, Txt<0, kAclNameMax>, NextTxt<0, kAclNameMax>>;
constexpr const char *kAclWalkError = "Failed to get the ACL Names and error code: %d";

const Field kAclFields[] = {
    {.key = "name", .check = any_text(), .flags = kIndex},
};
const Resource kAcl{.name = "dai_acl_cfg",
                    .walk = list(kAclWalk, kAclWalkError),
                    .fields = kAclFields,
                    .aggregate = kDaiAclAggregate,
                    .create = act<&rpcclt_openapiArpAclCreate, Txt<0, kAclNameMax>>,
                    .create_error = "Failed to set the ACL Name: %s and error code : %d",
                    .create_log = ActionLog::TextRc,
                    .remove = act<&rpcclt_openapiArpAclDelete, Txt<0, kAclNameMax>>,
                    .remove_error = "Failed to delete the ACL Name: %s and error code : %d",
                    .remove_log = ActionLog::TextRc};

// ---------------------------------------------------------------- dai_aclrule_cfg

// An empty address is any address. Otherwise the platform converts it
// first, and then it must be an IPv4 address text.
bool check_rule_address(Outcome &out, const char *, json_object *value) {
  std::string text;
  if (!read_text(value, text)) {
    out.fail("Error in converting ip address string\n");
    return false;
  }
  if (text.empty()) return true;
  char buffer[32] = {};
  strncpyt(buffer, text.c_str(), sizeof buffer - 1);
  open_buffdesc desc{static_cast<uint32_t>(std::strlen(buffer) + 1), buffer};
  uint32_t address = 0;
  if (rpcclt_openapiInetAton(&g_client_handle, &desc, &address) != OPEN_E_NONE) {
    out.fail("Error in converting ip address string\n");
    return false;
  }
  if (validate_ipv4_text(text.c_str()) != 0) {
    out.fail("Invalid IP Address");
    out.code(11);
    out.detail_text("params", "Source IP Address");
    out.detail_text("value", text.c_str());
    return false;
  }
  return true;
}

// The rules of one ACL by sequence number (0 asks for the first); the same
// call gives each rule's match and action.
constexpr Cursor kRuleWalk = cursor<&rpcclt_openapiArpAclRuleNextGetV2, Txt<0, kAclNameMax>, Idx<0>, NextNum<0>,
                                    RowIpv4<"ip">, RowText<"mac", kAclNameMax>, Row<"action">>;

const Field kRuleFields[] = {
    {.key = "idx", .check = non_zero("Invalid Id Number"), .flags = kIndex},
    {.key = "ip", .check = custom_check(check_rule_address), .get = from_row<"ip">},
    {.key = "mac", .check = mac_check("Source MAC Address", "Invalid Mac Address"), .get = from_row<"mac">},
    {.key = "action", .check = choice(1, 2, "Invalid action"), .get = from_row<"action">},
};
// A rule is named by its ACL and "idx" alone: a DELETE needs nothing else
// of the rule.
const Resource kRule{
    .name = "dai_aclrule_cfg",
    .walk = list(kRuleWalk),
    .fields = kRuleFields,
    .create =
        act<&rpcclt_openapiArpAclRuleAdd, Txt<0, kAclNameMax>, Idx<0>, Ipv4<Key<"ip">>, Key<"mac">, Key<"action">>,
    .create_error = "Failed to add rule for id : %d. Error %d",
    .create_log = ActionLog::IndexRc,
    .remove = act<&rpcclt_openapiArpAclRuleDelete, Txt<0, kAclNameMax>, Idx<0>>,
    .remove_error = "Failed to delete rule for id : %d",
    .remove_log = ActionLog::Index};

const Nested kAclRules{.key = "aclrules",
                       .child = &kRule,
                       .missing_log = "Parsing Error 'aclrules' object ",
                       .not_array_log = "Parsing error - expected aclrules array "};
// "aclName" lists that ACL only.
const Query kAclRuleQuery[] = {{.name = "aclName", .check = any_text(), .index = 0}};
const Resource kAclRule{.name = "dai_aclrule_cfg",
                        .walk = list(kAclWalk, kAclWalkError),
                        .fields = kAclFields,
                        .aggregate = kDaiAclRuleAggregate,
                        .query = kAclRuleQuery,
                        .nested = {&kAclRules, 1},
                        .wrapper = "acls",
                        .wrapper_missing_log = "Parsing error - acls"};

// ---------------------------------------------------------------- dai_stats

constexpr Member kStatsMembers[] = {
    VELTRUM_MEMBER(OPEN_DAI_VLAN_STATS_t, dhcpDrops, "dhcpDrop"),
    VELTRUM_MEMBER(OPEN_DAI_VLAN_STATS_t, dhcpPermits, "dhcpPermit"),
    VELTRUM_MEMBER(OPEN_DAI_VLAN_STATS_t, aclDrops, "aclDrop"),
    VELTRUM_MEMBER(OPEN_DAI_VLAN_STATS_t, aclPermits, "aclPermit"),
    VELTRUM_MEMBER(OPEN_DAI_VLAN_STATS_t, sMacFailures, "badSMAC"),
    VELTRUM_MEMBER(OPEN_DAI_VLAN_STATS_t, dMacFailures, "badDMAC"),
    VELTRUM_MEMBER(OPEN_DAI_VLAN_STATS_t, ipValidFailures, "badIP"),
    VELTRUM_MEMBER(OPEN_DAI_VLAN_STATS_t, forwarded, "forward"),
    VELTRUM_MEMBER(OPEN_DAI_VLAN_STATS_t, dropped, "drops"),
};
const Field kStatsFields[] = {
    {.key = "vlan", .check = any_number(), .flags = kIndex},
    {.key = "counters", .get = get<&rpcclt_openapiDaiVlanStatsGet, Idx<0>, Rec<kStatsMembers>>, .flags = kGet | kMerge},
};
// VLANs with DAI data only.
const Resource kStats{.name = "dai_stats",
                      .walk = list(cursor<&rpcclt_openapiDaiVlanNextGet, Idx<0>, NextNum<0>>),
                      .fields = kStatsFields};

}  // namespace

VELTRUM_SERVE(dai_global_cfg, kGlobal);
VELTRUM_SERVE(dai_vlan_cfg, kVlan);
VELTRUM_SERVE(dai_intf_cfg, kIntf);
VELTRUM_SERVE(dai_acl_cfg, kAcl);
VELTRUM_SERVE(dai_aclrule_cfg, kAclRule);
VELTRUM_SERVE(dai_stats, kStats);
