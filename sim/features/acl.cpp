// Access control lists as a switch keeps them.
//
// "acls" rows: id -> {"type", "name"}. Numbered IPv4 lists have their
// number as id (1 to 99 standard, 100 to 199 extended) and its text as
// name; named lists (a letter first, then letters, digits, "-", "_" and
// ".", 255 characters at most, unique within their type) take the lowest
// free id from 200. The switch holds 100 lists.
// "acl_rules" rows: (id, sequence) -> {"action", "matches" (OPEN_ACL_MATCH_t
// bits), and one member per value of each match the rule has}.
// "acl_intf_bindings" and "acl_vlan_bindings" rows: (interface or VLAN,
// direction, id) -> {"seq"}; at most four lists per interface (or VLAN) and
// direction, each with its own sequence number.
//
// What the switch refuses: a match that does not belong to the list's kind
// (MAC matches on IP lists, destinations or protocols on standard lists,
// IPv6 matches on IPv4 lists ...), layer-4 ports unless the rule matches
// TCP or UDP, ICMP types unless it matches ICMP (IGMP types: IGMP, TCP flags:
// TCP), a second service match (precedence, TOS, DSCP) on one rule, mirror
// and redirect on one rule, inverted port ranges, masks that are not masks,
// a sequence number a rule or binding already has. A list that is bound to
// an interface or VLAN cannot be deleted (-33): unbinding first is the
// client's decision, since deleting would change what the ports forward.
#include <arpa/inet.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/calls/11_acl.h"
#include "sim/bind.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

constexpr size_t kMaxAcls = 100;
constexpr size_t kRulesPerAcl = 1023;
constexpr uint32_t kMaxQueue = 6;
constexpr uint32_t kFirstNamedId = 200;

const TableSpec kAcls{"acls", kMaxAcls, true};
const TableSpec kRules{"acl_rules", 4096, true};
const TableSpec kIntfBindings{"acl_intf_bindings", 1024, true};
const TableSpec kVlanBindings{"acl_vlan_bindings", 4096, true};

// The kinds of list, as bits: which matches belong to which.
enum Kind : uint32_t { kMac = 1, kStandard = 2, kExtended = 4, kIpv6 = 8, kAll = 15 };

uint32_t kinds_of(OPEN_ACL_MATCH_t match) {
  switch (match) {
    case OPEN_ACL_MATCH_QUEUE:
    case OPEN_ACL_MATCH_MIRROR:
    case OPEN_ACL_MATCH_REDIRECT:
    case OPEN_ACL_MATCH_EVERY:
    case OPEN_ACL_MATCH_LOGGING:
      return kAll;
    case OPEN_ACL_MATCH_COS:
    case OPEN_ACL_MATCH_DST_MAC:
    case OPEN_ACL_MATCH_SRC_MAC:
    case OPEN_ACL_MATCH_ETYPE:
    case OPEN_ACL_MATCH_VLAN:
      return kMac;
    case OPEN_ACL_MATCH_SRC_IP:
      return kStandard | kExtended;
    case OPEN_ACL_MATCH_DST_IP:
    case OPEN_ACL_MATCH_IGMP:
    case OPEN_ACL_MATCH_PRECEDENCE:
    case OPEN_ACL_MATCH_TOS:
      return kExtended;
    case OPEN_ACL_MATCH_PROTOCOL:
    case OPEN_ACL_MATCH_SRC_L4:
    case OPEN_ACL_MATCH_DST_L4:
    case OPEN_ACL_MATCH_ICMP:
    case OPEN_ACL_MATCH_FRAGMENTS:
    case OPEN_ACL_MATCH_DSCP:
      return kExtended | kIpv6;
    case OPEN_ACL_MATCH_SRC_IPV6:
    case OPEN_ACL_MATCH_DST_IPV6:
    case OPEN_ACL_MATCH_ROUTING:
    case OPEN_ACL_MATCH_FLOW_LABEL:
    case OPEN_ACL_MATCH_TCP_FLAGS:
      return kIpv6;
  }
  return 0;
}

constexpr uint32_t kServiceMatches = OPEN_ACL_MATCH_PRECEDENCE | OPEN_ACL_MATCH_TOS | OPEN_ACL_MATCH_DSCP;

bool valid_name(const std::string &name) {
  if (name.empty() || name.size() > OPEN_ACL_NAME_MAX || !isalpha(static_cast<unsigned char>(name[0]))) return false;
  return text_matches(TextSyntax::NAME, name);
}

class Acls {
 public:
  Acls(Table &acls, Table &rules, Table &intf_bindings, Table &vlan_bindings)
      : acls_(acls), rules_(rules), intf_bindings_(intf_bindings), vlan_bindings_(vlan_bindings) {}

  Table &acls() { return acls_; }
  Table &rules() { return rules_; }

  const Record *acl(uint32_t id) { return acls().find({int64_t{id}}); }
  static OPEN_ACL_TYPE_t type_of(const Record &r) { return static_cast<OPEN_ACL_TYPE_t>(required_integer(r, "type")); }

