// MAC-based VLANs and protocol-based VLAN groups.
//
// "pbvlan_groups" rows: groupId -> {"name", "vlan" (0: none)};
// "pbvlan_group_protocols" rows: (groupId, EtherType) -> {};
// "pbvlan_group_ports" rows: (groupId, ifNum) -> {};
// "vlan_mac" rows: MAC text (upper case) -> {"vlan"}.
//
// A port belongs to at most one group per EtherType: adding a port to a
// group, or an EtherType to a group with ports, is refused (OPEN_E_EXISTS)
// when a port would then classify one EtherType into two groups.
#include <algorithm>
#include <set>

#include "platform/calls/23_vlan_classify.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

constexpr size_t kPortsPerGroup = 64;

const TableSpec kGroups{"pbvlan_groups", OPEN_PBVLAN_GROUP_MAX, true};
const TableSpec kProtocols{"pbvlan_group_protocols", size_t{OPEN_PBVLAN_GROUP_MAX} * OPEN_PBVLAN_PROTOCOLS_MAX, true};
const TableSpec kPorts{"pbvlan_group_ports", size_t{OPEN_PBVLAN_GROUP_MAX} * kPortsPerGroup, true};
const TableSpec kMacVlans{"vlan_mac", OPEN_VLAN_MAC_ENTRIES_MAX, true};

bool valid_group(uint32_t groupId) { return groupId >= 1 && groupId <= OPEN_PBVLAN_GROUP_MAX; }

// The second parts of the keys of `table` that start with the group.
std::set<uint32_t> members(const Table &table, uint32_t groupId) {
  std::set<uint32_t> out;
  for (const auto *row : table.with_prefix({int64_t{groupId}}))
    out.insert(static_cast<uint32_t>(std::get<int64_t>(row->first[1])));
  return out;
}

// The tables of the part, looked up once.
struct Groups {
  Table &groups;
  Table &protocols;
  Table &ports;

  // Whether `port` with the EtherTypes `protos` would meet a group other
  // than `groupId` that holds the port and one of those EtherTypes.
  bool conflicts(uint32_t groupId, uint32_t port, const std::set<uint32_t> &protos) const {
    for (const auto &[key, record] : groups.rows()) {
      auto other = static_cast<uint32_t>(std::get<int64_t>(key[0]));
      if (other == groupId || !ports.find({int64_t{other}, int64_t{port}})) continue;
      for (uint32_t p : protos)
        if (protocols.find({int64_t{other}, int64_t{p}})) return true;
    }
    return false;
  }
};

}  // namespace

using namespace calls::vlan_classify;

