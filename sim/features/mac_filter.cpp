// MAC filters: "mac_filters" rows (MAC, VLAN) -> {} and their ports,
// "mac_filter_ports" rows (MAC, VLAN, "src" or "dst", ifNum) -> {}, both
// configuration. A filter names one station (a unicast address) on a VLAN
// that exists; its ports are physical ports or LAGs.
#include <cstring>

#include "platform/calls/16_mac_filter.h"
#include "sim/bind.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

const TableSpec kFilters{"mac_filters", OPEN_MAC_FILTER_MAX, true};
const TableSpec kPorts{"mac_filter_ports", OPEN_MAC_FILTER_MAX * 64, true};

// The part's tables.
struct Filters {
  Table &filters;
  Table &ports;
};

// The key of an existing filter, or an error: the MAC text must name one
// station, the VLAN must exist.
open_error_t filter_key(Sim &sim, const Filters &f, const open_buffdesc *mac, uint32_t vlan, Key &key,
                        bool must_exist = true) {
  std::string m = buffer_text(mac);
  if (!unicast_mac(m)) return OPEN_E_PARAM;
  if (!sim.vlan_exists(vlan)) return OPEN_E_NOT_FOUND;
  key = {mac_key(m), int64_t{vlan}};
  if (must_exist && !f.filters.find(key)) return OPEN_E_NOT_FOUND;
  return OPEN_E_NONE;
}

// The filter's ports of one direction as an array of interface numbers.
open_error_t port_list(Sim &sim, const Filters &f, const open_buffdesc *mac, uint32_t vlan, const char *dir,
                       open_buffdesc *out) {
  Key key;
  if (open_error_t rc = filter_key(sim, f, mac, vlan, key)) return rc;
  if (!out || !out->pstart) return OPEN_E_PARAM;
  Key prefix{key[0], key[1], std::string(dir)};
  auto rows = f.ports.with_prefix(prefix);
  if (rows.size() * sizeof(uint32_t) > out->size) return OPEN_E_BUFFER;
  auto *p = static_cast<unsigned char *>(out->pstart);
  for (size_t i = 0; i < rows.size(); ++i) {
    auto ifNum = static_cast<uint32_t>(std::get<int64_t>(rows[i]->first[3]));
    std::memcpy(p + i * sizeof ifNum, &ifNum, sizeof ifNum);
  }
  out->size = static_cast<uint32_t>(rows.size() * sizeof(uint32_t));
  return OPEN_E_NONE;
}

open_error_t port_change(Sim &sim, const Filters &f, const open_buffdesc *mac, uint32_t vlan, const char *dir,
                         uint32_t ifNum, bool add) {
  Key key;
  if (open_error_t rc = filter_key(sim, f, mac, vlan, key)) return rc;
  if (!sim.intf_exists(ifNum, kPhyAndLag)) return OPEN_E_PARAM;
  Key port{key[0], key[1], std::string(dir), int64_t{ifNum}};
  return add ? f.ports.upsert(port, {}) : f.ports.erase(port);
}

}  // namespace

using namespace calls::mac_filter;

VELTRUM_SIM_PART(mac_filter, kFamily) {
  const Filters f{sim.store().define_table(kFilters), sim.store().define_table(kPorts)};

  sim.implement<CallId::rpcclt_openapiFilterCreate>([&sim, f](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlan) {
    Key key;
    if (open_error_t rc = filter_key(sim, f, mac, vlan, key, false)) return rc;
    return f.filters.insert(key, {});
  });
  sim.implement<CallId::rpcclt_openapiFilterRemove>([&sim, f](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlan) {
    Key key;
    if (open_error_t rc = filter_key(sim, f, mac, vlan, key)) return rc;
    f.ports.erase_prefix(key);
    return f.filters.erase(key);
  });

  auto next_filter = [f](const Key &after, open_buffdesc *mac, uint32_t *vlan) {
    if (!vlan) return OPEN_E_PARAM;
    auto *row = f.filters.next(after);
    if (!row) return OPEN_E_NOT_FOUND;
    if (open_error_t rc = fill_text(mac, std::get<std::string>(row->first[0]))) return rc;
    *vlan = static_cast<uint32_t>(std::get<int64_t>(row->first[1]));
    return OPEN_E_NONE;
  };
  sim.implement<CallId::rpcclt_openapiFilterFirstGet>([next_filter](openapiClientHandle_t *, open_buffdesc *mac, uint32_t *vlan) {
    return next_filter({}, mac, vlan);
  });
  sim.implement<CallId::rpcclt_openapiFilterNextGet>(
      [next_filter](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlan, open_buffdesc *nextMac,
                    uint32_t *nextVlan) {
        return next_filter({mac_key(buffer_text(mac)), int64_t{vlan}}, nextMac, nextVlan);
      });

  sim.implement<CallId::rpcclt_openapiFilterSrcIntfListGet>(
      [&sim, f](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlan, open_buffdesc *list) {
        return port_list(sim, f, mac, vlan, "src", list);
      });
  sim.implement<CallId::rpcclt_openapiFilterDstIntfListGet>(
      [&sim, f](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlan, open_buffdesc *list) {
        return port_list(sim, f, mac, vlan, "dst", list);
      });
  sim.implement<CallId::rpcclt_openapiFilterSrcIntfAdd>(
      [&sim, f](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlan, uint32_t ifNum) {
        return port_change(sim, f, mac, vlan, "src", ifNum, true);
      });
  sim.implement<CallId::rpcclt_openapiFilterSrcIntfDelete>(
      [&sim, f](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlan, uint32_t ifNum) {
        return port_change(sim, f, mac, vlan, "src", ifNum, false);
      });
  sim.implement<CallId::rpcclt_openapiFilterDstIntfAdd>(
      [&sim, f](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlan, uint32_t ifNum) {
        return port_change(sim, f, mac, vlan, "dst", ifNum, true);
      });
  sim.implement<CallId::rpcclt_openapiFilterDstIntfDelete>(
      [&sim, f](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlan, uint32_t ifNum) {
        return port_change(sim, f, mac, vlan, "dst", ifNum, false);
      });
}

}  // namespace veltrum::sim