  uint32_t kind(uint32_t id) {
    const Record *r = acl(id);
    if (!r) return 0;
    switch (type_of(*r)) {
      case OPEN_ACL_TYPE_MAC:
        return kMac;
      case OPEN_ACL_TYPE_IPV6:
        return kIpv6;
      default:
        return id < 100 ? kStandard : kExtended;
    }
  }

  // The id of the list of `type` named `name`, or 0.
  uint32_t find(OPEN_ACL_TYPE_t type, const std::string &name) {
    for (const auto &[key, r] : acls().rows())
      if (type_of(r) == type && required_text(r, "name") == name) return static_cast<uint32_t>(std::get<int64_t>(key[0]));
    return 0;
  }

  open_error_t create_named(OPEN_ACL_TYPE_t type, const std::string &name, uint32_t *id) {
    if (type < OPEN_ACL_TYPE_IP || type > OPEN_ACL_TYPE_MAC || !valid_name(name)) return OPEN_E_PARAM;
    if (find(type, name)) return OPEN_E_EXISTS;
    uint32_t free = kFirstNamedId;
    while (acl(free)) ++free;
    if (open_error_t rc = acls().insert({int64_t{free}}, {{"type", int64_t{type}}, {"name", name}})) return rc;
    if (id) *id = free;
    return OPEN_E_NONE;
  }

  open_error_t remove(uint32_t id) {
    if (!acl(id)) return OPEN_E_NOT_FOUND;
    for (const Table *table : {&intf_bindings_, &vlan_bindings_})
      for (const auto &[key, r] : table->rows())
        if (key[2] == Value(int64_t{id})) return OPEN_E_INUSE;
    rules().erase_prefix({int64_t{id}});
    return acls().erase({int64_t{id}});
  }

  // The next list after `after` (0: the first) that `keep` accepts.
  template <typename Keep>
  open_error_t next(uint32_t after, uint32_t *out, Keep keep) {
    if (!out) return OPEN_E_PARAM;
    for (auto *row = acls().next({int64_t{after}}); row; row = acls().next(row->first)) {
      auto id = static_cast<uint32_t>(std::get<int64_t>(row->first[0]));
      if (keep(id, row->second)) {
        *out = id;
        return OPEN_E_NONE;
      }
    }
    return OPEN_E_NOT_FOUND;
  }

  // ---- rules

  open_error_t add_rule(uint32_t id, uint32_t rule, OPEN_ACL_ACTION_t action) {
    if (!acl(id)) return OPEN_E_NOT_FOUND;
    if (rule == 0 || rule > OPEN_ACL_SEQ_MAX || (action != OPEN_ACL_DENY && action != OPEN_ACL_PERMIT))
      return OPEN_E_PARAM;
    if (rules().find({int64_t{id}, int64_t{rule}})) return OPEN_E_EXISTS;
    if (rules().with_prefix({int64_t{id}}).size() >= kRulesPerAcl) return OPEN_E_FULL;
    return rules().insert({int64_t{id}, int64_t{rule}}, {{"action", int64_t{action}}, {"matches", int64_t{0}}});
  }

  // Adds one match with its values to a rule, if it belongs to the list's
  // kind and goes with what the rule has.
  open_error_t add_match(uint32_t id, uint32_t rule, OPEN_ACL_MATCH_t match, const Record &values) {
    Record *r = rules().find({int64_t{id}, int64_t{rule}});
    if (!acl(id) || !r) return OPEN_E_NOT_FOUND;
    if (!(kinds_of(match) & kind(id))) return OPEN_E_PARAM;
    auto has = static_cast<uint32_t>(required_integer(*r, "matches"));
    int64_t protocol = (has & OPEN_ACL_MATCH_PROTOCOL) ? required_integer(*r, "protocol") : -1;
    switch (match) {
      case OPEN_ACL_MATCH_MIRROR:
        if (has & OPEN_ACL_MATCH_REDIRECT) return OPEN_E_PARAM;
        break;
      case OPEN_ACL_MATCH_REDIRECT:
        if (has & OPEN_ACL_MATCH_MIRROR) return OPEN_E_PARAM;
        break;
      case OPEN_ACL_MATCH_SRC_L4:
      case OPEN_ACL_MATCH_DST_L4:
        if (protocol != IPPROTO_TCP && protocol != IPPROTO_UDP) return OPEN_E_PARAM;
        break;
      case OPEN_ACL_MATCH_ICMP:
        if (protocol != (kind(id) == kIpv6 ? int64_t{IPPROTO_ICMPV6} : int64_t{IPPROTO_ICMP})) return OPEN_E_PARAM;
        break;
      case OPEN_ACL_MATCH_IGMP:
        if (protocol != IPPROTO_IGMP) return OPEN_E_PARAM;
        break;
      case OPEN_ACL_MATCH_TCP_FLAGS:
        if (protocol != IPPROTO_TCP) return OPEN_E_PARAM;
        break;
      default:
        break;
    }
    if ((match & kServiceMatches) && (has & kServiceMatches & ~static_cast<uint32_t>(match))) return OPEN_E_PARAM;
    for (const auto &[member, value] : values) (*r)[member] = value;
    (*r)["matches"] = int64_t{has | match};
    return OPEN_E_NONE;
  }

