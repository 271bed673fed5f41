// Dynamic ARP Inspection: "dai_global_cfg", "dai_vlan_cfg", "dai_intf_cfg",
// "dai_acl_cfg", "dai_aclrule_cfg", "dai_stats".
//
// The global, per-VLAN and per-interface settings are declarations served
// by the shared walkers of core/handler.h; ARP ACLs, their rules and the
// counters have code of their own on the same helpers.
#include <arpa/inet.h>

#include "core/handler.h"
#include "core/validate.h"
#include "support/log.h"
#include "uri/handlers.h"

using namespace veltrum::handler;

namespace {

// Error codes of requests with several failing elements.
constexpr int kDaiVlanAggregate = 113;
// The ARP ACL list has no code of its own in the client's table; it shares
// the next free code of the family.
constexpr int kDaiAclAggregate = 115;
constexpr int kDaiIntfAggregate = 116;
constexpr int kDaiAclRuleAggregate = 117;

constexpr size_t kAclNameMax = 32;  // characters; buffers hold one more

// ---- dai_global_cfg

const Field kGlobalFields[] = {
    {"smac", flag("Invalid Source Mac Mode %d "),
     platform_get<&rpcclt_openapiDaiSourceMacValidateModeGet>, platform_set<&rpcclt_openapiDaiSourceMacValidateModeSet>,
     "Failed to get the Source MAC validation mode and error code:%d",
     "Failed to set the Source MAC validation mode %d and error code : %d", SetLog::ValueRc},
    {"dmac", flag("Invalid Destination Mac Mode %d"),
     platform_get<&rpcclt_openapiDaiDestMacValidateModeGet>, platform_set<&rpcclt_openapiDaiDestMacValidateModeSet>,
     "Failed to get the Destination MAC validation mode and error code:%d",
     "Failed to set the Destination MAC validation mode %d and error code : %d", SetLog::ValueRc},
    {"ip", flag("Invalid IP address validation Mode %d"),
     platform_get<&rpcclt_openapiDaiIpAddrValidateModeGet>, platform_set<&rpcclt_openapiDaiIpAddrValidateModeSet>,
     "Failed to get the IP address validation mode and error code:%d",
     "Failed to set the IP address validation mode %d and error code : %d", SetLog::ValueRc},
};
const Resource kGlobal{"dai_global_cfg", Shape::Scalar, kGlobalFields, std::size(kGlobalFields)};

// ---- dai_vlan_cfg

const Field kVlanFields[] = {
    {"vlan", vlan_check("Validation failed for vlan id: %d.\n")},
    {"state", flag("Invalid Admin Mode %d "),
     platform_get<&rpcclt_openapiDaiVlanEnableGet>, platform_set<&rpcclt_openapiDaiVlanEnableSet>,
     "Failed to get the Admin Mode and error code:%d",
     "Failed to set the Admin Mode for vlan id:%d and error code : %d", SetLog::IndexRc},
    {"invalidPkts", flag("Invalid data for Invalid Packets %d"),
     platform_get<&rpcclt_openapiDaiVlanLoggingEnableGet>, platform_set<&rpcclt_openapiDaiVlanLoggingEnableSet>,
     "Failed to get the Invalid Packets and error code:%d",
     "Failed to set the Invalid Packets for vlan id:%d and error code : %d", SetLog::IndexRc},
    {"acl", no_check(),
     platform_get<&rpcclt_openapiDaiVlanArpAclGet, kAclNameMax>, platform_set<&rpcclt_openapiDaiVlanArpAclSet, kAclNameMax>,
     "Failed to get the ARP ACL Name and error code:%d",
     "Failed to set the ARP ACL Name :%s and error code : %d", SetLog::ValueRc},
    {"staticFlag", no_check(),
     platform_get<&rpcclt_openapiDaiVlanArpAclStaticFlagGet>, platform_set<&rpcclt_openapiDaiVlanArpAclStaticFlagSet>,
     "Failed to get the ARP ACL Static Flag and error code:%d",
     "Failed to set the ARP ACL Static Flag for vlan id :%d and error code : %d", SetLog::IndexRc},
};
const Resource kVlan{"dai_vlan_cfg", Shape::Vlan, kVlanFields, std::size(kVlanFields), kDaiVlanAggregate};

// ---- dai_intf_cfg

const Field kIntfFields[] = {
    {"port", port_check(3, "Port validation failed")},
    {"trust", flag("Invalid  trusted %d"),
     platform_get<&rpcclt_openapiDaiIntfTrustGet>, platform_set<&rpcclt_openapiDaiIntfTrustSet>,
     "Failed to get the DAI interface trust mode : %d", "Failed to set  DAI trusted mode:%d"},
    {"rate", range(0, 300, "Rate Limit", "Invalid  rate %d"),
     platform_get<&rpcclt_openapiDaiIntfRateLimitGet>, platform_set<&rpcclt_openapiDaiIntfRateLimitSet>,
     "Failed to DAI scooping interface rate limit : %d", "Failed to set  DAI interface rate limit:%d"},
    {"burst", range(1, 15, "Burst Interval", "Invalid  Interval %d"),
     platform_get<&rpcclt_openapiDaiIntfBurstIntervalGet>, platform_set<&rpcclt_openapiDaiIntfBurstIntervalSet>,
     "Failed to get DAI snooping burst interval : %d", "Failed to set DAI burst interval :%d"},
};
const Resource kIntf{"dai_intf_cfg", Shape::Interface, kIntfFields, std::size(kIntfFields), kDaiIntfAggregate,
                     "Parsing Error 'dai_intf_cfg' object "};

// A text of at most 32 characters in a zeroed 33-byte buffer, handed to
// the platform with its length plus one.
// The descriptor points into the object itself, so it is neither copied
// nor moved.
struct AclName {
  char text[kAclNameMax + 1] = {};
  open_buffdesc desc{1, text};
  explicit AclName(const char *name = "") { assign(name); }
  AclName(const AclName &) = delete;
  AclName &operator=(const AclName &) = delete;
  void assign(const char *name) {
    std::memset(text, 0, sizeof text);
    strncpyt(text, name, kAclNameMax);
    desc.size = static_cast<uint32_t>(std::strlen(text) + 1);
  }
};

// Walks the ARP ACL names in platform order; `visit` answers false to stop.
// Answers 0 at the end of the list (the platform's "not found"), or the
// result of a walk that failed on the way.
template <typename F>
int for_each_arp_acl(F visit) {
  AclName current;
  for (;;) {
    char next[kAclNameMax + 1] = {};
    open_buffdesc out{kAclNameMax, next};
    int rc = rpcclt_openapiArpAclNextGet(&g_client_handle, &current.desc, &out);
    if (rc == OPEN_E_NOT_FOUND) return OPEN_E_NONE;
    if (rc != OPEN_E_NONE) return rc;
    current.assign(next);
    if (!visit(current.text)) return OPEN_E_NONE;
  }
}

// Ends a GET whose ACL name walk may have failed.
void finish_acl_walk(Outcome &out, int walk, ResponseHolder *response, const char *name, json_object *data) {
  out.rc = 0;
  if (walk != OPEN_E_NONE) {
    agent_log(4, "Failed to get the ACL Names and error code: %d", walk);
    out.rc = -1;
  }
  out.finish_read(response, name, data);
}

// The rules of one ARP ACL as a JSON array.
json_object *arp_acl_rules(const AclName &acl) {
  json_object *rules = json_object_new_array();
  uint32_t seq = 0;
  for (;;) {
    uint32_t ip = 0;
    char mac[kAclNameMax + 1] = {};
    open_buffdesc mac_desc{kAclNameMax, mac};
    OPEN_ARP_ACL_RULE_ACTION_t action{};
    if (rpcclt_openapiArpAclRuleNextGetV2(&g_client_handle, &acl.desc, seq, &seq, &ip, &mac_desc, &action) !=
        OPEN_E_NONE)
      break;
    char ip_text[INET_ADDRSTRLEN] = {};
    in_addr addr{htonl(ip)};
    inet_ntop(AF_INET, &addr, ip_text, sizeof ip_text);
    json_object *rule = json_object_new_object();
    json_object_object_add(rule, "idx", json_object_new_int64(seq));
    json_object_object_add(rule, "ip", json_object_new_string(ip_text));
    json_object_object_add(rule, "mac", json_object_new_string(mac));
    json_object_object_add(rule, "action", json_object_new_int(action));
    json_object_array_add(rules, rule);
  }
  return rules;
}

// Checks one rule element of a POST; false after recording the failure.
// `ip` gets the address (0 for an empty text: any address).
bool check_arp_rule(Outcome &out, json_object *const *v, uint32_t *ip) {
  if (!check_value(out, "idx", non_zero("Invalid Id Number"), v[0])) return false;
  const char *ip_text = text_of(v[1]);
  *ip = 0;
  if (*ip_text) {
    char buffer[32] = {};
    strncpyt(buffer, ip_text, sizeof buffer - 1);
    open_buffdesc desc{static_cast<uint32_t>(std::strlen(buffer) + 1), buffer};
    if (rpcclt_openapiInetAton(&g_client_handle, &desc, ip) != OPEN_E_NONE) {
      out.fail("Error in converting ip address string\n");
      return false;
    }
    if (validate_ipv4_text(ip_text) != 0) {
      out.fail("Invalid IP Address");
      out.code(11);
      out.detail_text("params", "Source IP Address");
      out.detail_text("value", ip_text);
      return false;
    }
  }
  return check_value(out, "mac", mac_check("Source MAC Address", "Invalid Mac Address"), v[2]) &&
         check_value(out, "action", choice(1, 2, "Invalid action"), v[3]);
}

// The nested walk of dai_aclrule_cfg: every rule of every ACL of the body.
// `apply` handles one parsed rule of one ACL. Answers false when the body
// itself is unusable (which ends the whole request).
template <typename F>
bool for_each_arp_rule(Outcome &out, json_object *request, const char *const *keys, size_t key_count, F apply) {
  json_object *body = nullptr;
  json_object *acls = nullptr;
  if (!request || !json_object_object_get_ex(request, "dai_aclrule_cfg", &body)) {
    agent_log(4, "Parsing Error %s object ", "dai_aclrule_cfg");
    return false;
  }
  if (!json_object_object_get_ex(body, "acls", &acls) || !json_object_is_type(acls, json_type_array)) {
    agent_log(4, "Parsing error - acls");
    return false;
  }
  for (size_t a = 0; a < json_object_array_length(acls); ++a) {
    json_object *acl = json_object_array_get_idx(acls, a);
    JsonField name{"name", nullptr};
    if (parse_json_fields(nullptr, acl, &name, 1, false) != 0) continue;
    AclName acl_name(text_of(name.value));
    json_object *rules = nullptr;
    if (!json_object_object_get_ex(acl, "aclrules", &rules)) {
      agent_log(4, "Parsing Error 'aclrules' object ");
      return false;
    }
    if (!json_object_is_type(rules, json_type_array)) {
      agent_log(4, "Parsing error - expected aclrules array ");
      return false;
    }
    for (size_t r = 0; r < json_object_array_length(rules); ++r) {
      JsonField fields[4];
      for (size_t i = 0; i < key_count; ++i) fields[i] = {keys[i], nullptr};
      if (parse_json_fields(nullptr, json_object_array_get_idx(rules, r), fields, key_count, false) != 0) continue;
      json_object *values[4] = {};
      for (size_t i = 0; i < key_count; ++i) values[i] = fields[i].value;
      apply(acl_name, values);
    }
  }
  return true;
}

}  // namespace

