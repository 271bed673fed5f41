// The management access list: one list ("macal_lists" row: name ->
// {"active"}) with up to 64 rules ("macal_rules" rows: priority ->
// {"action", "service", "ip", "mask"}, host-order addresses), and the count
// of management packets the active list dropped ("macal.filtered", dynamic).
//
// What the switch refuses: a second list (-23), a name that is not 1 to 31
// letters, digits, "-", "_" or "." (-22), a rule or list call that names
// another list (-26), priorities outside 1 to 64, a priority in use (-24),
// a mask that is not a mask, activating a list without rules (-29: it would
// lock every client out) and deleting the active list (-33).
#include <arpa/inet.h>

#include "platform/calls/20_mgmt_access.h"
#include "sim/bind.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

const TableSpec kLists{"macal_lists", 1, true};
const TableSpec kRules{"macal_rules", OPEN_MGMT_ACAL_PRIORITY_MAX, true};
const SettingSpec kFiltered{"macal.filtered", Scope::Global, int64_t{0}, 0, UINT32_MAX, false};

bool valid_list_name(const std::string &name) {
  return !name.empty() && name.size() <= OPEN_MGMT_ACAL_NAME_MAX && text_matches(TextSyntax::NAME, name);
}

// The part's tables.
struct Macal {
  Table &lists;
  Table &rules;
};

// The list row named `name`, or null.
Record *list_named(Table &lists, const open_buffdesc *name) { return lists.find({buffer_text(name)}); }

// The rule of the list named `name` with `priority`: OPEN_E_NOT_FOUND when
// either is missing.
open_error_t rule_of(const Macal &m, const open_buffdesc *name, uint32_t priority, Record *&rule) {
  if (!list_named(m.lists, name)) return OPEN_E_NOT_FOUND;
  rule = m.rules.find({int64_t{priority}});
  return rule ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
}

// Every list row has "active", and every rule row its four members, from
// their create.
bool any_active(const Table &lists) {
  for (const auto &[key, r] : lists.rows())
    if (required_integer(r, "active")) return true;
  return false;
}

}  // namespace

using namespace calls::mgmt_access;