  // ---- bindings of interfaces or VLANs: rows (index, direction, id) -> {"seq"}

  open_error_t bind(Table &t, uint32_t index, OPEN_ACL_DIRECTION_t dir, uint32_t id, uint32_t seq) {
    if (dir > OPEN_ACL_OUTBOUND || seq > OPEN_ACL_SEQ_MAX) return OPEN_E_PARAM;
    if (!acl(id)) return OPEN_E_NOT_FOUND;
    auto bound = t.with_prefix({int64_t{index}, int64_t{dir}});
    int64_t last = 0;
    const Record *mine = nullptr;
    for (const auto *row : bound) {
      int64_t s = required_integer(row->second, "seq");
      last = std::max(last, s);
      if (row->first[2] == Value(int64_t{id}))
        mine = &row->second;
      else if (s == seq)
        return OPEN_E_EXISTS;
    }
    if (!mine && bound.size() >= OPEN_ACL_MAX_LISTS_PER_DIR) return OPEN_E_FULL;
    int64_t s = seq ? int64_t{seq} : (mine ? required_integer(*mine, "seq") : last + 1);
    if (s > OPEN_ACL_SEQ_MAX) return OPEN_E_FULL;
    return t.upsert({int64_t{index}, int64_t{dir}, int64_t{id}}, {{"seq", s}});
  }

  open_error_t unbind(Table &table, uint32_t index, OPEN_ACL_DIRECTION_t dir, uint32_t id) {
    if (dir > OPEN_ACL_OUTBOUND) return OPEN_E_PARAM;
    return table.erase({int64_t{index}, int64_t{dir}, int64_t{id}});
  }

  open_error_t dir_list(const Table &table, uint32_t index, OPEN_ACL_DIRECTION_t dir, OPEN_ACL_DIR_LIST_t *list) {
    if (!list || dir > OPEN_ACL_OUTBOUND) return OPEN_E_PARAM;
    *list = {};
    auto bound = table.with_prefix({int64_t{index}, int64_t{dir}});
    std::sort(bound.begin(), bound.end(), [](const auto *a, const auto *b) {
      return required_integer(a->second, "seq") < required_integer(b->second, "seq");
    });
    for (const auto *row : bound) {
      if (list->count >= OPEN_ACL_MAX_LISTS_PER_DIR) break;
      auto id = static_cast<uint32_t>(std::get<int64_t>(row->first[2]));
      const Record *r = acl(id);
      list->entries[list->count++] = {r ? type_of(*r) : OPEN_ACL_TYPE_NONE, id,
                                      static_cast<uint32_t>(required_integer(row->second, "seq"))};
    }
    return OPEN_E_NONE;
  }

 private:
  Table &acls_;
  Table &rules_;
  Table &intf_bindings_;
  Table &vlan_bindings_;
};

// ---- a rule as the record the platform answers

