// VLANs: existence, walks and types. "vlans" rows: {"name", "type"}.
#include "platform/calls/02_vlans.h"
#include "sim/bind.h"

namespace veltrum::sim {

namespace {
const TableSpec kVlans{"vlans", 4094, true};
// Static membership: (vlan, interface) -> {"tagged": 0/1}.
const TableSpec kMembers{"vlan_members", 4094 * 64, true};
const SettingSpec kSettings[] = {
    {"vlan.intf.pvid", Scope::Intf, int64_t{1}, 1, 4093},
};
}  // namespace

using namespace calls::vlans;

VELTRUM_SIM_PART(vlans, kFamily) {
  sim.store().define_table(kVlans);
  sim.store().define_table(kMembers);
  sim.store().define(kSettings);
  // VLAN 1 exists, and every port and LAG is its untagged member.
  sim.on_factory_defaults([](Sim &s) {
    s.store().table("vlans").upsert({int64_t{1}}, {{"name", std::string("default")},
                                                   {"type", int64_t{OPEN_VLAN_TYPE_DEFAULT}}});
    for (const auto &i : s.interfaces())
      if (intf_bit(i.type) & kPhyAndLag)
        s.store().table("vlan_members").upsert({int64_t{1}, int64_t{i.ifNum}}, {{"tagged", int64_t{0}}});
  });

  sim.implement<CallId::rpcclt_openapiDot1VlanMaxGet>([&sim](openapiClientHandle_t *, uint32_t *max) {
    if (!max) return OPEN_E_PARAM;
    *max = sim.options().max_vlan;
    return OPEN_E_NONE;
  });

  sim.implement<CallId::openapiVlanCreatedCheck>([&sim](openapiClientHandle_t *, uint32_t vlanId) {
    if (vlanId == 0 || vlanId > sim.options().max_vlan) return OPEN_E_PARAM;
    return sim.vlan_exists(vlanId) ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
  });

  sim.implement<CallId::openapiVlanNextGet>([&sim](openapiClientHandle_t *, uint32_t vlanId, uint32_t *next) {
    if (!next) return OPEN_E_PARAM;
    auto *row = sim.store().table("vlans").next({int64_t{vlanId}});
    if (!row) return OPEN_E_NOT_FOUND;
    *next = static_cast<uint32_t>(std::get<int64_t>(row->first[0]));
    return OPEN_E_NONE;
  });

  sim.implement<CallId::rpcclt_openapiVlanTypeGet>(
      [&sim](openapiClientHandle_t *, uint32_t vlanId, OPEN_VLAN_TYPE_t *type) {
        const Record *r = sim.store().table("vlans").find({int64_t{vlanId}});
        if (!r) return OPEN_E_NOT_FOUND;
        if (!type) return OPEN_E_PARAM;
        *type = static_cast<OPEN_VLAN_TYPE_t>(std::get<int64_t>(r->at("type")));
        return OPEN_E_NONE;
      });
}

}  // namespace veltrum::sim
