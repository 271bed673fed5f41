// Access control lists: the lists ("acl_cfg", "acl_config", "acl_count_get"),
// their rules ("mac_aclrule_cfg", "ip_aclrule_cfg", "ipextended_aclrule_cfg",
// "ipv6_aclrule_cfg", "aclrule_cfg") and their bindings to ports and VLANs
// ("acl_binding", "acl_intf_binding", "acl_vlan_binding").
//
// Every resource is a declaration. Code of its own: the create step of
// "acl_cfg" (numbered lists, the same name twice, rename), the ACL walks of
// the rule resources, the match order of each rule kind, the rule's members
// as GET lists them, and the port set of a binding. docs/security.md holds
// the readings.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "core/platform_call.h"
#include "core/platform_client.h"
#include "platform/calls/11_acl.h"

using namespace veltrum::handler;
using veltrum::handler::call_detail::TextIn;
using veltrum::handler::call_detail::TextOut;

namespace {

// Aggregate codes (docs/security.md); "acl_cfg" has its own.
constexpr int kAclAggregate = 96;
constexpr int kRuleDeleteAggregate = 1220;
constexpr int kMacRuleAggregate = 1221;
constexpr int kIpRuleAggregate = 1222;
constexpr int kExtendedRuleAggregate = 1223;
constexpr int kIpv6RuleAggregate = 1224;
constexpr int kIntfBindingAggregate = 1225;
constexpr int kVlanBindingAggregate = 1226;

constexpr size_t kNameMax = OPEN_ACL_NAME_MAX;

constexpr Check kType = range(OPEN_ACL_TYPE_IP, OPEN_ACL_TYPE_MAC, "ACL Type", "ACL type validation failed\n");
constexpr Check kName = text_length(1, kNameMax, nullptr, "ACL name exceeded range 1-255\n", 82);
constexpr Check kBindingType = range(OPEN_ACL_TYPE_IP, OPEN_ACL_TYPE_MAC, "ACL Type", "Invalid type %d");
constexpr Check kTypeChoice = choice(OPEN_ACL_TYPE_IP, OPEN_ACL_TYPE_MAC, "Invalid type %d");
constexpr Check kDirection = choice(OPEN_ACL_INBOUND, OPEN_ACL_OUTBOUND, "Invalid direction %d");
constexpr Check kBindingSeq = range(1, OPEN_ACL_SEQ_MAX, "Sequence Number", "Parsing Error: 'acl rule id invalid.\n");

// ---------------------------------------------------------------- helpers

// A member of the element, or else the query variable of that name.
json_object *member(const Element &e, const char *key) {
  json_object *v = e.value(key);
  return v ? v : e.query_value(key);
}
std::string text_member(const Element &e, const char *key) { return text_of(member(e, key)); }
OPEN_ACL_TYPE_t type_member(const Element &e) { return static_cast<OPEN_ACL_TYPE_t>(int_of(member(e, "type"))); }
// A name that begins with a digit names a numbered list, an IPv4 list
// whatever "type" says.
bool numbered(const std::string &name) { return !name.empty() && std::isdigit(static_cast<unsigned char>(name[0])); }

// The id of the ACL of `type` named `name`.
int acl_get(OPEN_ACL_TYPE_t type, const std::string &name, uint32_t &id) {
  TextIn text;
  text.set(name);
  return rpcclt_openapiAclGet(&g_client_handle, type, &text.desc, &id);
}

// The name of ACL `id`.
int acl_name(uint32_t id, std::string &name) {
  TextOut<kNameMax> out;
  int rc = rpcclt_openapiAclNameGet(&g_client_handle, id, &out.desc);
  if (rc == OPEN_E_NONE) name = out.buffer;
  return rc;
}

// The ACL that the element's "type" and `name_key` name (a numbered list by
// its name alone), as the next
// number of a copy of the element; `error` is logged with the result when
// the platform has none.
int with_acl(const Element &e, const char *name_key, const char *error, Element &out) {
  uint32_t id = 0;
  const std::string name = text_member(e, name_key);
  int rc = acl_get(numbered(name) ? OPEN_ACL_TYPE_IP : type_member(e), name, id);
  if (rc != OPEN_E_NONE) {
    log_table_message(error, rc);
    return rc;
  }
  out = e;
  if (out.index.nums < Index::kParts) out.index.num[out.index.nums++] = id;
  return OPEN_E_NONE;
}

// Runs an action of the element with the ACL it names; logs `error` with
// the action's result.
template <Name NameKey, Name ResolveError, const ActBinding &Then, Name Error>
int on_acl(const Element &e) {
  Element with_id;
  if (int rc = with_acl(e, NameKey.text, ResolveError.text, with_id)) return rc;
  int rc = Then(with_id);
  if (rc != OPEN_E_NONE) log_table_message(Error.text, rc);
  return rc;
}

// ---------------------------------------------------------------- acl_cfg

// "type" 0 is no type: the element is skipped without being counted.
bool check_post_type(Outcome &out, const char *key, json_object *value) {
  int64_t type = -1;
  if (read_int(value, type) && type == 0) {
    log_table_message("Failed to parse acl type\n");
    return false;
  }
  return check_value(out, key, kType, value);
}

struct CreateMessages {
  const char *exists;
  const char *full;
  const char *other;
};
constexpr CreateMessages kNumberedMessages{
    "Error: Specified ACL name already exists.",
    "Error: No more ACL entries can be added as the table reached maximum allowed entries.",
    "Error: ACL Create failed"};
constexpr CreateMessages kNamedMessages{
    "Error: Entry already exists.",
    "Error:No more ACL entries can be added as the table reached maximum allowed entries", "Error:ACL create failed"};

int log_create(int rc, const CreateMessages &m) {
  if (rc == OPEN_E_EXISTS)
    log_table_message("%s", m.exists);
  else if (rc == OPEN_E_FULL)
    log_table_message("%s", m.full);
  else if (rc != OPEN_E_NONE)
    log_table_message("%s", m.other);
  return rc;
}

// A name that begins with a digit is a numbered IPv4 list: 1 to 99
// standard, 100 to 199 extended.
int create_numbered(const std::string &name) {
  unsigned long number = std::strtoul(name.c_str(), nullptr, 10);  // its leading digits
  if (number > 199) {
    log_table_message("Acl id exceeded range 1-199 %d", static_cast<int>(std::min<unsigned long>(number, INT32_MAX)));
    return OPEN_E_PARAM;
  }
  OPEN_ACL_NUMBERED_KIND_t kind = number <= 99 ? OPEN_ACL_NUMBERED_STANDARD : OPEN_ACL_NUMBERED_EXTENDED;
  return log_create(rpcclt_openapiNumberedAclCreate(&g_client_handle, kind, static_cast<uint32_t>(number)),
                    kNumberedMessages);
}

// A list of the type with that name already is no failure: nothing is created.
int create_named(OPEN_ACL_TYPE_t type, const std::string &name) {
  uint32_t id = 0;
  int rc = rpcclt_openapiAclGetFirst(&g_client_handle, type, &id);
  for (; rc == OPEN_E_NONE; rc = rpcclt_openapiAclGetNext(&g_client_handle, type, id, &id)) {
    std::string existing;
    if (acl_name(id, existing) == OPEN_E_NONE && existing == name) return OPEN_E_NONE;
  }
  if (!walk_ended(rc)) return log_create(rc, kNamedMessages);
  TextIn text;
  text.set(name);
  return log_create(rpcclt_openapiAclCreate(&g_client_handle, type, &text.desc, &id), kNamedMessages);
}

int rename_acl(OPEN_ACL_TYPE_t type, const std::string &oldname, const std::string &name) {
  uint32_t id = 0;
  int rc = acl_get(type, oldname, id);
  if (rc != OPEN_E_NONE) {
    log_table_message("Failed to get acl id for acl name %s error %d\n", oldname.c_str(), rc);
    return rc;
  }
  TextIn text;
  text.set(name);
  rc = rpcclt_openapiAclRename(&g_client_handle, id, &text.desc);
  if (rc != OPEN_E_NONE) log_table_message("Failed to rename acl %s error %d\n", oldname.c_str(), rc);
  return rc;
}

int create_acl(const Element &e) {
  std::string name = text_member(e, "name");
  std::string oldname = text_member(e, "oldname");
  if (name.empty()) {
    log_table_message("Invalid parameters passed to 'create_acl'\n");
    return OPEN_E_PARAM;
  }
  if (numbered(name)) return create_numbered(name);
  if (oldname.empty()) return create_named(type_member(e), name);
  return rename_acl(type_member(e), oldname, name);
}

int delete_acl(const Element &e) {
  if (text_member(e, "name").empty()) {
    log_table_message("Invalid parameters passed to 'delete_acl'\n");
    return OPEN_E_PARAM;
  }
  Element acl;
  if (int rc = with_acl(e, "name", "Failed to get ACL id. error = %d", acl)) return rc;
  int rc = act<&rpcclt_openapiAclDelete, Idx<0>>(acl);
  if (rc != OPEN_E_NONE) log_table_message("Failed to delete acl %s with error %d", text_member(e, "name").c_str(), rc);
  return rc;
}

// POST and DELETE read "type" and "name" with messages of their own.
const Field kAclFields[] = {
    {.key = "type", .check = custom_check(check_post_type, true), .flags = kPost},
    {.key = "type", .check = kType, .flags = kDelete, .missing_log = "Parsing Error: 'type' invalid.\n"},
    {.key = "name", .check = kName, .flags = kPost, .missing_log = "Failed to parse acl name\n"},
    {.key = "name", .check = kName, .flags = kDelete, .missing_log = "Parsing Error: 'acl name' invalid.\n"},
    {.key = "oldname", .check = any_text(), .flags = kPost | kOptional},
};
const Resource kAcl{.name = "acl_cfg",
                    .fields = kAclFields,
                    .aggregate = kAclAggregate,
                    .create = create_acl,
                    .create_log = ActionLog::None,
                    .remove = delete_acl,
                    .remove_log = ActionLog::None};

// ---------------------------------------------------------------- aclrule_cfg

const Field kRuleDeleteFields[] = {
    {.key = "type", .check = kType, .flags = kDelete, .missing_log = "Parsing Error: 'type' invalid.\n"},
    {.key = "name", .check = kName, .flags = kDelete, .missing_log = "Parsing Error: 'acl name' invalid.\n"},
    {.key = "seq", .check = kBindingSeq, .flags = kDelete, .missing_log = "Parsing Error: 'seq' invalid.\n"},
};
const Resource kRuleDelete{
    .name = "aclrule_cfg",
    .fields = kRuleDeleteFields,
    .aggregate = kRuleDeleteAggregate,
    .remove = on_acl<"name", "Failed to get ACL id. error = %d", act<&rpcclt_openapiAclRuleDelete, Idx<0>, Key<"seq">>,
                     "Failed to delete the rule of the ACL and error code: %d">,
    .remove_log = ActionLog::None};

// ---------------------------------------------------------------- acl_count_get

const Field kCountFields[] = {
    {.key = "curNum", .get = platform_get<&rpcclt_openapiAclCountGet>},
    {.key = "maxNum", .get = platform_get<&rpcclt_openapiAclMaxCountGet>},
};
const Resource kCount{.name = "acl_count_get", .walk = scalar(), .fields = kCountFields};

// ---------------------------------------------------------------- acl_config

// The ACL types in order, or the one "type" asks for.
int type_walk(Element &e, bool first) {
  if (json_object *asked = e.query_value("type")) {
    if (!first) return OPEN_E_NOT_FOUND;
    e.index.num[0] = static_cast<uint32_t>(int_of(asked));
  } else {
    uint32_t next = first ? OPEN_ACL_TYPE_IP : e.index.num[0] + 1;
    if (next > OPEN_ACL_TYPE_MAC) return OPEN_E_NOT_FOUND;
    e.index.num[0] = next;
  }
  e.index.nums = 1;
  return OPEN_E_NONE;
}

constexpr Cursor kListsOfType = cursor2<cursor<&rpcclt_openapiAclGetFirst, Idx<0>, NextNum<1>>,
                                        cursor<&rpcclt_openapiAclGetNext, Idx<0>, Idx<1>, NextNum<1>>>;
const Field kConfigAclFields[] = {
    {.key = "name", .get = get<&rpcclt_openapiAclNameGet, Idx<1>, ValText<kNameMax>>, .flags = kGet},
};
constexpr const char *kAclIdPart[] = {"acl"};
const Resource kConfigAcls{.name = "acl_config", .walk = list(kListsOfType).adding(kAclIdPart), .fields = kConfigAclFields};
const Nested kConfigNested{.key = "acl_cfg", .child = &kConfigAcls};
const Field kConfigFields[] = {
    {.key = "type", .check = any_number(), .flags = kIndex},
};
const Query kConfigQuery[] = {{.name = "type", .check = kTypeChoice}};
const Resource kConfig{.name = "acl_config",
                       .walk = list(type_walk),
                       .fields = kConfigFields,
                       .query = kConfigQuery,
                       .nested = {&kConfigNested, 1}};

// ---------------------------------------------------------------- the rule resources

// Which lists a rule resource holds: of one type, walked by type or as
// numbered lists, with ids in a range (standard numbered lists are 1 to 99).
struct AclSet {
  OPEN_ACL_TYPE_t type;
  bool numbered;
  uint32_t min_id;
  uint32_t max_id;
};
constexpr AclSet kMacLists{OPEN_ACL_TYPE_MAC, false, 0, UINT32_MAX};
constexpr AclSet kStandardLists{OPEN_ACL_TYPE_IP, true, 1, 99};
constexpr AclSet kExtendedLists{OPEN_ACL_TYPE_IP, false, 100, UINT32_MAX};
constexpr AclSet kIpv6Lists{OPEN_ACL_TYPE_IPV6, false, 0, UINT32_MAX};

// The lists of the set with their names (index number 0: the ACL id; row
// "name"); "aclName" asks for that list only.
template <const AclSet &S>
int acl_walk(Element &e, bool first) {
  uint32_t id = e.index.num[0];
  int rc = OPEN_E_NOT_FOUND;
  if (json_object *asked = e.query_value("aclName")) {
    if (!first) return OPEN_E_NOT_FOUND;
    rc = acl_get(S.type, text_of(asked), id);
    if (rc == OPEN_E_NONE && (id < S.min_id || id > S.max_id)) rc = OPEN_E_NOT_FOUND;
  } else {
    do {
      if (S.numbered)
        rc = first ? rpcclt_openapiAclIdGetFirst(&g_client_handle, &id)
                   : rpcclt_openapiAclIdGetNext(&g_client_handle, id, &id);
      else
        rc = first ? rpcclt_openapiAclGetFirst(&g_client_handle, S.type, &id)
                   : rpcclt_openapiAclGetNext(&g_client_handle, S.type, id, &id);
      first = false;
    } while (rc == OPEN_E_NONE && (id < S.min_id || id > S.max_id));
  }
  std::string name;
  if (rc == OPEN_E_NONE) rc = acl_name(id, name);
  if (rc != OPEN_E_NONE) return rc;
  e.index.num[0] = id;
  e.index.nums = 1;
  json_object_object_add(e.row, "name", json_object_new_string(name.c_str()));
  return OPEN_E_NONE;
}

// The rules of one list (index numbers: the ACL id, the rule's sequence).
constexpr Cursor kRuleWalk = cursor2<cursor<&rpcclt_openapiAclRuleGetFirst, Idx<0>, NextNum<1>>,
                                     cursor<&rpcclt_openapiAclRuleGetNext, Idx<0>, Idx<1>, NextNum<1>>>;

// "srvTypeR": which service match an IP rule has.
constexpr int64_t kServiceDscp = 1;
constexpr int64_t kServicePrecedence = 2;
constexpr int64_t kServiceTos = 3;

// ---- a rule as GET lists it: its action and the members of the matches it has

void add_number(json_object *o, const char *key, int64_t v) {
  json_object_object_add(o, key, json_object_new_int64(v));
}
void add_mac(json_object *o, const char *key, const char (&mac)[OPEN_MAC_TEXT_SIZE]) {
  json_object_object_add(o, key, json_object_new_string_len(mac, static_cast<int>(strnlen(mac, sizeof mac))));
}
void add_address(json_object *o, const char *key, const open_inet_addr_t &a) {
  json_object_object_add(o, key, call_detail::inet_json(a));
}
// "sl4PortAct" and the port ("sl4Port"), or the range ("sl4PortS", "sl4PortE").
void add_l4(json_object *o, const std::string &port, OPEN_ACL_L4_PORT_OPERATOR_t oper, uint32_t start, uint32_t end) {
  add_number(o, (port + "Act").c_str(), oper);
  if (oper == OPEN_ACL_L4_PORT_RANGE) {
    add_number(o, (port + "S").c_str(), start);
    add_number(o, (port + "E").c_str(), end);
  } else {
    add_number(o, port.c_str(), start);
  }
}

json_object *rule_json(const OPEN_ACL_RULE_t &r, const char *dscp_key) {
  json_object *o = json_object_new_object();
  auto has = [&](OPEN_ACL_MATCH_t m) { return (r.configured & m) != 0; };
  add_number(o, "act", r.action);
  if (has(OPEN_ACL_MATCH_QUEUE)) add_number(o, "asq", r.assignQueue);
  if (has(OPEN_ACL_MATCH_MIRROR)) add_number(o, "mirrorIntf", r.mirrorIntf);
  if (has(OPEN_ACL_MATCH_REDIRECT)) add_number(o, "redirectIntf", r.redirectIntf);
  if (has(OPEN_ACL_MATCH_EVERY)) add_number(o, "matchEvery", r.matchEvery);
  if (has(OPEN_ACL_MATCH_LOGGING)) add_number(o, "logging", r.logging);
  if (has(OPEN_ACL_MATCH_COS)) add_number(o, "cos", r.cos);
  if (has(OPEN_ACL_MATCH_DST_MAC)) {
    add_mac(o, "dmac", r.dstMac);
    add_mac(o, "dmask", r.dstMacMask);
  }
  if (has(OPEN_ACL_MATCH_SRC_MAC)) {
    add_mac(o, "smac", r.srcMac);
    add_mac(o, "smask", r.srcMacMask);
  }
  if (has(OPEN_ACL_MATCH_ETYPE)) {
    add_number(o, "ethtype", r.etherTypeKeyword);
    add_number(o, "eth", r.etherTypeValue);
  }
  if (has(OPEN_ACL_MATCH_VLAN)) add_number(o, "vlan", r.vlanId);
  if (has(OPEN_ACL_MATCH_PROTOCOL)) add_number(o, "proto", r.protocol);
  if (has(OPEN_ACL_MATCH_SRC_IP)) {
    add_address(o, "sip", r.srcIp);
    add_address(o, "smask", r.srcMask);
  }
  if (has(OPEN_ACL_MATCH_SRC_IPV6)) {
    add_address(o, "sip", r.srcIp);
    add_number(o, "smask", r.srcPfxLen);
  }
  if (has(OPEN_ACL_MATCH_SRC_L4)) add_l4(o, "sl4Port", r.srcL4Operator, r.srcL4StartPort, r.srcL4EndPort);
  if (has(OPEN_ACL_MATCH_DST_IP)) {
    add_address(o, "dip", r.dstIp);
    add_address(o, "dmask", r.dstMask);
  }
  if (has(OPEN_ACL_MATCH_DST_IPV6)) {
    add_address(o, "dip", r.dstIp);
    add_number(o, "dmask", r.dstPfxLen);
  }
  if (has(OPEN_ACL_MATCH_DST_L4)) add_l4(o, "dl4Port", r.dstL4Operator, r.dstL4StartPort, r.dstL4EndPort);
  if (has(OPEN_ACL_MATCH_ICMP)) {
    add_number(o, "icmpType", r.icmpType);
    add_number(o, "icmpCode", r.icmpCode);
  }
  if (has(OPEN_ACL_MATCH_IGMP)) add_number(o, "igmpType", r.igmpType);
  if (has(OPEN_ACL_MATCH_FRAGMENTS)) add_number(o, "frag", r.fragments);
  if (has(OPEN_ACL_MATCH_ROUTING)) add_number(o, "routing", r.routing);
  if (has(OPEN_ACL_MATCH_FLOW_LABEL)) add_number(o, "flow", r.flowLabel);
  if (has(OPEN_ACL_MATCH_PRECEDENCE)) {
    add_number(o, "srvTypeR", kServicePrecedence);
    add_number(o, "servValPrec", r.precedence);
  }
  if (has(OPEN_ACL_MATCH_TOS)) {
    add_number(o, "srvTypeR", kServiceTos);
    add_number(o, "servValtos", r.tos);
    add_number(o, "servValtosMask", r.tosMask);
  }
  if (has(OPEN_ACL_MATCH_DSCP)) {
    add_number(o, "srvTypeR", kServiceDscp);
    add_number(o, dscp_key, r.dscp);
  }
  if (has(OPEN_ACL_MATCH_TCP_FLAGS)) {
    add_number(o, "tcpVal", r.tcpFlags);
    add_number(o, "tcpMask", r.tcpFlagsMask);
  }
  return o;
}

template <Name DscpKey>
int rule_members(const Element &e, json_object **out) {
  OPEN_ACL_RULE_t rule{};
  int rc = rpcclt_openapiAclRuleGet(&g_client_handle, e.index.num[0], e.index.num[1], &rule);
  if (rc == OPEN_E_NONE) *out = rule_json(rule, DscpKey.text);
  return rc;
}

// ---- adding a rule: its action, then each match the element has, in its kind's order

enum class StepLog : uint8_t { IdRc, NameRc, Rc };

// One match of a rule: configured when `key` is present (and `when`, if
// given, holds `when_value`); `add` runs on the rule (Idx<0> the ACL id,
// Idx<1> the rule's sequence number).
struct MatchStep {
  const char *key;
  ActBinding add;
  const char *error;
  StepLog log = StepLog::IdRc;
  const char *when = nullptr;
  int64_t when_value = 0;
};

template <auto Fn, Name... K>
int on_rule(const Element &e) {
  return act<Fn, Idx<0>, Idx<1>, Key<K>...>(e);
}

// An operator with one port, or a range of two.
template <auto Fn, Name Oper, Name Port, Name Start, Name End>
int l4_port(const Element &e) {
  if (int_of(e.value(Oper.text)) == OPEN_ACL_L4_PORT_RANGE) return on_rule<Fn, Oper, Start, End>(e);
  return on_rule<Fn, Oper, Port, Port>(e);
}

int add_rule(const Element &e, OPEN_ACL_TYPE_t type, const char *name_key, std::span<const MatchStep> steps) {
  std::string name = text_member(e, name_key);
  uint32_t id = 0;
  int rc = acl_get(type, name, id);
  if (rc != OPEN_E_NONE) {
    log_table_message("Failed to get acl id for acl name %s error %d\n", name.c_str(), rc);
    return rc;
  }
  Element rule = e;
  rule.index.num[1] = e.index.num[e.index.nums - 1];
  rule.index.num[0] = id;
  rule.index.nums = 2;
  rc = act<&rpcclt_openapiAclRuleActionAdd, Idx<0>, Idx<1>, Key<"act">>(rule);
  if (rc != OPEN_E_NONE) {
    log_table_message("Failed to create rule for acl %d error %d\n", static_cast<int>(id), rc);
    return rc;
  }
  for (const MatchStep &s : steps) {
    if (!e.value(s.key) || (s.when && int_of(e.value(s.when)) != s.when_value)) continue;
    rc = s.add(rule);
    if (rc == OPEN_E_NONE) continue;
    if (s.log == StepLog::IdRc)
      log_table_message(s.error, static_cast<int>(id), rc);
    else if (s.log == StepLog::NameRc)
      log_table_message(s.error, name.c_str(), rc);
    else
      log_table_message(s.error, rc);
    return rc;
  }
  return OPEN_E_NONE;
}

template <OPEN_ACL_TYPE_t T, Name NameKey, const auto &Steps>
int add_rule_of(const Element &e) {
  return add_rule(e, T, NameKey.text, Steps);
}

constexpr MatchStep kQueueStep{"asq", on_rule<&rpcclt_openapiAclRuleMatchAssignQueueAdd, "asq">,
                               "Failed to configure queue for acl %d error %d\n"};
constexpr MatchStep kMirrorStep{"mirrorIntf", on_rule<&rpcclt_openapiAclRuleMatchMirrorAdd, "mirrorIntf">,
                                "Failed to configure mirror interface for acl %d error %d\n"};
constexpr MatchStep kRedirectStep{"redirectIntf", on_rule<&rpcclt_openapiAclRuleMatchRedirectAdd, "redirectIntf">,
                                  "Failed to configure redirect interface for acl %d error %d\n"};
constexpr MatchStep kEveryStep{"matchEvery", on_rule<&rpcclt_openapiAclRuleMatchEveryAdd, "matchEvery">,
                               "Failed to configure match every for acl %d error %d\n"};
constexpr MatchStep kLoggingStep{"logging", on_rule<&rpcclt_openapiAclRuleMatchLoggingAdd, "logging">,
                                 "Failed to configure logging for acl %d error %d\n"};
constexpr MatchStep kCosStep{"cos", on_rule<&rpcclt_openapiAclRuleMatchCosAdd, "cos">,
                             "Failed to configure cos for acl %d error %d\n"};
constexpr MatchStep kDstMacStep{"dmac", on_rule<&rpcclt_openapiAclRuleMatchMacDstMacAdd, "dmac", "dmask">,
                                "Failed to configure destination mac for acl %d error %d\n"};
constexpr MatchStep kSrcMacStep{"smac", on_rule<&rpcclt_openapiAclRuleMatchMacSrcMacAdd, "smac", "smask">,
                                "Failed to configure source mac for acl %d error %d\n"};
constexpr MatchStep kEtherTypeStep{"ethtype", on_rule<&rpcclt_openapiAclRuleMatchEthTypeAdd, "ethtype", "eth">,
                                   "Failed to configure ether type for acl %d error %d\n"};
constexpr MatchStep kVlanStep{"vlan", on_rule<&rpcclt_openapiAclRuleMatchVlanIdAdd, "vlan">,
                              "Failed to configure vlan for acl %d error %d\n"};
constexpr MatchStep kProtocolStep{"proto", on_rule<&rpcclt_openapiAclRuleMatchProtocolAdd, "proto">,
                                  "Failed to configure protocol for acl %d error %d\n"};
constexpr MatchStep kSrcIpStep{"sip", on_rule<&rpcclt_openapiAclRuleMatchIpSrcMaskAdd, "sip", "smask">,
                               "Failed to add source ip and mask for ACL with error(%d)", StepLog::Rc};
constexpr MatchStep kDstIpStep{"dip", on_rule<&rpcclt_openapiAclRuleMatchIpDstMaskAdd, "dip", "dmask">,
                               "Failed to add destination ip and mask for ACL with error(%d)", StepLog::Rc};
constexpr MatchStep kSrcL4Step{
    "sl4PortAct", l4_port<&rpcclt_openapiAclRuleMatchL4SrcPortAdd, "sl4PortAct", "sl4Port", "sl4PortS", "sl4PortE">,
    "Failed to configure source port for acl %d error %d\n"};
constexpr MatchStep kDstL4Step{
    "dl4PortAct", l4_port<&rpcclt_openapiAclRuleMatchL4DstPortAdd, "dl4PortAct", "dl4Port", "dl4PortS", "dl4PortE">,
    "Failed to configure destination port for acl %d error %d\n"};
constexpr MatchStep kIcmpStep{"icmpType", on_rule<&rpcclt_openapiAclRuleMatchIcmpTypeCodeAdd, "icmpType", "icmpCode">,
                              "Failed to configure icmp type for acl %d error %d\n"};
constexpr MatchStep kIgmpStep{"igmpType", on_rule<&rpcclt_openapiAclRuleMatchIgmpTypeAdd, "igmpType">,
                              "Failed to configure igmp type for acl %d error %d\n"};
constexpr MatchStep kFragmentsStep{"frag", on_rule<&rpcclt_openapiAclRuleMatchFragmentsAdd, "frag">,
                                   "Failed to configure fragments for acl %d error %d\n"};
constexpr MatchStep kPrecedenceStep{"servValPrec",
                                    on_rule<&rpcclt_openapiAclRuleMatchPrecedenceAdd, "servValPrec">,
                                    "Failed to configure precedence for acl %d error %d\n",
                                    StepLog::IdRc,
                                    "srvTypeR",
                                    kServicePrecedence};
constexpr MatchStep kTosStep{"servValtos",
                             on_rule<&rpcclt_openapiAclRuleMatchTosAdd, "servValtos", "servValtosMask">,
                             "Failed to configure tos for acl %d error %d\n",
                             StepLog::IdRc,
                             "srvTypeR",
                             kServiceTos};
constexpr MatchStep kDscpStep{"servValDscp",
                              on_rule<&rpcclt_openapiAclRuleMatchDscpAdd, "servValDscp">,
                              "Failed to configure dscp for acl %d error %d\n",
                              StepLog::IdRc,
                              "srvTypeR",
                              kServiceDscp};
constexpr MatchStep kSrcPrefixStep{"sip", on_rule<&rpcclt_openapiAclRuleMatchIpv6SrcPfxAdd, "sip", "smask">,
                                   "Failed to configure source prefix for acl %d error %d\n"};
constexpr MatchStep kDstPrefixStep{"dip", on_rule<&rpcclt_openapiAclRuleMatchIpv6DstPfxAdd, "dip", "dmask">,
                                   "Failed to configure destination prefix for acl %d error %d\n"};
constexpr MatchStep kSrcRangeStep{
    "sl4PortAct", l4_port<&rpcclt_openapiAclRuleMatchL4SrcPortAdd, "sl4PortAct", "sl4Port", "sl4PortS", "sl4PortE">,
    "Failed to configure source port range for acl %s error %d\n", StepLog::NameRc};
constexpr MatchStep kDstRangeStep{
    "dl4PortAct", l4_port<&rpcclt_openapiAclRuleMatchL4DstPortAdd, "dl4PortAct", "dl4Port", "dl4PortS", "dl4PortE">,
    "Failed to configure designation port range for acl %s error %d\n", StepLog::NameRc};
constexpr MatchStep kRoutingStep{"routing", on_rule<&rpcclt_openapiAclRuleMatchRoutingAdd, "routing">,
                                 "Failed to configure routing for acl %d error %d\n"};
constexpr MatchStep kFlowStep{"flow", on_rule<&rpcclt_openapiAclRuleMatchFlowLabelAdd, "flow">,
                              "Failed to configure flow label for acl %d error %d\n"};
constexpr MatchStep kIpv6DscpStep{"dscp",
                                  on_rule<&rpcclt_openapiAclRuleMatchDscpAdd, "dscp">,
                                  "Failed to configure dscp for acl %d error %d\n",
                                  StepLog::IdRc,
                                  "srvTypeR",
                                  kServiceDscp};
constexpr MatchStep kTcpFlagsStep{"tcpVal", on_rule<&rpcclt_openapiAclRuleMatchTcpFlagsAdd, "tcpVal", "tcpMask">,
                                  "Failed to configure tcp flags for acl %d error %d\n"};

// The match order of each kind.
constexpr MatchStep kMacSteps[] = {kQueueStep, kMirrorStep, kRedirectStep, kEveryStep,     kLoggingStep,
                                   kCosStep,   kDstMacStep, kSrcMacStep,   kEtherTypeStep, kVlanStep};
constexpr MatchStep kIpSteps[] = {kQueueStep, kEveryStep, kMirrorStep, kRedirectStep, kSrcIpStep, kLoggingStep};
constexpr MatchStep kExtendedSteps[] = {
    kQueueStep, kLoggingStep, kMirrorStep, kRedirectStep, kEveryStep,     kProtocolStep,   kSrcIpStep, kSrcL4Step,
    kDstIpStep, kDstL4Step,   kIcmpStep,   kIgmpStep,     kFragmentsStep, kPrecedenceStep, kTosStep,   kDscpStep};
constexpr MatchStep kIpv6Steps[] = {kQueueStep,     kLoggingStep,  kMirrorStep,    kRedirectStep,
                                    kEveryStep,     kProtocolStep, kSrcPrefixStep, kSrcRangeStep,
                                    kDstPrefixStep, kDstRangeStep, kIcmpStep,      kFragmentsStep,
                                    kRoutingStep,   kFlowStep,     kIpv6DscpStep,  kTcpFlagsStep};

// ---- the checks of rule members

// An address (or mask) text the platform converts; `Log` gets the result.
template <Name Log>
bool inet_text(Outcome &out, const char *, json_object *value) {
  std::string text;
  int rc = OPEN_E_PARAM;
  if (read_text(value, text)) {
    TextIn in;
    in.set(text);
    open_inet_addr_t addr{};
    rc = rpcclt_openapiInetAddrGet(&g_client_handle, &in.desc, &addr);
  }
  if (rc == OPEN_E_NONE) return true;
  log_table_message(Log.text, rc);
  ++out.failures;
  return false;
}

constexpr Check kSeq = range(1, OPEN_ACL_SEQ_MAX, "Sequence Number", "Sequence number set Failed");
constexpr Check kAction = choice(OPEN_ACL_DENY, OPEN_ACL_PERMIT, "Invalid action %d");
constexpr Check kQueue = platform_range(platform_limits<&rpcclt_openapiAclMaxAssignQueueGet>, "Assign Queue",
                                        "Queue id exceeded max val %d\n", LogArgs::Max);
// Mirror and redirect interfaces are interface numbers like any other, in
// every rule kind: a rule without one leaves the member out, and 0 (no
// interface) fails the port validator (247).
constexpr Check kMirror = port_check(3, "Failed to validate mirror interface\n");
constexpr Check kRedirect = port_check(3, "Failed to validate redirect interface\n");
constexpr Check kPlatformNumber = any_number();  // the platform's range
constexpr Check kL4Port = choice(0, 65535, "Failed to validate source L4 port number");
constexpr Check kDstL4Port = choice(0, 65535, "Failed to validate destination L4 port number");

// A posted member: required, or a match that may be absent.
constexpr Field required(const char *key, Check check) {
  return {key, check, nullptr, nullptr, nullptr, nullptr, SetLog::Rc, kPost};
}
constexpr Field optional(const char *key, Check check) {
  return {key, check, nullptr, nullptr, nullptr, nullptr, SetLog::Rc, kPost | kOptional};
}
// The rule's sequence number, its index.
constexpr Field sequence(const char *key) {
  return {key, kSeq, nullptr, nullptr, nullptr, nullptr, SetLog::Rc, kIndex};
}
// The members GET lists for a rule.
template <Name DscpKey>
constexpr Field kRuleMembers{
    "rule",  no_check(), rule_members<DscpKey>, nullptr, "Failed to get the rule and error code:%d",
    nullptr, SetLog::Rc, kGet | kMerge};

constexpr const char *kAclWalkError = "Failed to get the ACL Names and error code: %d";
const Query kAclNameQuery[] = {{.name = "aclName", .check = any_text()}};

// ---- mac_aclrule_cfg: {"name", "aclrule": [...]}

const Field kMacRuleFields[] = {
    required("act", kAction),
    optional("asq", kQueue),
    optional("mirrorIntf", kMirror),
    optional("redirectIntf", kRedirect),
    optional("matchEvery", kPlatformNumber),
    optional("cos", kPlatformNumber),
    optional("dmac", mac_check("Destination MAC Address", "Invalid destination MAC address\n")),
    optional("dmask", mac_check("Destination MAC Address", "Invalid destination MAC mask\n")),
    optional("ethtype", kPlatformNumber),
    optional("eth", kPlatformNumber),
    optional("smac", mac_check("Source MAC Address", "Invalid source MAC address\n")),
    optional("smask", mac_check("Source MAC Address", "Invalid source MAC mask\n")),
    optional("vlan", vlan_check("Failed to validate vlan id %d\n")),
    optional("logging", kPlatformNumber),
    sequence("pri"),
    kRuleMembers<"servValDscp">,
};
const Resource kMacRule{.name = "mac_aclrule_cfg",
                        .walk = list(kRuleWalk),
                        .fields = kMacRuleFields,
                        .create = add_rule_of<OPEN_ACL_TYPE_MAC, "name", kMacSteps>,
                        .create_log = ActionLog::None};
const Nested kMacRules{.key = "aclrule", .child = &kMacRule, .list_key = "aclrules"};
const Field kMacAclFields[] = {
    {.key = "name", .check = any_text(), .get = from_row<"name">},
};
const Resource kMacAcl{.name = "mac_aclrule_cfg",
                       .walk = list(acl_walk<kMacLists>, kAclWalkError),
                       .fields = kMacAclFields,
                       .aggregate = kMacRuleAggregate,
                       .query = kAclNameQuery,
                       .nested = {&kMacRules, 1}};

// ---- ip_aclrule_cfg: {"aclname", "ipaclrule": [...]}, standard lists

const Field kIpRuleFields[] = {
    sequence("acl_rule"),
    required("act", kAction),
    optional("asq", kQueue),
    optional("matchEvery", kPlatformNumber),
    optional("mirrorIntf", kMirror),
    optional("redirectIntf", port_check(3, "Failed to validate redirect interface %d")),
    optional("sip", custom_check(inet_text<"Invalid IP address (%d)">)),
    optional("smask", custom_check(inet_text<"Invalid IP mask(%d)">)),
    optional("logging", flag("Logging validation failed")),
    kRuleMembers<"servValDscp">,
};
const Resource kIpRule{.name = "ip_aclrule_cfg",
                       .walk = list(kRuleWalk),
                       .fields = kIpRuleFields,
                       .create = add_rule_of<OPEN_ACL_TYPE_IP, "aclname", kIpSteps>,
                       .create_log = ActionLog::None};
const Nested kIpRules{.key = "ipaclrule", .child = &kIpRule, .list_key = "aclrules"};
const Field kIpAclFields[] = {
    {.key = "name", .get = from_row<"name">, .flags = kGet},
    required("aclname", any_text()),
};
const Resource kIpAcl{.name = "ip_aclrule_cfg",
                      .walk = list(acl_walk<kStandardLists>, kAclWalkError),
                      .fields = kIpAclFields,
                      .aggregate = kIpRuleAggregate,
                      .query = kAclNameQuery,
                      .nested = {&kIpRules, 1}};

// ---- ipextended_aclrule_cfg: {"name", "aclrules": [...]} under "ip_aclrule_cfg"

const Field kExtendedRuleFields[] = {
    sequence("pri"),
    required("act", kAction),
    optional("asq", kQueue),
    optional("logging", kPlatformNumber),
    optional("mirrorIntf", kMirror),
    optional("redirectIntf", kRedirect),
    optional("matchEvery", flag("Failed to validate match packet indication\n")),
    optional("proto", choice(0, 255, "Failed to validate protocol\n")),
    optional("sip", custom_check(inet_text<"Invalid source IP address (%d)">)),
    optional("smask", custom_check(inet_text<"Invalid source IP mask(%d)">)),
    optional("sl4PortAct", choice(OPEN_ACL_L4_PORT_EQUAL, OPEN_ACL_L4_PORT_GREATER_THAN,
                                  "Failed to validate source L4 port operator")),
    optional("sl4Port", kL4Port),
    optional("sl4PortS", kL4Port),
    optional("sl4PortE", kL4Port),
    optional("dip", custom_check(inet_text<"Invalid destination IP address (%d)">)),
    optional("dmask", custom_check(inet_text<"Invalid destination IP mask(%d)">)),
    optional("dl4PortAct", choice(OPEN_ACL_L4_PORT_EQUAL, OPEN_ACL_L4_PORT_GREATER_THAN,
                                  "Failed to validate destination L4 port operator")),
    optional("dl4Port", kDstL4Port),
    optional("dl4PortS", kDstL4Port),
    optional("dl4PortE", kDstL4Port),
    optional("icmpType", kPlatformNumber),
    optional("icmpCode", kPlatformNumber),
    optional("igmpType", kPlatformNumber),
    optional("frag", kPlatformNumber),
    optional("srvTypeR", choice(0, kServiceTos, "Invalid service type %d")),
    optional("servValDscp", kPlatformNumber),
    optional("servValPrec", kPlatformNumber),
    optional("servValtos", kPlatformNumber),
    optional("servValtosMask", kPlatformNumber),
    kRuleMembers<"servValDscp">,
};
const Resource kExtendedRule{.name = "ipextended_aclrule_cfg",
                             .walk = list(kRuleWalk),
                             .fields = kExtendedRuleFields,
                             .create = add_rule_of<OPEN_ACL_TYPE_IP, "name", kExtendedSteps>,
                             .create_log = ActionLog::None};
const Nested kExtendedRules{.key = "aclrules", .child = &kExtendedRule};
const Resource kExtendedAcl{.name = "ipextended_aclrule_cfg",
                            .walk = list(acl_walk<kExtendedLists>, kAclWalkError),
                            .fields = kMacAclFields,
                            .aggregate = kExtendedRuleAggregate,
                            .body_key = "ip_aclrule_cfg",
                            .query = kAclNameQuery,
                            .nested = {&kExtendedRules, 1}};

// ---- ipv6_aclrule_cfg: {"aclname", "aclrules": [...]}

const Field kIpv6RuleFields[] = {
    sequence("pri"),
    required("act", kAction),
    optional("logging", kPlatformNumber),
    optional("asq", kQueue),
    optional("matchEvery", kPlatformNumber),
    optional("mirrorIntf", kMirror),
    optional("redirectIntf", kRedirect),
    optional("proto", kPlatformNumber),
    optional("sip", custom_check(inet_text<"Invalid source IP Address: %d">)),
    optional("smask", kPlatformNumber),
    optional("sl4PortAct",
             range(OPEN_ACL_L4_PORT_EQUAL, OPEN_ACL_L4_PORT_RANGE, "Source L4 Port Action", "invalid source port")),
    optional("sl4Port", choice(0, 65535, "invalid source port")),
    optional("sl4PortS", choice(0, 65535, "invalid source port")),
    optional("sl4PortE", choice(0, 65535, "invalid source port")),
    optional("dip", custom_check(inet_text<"Invalid destination IP Address: %d">)),
    optional("dmask", kPlatformNumber),
    optional("dl4PortAct", range(OPEN_ACL_L4_PORT_EQUAL, OPEN_ACL_L4_PORT_GREATER_THAN, "Destination L4 Port Action",
                                 "invalid destination port")),
    optional("dl4Port", choice(0, 65535, "invalid destination port")),
    optional("dl4PortS", choice(0, 65535, "invalid destination port")),
    optional("dl4PortE", choice(0, 65535, "invalid destination port")),
    optional("icmpType", kPlatformNumber),
    optional("icmpCode", kPlatformNumber),
    optional("frag", kPlatformNumber),
    optional("routing", kPlatformNumber),
    optional("flow", kPlatformNumber),
    optional("dscp", kPlatformNumber),
    optional("srvTypeR", choice(0, kServiceDscp, "Invalid service type %d")),
    optional("tcpVal", kPlatformNumber),
    optional("tcpMask", kPlatformNumber),
    kRuleMembers<"dscp">,
};
const Resource kIpv6Rule{.name = "ipv6_aclrule_cfg",
                         .walk = list(kRuleWalk),
                         .fields = kIpv6RuleFields,
                         .create = add_rule_of<OPEN_ACL_TYPE_IPV6, "aclname", kIpv6Steps>,
                         .create_log = ActionLog::None};
const Nested kIpv6Rules{.key = "aclrules", .child = &kIpv6Rule};
const Field kIpv6AclFields[] = {
    {.key = "name", .get = from_row<"name">, .flags = kGet},
    required("aclname", kName),
};
const Resource kIpv6Acl{.name = "ipv6_aclrule_cfg",
                        .walk = list(acl_walk<kIpv6Lists>, kAclWalkError),
                        .fields = kIpv6AclFields,
                        .aggregate = kIpv6RuleAggregate,
                        .query = kAclNameQuery,
                        .nested = {&kIpv6Rules, 1}};

// ---------------------------------------------------------------- acl_binding

// A port element names its port by "port_id" (or "port", as GET lists it)
// and may give a sequence number (none: after the last).
json_object *port_of(json_object *element) {
  json_object *v = nullptr;
  if (json_object_object_get_ex(element, "port_id", &v) || json_object_object_get_ex(element, "port", &v)) return v;
  return nullptr;
}
json_object *seq_of(json_object *element) {
  json_object *v = nullptr;
  return json_object_object_get_ex(element, "seqno", &v) ? v : nullptr;
}

bool check_binding_ports(Outcome &out, const char *key, json_object *value) {
  static constexpr Check kPort = port_check(3, "Port validation failed");
  if (!json_object_is_type(value, json_type_array)) {
    out.fail("Parsing error - expected %s array ", key);
    return false;
  }
  for (size_t i = 0; i < json_object_array_length(value); ++i) {
    json_object *element = json_object_array_get_idx(value, i);
    json_object *port = json_object_is_type(element, json_type_object) ? port_of(element) : nullptr;
    if (!port) {
      out.fail("Parsing Error: 'port_id' invalid.\n");
      return false;
    }
    if (!check_value(out, "port_id", kPort, port)) return false;
    if (json_object *seq = seq_of(element); seq && !check_value(out, "seqno", kBindingSeq, seq)) return false;
  }
  return true;
}

// GET: the ports bound to the ACL in the direction (index: name, type, direction).
int bound_ports(const Element &e, json_object **out) {
  Element acl;
  if (int rc = with_acl(e, "aclname", "Failed to get ACL id = %d", acl)) return rc;
  return get<&rpcclt_openapiAclAssignedIntfDirListGet, Idx<2>, Idx<1>, PortArray<"port">>(acl, out);
}

// POST: binds each listed port, then unbinds every other port the ACL has
// in that direction.
int bind_ports(const Element &e, json_object *ports) {
  Element acl;
  if (int rc = with_acl(e, "aclname", "Failed to get ACL id = %d", acl)) return rc;
  const uint32_t id = acl.index.num[0];
  const auto dir = static_cast<OPEN_ACL_DIRECTION_t>(int_of(e.value("direction")));
  std::vector<uint32_t> wanted;
  for (size_t i = 0; i < json_object_array_length(ports); ++i) {
    json_object *element = json_object_array_get_idx(ports, i);
    auto port = static_cast<uint32_t>(int_of(port_of(element)));
    auto seq = static_cast<uint32_t>(int_of(seq_of(element)));
    int rc = rpcclt_openapiAclIntfDirAdd(&g_client_handle, port, dir, id, seq);
    if (rc != OPEN_E_NONE) {
      log_table_message("Failed to acl interface direction with error code: %d", rc);
      return rc;
    }
    wanted.push_back(port);
  }
  std::vector<uint32_t> bound;
  call_detail::Context c{.e = &acl, .ports = &bound};
  if (int rc =
          call_detail::CallOf<&rpcclt_openapiAclAssignedIntfDirListGet, Idx<0>, Key<"direction">, PortArray<>>::run(c))
    return rc;
  for (uint32_t port : bound) {
    if (std::find(wanted.begin(), wanted.end(), port) != wanted.end()) continue;
    int rc = rpcclt_openapiAclIntfDirDelete(&g_client_handle, port, dir, id);
    if (rc != OPEN_E_NONE) {
      log_table_message("Failed to to delete ACL interface binding error code: %d", rc);
      return rc;
    }
  }
  return OPEN_E_NONE;
}

const Query kBindingQuery[] = {
    {.name = "aclname", .check = any_text(), .missing_log = "acl name not found in query var", .index = 0},
    {.name = "type", .check = kBindingType, .missing_log = "acl type not found in the query var", .index = 0},
    {.name = "direction", .check = kDirection, .missing_log = "direction not found in query var", .index = 1},
};
const Field kBindingFields[] = {
    {.key = "aclname",
     .check = any_text(),
     .get = from_query<"aclname">,
     .missing_log = "Parsing Error: 'aclname' invalid.\n"},
    {.key = "type", .check = kBindingType, .get = from_query<"type">},
    {.key = "direction", .check = kDirection, .get = from_query<"direction">},
    {.key = "ports",
     .check = custom_check(check_binding_ports),
     .get = bound_ports,
     .set = bind_ports,
     .set_log = SetLog::None},
};
const Resource kBinding{.name = "acl_binding", .walk = scalar(), .fields = kBindingFields, .query = kBindingQuery};

// ---------------------------------------------------------------- acl_intf_binding, acl_vlan_binding

// Moves (index, direction) to the next pair that may have lists bound.
using PairStep = int (*)(uint32_t &index, uint32_t &dir, bool first);
// The lists bound to (index, direction), by sequence.
using DirList = int (*)(uint32_t index, uint32_t dir, OPEN_ACL_DIR_LIST_t &list);

// One element per bound list: index numbers (interface or VLAN,
// direction, sequence); the row holds "direction", "aclname", "seqno" and
// "type".
template <PairStep Next, DirList List>
int binding_walk(Element &e, bool first) {
  uint32_t index = e.index.num[0], dir = e.index.num[1], seq = e.index.num[2];
  for (bool advance = first;; advance = true) {
    if (advance) {
      if (int rc = Next(index, dir, first)) return rc;
      first = false;
      seq = 0;
    }
    OPEN_ACL_DIR_LIST_t list{};
    if (int rc = List(index, dir, list)) return rc;
    for (uint32_t i = 0; i < list.count && i < OPEN_ACL_MAX_LISTS_PER_DIR; ++i) {
      const OPEN_ACL_DIR_ENTRY_t &entry = list.entries[i];
      if (entry.seqNum <= seq) continue;
      std::string name;
      if (int rc = acl_name(entry.aclId, name)) return rc;
      e.index.num[0] = index;
      e.index.num[1] = dir;
      e.index.num[2] = entry.seqNum;
      e.index.nums = 3;
      json_object_object_add(e.row, "direction", json_object_new_int64(dir));
      json_object_object_add(e.row, "aclname", json_object_new_string(name.c_str()));
      json_object_object_add(e.row, "seqno", json_object_new_int64(entry.seqNum));
      json_object_object_add(e.row, "type", json_object_new_int64(entry.aclType));
      return OPEN_E_NONE;
    }
  }
}

int next_intf_pair(uint32_t &ifNum, uint32_t &dir, bool first) {
  if (first) ifNum = dir = 0;
  OPEN_ACL_DIRECTION_t next = OPEN_ACL_INBOUND;
  int rc =
      rpcclt_openapiAclIntfDirGetNext(&g_client_handle, ifNum, static_cast<OPEN_ACL_DIRECTION_t>(dir), &ifNum, &next);
  dir = next;
  return rc;
}
int intf_list(uint32_t ifNum, uint32_t dir, OPEN_ACL_DIR_LIST_t &list) {
  return rpcclt_openapiAclIntfDirListGet(&g_client_handle, ifNum, static_cast<OPEN_ACL_DIRECTION_t>(dir), &list);
}
// Every VLAN, inbound then outbound.
int next_vlan_pair(uint32_t &vlan, uint32_t &dir, bool first) {
  if (!first && dir == OPEN_ACL_INBOUND) {
    dir = OPEN_ACL_OUTBOUND;
    return OPEN_E_NONE;
  }
  dir = OPEN_ACL_INBOUND;
  return openapiVlanNextGet(&g_client_handle, first ? 0 : vlan, &vlan);
}
int vlan_list(uint32_t vlan, uint32_t dir, OPEN_ACL_DIR_LIST_t &list) {
  return rpcclt_openapiAclVlanDirListGet(&g_client_handle, vlan, static_cast<OPEN_ACL_DIRECTION_t>(dir), &list);
}

const Field kIntfBindingFields[] = {
    {.key = "port", .check = port_check(3, "Port validation failed"), .flags = kIndex},
    {.key = "direction", .check = kDirection, .get = from_row<"direction">, .flags = kGet | kDelete},
    {.key = "aclname", .check = any_text(), .get = from_row<"aclname">, .flags = kGet | kDelete},
    {.key = "seqno", .get = from_row<"seqno">, .flags = kGet},
    {.key = "type", .check = kTypeChoice, .get = from_row<"type">, .flags = kGet | kDelete},
};
const Resource kIntfBinding{
    .name = "acl_intf_binding",
    .walk = list(binding_walk<next_intf_pair, intf_list>, "Failed to get the ACL interface bindings and error code:%d"),
    .fields = kIntfBindingFields,
    .aggregate = kIntfBindingAggregate,
    .remove = on_acl<"aclname", "Failed to get ACL id = %d",
                     act<&rpcclt_openapiAclIntfDirDelete, Idx<0>, Key<"direction">, Idx<1>>,
                     "Failed to delete the ACL interface binding and error code: %d">,
    .remove_log = ActionLog::None};

// POST binds inbound: its body has no direction.
const Field kVlanBindingFields[] = {
    {.key = "vlan", .check = vlan_check("Validation failed for vlan %d.\n"), .flags = kIndex},
    {.key = "direction", .check = kDirection, .get = from_row<"direction">, .flags = kGet | kDelete},
    {.key = "aclname",
     .check = any_text(),
     .get = from_row<"aclname">,
     .flags = kGet | kPost | kDelete | kRefers,
     .missing_log = "Parsing Error: 'aclname' invalid.\n"},
    {.key = "type", .check = kBindingType, .get = from_row<"type">, .flags = kGet | kPost},
    {.key = "type", .check = kTypeChoice, .flags = kDelete},
    {.key = "seqno", .check = kBindingSeq, .get = from_row<"seqno">, .flags = kGet | kPost},
};
const Resource kVlanBinding{
    .name = "acl_vlan_binding",
    .walk = list(binding_walk<next_vlan_pair, vlan_list>, "Failed to get the ACL VLAN bindings and error code:%d"),
    .fields = kVlanBindingFields,
    .aggregate = kVlanBindingAggregate,
    .create = on_acl<"aclname", "Failed to get ACL id = %d",
                     act<&rpcclt_openapiAclVlanDirAdd, Idx<0>, Lit<OPEN_ACL_INBOUND>, Idx<1>, Key<"seqno">>,
                     "Failed to bind the ACL to the vlan and error code: %d">,
    .create_log = ActionLog::None,
    .remove = on_acl<"aclname", "Failed to get ACL id = %d",
                     act<&rpcclt_openapiAclVlanDirDelete, Idx<0>, Key<"direction">, Idx<1>>,
                     "Failed to delete the ACL vlan binding and error code: %d">,
    .remove_log = ActionLog::None};

}  // namespace

VELTRUM_SERVE(acl_cfg, kAcl);
VELTRUM_SERVE(aclrule_cfg, kRuleDelete);
VELTRUM_SERVE(acl_count_get, kCount);
VELTRUM_SERVE(acl_config, kConfig);
VELTRUM_SERVE(mac_aclrule_cfg, kMacAcl);
VELTRUM_SERVE(ip_aclrule_cfg, kIpAcl);
VELTRUM_SERVE(ipextended_aclrule_cfg, kExtendedAcl);
VELTRUM_SERVE(ipv6_aclrule_cfg, kIpv6Acl);
VELTRUM_SERVE(acl_binding, kBinding);
VELTRUM_SERVE(acl_intf_binding, kIntfBinding);
VELTRUM_SERVE(acl_vlan_binding, kVlanBinding);