struct IntegerMember {
  const char *name;
  size_t offset;
};
#define ACL_RULE_MEMBER(m) \
  IntegerMember { #m, offsetof(OPEN_ACL_RULE_t, m) }
constexpr IntegerMember kIntegerMembers[] = {
    ACL_RULE_MEMBER(action),
    ACL_RULE_MEMBER(assignQueue),
    ACL_RULE_MEMBER(mirrorIntf),
    ACL_RULE_MEMBER(redirectIntf),
    ACL_RULE_MEMBER(matchEvery),
    ACL_RULE_MEMBER(logging),
    ACL_RULE_MEMBER(cos),
    ACL_RULE_MEMBER(etherTypeKeyword),
    ACL_RULE_MEMBER(etherTypeValue),
    ACL_RULE_MEMBER(vlanId),
    ACL_RULE_MEMBER(protocol),
    ACL_RULE_MEMBER(srcPfxLen),
    ACL_RULE_MEMBER(srcL4Operator),
    ACL_RULE_MEMBER(srcL4StartPort),
    ACL_RULE_MEMBER(srcL4EndPort),
    ACL_RULE_MEMBER(dstPfxLen),
    ACL_RULE_MEMBER(dstL4Operator),
    ACL_RULE_MEMBER(dstL4StartPort),
    ACL_RULE_MEMBER(dstL4EndPort),
    ACL_RULE_MEMBER(icmpType),
    ACL_RULE_MEMBER(icmpCode),
    ACL_RULE_MEMBER(igmpType),
    ACL_RULE_MEMBER(fragments),
    ACL_RULE_MEMBER(routing),
    ACL_RULE_MEMBER(flowLabel),
    ACL_RULE_MEMBER(dscp),
    ACL_RULE_MEMBER(precedence),
    ACL_RULE_MEMBER(tos),
    ACL_RULE_MEMBER(tosMask),
    ACL_RULE_MEMBER(tcpFlags),
    ACL_RULE_MEMBER(tcpFlagsMask),
};
#undef ACL_RULE_MEMBER

void fill_address(const Record &r, const char *member, open_inet_addr_t &out) {
  auto it = r.find(member);
  if (it == r.end()) return;
  if (it->second.index() == 0) {
    out.family = OPEN_AF_INET;
    out.addr.ipv4 = static_cast<uint32_t>(std::get<int64_t>(it->second));
  } else if (inet_pton(AF_INET6, std::get<std::string>(it->second).c_str(), out.addr.ipv6) == 1) {
    out.family = OPEN_AF_INET6;
  }
}

void fill_rule(const Record &r, OPEN_ACL_RULE_t &out) {
  out = {};
  out.configured = static_cast<uint32_t>(required_integer(r, "matches"));
  // A rule holds the members of the matches it has only: the others read 0 or "".
  for (const IntegerMember &m : kIntegerMembers) {
    auto v = static_cast<uint32_t>(record_integer(r, m.name));
    std::memcpy(reinterpret_cast<unsigned char *>(&out) + m.offset, &v, sizeof v);
  }
  std::strncpy(out.dstMac, record_text(r, "dstMac").c_str(), sizeof out.dstMac - 1);
  std::strncpy(out.dstMacMask, record_text(r, "dstMacMask").c_str(), sizeof out.dstMacMask - 1);
  std::strncpy(out.srcMac, record_text(r, "srcMac").c_str(), sizeof out.srcMac - 1);
  std::strncpy(out.srcMacMask, record_text(r, "srcMacMask").c_str(), sizeof out.srcMacMask - 1);
  fill_address(r, "srcIp", out.srcIp);
  fill_address(r, "srcMask", out.srcMask);
  fill_address(r, "dstIp", out.dstIp);
  fill_address(r, "dstMask", out.dstMask);
}

std::string ipv6_text(const open_inet_addr_t &a) {
  char text[INET6_ADDRSTRLEN] = {};
  inet_ntop(AF_INET6, a.addr.ipv6, text, sizeof text);
  return text;
}

// An address and mask match of IPv4; an address and prefix of IPv6.
bool ipv4_pair(const open_inet_addr_t &addr, const open_inet_addr_t &mask) {
  return addr.family == OPEN_AF_INET && mask.family == OPEN_AF_INET && contiguous_mask(mask.addr.ipv4);
}
bool ipv6_prefix(const open_inet_addr_t &addr, uint32_t len) { return addr.family == OPEN_AF_INET6 && len <= 128; }

bool l4_ports(OPEN_ACL_L4_PORT_OPERATOR_t oper, uint32_t start, uint32_t end) {
  if (oper > OPEN_ACL_L4_PORT_GREATER_THAN || start > 65535 || end > 65535) return false;
  return oper != OPEN_ACL_L4_PORT_RANGE || start <= end;
}

// A match of one number (or flag) up to `max`.
template <auto Id, typename T = uint32_t>
void single_match(Sim &sim, const std::shared_ptr<Acls> &acls, OPEN_ACL_MATCH_t m, const char *member, uint32_t max) {
  sim.implement<Id>([acls, m, member, max](openapiClientHandle_t *, uint32_t id, uint32_t rule, T value) {
    auto v = static_cast<uint32_t>(value);
    return v <= max ? acls->add_match(id, rule, m, {{member, int64_t{v}}}) : OPEN_E_PARAM;
  });
}

// The bindings of interfaces or VLANs (`table`): an index that `exists`
// refuses answers `absent`.
template <auto Add, auto Delete, auto List, typename Exists>
void implement_bindings(Sim &sim, const std::shared_ptr<Acls> &acls, Table &table, Exists exists,
                        open_error_t absent) {
  sim.implement<Add>([=, &table](openapiClientHandle_t *, uint32_t index, OPEN_ACL_DIRECTION_t dir, uint32_t id, uint32_t seq) {
    return exists(index) ? acls->bind(table, index, dir, id, seq) : absent;
  });
  sim.implement<Delete>([=, &table](openapiClientHandle_t *, uint32_t index, OPEN_ACL_DIRECTION_t dir, uint32_t id) {
    return acls->unbind(table, index, dir, id);
  });
  sim.implement<List>(
      [=, &table](openapiClientHandle_t *, uint32_t index, OPEN_ACL_DIRECTION_t dir, OPEN_ACL_DIR_LIST_t *list) {
        return exists(index) ? acls->dir_list(table, index, dir, list) : absent;
      });
}

}  // namespace

using namespace calls::acl;

