// VLANs: the VLAN table, names and types, membership and tagging, port VLAN
// ids, the VLAN lists of a port, ingress filtering and protected ports.
//
// State, all of it configuration except the dynamic members:
//   "vlans"            [vlan] -> {"name", "type"}
//   "vlan_members"     [vlan, ifNum] -> {"mode": participation, "tagged": 0/1};
//                      an interface without a row takes part AUTO, so rows
//                      hold INCLUDE (a static member) or EXCLUDE (forbidden)
//   "vlan_dynamic"     [vlan, ifNum] -> {}: members learned at run time
//                      (GVRP, 802.1X); not configuration, a reload clears it
//   "protected_ports"  [ifNum] -> {"group": g}
//   "vlan.intf.pvid"   the port VLAN id of each port and LAG
//
// The tables live in the store for the simulator's whole life: Store::reset()
// and load_json() empty and refill them in place, and the store keeps its
// tables in a node-based map that never moves one, so the calls below hold
// each table by reference from installation on instead of looking it up by
// name per call. Tables of later families ("vlan_routing", "pbvlan_groups")
// do not exist yet when this part installs, so Sim::delete_vlan (below)
// looks those up when it runs.
#include <algorithm>
#include <optional>
#include <cstring>
#include <vector>

#include "platform/calls/02_vlans.h"
#include "sim/bind.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

// The switch keeps at most this many VLANs at once, whatever their ids.
constexpr size_t kVlanCapacity = 1024;

const TableSpec kVlans{"vlans", kVlanCapacity, true};
const TableSpec kMembers{"vlan_members", kVlanCapacity * 64, true};
const TableSpec kDynamic{"vlan_dynamic", kVlanCapacity * 64, false};
const TableSpec kProtected{"protected_ports", 256, true};
const SettingSpec kPvid{"vlan.intf.pvid", Scope::Intf, int64_t{1}, 1, 4093};

constexpr int64_t kInclude = OPEN_VLAN_PARTICIPATION_MODE_INCLUDE;
constexpr int64_t kExclude = OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE;

Key vlan_key(uint32_t vlan) { return {int64_t{vlan}}; }
Key member_key(uint32_t vlan, uint32_t ifNum) { return {int64_t{vlan}, int64_t{ifNum}}; }
uint32_t key_u32(const Key &key, size_t i) { return static_cast<uint32_t>(std::get<int64_t>(key.at(i))); }

// OPEN_E_PARAM for an id outside 1..max, OPEN_E_NOT_FOUND for an absent VLAN.
open_error_t check_vlan(Sim &sim, const Table &vlans, uint32_t vlan) {
  if (vlan < OPEN_VLAN_ID_MIN || vlan > sim.options().max_vlan) return OPEN_E_PARAM;
  return vlans.find(vlan_key(vlan)) ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
}

// A list of ids into the caller's buffer as uint32_t, ascending.
open_error_t fill_ids(open_buffdesc *out, std::vector<uint32_t> ids) {
  if (!out || !out->pstart) return OPEN_E_PARAM;
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  if (ids.size() * sizeof(uint32_t) > out->size) return OPEN_E_BUFFER;
  if (!ids.empty()) std::memcpy(out->pstart, ids.data(), ids.size() * sizeof(uint32_t));
  out->size = static_cast<uint32_t>(ids.size() * sizeof(uint32_t));
  return OPEN_E_NONE;
}

// The static rows of one port whose record passes `keep`, as VLAN ids.
template <typename Keep>
std::vector<uint32_t> port_vlans(const Table &members, uint32_t ifNum, Keep keep) {
  std::vector<uint32_t> out;
  for (const auto &[key, r] : members.rows())
    if (key_u32(key, 1) == ifNum && keep(r)) out.push_back(key_u32(key, 0));
  return out;
}

int64_t mode_of(const Record &r) { return record_integer(r, "mode", kInclude); }

}  // namespace

using namespace calls::vlans;

