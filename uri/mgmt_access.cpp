// Management access control: "acal_rule_cfg" (the rules of the management
// access list, by priority) and "protocol_access_control" (the list's name,
// whether it is active, the packets it dropped).
//
// Code of its own: the walk of the rules (the list's name first), the
// adding of a rule in its steps, the source as the platform writes it, and
// making a list the one named. docs/security.md holds the readings.
#include <cctype>
#include <string>

#include "core/platform_call.h"
#include "platform/calls/03_network.h"
#include "platform/calls/20_mgmt_access.h"

using namespace veltrum::handler;
using veltrum::handler::call_detail::TextIn;
using veltrum::handler::call_detail::TextOut;

namespace {

// Aggregate code (docs/security.md).
constexpr int kRuleAggregate = 1400;

constexpr size_t kNameMax = OPEN_MGMT_ACAL_NAME_MAX;
constexpr size_t kAddressText = 46;  // an IPv6 text and its NUL

// ---------------------------------------------------------------- acal_rule_cfg

// A copy of the element with the list's name as its index text.
int with_list(const Element &e, Element &out) {
  out = e;
  int rc = cursor<&rpcclt_openapiMacalNameGet, NextTxt<0, kNameMax>>(out, true);
  if (rc != OPEN_E_NONE) log_table_message("Failed to get the management access list name and error code : %d", rc);
  return rc;
}

// The rules by priority (index: the list's name, the priority; row "pri").
int rule_walk(Element &e, bool first) {
  int rc = OPEN_E_NONE;
  if (first) {
    rc = cursor<&rpcclt_openapiMacalNameGet, NextTxt<0, kNameMax>>(e, true);
    if (rc == OPEN_E_NONE) rc = cursor<&rpcclt_openapiMacalRuleFirstGet, Txt<0>, NextNum<0>>(e, true);
  } else {
    rc = cursor<&rpcclt_openapiMacalRuleNextGet, Txt<0>, Idx<0>, NextNum<0>>(e, false);
  }
  if (rc == OPEN_E_NONE) json_object_object_add(e.row, "pri", json_object_new_int64(e.index.num[0]));
  return rc;
}

// The rule's source address and mask, as the platform writes them.
int rule_source(const Element &e, json_object **out) {
  TextIn name;
  name.set(e.index.text[0]);
  uint32_t address[2] = {};
  int rc = rpcclt_openapiMacalRuleSrcIpMaskGet(&g_client_handle, &name.desc, e.index.num[0], &address[0], &address[1]);
  json_object *o = json_object_new_object();
  const char *keys[2] = {"sip", "mask"};
  for (size_t i = 0; i < 2 && rc == OPEN_E_NONE; ++i) {
    open_inet_addr_t a{};
    a.family = OPEN_AF_INET;
    a.addr.ipv4 = address[i];
    TextOut<kAddressText> text;
    rc = rpcclt_openapiOpenIPtoStringGet(&g_client_handle, a, &text.desc);
    if (rc == OPEN_E_NONE) json_object_object_add(o, keys[i], json_object_new_string(text.buffer));
  }
  if (rc != OPEN_E_NONE) {
    json_object_put(o);
    return rc;
  }
  *out = o;
  return OPEN_E_NONE;
}

// An address text the platform converts; `Log` is logged when it cannot.
template <Name Log>
bool platform_address(Outcome &out, const char *, json_object *value) {
  std::string text;
  uint32_t address = 0;
  TextIn in;
  if (read_text(value, text)) in.set(text);
  if (in.desc.pstart && rpcclt_openapiInetAton(&g_client_handle, &in.desc, &address) == OPEN_E_NONE) return true;
  log_table_message("%s", Log.text);
  ++out.failures;
  return false;
}

// One step of adding a rule: the call (the list's name in Txt<0>, the
// priority in Idx<0>) and its message, given the priority and the result.
struct RuleStep {
  ActBinding call;
  const char *error;
};
constexpr RuleStep kRuleSteps[] = {
    {act<&rpcclt_openapiMacalRuleActionAdd, Txt<0>, Idx<0>, Key<"type">>,
     "Failed to set the action of rule %d and error code : %d"},
    {act<&rpcclt_openapiMacalRuleServiceAdd, Txt<0>, Idx<0>, Key<"service">>,
     "Failed to set the service of rule %d and error code : %d"},
    {act<&rpcclt_openapiMacalRuleSrcIpMaskAdd, Txt<0>, Idx<0>, Ipv4<Key<"sip">>, Ipv4<Key<"mask">>>,
     "Failed to set the source of rule %d and error code : %d"},
};

// A priority the list has already is changed to what the element says.
int add_rule(const Element &e) {
  Element rule;
  if (int rc = with_list(e, rule)) return rc;
  const auto priority = static_cast<uint32_t>(int_of(e.value("pri")));
  rule.index.num[0] = priority;
  rule.index.nums = 1;
  OPEN_BOOL_t exists = OPEN_FALSE;
  TextIn name;
  name.set(rule.index.text[0]);
  int rc = rpcclt_openapiMacalRuleExists(&g_client_handle, &name.desc, priority, &exists);
  if (rc == OPEN_E_NONE && !exists) rc = act<&rpcclt_openapiMacalRuleEntryAdd, Txt<0>, Idx<0>>(rule);
  if (rc != OPEN_E_NONE) {
    log_table_message("Failed to add the rule of priority %d and error code : %d", static_cast<int>(priority), rc);
    return rc;
  }
  for (const RuleStep &step : kRuleSteps) {
    rc = step.call(rule);
    if (rc != OPEN_E_NONE) {
      log_table_message(step.error, static_cast<int>(priority), rc);
      return rc;
    }
  }
  return OPEN_E_NONE;
}

int remove_rule(const Element &e) {
  Element rule;
  if (int rc = with_list(e, rule)) return rc;
  int rc = act<&rpcclt_openapiMacalRuleRemove, Txt<0>, Key<"Priority">>(rule);
  if (rc != OPEN_E_NONE)
    log_table_message("Failed to remove the rule of priority %d and error code : %d",
                      static_cast<int>(int_of(e.value("Priority"))), rc);
  return rc;
}

const Field kRuleFields[] = {
    {.key = "type",
     .check = choice(OPEN_MGMT_ACAL_DENY, OPEN_MGMT_ACAL_PERMIT, "Invalid  action %d"),
     .get = get<&rpcclt_openapiMacalRuleActionGet, Txt<0>, Idx<0>, Val>,
     .flags = kGet | kPost},
    {.key = "service",
     .check = choice(OPEN_MGMT_ACAL_SERVICE_ANY, OPEN_MGMT_ACAL_SERVICE_TFTP, "Invalid  service %d"),
     .get = get<&rpcclt_openapiMacalRuleServiceGet, Txt<0>, Idx<0>, Val>,
     .flags = kGet | kPost},
    {.key = "pri",
     .check = choice(1, OPEN_MGMT_ACAL_PRIORITY_MAX, "Invalid  priority %d"),
     .get = from_row<"pri">,
     .flags = kGet | kPost},
    {.key = "sip",
     .check = custom_check(platform_address<"Parsing Error: 'Source IP Address' invalid.\n">),
     .flags = kPost},
    {.key = "mask", .check = custom_check(platform_address<"Parsing Error: 'Source mask' invalid.\n">), .flags = kPost},
    {.key = "source", .get = rule_source, .flags = kGet | kMerge},
    {.key = "Priority",
     .check = range(1, OPEN_MGMT_ACAL_PRIORITY_MAX, "Priority", "Invalid  priority %d"),
     .flags = kDelete},
};
constexpr const char *kRulePriority[] = {"priority"};
constexpr const char *kRuleList[] = {"list"};
const Resource kRules{.name = "acal_rule_cfg",
                      .walk = list(rule_walk, "Failed to get the management access rules and error code:%d")
                                  .adding(kRulePriority, kRuleList),
                      .fields = kRuleFields,
                      .aggregate = kRuleAggregate,
                      .create = add_rule,
                      .create_log = ActionLog::None,
                      .remove = remove_rule,
                      .remove_log = ActionLog::None};

// ---------------------------------------------------------------- protocol_access_control

// A list name: 1 to 31 letters, digits, "-", "_" and ".". Checked before
// anything changes, since a new name replaces the switch's list.
bool check_list_name(Outcome &out, const char *, json_object *value) {
  std::string name;
  bool ok = read_text(value, name) && !name.empty() && name.size() <= kNameMax;
  for (char c : name) ok = ok && (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.');
  if (ok) return true;
  out.fail("Parsing Error: 'ACAL name' invalid.\n");
  return false;
}

// The list's name; "" while the switch has none.
int list_name(const Element &, json_object **out) {
  TextOut<kNameMax> name;
  int rc = rpcclt_openapiMacalNameGet(&g_client_handle, &name.desc);
  if (rc == OPEN_E_NOT_FOUND)
    name.buffer[0] = '\0';
  else if (rc != OPEN_E_NONE)
    return rc;
  *out = json_object_new_string(name.buffer);
  return OPEN_E_NONE;
}

int is_active(bool &active) {
  OPEN_BOOL_t on = OPEN_FALSE;
  int rc = rpcclt_openapiMacalIsAnyListActivated(&g_client_handle, &on);
  active = on == OPEN_TRUE;
  return rc;
}

// One call on a list by name; `error` is given the name and the result.
int on_list(open_error_t (*fn)(openapiClientHandle_t *, const open_buffdesc *), const std::string &name,
            const char *error) {
  TextIn text;
  text.set(name);
  int rc = fn(&g_client_handle, &text.desc);
  if (rc != OPEN_E_NONE) log_table_message(error, name.c_str(), rc);
  return rc;
}

// Makes the switch's list the one named (the switch keeps one: another
// list is deactivated and deleted first, and the new one starts without
// rules), then activates or deactivates it.
int apply_list(const Element &e) {
  const std::string name = text_of(e.value("name"));
  const bool activate = int_of(e.value("status")) != 0;
  TextOut<kNameMax> current;
  int rc = rpcclt_openapiMacalNameGet(&g_client_handle, &current.desc);
  if (rc == OPEN_E_NOT_FOUND) {
    current.buffer[0] = '\0';
  } else if (rc != OPEN_E_NONE) {
    log_table_message("Failed to get the management access list name and error code : %d", rc);
    return rc;
  }
  bool active = false;
  if ((rc = is_active(active)) != OPEN_E_NONE) return rc;
  if (current.buffer != name) {
    if (current.buffer[0]) {
      if (active && (rc = on_list(rpcclt_openapiMacalDeactivate, current.buffer,
                                  "Failed to deactivate the management access list %s and error code : %d")))
        return rc;
      active = false;
      if ((rc = on_list(rpcclt_openapiMacalListDelete, current.buffer,
                        "Failed to delete the management access list %s and error code : %d")))
        return rc;
    }
    if ((rc = on_list(rpcclt_openapiMacalListCreate, name,
                      "Failed to create the management access list %s and error code : %d")))
      return rc;
  }
  if (activate)
    return on_list(rpcclt_openapiMacalActivate, name,
                   "Failed to activate the management access list %s and error code : %d");
  if (active)
    return on_list(rpcclt_openapiMacalDeactivate, name,
                   "Failed to deactivate the management access list %s and error code : %d");
  return OPEN_E_NONE;
}

const Field kListFields[] = {
    {.key = "name",
     .check = custom_check(check_list_name),
     .get = list_name,
     .missing_log = "Parsing Error: 'ACAL name' invalid.\n"},
    {.key = "status", .check = flag("Invalid status %d"), .get = platform_get<&rpcclt_openapiMacalIsAnyListActivated>},
    {.key = "filter", .get = platform_get<&rpcclt_openapiMacalStatsPacketsFilteredGet>, .flags = kGet},
};
const Resource kList{.name = "protocol_access_control",
                     .walk = scalar(),
                     .fields = kListFields,
                     .create = apply_list,
                     .create_log = ActionLog::None};

}  // namespace

VELTRUM_SERVE(acal_rule_cfg, kRules);
VELTRUM_SERVE(protocol_access_control, kList);