VELTRUM_SIM_PART(acl, kFamily) {
  Store &store = sim.store();
  Table &intf_bindings = store.define_table(kIntfBindings);
  Table &vlan_bindings = store.define_table(kVlanBindings);
  auto acls = std::make_shared<Acls>(store.define_table(kAcls), store.define_table(kRules), intf_bindings, vlan_bindings);


  // ---- lists

  sim.implement<CallId::rpcclt_openapiAclCreate>(
      [acls](openapiClientHandle_t *, OPEN_ACL_TYPE_t type, const open_buffdesc *name, uint32_t *id) {
        return acls->create_named(type, buffer_text(name), id);
      });
  sim.implement<CallId::rpcclt_openapiNumberedAclCreate>(
      [acls](openapiClientHandle_t *, OPEN_ACL_NUMBERED_KIND_t kind, uint32_t number) {
        bool fits = kind == OPEN_ACL_NUMBERED_STANDARD   ? number >= 1 && number <= 99
                    : kind == OPEN_ACL_NUMBERED_EXTENDED ? number >= 100 && number <= 199
                                                         : false;
        if (!fits) return OPEN_E_PARAM;
        return acls->acls().insert({int64_t{number}},
                                   {{"type", int64_t{OPEN_ACL_TYPE_IP}}, {"name", std::to_string(number)}});
      });
  sim.implement<CallId::rpcclt_openapiAclGet>(
      [acls](openapiClientHandle_t *, OPEN_ACL_TYPE_t type, const open_buffdesc *name, uint32_t *id) {
        if (!id) return OPEN_E_PARAM;
        *id = acls->find(type, buffer_text(name));
        return *id ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
      });
  sim.implement<CallId::rpcclt_openapiAclRename>(
      [acls](openapiClientHandle_t *, uint32_t id, const open_buffdesc *name) {
        const Record *r = acls->acl(id);
        if (!r) return OPEN_E_NOT_FOUND;
        std::string n = buffer_text(name);
        if (id < kFirstNamedId || !valid_name(n)) return OPEN_E_PARAM;  // numbered lists keep their number
        uint32_t other = acls->find(Acls::type_of(*r), n);
        if (other && other != id) return OPEN_E_EXISTS;
        (*acls->acls().find({int64_t{id}}))["name"] = n;
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiAclDelete>(
      [acls](openapiClientHandle_t *, uint32_t id) { return acls->remove(id); });
  sim.implement<CallId::rpcclt_openapiAclNameGet>([acls](openapiClientHandle_t *, uint32_t id, open_buffdesc *name) {
    const Record *r = acls->acl(id);
    return r ? fill_text(name, required_text(*r, "name")) : OPEN_E_NOT_FOUND;
  });
  auto of_type = [](OPEN_ACL_TYPE_t type) {
    return [type](uint32_t, const Record &r) { return Acls::type_of(r) == type; };
  };
  auto numbered = [](uint32_t id, const Record &) { return id < kFirstNamedId; };
  sim.implement<CallId::rpcclt_openapiAclGetFirst>(
      [acls, of_type](openapiClientHandle_t *, OPEN_ACL_TYPE_t type, uint32_t *id) {
        return acls->next(0, id, of_type(type));
      });
  sim.implement<CallId::rpcclt_openapiAclGetNext>(
      [acls, of_type](openapiClientHandle_t *, OPEN_ACL_TYPE_t type, uint32_t id, uint32_t *next) {
        return acls->next(id, next, of_type(type));
      });
  sim.implement<CallId::rpcclt_openapiAclIdGetFirst>(
      [acls, numbered](openapiClientHandle_t *, uint32_t *id) { return acls->next(0, id, numbered); });
  sim.implement<CallId::rpcclt_openapiAclIdGetNext>(
      [acls, numbered](openapiClientHandle_t *, uint32_t id, uint32_t *next) {
        return acls->next(id, next, numbered);
      });
  sim.implement<CallId::rpcclt_openapiAclCountGet>([acls](openapiClientHandle_t *, uint32_t *count) {
    if (!count) return OPEN_E_PARAM;
    *count = static_cast<uint32_t>(acls->acls().size());
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiAclMaxCountGet>([](openapiClientHandle_t *, uint32_t *max) {
    if (!max) return OPEN_E_PARAM;
    *max = kMaxAcls;
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiAclMaxAssignQueueGet>([](openapiClientHandle_t *, uint32_t *max) {
    if (!max) return OPEN_E_PARAM;
    *max = kMaxQueue;
    return OPEN_E_NONE;
  });

  // ---- rules

  auto next_rule = [acls](uint32_t id, uint32_t after, uint32_t *out) {
    if (!out) return OPEN_E_PARAM;
    if (!acls->acl(id)) return OPEN_E_NOT_FOUND;
    auto *row = acls->rules().next({int64_t{id}, int64_t{after}});
    if (!row || row->first[0] != Value(int64_t{id})) return OPEN_E_NOT_FOUND;
    *out = static_cast<uint32_t>(std::get<int64_t>(row->first[1]));
    return OPEN_E_NONE;
  };
  sim.implement<CallId::rpcclt_openapiAclRuleGetFirst>(
      [next_rule](openapiClientHandle_t *, uint32_t id, uint32_t *rule) { return next_rule(id, 0, rule); });
  sim.implement<CallId::rpcclt_openapiAclRuleGetNext>(
      [next_rule](openapiClientHandle_t *, uint32_t id, uint32_t rule, uint32_t *next) {
        return next_rule(id, rule, next);
      });
  sim.implement<CallId::rpcclt_openapiAclRuleGet>(
      [acls](openapiClientHandle_t *, uint32_t id, uint32_t rule, OPEN_ACL_RULE_t *out) {
        const Record *r = acls->rules().find({int64_t{id}, int64_t{rule}});
        if (!out) return OPEN_E_PARAM;
        if (!r) return OPEN_E_NOT_FOUND;
        fill_rule(*r, *out);
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiAclRuleDelete>([acls](openapiClientHandle_t *, uint32_t id, uint32_t rule) {
    if (!acls->acl(id)) return OPEN_E_NOT_FOUND;
    return acls->rules().erase({int64_t{id}, int64_t{rule}});
  });
  sim.implement<CallId::rpcclt_openapiAclRuleActionAdd>(
      [acls](openapiClientHandle_t *, uint32_t id, uint32_t rule, OPEN_ACL_ACTION_t action) {
        return acls->add_rule(id, rule, action);
      });

  // ---- matches: each checks its values, then add_match checks the rule

  auto match = [acls](uint32_t id, uint32_t rule, OPEN_ACL_MATCH_t m, bool valid, Record values) {
    return valid ? acls->add_match(id, rule, m, values) : OPEN_E_PARAM;
  };
  auto number = [](uint32_t v) { return Value(int64_t{v}); };

  // Matches of one number or flag, with the largest value each takes.
  single_match<CallId::rpcclt_openapiAclRuleMatchAssignQueueAdd>(sim, acls, OPEN_ACL_MATCH_QUEUE, "assignQueue",
                                                                 kMaxQueue);
  single_match<CallId::rpcclt_openapiAclRuleMatchEveryAdd, OPEN_BOOL_t>(sim, acls, OPEN_ACL_MATCH_EVERY, "matchEvery",
                                                                        1);
  single_match<CallId::rpcclt_openapiAclRuleMatchLoggingAdd, OPEN_BOOL_t>(sim, acls, OPEN_ACL_MATCH_LOGGING, "logging",
                                                                          1);
  single_match<CallId::rpcclt_openapiAclRuleMatchCosAdd>(sim, acls, OPEN_ACL_MATCH_COS, "cos", 7);
  single_match<CallId::rpcclt_openapiAclRuleMatchProtocolAdd>(sim, acls, OPEN_ACL_MATCH_PROTOCOL, "protocol", 255);
  single_match<CallId::rpcclt_openapiAclRuleMatchIgmpTypeAdd>(sim, acls, OPEN_ACL_MATCH_IGMP, "igmpType", 255);
  single_match<CallId::rpcclt_openapiAclRuleMatchFragmentsAdd, OPEN_BOOL_t>(sim, acls, OPEN_ACL_MATCH_FRAGMENTS,
                                                                            "fragments", 1);
  single_match<CallId::rpcclt_openapiAclRuleMatchPrecedenceAdd>(sim, acls, OPEN_ACL_MATCH_PRECEDENCE, "precedence", 7);
  single_match<CallId::rpcclt_openapiAclRuleMatchDscpAdd>(sim, acls, OPEN_ACL_MATCH_DSCP, "dscp", 63);
  single_match<CallId::rpcclt_openapiAclRuleMatchRoutingAdd, OPEN_BOOL_t>(sim, acls, OPEN_ACL_MATCH_ROUTING, "routing",
                                                                          1);
  single_match<CallId::rpcclt_openapiAclRuleMatchFlowLabelAdd>(sim, acls, OPEN_ACL_MATCH_FLOW_LABEL, "flowLabel",
                                                               0xFFFFF);
  sim.implement<CallId::rpcclt_openapiAclRuleMatchMirrorAdd>([match, number, &sim](openapiClientHandle_t *, uint32_t id,
                                                                                   uint32_t rule, uint32_t ifNum) {
    return match(id, rule, OPEN_ACL_MATCH_MIRROR, sim.intf_exists(ifNum, kPhyAndLag), {{"mirrorIntf", number(ifNum)}});
  });
  sim.implement<CallId::rpcclt_openapiAclRuleMatchRedirectAdd>(
      [match, number, &sim](openapiClientHandle_t *, uint32_t id, uint32_t rule, uint32_t ifNum) {
        return match(id, rule, OPEN_ACL_MATCH_REDIRECT, sim.intf_exists(ifNum, kPhyAndLag),
                     {{"redirectIntf", number(ifNum)}});
      });
  auto mac_pair = [match](uint32_t id, uint32_t rule, OPEN_ACL_MATCH_t m, const char *mac_member,
                          const char *mask_member, const open_buffdesc *mac, const open_buffdesc *mask) {
    std::string a = buffer_text(mac), b = buffer_text(mask);
    bool valid = text_matches(TextSyntax::MAC, a) && text_matches(TextSyntax::MAC, b);
    return match(id, rule, m, valid, {{mac_member, mac_key(a)}, {mask_member, mac_key(b)}});
  };
  sim.implement<CallId::rpcclt_openapiAclRuleMatchMacDstMacAdd>([mac_pair](openapiClientHandle_t *, uint32_t id,
                                                                           uint32_t rule, const open_buffdesc *mac,
                                                                           const open_buffdesc *mask) {
    return mac_pair(id, rule, OPEN_ACL_MATCH_DST_MAC, "dstMac", "dstMacMask", mac, mask);
  });
  sim.implement<CallId::rpcclt_openapiAclRuleMatchMacSrcMacAdd>([mac_pair](openapiClientHandle_t *, uint32_t id,
                                                                           uint32_t rule, const open_buffdesc *mac,
                                                                           const open_buffdesc *mask) {
    return mac_pair(id, rule, OPEN_ACL_MATCH_SRC_MAC, "srcMac", "srcMacMask", mac, mask);
  });
  sim.implement<CallId::rpcclt_openapiAclRuleMatchEthTypeAdd>(
      [match, number](openapiClientHandle_t *, uint32_t id, uint32_t rule, OPEN_ETYPE_KEYWORD_t keyword,
                      uint32_t value) {
        // A keyword stands for its type: only a custom type takes a value.
        bool valid = keyword == OPEN_ETYPE_CUSTOM ? value >= 0x0600 && value <= 0xFFFF
                                                  : keyword <= OPEN_ETYPE_RARP && value == 0;
        return match(id, rule, OPEN_ACL_MATCH_ETYPE, valid,
                     {{"etherTypeKeyword", number(keyword)}, {"etherTypeValue", number(value)}});
      });
  sim.implement<CallId::rpcclt_openapiAclRuleMatchVlanIdAdd>(
      [match, number, &sim](openapiClientHandle_t *, uint32_t id, uint32_t rule, uint32_t vlan) {
        return match(id, rule, OPEN_ACL_MATCH_VLAN, vlan >= 1 && vlan <= sim.options().max_vlan,
                     {{"vlanId", number(vlan)}});
      });
  sim.implement<CallId::rpcclt_openapiAclRuleMatchIpSrcMaskAdd>([match, number](openapiClientHandle_t *, uint32_t id,
                                                                                uint32_t rule, open_inet_addr_t addr,
                                                                                open_inet_addr_t mask) {
    return match(id, rule, OPEN_ACL_MATCH_SRC_IP, ipv4_pair(addr, mask),
                 {{"srcIp", number(addr.addr.ipv4)}, {"srcMask", number(mask.addr.ipv4)}});
  });
  sim.implement<CallId::rpcclt_openapiAclRuleMatchIpDstMaskAdd>([match, number](openapiClientHandle_t *, uint32_t id,
                                                                                uint32_t rule, open_inet_addr_t addr,
                                                                                open_inet_addr_t mask) {
    return match(id, rule, OPEN_ACL_MATCH_DST_IP, ipv4_pair(addr, mask),
                 {{"dstIp", number(addr.addr.ipv4)}, {"dstMask", number(mask.addr.ipv4)}});
  });
  sim.implement<CallId::rpcclt_openapiAclRuleMatchIpv6SrcPfxAdd>(
      [match, number](openapiClientHandle_t *, uint32_t id, uint32_t rule, open_inet_addr_t addr, uint32_t len) {
        return match(id, rule, OPEN_ACL_MATCH_SRC_IPV6, ipv6_prefix(addr, len),
                     {{"srcIp", ipv6_text(addr)}, {"srcPfxLen", number(len)}});
      });
  sim.implement<CallId::rpcclt_openapiAclRuleMatchIpv6DstPfxAdd>(
      [match, number](openapiClientHandle_t *, uint32_t id, uint32_t rule, open_inet_addr_t addr, uint32_t len) {
        return match(id, rule, OPEN_ACL_MATCH_DST_IPV6, ipv6_prefix(addr, len),
                     {{"dstIp", ipv6_text(addr)}, {"dstPfxLen", number(len)}});
      });
  // One port with an operator keeps it as both ends.
  auto l4 = [match, number](uint32_t id, uint32_t rule, OPEN_ACL_MATCH_t m, const char *prefix,
                            OPEN_ACL_L4_PORT_OPERATOR_t oper, uint32_t start, uint32_t end) {
    if (oper != OPEN_ACL_L4_PORT_RANGE) end = start;
    std::string p = prefix;
    return match(
        id, rule, m, l4_ports(oper, start, end),
        {{p + "L4Operator", number(oper)}, {p + "L4StartPort", number(start)}, {p + "L4EndPort", number(end)}});
  };
  sim.implement<CallId::rpcclt_openapiAclRuleMatchL4SrcPortAdd>(
      [l4](openapiClientHandle_t *, uint32_t id, uint32_t rule, OPEN_ACL_L4_PORT_OPERATOR_t oper, uint32_t start,
           uint32_t end) { return l4(id, rule, OPEN_ACL_MATCH_SRC_L4, "src", oper, start, end); });
  sim.implement<CallId::rpcclt_openapiAclRuleMatchL4DstPortAdd>(
      [l4](openapiClientHandle_t *, uint32_t id, uint32_t rule, OPEN_ACL_L4_PORT_OPERATOR_t oper, uint32_t start,
           uint32_t end) { return l4(id, rule, OPEN_ACL_MATCH_DST_L4, "dst", oper, start, end); });
  sim.implement<CallId::rpcclt_openapiAclRuleMatchIcmpTypeCodeAdd>(
      [match, number](openapiClientHandle_t *, uint32_t id, uint32_t rule, uint32_t type, uint32_t code) {
        return match(id, rule, OPEN_ACL_MATCH_ICMP, type <= 255 && code <= 255,
                     {{"icmpType", number(type)}, {"icmpCode", number(code)}});
      });
  sim.implement<CallId::rpcclt_openapiAclRuleMatchTosAdd>(
      [match, number](openapiClientHandle_t *, uint32_t id, uint32_t rule, uint32_t tos, uint32_t mask) {
        return match(id, rule, OPEN_ACL_MATCH_TOS, tos <= 255 && mask <= 255,
                     {{"tos", number(tos)}, {"tosMask", number(mask)}});
      });
  // Six flags (URG, ACK, PSH, RST, SYN, FIN); a flag matched set must be in the mask.
  sim.implement<CallId::rpcclt_openapiAclRuleMatchTcpFlagsAdd>(
      [match, number](openapiClientHandle_t *, uint32_t id, uint32_t rule, uint32_t flags, uint32_t mask) {
        return match(id, rule, OPEN_ACL_MATCH_TCP_FLAGS, mask <= 0x3F && (flags & ~mask) == 0,
                     {{"tcpFlags", number(flags)}, {"tcpFlagsMask", number(mask)}});
      });

  // ---- bindings

  implement_bindings<CallId::rpcclt_openapiAclIntfDirAdd, CallId::rpcclt_openapiAclIntfDirDelete,
                     CallId::rpcclt_openapiAclIntfDirListGet>(
      sim, acls, intf_bindings, [&sim](uint32_t ifNum) { return sim.intf_exists(ifNum, kPhyAndLag); },
      OPEN_E_PARAM);
  implement_bindings<CallId::rpcclt_openapiAclVlanDirAdd, CallId::rpcclt_openapiAclVlanDirDelete,
                     CallId::rpcclt_openapiAclVlanDirListGet>(
      sim, acls, vlan_bindings, [&sim](uint32_t vlan) { return sim.vlan_exists(vlan); }, OPEN_E_NOT_FOUND);

  sim.implement<CallId::rpcclt_openapiAclIntfDirGetNext>([&intf_bindings](openapiClientHandle_t *, uint32_t ifNum,
                                                                OPEN_ACL_DIRECTION_t dir, uint32_t *nextIf,
                                                                OPEN_ACL_DIRECTION_t *nextDir) {
    if (!nextIf || !nextDir) return OPEN_E_PARAM;
    auto *row = intf_bindings.next({int64_t{ifNum}, int64_t{dir}, INT64_MAX});
    if (!row) return OPEN_E_NOT_FOUND;
    *nextIf = static_cast<uint32_t>(std::get<int64_t>(row->first[0]));
    *nextDir = static_cast<OPEN_ACL_DIRECTION_t>(std::get<int64_t>(row->first[1]));
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiAclAssignedIntfDirListGet>(
      [acls, &intf_bindings](openapiClientHandle_t *, uint32_t id, OPEN_ACL_DIRECTION_t dir, open_buffdesc *out) {
        if (!out || !out->pstart || dir > OPEN_ACL_OUTBOUND) return OPEN_E_PARAM;
        if (!acls->acl(id)) return OPEN_E_NOT_FOUND;
        std::vector<uint32_t> ports;
        for (const auto &[key, r] : intf_bindings.rows())
          if (key[1] == Value(int64_t{dir}) && key[2] == Value(int64_t{id}))
            ports.push_back(static_cast<uint32_t>(std::get<int64_t>(key[0])));
        if (ports.size() * sizeof(uint32_t) > out->size) return OPEN_E_BUFFER;
        std::memcpy(out->pstart, ports.data(), ports.size() * sizeof(uint32_t));
        out->size = static_cast<uint32_t>(ports.size() * sizeof(uint32_t));
        return OPEN_E_NONE;
      });
}

}  // namespace veltrum::sim