VELTRUM_SIM_PART(vlan_classify, kFamily) {
  Store &store = sim.store();
  // Store::reset() and load_json() empty tables in place and never
  // re-create them: the references stay valid for the life of the simulator.
  Table &groups = store.define_table(kGroups);
  Table &protocols = store.define_table(kProtocols);
  Table &ports = store.define_table(kPorts);
  Table &macs = store.define_table(kMacVlans);
  Groups g{groups, protocols, ports};

  // ---------------------------------------------------------------- groups

  sim.implement<CallId::rpcclt_openapiPbVlanGroupCreate>([&groups](openapiClientHandle_t *, uint32_t groupId) {
    if (!valid_group(groupId)) return OPEN_E_PARAM;
    return groups.insert({int64_t{groupId}}, {{"name", std::string()}, {"vlan", int64_t{0}}});
  });

  sim.implement<CallId::rpcclt_openapiPbVlanGroupDelete>(
      [&groups, &protocols, &ports](openapiClientHandle_t *, uint32_t groupId) {
        if (!valid_group(groupId)) return OPEN_E_PARAM;
        if (open_error_t rc = groups.erase({int64_t{groupId}})) return rc;
        protocols.erase_prefix({int64_t{groupId}});
        ports.erase_prefix({int64_t{groupId}});
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiPbVlanGroupGetFirst>([&groups](openapiClientHandle_t *, uint32_t *groupId) {
    if (!groupId) return OPEN_E_PARAM;
    auto *row = groups.next({});
    if (!row) return OPEN_E_NOT_FOUND;
    *groupId = static_cast<uint32_t>(std::get<int64_t>(row->first[0]));
    return OPEN_E_NONE;
  });

  sim.implement<CallId::rpcclt_openapiPbVlanGroupGetNext>(
      [&groups](openapiClientHandle_t *, uint32_t groupId, uint32_t *nextGroupId) {
        if (!nextGroupId) return OPEN_E_PARAM;
        auto *row = groups.next({int64_t{groupId}});
        if (!row) return OPEN_E_NOT_FOUND;
        *nextGroupId = static_cast<uint32_t>(std::get<int64_t>(row->first[0]));
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiPbVlanGroupNameGet>(
      [&groups](openapiClientHandle_t *, uint32_t groupId, open_buffdesc *name) {
        const Record *r = groups.find({int64_t{groupId}});
        if (!r) return valid_group(groupId) ? OPEN_E_NOT_FOUND : OPEN_E_PARAM;
        return fill_text(name, required_text(*r, "name"));
      });

  sim.implement<CallId::rpcclt_openapiPbVlanGroupNameSet>(
      [&groups](openapiClientHandle_t *, uint32_t groupId, const open_buffdesc *name) {
        if (!name) return OPEN_E_PARAM;
        Record *r = groups.find({int64_t{groupId}});
        if (!r) return valid_group(groupId) ? OPEN_E_NOT_FOUND : OPEN_E_PARAM;
        std::string text = buffer_text(name);
        if (text.size() > OPEN_PBVLAN_NAME_LEN_MAX || !text_matches(TextSyntax::ANY, text)) return OPEN_E_PARAM;
        (*r)["name"] = text;
        return OPEN_E_NONE;
      });

  // ---------------------------------------------------------------- protocols

  sim.implement<CallId::rpcclt_openapiPbVlanGroupProtocolGet>(
      [&groups, &protocols](openapiClientHandle_t *, uint32_t groupId, open_buffdesc *out) {
        if (!out || !out->pstart) return OPEN_E_PARAM;
        if (!groups.find({int64_t{groupId}})) return valid_group(groupId) ? OPEN_E_NOT_FOUND : OPEN_E_PARAM;
        std::set<uint32_t> set = members(protocols, groupId);
        std::vector<uint32_t> list(set.begin(), set.end());
        size_t bytes = list.size() * sizeof(uint32_t);
        if (bytes > out->size) return OPEN_E_BUFFER;
        if (bytes) std::memcpy(out->pstart, list.data(), bytes);
        out->size = static_cast<uint32_t>(bytes);
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiPbVlanGroupProtocolAdd>(
      [g](openapiClientHandle_t *, uint32_t groupId, uint32_t protocol) {
        if (!g.groups.find({int64_t{groupId}})) return valid_group(groupId) ? OPEN_E_NOT_FOUND : OPEN_E_PARAM;
        if (protocol < OPEN_ETHERTYPE_MIN || protocol > OPEN_ETHERTYPE_MAX) return OPEN_E_PARAM;
        if (g.protocols.find({int64_t{groupId}, int64_t{protocol}})) return OPEN_E_EXISTS;
        if (members(g.protocols, groupId).size() >= OPEN_PBVLAN_PROTOCOLS_MAX) return OPEN_E_PARAM;
        for (uint32_t port : members(g.ports, groupId))
          if (g.conflicts(groupId, port, {protocol})) return OPEN_E_EXISTS;
        return g.protocols.insert({int64_t{groupId}, int64_t{protocol}}, {});
      });

  sim.implement<CallId::rpcclt_openapiPbVlanGroupProtocolDelete>(
      [&groups, &protocols](openapiClientHandle_t *, uint32_t groupId, uint32_t protocol) {
        if (!groups.find({int64_t{groupId}})) return valid_group(groupId) ? OPEN_E_NOT_FOUND : OPEN_E_PARAM;
        return protocols.erase({int64_t{groupId}, int64_t{protocol}});
      });

  // ---------------------------------------------------------------- the group's VLAN

  sim.implement<CallId::rpcclt_openapiPbVlanGroupVlanIDGet>(
      [&groups](openapiClientHandle_t *, uint32_t groupId, uint32_t *vlanId) {
        if (!vlanId) return OPEN_E_PARAM;
        const Record *r = groups.find({int64_t{groupId}});
        if (!r) return valid_group(groupId) ? OPEN_E_NOT_FOUND : OPEN_E_PARAM;
        int64_t vlan = required_integer(*r, "vlan");
        if (vlan == 0) return OPEN_E_NOT_FOUND;
        *vlanId = static_cast<uint32_t>(vlan);
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiPbVlanGroupVlanIDAdd>(
      [&sim, &groups](openapiClientHandle_t *, uint32_t groupId, uint32_t vlanId) {
        Record *r = groups.find({int64_t{groupId}});
        if (!r) return valid_group(groupId) ? OPEN_E_NOT_FOUND : OPEN_E_PARAM;
        if (vlanId == 0 || vlanId > sim.options().max_vlan) return OPEN_E_PARAM;
        if (!sim.vlan_exists(vlanId)) return OPEN_E_NOT_FOUND;
        if (required_integer(*r, "vlan") != 0) return OPEN_E_EXISTS;
        (*r)["vlan"] = int64_t{vlanId};
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiPbVlanGroupVlanIDDelete>(
      [&groups](openapiClientHandle_t *, uint32_t groupId, uint32_t vlanId) {
        Record *r = groups.find({int64_t{groupId}});
        if (!r) return valid_group(groupId) ? OPEN_E_NOT_FOUND : OPEN_E_PARAM;
        int64_t vlan = required_integer(*r, "vlan");
        if (vlan == 0 || vlan != int64_t{vlanId}) return OPEN_E_NOT_FOUND;
        (*r)["vlan"] = int64_t{0};
        return OPEN_E_NONE;
      });

  // ---------------------------------------------------------------- ports

  sim.implement<CallId::rpcclt_openapiPbVlanGroupPortGetNext>(
      [&groups, &ports](openapiClientHandle_t *, uint32_t groupId, uint32_t ifNum, uint32_t *nextIfNum) {
        if (!nextIfNum) return OPEN_E_PARAM;
        if (!groups.find({int64_t{groupId}})) return valid_group(groupId) ? OPEN_E_NOT_FOUND : OPEN_E_PARAM;
        auto *row = ports.next({int64_t{groupId}, int64_t{ifNum}});
        if (!row || row->first[0] != Value(int64_t{groupId})) return OPEN_E_NOT_FOUND;
        *nextIfNum = static_cast<uint32_t>(std::get<int64_t>(row->first[1]));
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiPbVlanGroupPortAdd>(
      [&sim, g](openapiClientHandle_t *, uint32_t groupId, uint32_t ifNum) {
        if (!g.groups.find({int64_t{groupId}})) return valid_group(groupId) ? OPEN_E_NOT_FOUND : OPEN_E_PARAM;
        if (!sim.intf_exists(ifNum, intf_bit(OPEN_INTF_TYPE_PHY))) return OPEN_E_PARAM;
        if (g.ports.find({int64_t{groupId}, int64_t{ifNum}})) return OPEN_E_EXISTS;
        if (g.conflicts(groupId, ifNum, members(g.protocols, groupId))) return OPEN_E_EXISTS;
        return g.ports.insert({int64_t{groupId}, int64_t{ifNum}}, {});
      });

  sim.implement<CallId::rpcclt_openapiPbVlanGroupPortDelete>(
      [&sim, &groups, &ports](openapiClientHandle_t *, uint32_t groupId, uint32_t ifNum) {
        if (!groups.find({int64_t{groupId}})) return valid_group(groupId) ? OPEN_E_NOT_FOUND : OPEN_E_PARAM;
        if (!sim.intf_exists(ifNum, intf_bit(OPEN_INTF_TYPE_PHY))) return OPEN_E_PARAM;
        return ports.erase({int64_t{groupId}, int64_t{ifNum}});
      });

  // ---------------------------------------------------------------- MAC-based VLANs

  sim.implement<CallId::rpcclt_openapiVlanMacAdd>(
      [&sim, &macs](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlanId) {
        std::string text = buffer_text(mac);
        if (!unicast_mac(text)) return OPEN_E_PARAM;
        if (vlanId == 0 || vlanId > sim.options().max_vlan) return OPEN_E_PARAM;
        if (!sim.vlan_exists(vlanId)) return OPEN_E_NOT_FOUND;
        return macs.insert({mac_key(text)}, {{"vlan", int64_t{vlanId}}});
      });

  sim.implement<CallId::rpcclt_openapiVlanMacDelete>(
      [&macs](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlanId) {
        std::string text = buffer_text(mac);
        if (!unicast_mac(text)) return OPEN_E_PARAM;
        const Record *r = macs.find({mac_key(text)});
        if (!r || required_integer(*r, "vlan") != int64_t{vlanId}) return OPEN_E_NOT_FOUND;
        return macs.erase({mac_key(text)});
      });

  sim.implement<CallId::rpcclt_openapiVlanMacGet>(
      [&macs](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t *vlanId) {
        if (!vlanId) return OPEN_E_PARAM;
        std::string text = buffer_text(mac);
        if (!unicast_mac(text)) return OPEN_E_PARAM;
        const Record *r = macs.find({mac_key(text)});
        if (!r) return OPEN_E_NOT_FOUND;
        *vlanId = static_cast<uint32_t>(required_integer(*r, "vlan"));
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiVlanMacGetNext>(
      [&macs](openapiClientHandle_t *, open_buffdesc *mac, uint32_t *vlanId) {
        if (!mac || !vlanId) return OPEN_E_PARAM;
        std::string after = buffer_text(mac);
        if (!after.empty() && !text_matches(TextSyntax::MAC, after)) return OPEN_E_PARAM;
        auto *row = after.empty() ? macs.next({}) : macs.next({mac_key(after)});
        if (!row) return OPEN_E_NOT_FOUND;
        if (open_error_t rc = fill_text(mac, std::get<std::string>(row->first[0]))) return rc;
        *vlanId = static_cast<uint32_t>(required_integer(row->second, "vlan"));
        return OPEN_E_NONE;
      });
}

}  // namespace veltrum::sim
