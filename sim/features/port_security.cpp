// Port security: the limits of each port, the addresses it learned
// ("pml_dynamic" rows: (ifNum, MAC, VLAN) -> {}, dynamic state), the
// addresses it keeps ("pml_static" rows, configuration) and the last
// address that violated them ("pml_violations" rows: ifNum -> {"mac",
// "vlan"}, dynamic). The modes come from their rows in
// platform/calls/12_port_security.h.
#include <iterator>

#include "platform/calls/12_port_security.h"
#include "sim/bind.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

const SettingSpec kLimits[] = {
    {.key = "pml.intf.dynamic_limit", .scope = Scope::Intf, .initial = int64_t{OPEN_PML_DYNAMIC_LIMIT_MAX},
     .min = 0, .max = OPEN_PML_DYNAMIC_LIMIT_MAX},
    {.key = "pml.intf.static_limit", .scope = Scope::Intf, .initial = int64_t{OPEN_PML_STATIC_LIMIT_MAX}, .min = 0,
     .max = OPEN_PML_STATIC_LIMIT_MAX},
};
const TableSpec kDynamic{"pml_dynamic", 8192, false};
const TableSpec kStatic{"pml_static", 2048, true};
const TableSpec kViolations{"pml_violations", 64, false};

// The rows of one port.
size_t count_of(const Table &table, uint32_t ifNum) { return table.with_prefix({int64_t{ifNum}}).size(); }

}  // namespace

using namespace calls::port_security;

VELTRUM_SIM_PART(port_security, kFamily) {
  Store &store = sim.store();
  static_assert(std::size(kLimits) == 2);
  SettingRef dynamic_limit = store.define(kLimits[0]);
  SettingRef static_limit = store.define(kLimits[1]);
  // A plain setting of the family's rows, bound before any part.
  SettingRef mode = store.setting("pml.intf.mode");
  Table &dynamic = store.define_table(kDynamic);
  Table &statics = store.define_table(kStatic);
  Table &violations = store.define_table(kViolations);

  sim.implement<CallId::rpcclt_openapiPmlIntfDynamicLimitGet>([dynamic_limit](openapiClientHandle_t *, uint32_t ifNum, uint32_t *limit) {
    return read_integer(dynamic_limit, ifNum, limit);
  });
  // A lower limit forgets the learned addresses beyond it.
  sim.implement<CallId::rpcclt_openapiPmlIntfDynamicLimitSet>([dynamic_limit, &dynamic](openapiClientHandle_t *, uint32_t ifNum, uint32_t limit) {
    if (open_error_t rc = dynamic_limit.set(ifNum, int64_t{limit})) return rc;
    auto learned = dynamic.with_prefix({int64_t{ifNum}});
    for (size_t i = limit; i < learned.size(); ++i) dynamic.erase(learned[i]->first);
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiPmlIntfStaticLimitGet>([static_limit](openapiClientHandle_t *, uint32_t ifNum, uint32_t *limit) {
    return read_integer(static_limit, ifNum, limit);
  });
  // The static limit cannot fall below the addresses the port keeps.
  sim.implement<CallId::rpcclt_openapiPmlIntfStaticLimitSet>([&sim, static_limit, &statics](openapiClientHandle_t *, uint32_t ifNum, uint32_t limit) {
    if (sim.intf_exists(ifNum, kPhyAndLag) && limit < count_of(statics, ifNum)) return OPEN_E_PARAM;
    return static_limit.set(ifNum, int64_t{limit});
  });

  // Learned addresses of a port in (MAC, VLAN) order.
  auto next_entry = [&sim, &dynamic](uint32_t ifNum, Key after, open_buffdesc *mac, uint32_t *vlan) {
    if (!sim.intf_exists(ifNum, kPhyAndLag)) return OPEN_E_PARAM;
    if (!vlan) return OPEN_E_PARAM;
    auto *row = dynamic.next(after);
    if (!row || row->first[0] != Value(int64_t{ifNum})) return OPEN_E_NOT_FOUND;
    if (open_error_t rc = fill_text(mac, std::get<std::string>(row->first[1]))) return rc;
    *vlan = static_cast<uint32_t>(std::get<int64_t>(row->first[2]));
    return OPEN_E_NONE;
  };
  sim.implement<CallId::rpcclt_openapiPmlIntfDynamicEntryGetFirst>(
      [next_entry](openapiClientHandle_t *, uint32_t ifNum, open_buffdesc *mac, uint32_t *vlan) {
        return next_entry(ifNum, {int64_t{ifNum}}, mac, vlan);
      });
  sim.implement<CallId::rpcclt_openapiPmlIntfDynamicEntryGetNext>(
      [next_entry](openapiClientHandle_t *, uint32_t ifNum, const open_buffdesc *mac, uint32_t vlan,
                   open_buffdesc *nextMac, uint32_t *nextVlan) {
        return next_entry(ifNum, {int64_t{ifNum}, mac_key(buffer_text(mac)), int64_t{vlan}}, nextMac, nextVlan);
      });

  sim.implement<CallId::rpcclt_openapiPmlIntfDynamicLearnedAddrCountGet>(
      [&sim, &dynamic](openapiClientHandle_t *, uint32_t ifNum, uint32_t *count) {
        if (!sim.intf_exists(ifNum, kPhyAndLag) || !count) return OPEN_E_PARAM;
        *count = static_cast<uint32_t>(count_of(dynamic, ifNum));
        return OPEN_E_NONE;
      });

  // Learned addresses become kept ones, all or none: the port must have
  // port security on, and its static limit must hold them all.
  sim.implement<CallId::rpcclt_openapiPmlIntfDynamicToStaticMove>([&sim, mode, static_limit, &dynamic, &statics](openapiClientHandle_t *, uint32_t ifNum) {
    if (!sim.intf_exists(ifNum, kPhyAndLag)) return OPEN_E_PARAM;
    if (!mode.integer(ifNum)) return OPEN_E_DISABLED;
    auto learned = dynamic.with_prefix({int64_t{ifNum}});
    if (learned.empty()) return OPEN_E_EMPTY;
    if (count_of(statics, ifNum) + learned.size() > static_cast<size_t>(static_limit.integer(ifNum)))
      return OPEN_E_FULL;
    std::vector<Key> keys;
    for (auto *row : learned) keys.push_back(row->first);
    for (const Key &k : keys) {
      if (open_error_t rc = statics.upsert(k, {})) return rc;
      dynamic.erase(k);
    }
    return OPEN_E_NONE;
  });

  sim.implement<CallId::rpcclt_openapiPmlIntfLastViolationAddrGet>(
      [&sim, &violations](openapiClientHandle_t *, uint32_t ifNum, open_buffdesc *mac, uint32_t *vlan) {
        if (!sim.intf_exists(ifNum, kPhyAndLag) || !vlan) return OPEN_E_PARAM;
        // A violation row has both members; no row: no violation yet.
        const Record *r = violations.find({int64_t{ifNum}});
        if (open_error_t rc = fill_text(mac, r ? required_text(*r, "mac") : std::string())) return rc;
        *vlan = r ? static_cast<uint32_t>(required_integer(*r, "vlan")) : 0;
        return OPEN_E_NONE;
      });
}

}  // namespace veltrum::sim
