// Dynamic ARP Inspection: validation modes, per-VLAN and per-interface
// settings, ARP ACLs with their rules, and per-VLAN counters.
//
// The plain settings come from their rows in platform/calls/10_dai.h.
// "arp_acls" rows: name -> {}; "arp_acl_rules" rows: (name, sequence) ->
// {"ip" (host order, 0 any), "mac", "action"}; "dai_stats" (dynamic):
// vlan -> the nine counters of OPEN_DAI_VLAN_STATS_t by field name.
#include "platform/calls/10_dai.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

constexpr size_t kRulesPerAcl = 20;

const TableSpec kAcls{"arp_acls", 100, true};
const TableSpec kRules{"arp_acl_rules", 100 * kRulesPerAcl, true};
const TableSpec kStats{"dai_stats", 4094, false};

const char *const kCounterNames[] = {"dhcpDrops",    "dhcpPermits",     "aclDrops",  "aclPermits", "sMacFailures",
                                     "dMacFailures", "ipValidFailures", "forwarded", "dropped"};

bool valid_acl_name(const std::string &name) {
  if (name.empty() || name.size() >= OPEN_ARP_ACL_NAME_SIZE) return false;
  for (unsigned char c : name)
    if (!isalnum(c) && c != '-' && c != '_' && c != '.') return false;
  return true;
}

bool valid_mac(const std::string &mac) {
  if (mac.size() != 17) return false;
  for (size_t i = 0; i < mac.size(); ++i)
    if (i % 3 == 2 ? mac[i] != ':' : !isxdigit(static_cast<unsigned char>(mac[i]))) return false;
  return true;
}

}  // namespace

using namespace calls::dai;

VELTRUM_SIM_PART(dai, kFamily) {
  Store &store = sim.store();
  Table &acls = store.define_table(kAcls);
  Table &rules = store.define_table(kRules);
  Table &stats = store.define_table(kStats);
  SettingRef vlan_enable = store.setting("dai.vlan.enable");
  // A VLAN's ARP ACL names an existing ACL, which cannot be deleted while named.
  store.refer(store.setting("dai.vlan.acl"), acls);

  // VLANs with DAI data: enabled on the VLAN, or counters recorded for it.
  sim.implement<CallId::rpcclt_openapiDaiVlanNextGet>([&sim, &stats, vlan_enable](openapiClientHandle_t *, uint32_t vlan, uint32_t *next) {
    if (!next) return OPEN_E_PARAM;
    for (uint32_t v = vlan + 1; v <= sim.options().max_vlan; ++v) {
      if (!sim.vlan_exists(v)) continue;
      if (vlan_enable.integer(v) || stats.find({int64_t{v}})) {
        *next = v;
        return OPEN_E_NONE;
      }
    }
    return OPEN_E_NOT_FOUND;
  });

  sim.implement<CallId::rpcclt_openapiDaiVlanStatsGet>(
      [&sim, &stats](openapiClientHandle_t *, uint32_t vlan, OPEN_DAI_VLAN_STATS_t *out) {
        if (!out) return OPEN_E_PARAM;
        if (!sim.vlan_exists(vlan)) return OPEN_E_NOT_FOUND;
        uint32_t counters[9] = {};
        if (const Record *r = stats.find({int64_t{vlan}}))
          for (size_t i = 0; i < 9; ++i)
            if (auto it = r->find(kCounterNames[i]); it != r->end())
              counters[i] = static_cast<uint32_t>(std::get<int64_t>(it->second));
        static_assert(sizeof(OPEN_DAI_VLAN_STATS_t) == sizeof counters);
        std::memcpy(out, counters, sizeof counters);
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiArpAclNextGet>(
      [&acls](openapiClientHandle_t *, const open_buffdesc *name, open_buffdesc *next) {
        std::string after = buffer_text(name);
        auto *row = after.empty() ? acls.next({}) : acls.next({after});
        if (!row) return OPEN_E_NOT_FOUND;
        return fill_text(next, std::get<std::string>(row->first[0]));
      });

  sim.implement<CallId::rpcclt_openapiArpAclCreate>([&acls](openapiClientHandle_t *, const open_buffdesc *name) {
    std::string n = buffer_text(name);
    if (!valid_acl_name(n)) return OPEN_E_PARAM;
    return acls.insert({n}, {});
  });

  sim.implement<CallId::rpcclt_openapiArpAclDelete>([&sim, &acls, &rules](openapiClientHandle_t *, const open_buffdesc *name) {
    std::string n = buffer_text(name);
    if (open_error_t rc = sim.store().remove_row(acls, {n})) return rc;
    rules.erase_prefix({n});
    return OPEN_E_NONE;
  });

  sim.implement<CallId::rpcclt_openapiArpAclRuleNextGetV2>(
      [&acls, &rules](openapiClientHandle_t *, const open_buffdesc *name, uint32_t seq, uint32_t *nextSeq, uint32_t *ip,
             open_buffdesc *mac, OPEN_ARP_ACL_RULE_ACTION_t *action) {
        std::string n = buffer_text(name);
        if (!acls.find({n})) return OPEN_E_NOT_FOUND;
        auto *row = rules.next({n, int64_t{seq}});
        if (!row || row->first[0] != Value(n)) return OPEN_E_NOT_FOUND;
        const Record &r = row->second;
        if (open_error_t rc = fill_text(mac, required_text(r, "mac"))) return rc;
        if (nextSeq) *nextSeq = static_cast<uint32_t>(std::get<int64_t>(row->first[1]));
        if (ip) *ip = static_cast<uint32_t>(required_integer(r, "ip"));
        if (action) *action = static_cast<OPEN_ARP_ACL_RULE_ACTION_t>(required_integer(r, "action"));
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiArpAclRuleAdd>(
      [&acls, &rules](openapiClientHandle_t *, const open_buffdesc *name, uint32_t seq, uint32_t ip,
             const open_buffdesc *mac, OPEN_ARP_ACL_RULE_ACTION_t action) {
        std::string n = buffer_text(name);
        std::string m = buffer_text(mac);
        if (!acls.find({n})) return OPEN_E_NOT_FOUND;
        if (seq == 0 || !valid_mac(m)) return OPEN_E_PARAM;
        if (action != OPEN_ARP_ACL_RULE_ACTION_PERMIT && action != OPEN_ARP_ACL_RULE_ACTION_DENY) return OPEN_E_PARAM;
        Key key{n, int64_t{seq}};
        if (!rules.find(key) && rules.with_prefix({n}).size() >= kRulesPerAcl) return OPEN_E_FULL;
        return rules.upsert(key, {{"ip", int64_t{ip}}, {"mac", m}, {"action", int64_t{action}}});
      });

  sim.implement<CallId::rpcclt_openapiArpAclRuleDelete>(
      [&acls, &rules](openapiClientHandle_t *, const open_buffdesc *name, uint32_t seq) {
        std::string n = buffer_text(name);
        if (!acls.find({n})) return OPEN_E_NOT_FOUND;
        return rules.erase({n, int64_t{seq}});
      });
}

}  // namespace veltrum::sim