VELTRUM_SIM_PART(mgmt_access, kFamily) {
  Store &store = sim.store();
  const Macal m{store.define_table(kLists), store.define_table(kRules)};
  SettingRef filtered = store.define(kFiltered);

  // ---- the list

  sim.implement<CallId::rpcclt_openapiMacalNameGet>([m](openapiClientHandle_t *, open_buffdesc *name) {
    auto *row = m.lists.next({});
    if (!row) return OPEN_E_NOT_FOUND;
    return fill_text(name, std::get<std::string>(row->first[0]));
  });
  sim.implement<CallId::rpcclt_openapiMacalListCreate>([m](openapiClientHandle_t *, const open_buffdesc *name) {
    std::string n = buffer_text(name);
    if (!valid_list_name(n)) return OPEN_E_PARAM;
    return m.lists.insert({n}, {{"active", int64_t{0}}});
  });
  sim.implement<CallId::rpcclt_openapiMacalListDelete>([m](openapiClientHandle_t *, const open_buffdesc *name) {
    Record *list = list_named(m.lists, name);
    if (!list) return OPEN_E_NOT_FOUND;
    if (required_integer(*list, "active")) return OPEN_E_INUSE;
    m.rules.clear();
    return m.lists.erase({buffer_text(name)});
  });
  sim.implement<CallId::rpcclt_openapiMacalActivate>([m](openapiClientHandle_t *, const open_buffdesc *name) {
    Record *list = list_named(m.lists, name);
    if (!list) return OPEN_E_NOT_FOUND;
    if (m.rules.size() == 0) return OPEN_E_EMPTY;
    (*list)["active"] = int64_t{1};
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiMacalDeactivate>([m](openapiClientHandle_t *, const open_buffdesc *name) {
    Record *list = list_named(m.lists, name);
    if (!list) return OPEN_E_NOT_FOUND;
    (*list)["active"] = int64_t{0};
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiMacalIsAnyListActivated>([m](openapiClientHandle_t *, OPEN_BOOL_t *active) {
    if (!active) return OPEN_E_PARAM;
    *active = any_active(m.lists) ? OPEN_TRUE : OPEN_FALSE;
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiMacalStatsPacketsFilteredGet>([filtered](openapiClientHandle_t *, uint32_t *count) {
    return read_integer(filtered, 0, count);
  });

  // ---- rules

  sim.implement<CallId::rpcclt_openapiMacalRuleExists>(
      [m](openapiClientHandle_t *, const open_buffdesc *name, uint32_t priority, OPEN_BOOL_t *exists) {
        if (!exists || priority < 1 || priority > OPEN_MGMT_ACAL_PRIORITY_MAX) return OPEN_E_PARAM;
        if (!list_named(m.lists, name)) return OPEN_E_NOT_FOUND;
        *exists = m.rules.find({int64_t{priority}}) ? OPEN_TRUE : OPEN_FALSE;
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiMacalRuleEntryAdd>(
      [m](openapiClientHandle_t *, const open_buffdesc *name, uint32_t priority) {
        if (priority < 1 || priority > OPEN_MGMT_ACAL_PRIORITY_MAX) return OPEN_E_PARAM;
        if (!list_named(m.lists, name)) return OPEN_E_NOT_FOUND;
        Record rule{{"action", int64_t{OPEN_MGMT_ACAL_DENY}},
                    {"service", int64_t{OPEN_MGMT_ACAL_SERVICE_ANY}},
                    {"ip", int64_t{0}},
                    {"mask", int64_t{0}}};
        return m.rules.insert({int64_t{priority}}, rule);
      });
  sim.implement<CallId::rpcclt_openapiMacalRuleRemove>(
      [m](openapiClientHandle_t *, const open_buffdesc *name, uint32_t priority) {
        if (!list_named(m.lists, name)) return OPEN_E_NOT_FOUND;
        return m.rules.erase({int64_t{priority}});
      });
  auto next_rule = [m](const open_buffdesc *name, uint32_t after, uint32_t *next) {
    if (!next) return OPEN_E_PARAM;
    if (!list_named(m.lists, name)) return OPEN_E_NOT_FOUND;
    auto *row = m.rules.next({int64_t{after}});
    if (!row) return OPEN_E_NOT_FOUND;
    *next = static_cast<uint32_t>(std::get<int64_t>(row->first[0]));
    return OPEN_E_NONE;
  };
  sim.implement<CallId::rpcclt_openapiMacalRuleFirstGet>(
      [next_rule](openapiClientHandle_t *, const open_buffdesc *name, uint32_t *priority) {
        return next_rule(name, 0, priority);
      });
  sim.implement<CallId::rpcclt_openapiMacalRuleNextGet>(
      [next_rule](openapiClientHandle_t *, const open_buffdesc *name, uint32_t priority, uint32_t *next) {
        return next_rule(name, priority, next);
      });

  // One member of a rule: checked, written; read back.
  auto change = [m](const open_buffdesc *name, uint32_t priority, bool valid, const Record &values) {
    Record *rule = nullptr;
    if (open_error_t rc = rule_of(m, name, priority, rule)) return rc;
    if (!valid) return OPEN_E_PARAM;
    for (const auto &[member, value] : values) (*rule)[member] = value;
    return OPEN_E_NONE;
  };
  auto read = [m](const open_buffdesc *name, uint32_t priority, const char *member, auto *out) {
    Record *rule = nullptr;
    if (!out) return OPEN_E_PARAM;
    if (open_error_t rc = rule_of(m, name, priority, rule)) return rc;
    *out = static_cast<std::remove_pointer_t<decltype(out)>>(required_integer(*rule, member));
    return OPEN_E_NONE;
  };
  sim.implement<CallId::rpcclt_openapiMacalRuleActionAdd>(
      [change](openapiClientHandle_t *, const open_buffdesc *name, uint32_t priority, OPEN_MGMT_ACAL_ACTION_t action) {
        return change(name, priority, action <= OPEN_MGMT_ACAL_PERMIT, {{"action", int64_t{action}}});
      });
  sim.implement<CallId::rpcclt_openapiMacalRuleActionGet>(
      [read](openapiClientHandle_t *, const open_buffdesc *name, uint32_t priority, OPEN_MGMT_ACAL_ACTION_t *action) {
        return read(name, priority, "action", action);
      });
  sim.implement<CallId::rpcclt_openapiMacalRuleServiceAdd>([change](openapiClientHandle_t *, const open_buffdesc *name,
                                                                    uint32_t priority,
                                                                    OPEN_MGMT_ACAL_SERVICE_t service) {
    return change(name, priority, service <= OPEN_MGMT_ACAL_SERVICE_TFTP, {{"service", int64_t{service}}});
  });
  sim.implement<CallId::rpcclt_openapiMacalRuleServiceGet>(
      [read](openapiClientHandle_t *, const open_buffdesc *name, uint32_t priority, OPEN_MGMT_ACAL_SERVICE_t *service) {
        return read(name, priority, "service", service);
      });
  sim.implement<CallId::rpcclt_openapiMacalRuleSrcIpMaskAdd>(
      [change](openapiClientHandle_t *, const open_buffdesc *name, uint32_t priority, uint32_t ip, uint32_t mask) {
        return change(name, priority, contiguous_mask(mask), {{"ip", int64_t{ip}}, {"mask", int64_t{mask}}});
      });
  sim.implement<CallId::rpcclt_openapiMacalRuleSrcIpMaskGet>(
      [read](openapiClientHandle_t *, const open_buffdesc *name, uint32_t priority, uint32_t *ip, uint32_t *mask) {
        if (open_error_t rc = read(name, priority, "ip", ip)) return rc;
        return read(name, priority, "mask", mask);
      });

  sim.implement<CallId::rpcclt_openapiOpenIPtoStringGet>(
      [](openapiClientHandle_t *, open_inet_addr_t addr, open_buffdesc *text) {
        char buffer[INET6_ADDRSTRLEN] = {};
        if (addr.family == OPEN_AF_INET) {
          in_addr a{htonl(addr.addr.ipv4)};
          inet_ntop(AF_INET, &a, buffer, sizeof buffer);
        } else if (addr.family == OPEN_AF_INET6) {
          inet_ntop(AF_INET6, addr.addr.ipv6, buffer, sizeof buffer);
        } else {
          return OPEN_E_PARAM;
        }
        return fill_text(text, buffer);
      });
}

}  // namespace veltrum::sim