// ---------------------------------------------------------------- /api/v1/dai_global_cfg

void dai_global_cfg_get(MHD_Connection *, ResponseHolder *response, json_object *) { resource_get(kGlobal, response); }

void dai_global_cfg_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  resource_post(kGlobal, request, response);
}

// ---------------------------------------------------------------- /api/v1/dai_vlan_cfg

void dai_vlan_cfg_get(MHD_Connection *, ResponseHolder *response, json_object *) { resource_get(kVlan, response); }

void dai_vlan_cfg_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  resource_post(kVlan, request, response);
}

// ---------------------------------------------------------------- /api/v1/dai_intf_cfg

void dai_intf_cfg_get(MHD_Connection *, ResponseHolder *response, json_object *) { resource_get(kIntf, response); }

void dai_intf_cfg_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  resource_post(kIntf, request, response);
}

// ---------------------------------------------------------------- /api/v1/dai_acl_cfg

void dai_acl_cfg_get(MHD_Connection *, ResponseHolder *response, json_object *) {
  Outcome out;
  json_object *names = json_object_new_array();
  int walk = for_each_arp_acl([&](const char *name) {
    json_object *acl = json_object_new_object();
    json_object_object_add(acl, "name", json_object_new_string(name));
    json_object_array_add(names, acl);
    return true;
  });
  finish_acl_walk(out, walk, response, "dai_acl_cfg", names);
}