VELTRUM_SIM_PART(vlans, kFamily) {
  Store &store = sim.store();
  Table &vlans = store.define_table(kVlans);
  Table &members = store.define_table(kMembers);
  Table &dynamic = store.define_table(kDynamic);
  Table &protected_ports = store.define_table(kProtected);
  const SettingRef pvid = store.define(kPvid);
  const SettingRef ingress_filter = store.setting("vlan.intf.ingress_filter");
  const SettingRef frame_types = store.setting("vlan.intf.frame_types");
  const Table &routing = store.table("vlan_routing");

  // Deleting a VLAN, shared by the platform call and the CLI's "no vlan".
  // The management VLAN (family 3) and VLAN classification (family 23)
  // install after this part, so their state is found on the first deletion,
  // once every part is installed. A protocol
  // group names at most one VLAN in its "vlan" member (0: none) and is left
  // without one; a MAC-based entry maps to a VLAN that exists, so the
  // entries mapping to this one go.
  sim.on_delete_vlan([&sim, &store, &vlans, &members, &dynamic, pvid, &routing,
                      mgmt_vlan = std::optional<SettingRef>(), groups = (Table *)nullptr,
                      macs = (Table *)nullptr](uint32_t vlanId) mutable {
    if (!mgmt_vlan) mgmt_vlan = store.setting("network.mgmt_vlan");
    if (vlanId == 1) return OPEN_E_PARAM;
    if (open_error_t rc = check_vlan(sim, vlans, vlanId)) return rc;
    if (mgmt_vlan->integer() == vlanId || routing.find(vlan_key(vlanId))) return OPEN_E_INUSE;
    if (!groups && store.has_table("pbvlan_groups")) groups = &store.table("pbvlan_groups");
    if (!macs && store.has_table("vlan_mac")) macs = &store.table("vlan_mac");

    vlans.erase(vlan_key(vlanId));
    members.erase_prefix(vlan_key(vlanId));
    dynamic.erase_prefix(vlan_key(vlanId));
    for (const auto &i : sim.interfaces())
      if ((intf_bit(i.type) & kPhyAndLag) && pvid.integer(i.ifNum) == vlanId) pvid.set(i.ifNum, int64_t{1});
    if (groups) {
      std::vector<Key> naming;
      for (const auto &[key, r] : groups->rows())
        if (record_integer(r, "vlan") == vlanId) naming.push_back(key);
      for (const Key &key : naming) (*groups->find(key))["vlan"] = int64_t{0};
    }
    if (macs) {
      std::vector<Key> naming;
      for (const auto &[key, r] : macs->rows())
        if (record_integer(r, "vlan") == vlanId) naming.push_back(key);
      for (const Key &key : naming) macs->erase(key);
    }
    // Every feature's per-VLAN settings (DAI, DHCP snooping, ...) go with it.
    store.forget_index(Scope::Vlan, vlanId);
    return OPEN_E_NONE;
  });

  // VLAN 1 exists, and every port and LAG is its untagged member.
  sim.on_factory_defaults([&vlans, &members](Sim &s) {
    vlans.upsert(vlan_key(1), {{"name", std::string("default")}, {"type", int64_t{OPEN_VLAN_TYPE_DEFAULT}}});
    for (const auto &i : s.interfaces())
      if (intf_bit(i.type) & kPhyAndLag)
        members.upsert(member_key(1, i.ifNum), {{"mode", kInclude}, {"tagged", int64_t{0}}});
  });

  // ---- the VLAN table ----

  sim.implement<CallId::rpcclt_openapiDot1VlanMaxGet>([&sim](openapiClientHandle_t *, uint32_t *max) {
    if (!max) return OPEN_E_PARAM;
    *max = sim.options().max_vlan;
    return OPEN_E_NONE;
  });

  sim.implement<CallId::openapiVlanCreatedCheck>([&sim, &vlans](openapiClientHandle_t *, uint32_t vlanId) {
    return check_vlan(sim, vlans, vlanId);
  });

  sim.implement<CallId::openapiVlanNextGet>([&vlans](openapiClientHandle_t *, uint32_t vlanId, uint32_t *next) {
    if (!next) return OPEN_E_PARAM;
    auto *row = vlans.next(vlan_key(vlanId));
    if (!row) return OPEN_E_NOT_FOUND;
    *next = key_u32(row->first, 0);
    return OPEN_E_NONE;
  });

  sim.implement<CallId::rpcclt_openapiVlanTypeGet>(
      [&sim, &vlans](openapiClientHandle_t *, uint32_t vlanId, OPEN_VLAN_TYPE_t *type) {
        if (!type) return OPEN_E_PARAM;
        if (open_error_t rc = check_vlan(sim, vlans, vlanId)) return rc;
        *type = static_cast<OPEN_VLAN_TYPE_t>(record_integer(*vlans.find(vlan_key(vlanId)), "type", OPEN_VLAN_TYPE_ADMIN));
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiVlanCreate>([&sim, &vlans](openapiClientHandle_t *, uint32_t vlanId) {
    if (vlanId < OPEN_VLAN_ID_MIN || vlanId > sim.options().max_vlan) return OPEN_E_PARAM;
    return vlans.insert(vlan_key(vlanId), {{"name", std::string()}, {"type", int64_t{OPEN_VLAN_TYPE_ADMIN}}});
  });

  sim.implement<CallId::rpcclt_openapiVlanDelete>(
      [&sim](openapiClientHandle_t *, uint32_t vlanId) { return sim.delete_vlan(vlanId); });

  implement_constant<CallId::rpcclt_openapiVlanNameLenGet>(sim, uint32_t{OPEN_VLAN_NAME_LEN_MAX});

  sim.implement<CallId::rpcclt_openapiVlanNameGet>(
      [&sim, &vlans](openapiClientHandle_t *, uint32_t vlanId, open_buffdesc *name) {
        if (open_error_t rc = check_vlan(sim, vlans, vlanId)) return rc;
        return fill_text(name, record_text(*vlans.find(vlan_key(vlanId)), "name"));
      });

  sim.implement<CallId::rpcclt_openapiVlanNameSet>(
      [&sim, &vlans](openapiClientHandle_t *, uint32_t vlanId, const open_buffdesc *name) {
        if (!name || !name->pstart) return OPEN_E_PARAM;
        if (open_error_t rc = check_vlan(sim, vlans, vlanId)) return rc;
        std::string text = buffer_text(name);
        if (text.size() > OPEN_VLAN_NAME_LEN_MAX || !text_matches(TextSyntax::ANY, text)) return OPEN_E_PARAM;
        (*vlans.find(vlan_key(vlanId)))["name"] = text;
        return OPEN_E_NONE;
      });

  // ---- membership, tagging and port VLAN ids ----

  // The checks every (VLAN, interface) call makes: a port or LAG, a VLAN
  // that exists.
  auto check_member_args = [&sim, &vlans](uint32_t vlanId, uint32_t ifNum) {
    if (!sim.intf_exists(ifNum, kPhyAndLag)) return OPEN_E_PARAM;
    return check_vlan(sim, vlans, vlanId);
  };

  sim.implement<CallId::openapiVlanIfParticipationStatusGet>(
      [check_member_args, &members](openapiClientHandle_t *, uint32_t vlanId, uint32_t ifNum,
                                    OPEN_VLAN_PARTICIPATION_MODE_t *status) {
        if (!status) return OPEN_E_PARAM;
        if (open_error_t rc = check_member_args(vlanId, ifNum)) return rc;
        const Record *r = members.find(member_key(vlanId, ifNum));
        *status = static_cast<OPEN_VLAN_PARTICIPATION_MODE_t>(r ? mode_of(*r) : int64_t{OPEN_VLAN_PARTICIPATION_MODE_AUTO});
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiVlanIfParticipationSet>(
      [check_member_args, &members](openapiClientHandle_t *, uint32_t vlanId, uint32_t ifNum,
                                    OPEN_VLAN_PARTICIPATION_MODE_t mode) {
        if (open_error_t rc = check_member_args(vlanId, ifNum)) return rc;
        Key key = member_key(vlanId, ifNum);
        switch (mode) {
          case OPEN_VLAN_PARTICIPATION_MODE_AUTO:
            members.erase(key);
            return OPEN_E_NONE;
          case OPEN_VLAN_PARTICIPATION_MODE_INCLUDE: {
            // A member stays tagged as it was; a new member starts untagged.
            const Record *r = members.find(key);
            int64_t tagged = r && mode_of(*r) == kInclude ? record_integer(*r, "tagged") : 0;
            return members.upsert(key, {{"mode", kInclude}, {"tagged", tagged}});
          }
          case OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE:
            return members.upsert(key, {{"mode", kExclude}, {"tagged", int64_t{0}}});
        }
        return OPEN_E_PARAM;
      });

  sim.implement<CallId::openapiVlanIfTaggingGet>(
      [check_member_args, &members](openapiClientHandle_t *, uint32_t ifNum, uint32_t vlanId, OPEN_CONTROL_t *tagging) {
        if (!tagging) return OPEN_E_PARAM;
        if (open_error_t rc = check_member_args(vlanId, ifNum)) return rc;
        // A port that is no member sends nothing of the VLAN, tagged or not.
        const Record *r = members.find(member_key(vlanId, ifNum));
        bool tagged = r && mode_of(*r) == kInclude && record_integer(*r, "tagged");
        *tagging = tagged ? OPEN_ENABLE : OPEN_DISABLE;
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiVlanIfTaggingSet>(
      [check_member_args, &members](openapiClientHandle_t *, uint32_t ifNum, uint32_t vlanId, OPEN_CONTROL_t tagging) {
        if (tagging != OPEN_ENABLE && tagging != OPEN_DISABLE) return OPEN_E_PARAM;
        if (open_error_t rc = check_member_args(vlanId, ifNum)) return rc;
        Record *r = members.find(member_key(vlanId, ifNum));
        if (!r || mode_of(*r) != kInclude) return OPEN_E_PARAM;
        (*r)["tagged"] = int64_t{tagging == OPEN_ENABLE ? 1 : 0};
        return OPEN_E_NONE;
      });

  sim.implement<CallId::openapiVlanIfPvidGet>([pvid](openapiClientHandle_t *, uint32_t ifNum, uint32_t *vlanId) {
    return read_integer(pvid, ifNum, vlanId);
  });

  sim.implement<CallId::rpcclt_openapiVlanIfPvidSet>(
      [&sim, &vlans, pvid](openapiClientHandle_t *, uint32_t ifNum, uint32_t vlanId) {
        if (!sim.intf_exists(ifNum, kPhyAndLag)) return OPEN_E_PARAM;
        if (open_error_t rc = check_vlan(sim, vlans, vlanId)) return rc;
        return pvid.set(ifNum, int64_t{vlanId});
      });

  // ---- the VLAN lists of a port ----

  // Implements one list call: the VLANs `pick` answers for a port or LAG.
  auto port_list = [&sim](auto pick) {
    return [&sim, pick](openapiClientHandle_t *, uint32_t ifNum, open_buffdesc *list) {
      if (!sim.intf_exists(ifNum, kPhyAndLag)) return OPEN_E_PARAM;
      return fill_ids(list, pick(ifNum));
    };
  };
  auto dynamic_of = [&dynamic](uint32_t ifNum) {
    std::vector<uint32_t> out;
    for (const auto &[key, r] : dynamic.rows())
      if (key_u32(key, 1) == ifNum) out.push_back(key_u32(key, 0));
    return out;
  };
  auto included = [](const Record &r) { return mode_of(r) == kInclude; };

  // The VLANs the port belongs to now: its static memberships and the VLANs
  // it has joined dynamically, as a switch reports a port's current member
  // set (the dynamic ones are also answered on their own below).
  sim.implement<CallId::rpcclt_openapiVlanVIDListGet>(port_list([&members, included, dynamic_of](uint32_t ifNum) {
    std::vector<uint32_t> ids = port_vlans(members, ifNum, included);
    for (uint32_t v : dynamic_of(ifNum))
      if (const Record *r = members.find(member_key(v, ifNum)); !r || mode_of(*r) != kExclude) ids.push_back(v);
    return ids;
  }));
  sim.implement<CallId::rpcclt_openapiDot1qSwPortTaggedVlanListGet>(port_list([&members](uint32_t ifNum) {
    return port_vlans(members, ifNum, [](const Record &r) { return mode_of(r) == kInclude && record_integer(r, "tagged"); });
  }));
  sim.implement<CallId::rpcclt_openapiDot1qSwPortUntaggedVlanListGet>(port_list([&members](uint32_t ifNum) {
    return port_vlans(members, ifNum, [](const Record &r) { return mode_of(r) == kInclude && !record_integer(r, "tagged"); });
  }));
  sim.implement<CallId::rpcclt_openapiDot1qSwPortForbiddenVlanListGet>(port_list([&members](uint32_t ifNum) {
    return port_vlans(members, ifNum, [](const Record &r) { return mode_of(r) == kExclude; });
  }));
  sim.implement<CallId::rpcclt_openapiDot1qSwPortDynamicallyAddedVlanListGet>(port_list(dynamic_of));

  sim.implement<CallId::rpcclt_openapiQportsCurrentIngressFilteringGet>(
      [ingress_filter, frame_types](openapiClientHandle_t *, uint32_t ifNum, OPEN_CONTROL_t *mode) {
        if (!mode) return OPEN_E_PARAM;
        Value filter, frames;
        if (open_error_t rc = ingress_filter.get(ifNum, filter)) return rc;
        if (open_error_t rc = frame_types.get(ifNum, frames)) return rc;
        bool on = std::get<int64_t>(filter) == OPEN_ENABLE || std::get<int64_t>(frames) == OPEN_DOT1Q_ADMIT_VLAN_ONLY;
        *mode = on ? OPEN_ENABLE : OPEN_DISABLE;
        return OPEN_E_NONE;
      });

  // ---- protected ports ----

  // Protected port groups hold physical ports only, each in one group.
  auto check_protected = [&sim](uint32_t group, uint32_t ifNum) {
    if (group >= OPEN_PROTECTED_PORT_GROUPS) return OPEN_E_PARAM;
    return sim.intf_exists(ifNum, intf_bit(OPEN_INTF_TYPE_PHY)) ? OPEN_E_NONE : OPEN_E_PARAM;
  };

  sim.implement<CallId::rpcclt_openapiProtectedPortGroupIntfListGet>(
      [&protected_ports](openapiClientHandle_t *, uint32_t group, open_buffdesc *list) {
        if (group >= OPEN_PROTECTED_PORT_GROUPS) return OPEN_E_PARAM;
        std::vector<uint32_t> ports;
        for (const auto &[key, r] : protected_ports.rows())
          if (record_integer(r, "group", -1) == group) ports.push_back(key_u32(key, 0));
        return fill_ids(list, ports);
      });

  sim.implement<CallId::rpcclt_openapiProtectedPortGroupIntfAdd>(
      [check_protected, &protected_ports](openapiClientHandle_t *, uint32_t group, uint32_t ifNum) {
        if (open_error_t rc = check_protected(group, ifNum)) return rc;
        if (const Record *r = protected_ports.find({int64_t{ifNum}}))
          return record_integer(*r, "group", -1) == group ? OPEN_E_NONE : OPEN_E_EXISTS;
        return protected_ports.insert({int64_t{ifNum}}, {{"group", int64_t{group}}});
      });

  sim.implement<CallId::rpcclt_openapiProtectedPortGroupIntfDelete>(
      [check_protected, &protected_ports](openapiClientHandle_t *, uint32_t group, uint32_t ifNum) {
        if (open_error_t rc = check_protected(group, ifNum)) return rc;
        const Record *r = protected_ports.find({int64_t{ifNum}});
        if (!r || record_integer(*r, "group", -1) != group) return OPEN_E_NOT_FOUND;
        return protected_ports.erase({int64_t{ifNum}});
      });
}

}  // namespace veltrum::sim