namespace {

// POST creates and DELETE removes each named ARP ACL of the body.
void arp_acl_change(json_object *request, ResponseHolder *response, bool create) {
  Outcome out;
  json_object *array = request_array(request, "dai_acl_cfg");
  if (!array) {
    out.body_failed = true;
    out.finish_write(response, "dai_acl_cfg", kDaiAclAggregate);
    return;
  }
  for (size_t e = 0; e < json_object_array_length(array); ++e) {
    JsonField name{"name", nullptr};
    if (parse_json_fields(nullptr, json_object_array_get_idx(array, e), &name, 1, false) != 0) continue;
    AclName acl(text_of(name.value));
    out.result = create ? rpcclt_openapiArpAclCreate(&g_client_handle, &acl.desc)
                        : rpcclt_openapiArpAclDelete(&g_client_handle, &acl.desc);
    if (out.result != OPEN_E_NONE)
      out.fail(create ? "Failed to set the ACL Name: %s and error code : %d"
                      : "Failed to delete the ACL Name: %s and error code : %d",
               acl.text, out.result);
  }
  out.finish_write(response, "dai_acl_cfg", kDaiAclAggregate);
}

}  // namespace

void dai_acl_cfg_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  arp_acl_change(request, response, true);
}

void dai_acl_cfg_delete(MHD_Connection *, ResponseHolder *response, json_object *request) {
  arp_acl_change(request, response, false);
}

// ---------------------------------------------------------------- /api/v1/dai_aclrule_cfg

void dai_aclrule_cfg_get(MHD_Connection *connection, ResponseHolder *response, json_object *) {
  Outcome out;
  const char *only = query_arg(connection, "aclName");
  json_object *acls = json_object_new_array();
  int walk = for_each_arp_acl([&](const char *name) {
    if (only && std::strcmp(only, name) != 0) return true;
    AclName acl(name);
    json_object *entry = json_object_new_object();
    json_object_object_add(entry, "name", json_object_new_string(name));
    json_object_object_add(entry, "aclrules", arp_acl_rules(acl));
    json_object_array_add(acls, entry);
    return !only;  // the one asked for is listed: done
  });
  json_object *data = json_object_new_object();
  json_object_object_add(data, "acls", acls);
  finish_acl_walk(out, walk, response, "dai_aclrule_cfg", data);
}

void dai_aclrule_cfg_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  static const char *const kKeys[] = {"idx", "ip", "mac", "action"};
  Outcome out;
  out.body_failed = !for_each_arp_rule(out, request, kKeys, 4, [&](const AclName &acl, json_object *const *v) {
    uint32_t ip = 0;
    if (!check_arp_rule(out, v, &ip)) return;
    char mac[kAclNameMax + 1] = {};
    strncpyt(mac, text_of(v[2]), kAclNameMax);
    open_buffdesc mac_desc{static_cast<uint32_t>(std::strlen(mac) + 1), mac};
    auto idx = static_cast<uint32_t>(int_of(v[0]));
    out.result = rpcclt_openapiArpAclRuleAdd(&g_client_handle, &acl.desc, idx, ip, &mac_desc,
                                             static_cast<OPEN_ARP_ACL_RULE_ACTION_t>(int_of(v[3])));
    if (out.result != OPEN_E_NONE) out.fail("Failed to add rule for id : %d. Error %d", static_cast<int>(idx), out.result);
  });
  out.finish_write(response, "dai_aclrule_cfg", kDaiAclRuleAggregate);
}

// A rule is named by its ACL and "idx" alone: a DELETE needs nothing else
// of the rule.
void dai_aclrule_cfg_delete(MHD_Connection *, ResponseHolder *response, json_object *request) {
  static const char *const kKeys[] = {"idx"};
  Outcome out;
  out.body_failed = !for_each_arp_rule(out, request, kKeys, 1, [&](const AclName &acl, json_object *const *v) {
    if (!check_value(out, "idx", non_zero("Invalid Id Number"), v[0])) return;
    auto idx = static_cast<uint32_t>(int_of(v[0]));
    out.result = rpcclt_openapiArpAclRuleDelete(&g_client_handle, &acl.desc, idx);
    if (out.result != OPEN_E_NONE) out.fail("Failed to delete rule for id : %d", static_cast<int>(idx));
  });
  out.finish_write(response, "dai_aclrule_cfg", kDaiAclRuleAggregate);
}

// ---------------------------------------------------------------- /api/v1/dai_stats

void dai_stats_get(MHD_Connection *, ResponseHolder *response, json_object *) {
  Outcome out;
  json_object *array = json_object_new_array();
  uint32_t vlan = 0;
  out.rc = 0;
  while (rpcclt_openapiDaiVlanNextGet(&g_client_handle, vlan, &vlan) == OPEN_E_NONE) {
    OPEN_DAI_VLAN_STATS_t s{};
    out.result = rpcclt_openapiDaiVlanStatsGet(&g_client_handle, vlan, &s);
    if (out.result != OPEN_E_NONE) {
      agent_log(4, "Failed to get the DAI statistics for vlan id:%u and error code : %d", vlan, out.result);
      out.rc = -1;
      break;
    }
    const std::pair<const char *, uint32_t> counters[] = {
        {"vlan", vlan},           {"dhcpDrop", s.dhcpDrops},       {"dhcpPermit", s.dhcpPermits},
        {"aclDrop", s.aclDrops},  {"aclPermit", s.aclPermits},     {"badSMAC", s.sMacFailures},
        {"badDMAC", s.dMacFailures}, {"badIP", s.ipValidFailures}, {"forward", s.forwarded},
        {"drops", s.dropped},
    };
    json_object *entry = json_object_new_object();
    for (const auto &[key, value] : counters) json_object_object_add(entry, key, json_object_new_int64(value));
    json_object_array_add(array, entry);
  }
  out.finish_read(response, "dai_stats", array);
}
