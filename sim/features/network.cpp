// Address conversion and the management network: the management VLAN, the
// routing interfaces of VLANs ("vlan_routing" rows: vlan -> {"ifNum",
// "addr", "pfxLen"}) and the network port's own IPv4 address.
#include <arpa/inet.h>

#include "platform/calls/03_network.h"
#include "sim/bind.h"

namespace veltrum::sim {

namespace {

const SettingSpec kSettings[] = {
    {"network.mgmt_vlan", Scope::Global, int64_t{1}, 1, 4093},
    {"network.ipv4_addr", Scope::Global, std::string("192.168.0.239"), 7, 15},
    {"network.ipv4_mask", Scope::Global, std::string("255.255.255.0"), 7, 15},
};
const TableSpec kVlanRouting{"vlan_routing", 128, true};

bool parse_ipv4(const std::string &text, uint32_t &host_order) {
  in_addr a{};
  if (inet_pton(AF_INET, text.c_str(), &a) != 1) return false;
  host_order = ntohl(a.s_addr);
  return true;
}

}  // namespace

using namespace calls::network;

VELTRUM_SIM_PART(network, kFamily) {
  sim.store().define(kSettings);
  sim.store().define_table(kVlanRouting);

  sim.implement<CallId::rpcclt_openapiInetAton>(
      [](openapiClientHandle_t *, const open_buffdesc *text, uint32_t *addr) {
        uint32_t value = 0;
        if (!addr || !parse_ipv4(buffer_text(text), value)) return OPEN_E_PARAM;
        *addr = value;
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiInetAddrGet>(
      [](openapiClientHandle_t *, const open_buffdesc *text, open_inet_addr_t *addr) {
        if (!addr) return OPEN_E_PARAM;
        std::string t = buffer_text(text);
        open_inet_addr_t result{};
        uint32_t v4 = 0;
        if (parse_ipv4(t, v4)) {
          result.family = OPEN_AF_INET;
          result.addr.ipv4 = v4;
        } else if (inet_pton(AF_INET6, t.c_str(), result.addr.ipv6) == 1) {
          result.family = OPEN_AF_INET6;
        } else {
          return OPEN_E_PARAM;
        }
        *addr = result;
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiNetworkMgmtVlanGet>([&sim](openapiClientHandle_t *, uint32_t *vlan) {
    if (!vlan) return OPEN_E_PARAM;
    *vlan = static_cast<uint32_t>(sim.store().integer("network.mgmt_vlan"));
    return OPEN_E_NONE;
  });

  sim.implement<CallId::rpcclt_openapiRtrVlanIntfIfNumGet>(
      [&sim](openapiClientHandle_t *, uint32_t vlan, uint32_t *ifNum) {
        if (!ifNum || vlan < 1 || vlan > sim.options().max_vlan) return OPEN_E_PARAM;
        const Record *r = sim.store().table("vlan_routing").find({int64_t{vlan}});
        if (!r) return OPEN_E_NOT_FOUND;
        *ifNum = static_cast<uint32_t>(std::get<int64_t>(r->at("ifNum")));
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiRtrIntfIpAddrGet>(
      [&sim](openapiClientHandle_t *, OPEN_AF_t family, uint32_t ifNum, open_inet_addr_t *addr, uint32_t *pfxLen) {
        if (!addr || family != OPEN_AF_INET) return OPEN_E_PARAM;
        for (const auto &[key, r] : sim.store().table("vlan_routing").rows()) {
          if (std::get<int64_t>(r.at("ifNum")) != ifNum) continue;
          auto it = r.find("addr");
          uint32_t value = 0;
          if (it == r.end() || !parse_ipv4(std::get<std::string>(it->second), value)) return OPEN_E_UNAVAIL;
          addr->family = OPEN_AF_INET;
          addr->addr.ipv4 = value;
          if (pfxLen) *pfxLen = static_cast<uint32_t>(std::get<int64_t>(r.at("pfxLen")));
          return OPEN_E_NONE;
        }
        return OPEN_E_NOT_FOUND;
      });

  sim.implement<CallId::rpcclt_openapiNetworkPortIPv4AddrGet>(
      [&sim](openapiClientHandle_t *, uint32_t *addr, uint32_t *mask) {
        uint32_t a = 0;
        uint32_t m = 0;
        if (!parse_ipv4(sim.store().text("network.ipv4_addr"), a) ||
            !parse_ipv4(sim.store().text("network.ipv4_mask"), m))
          return OPEN_E_UNAVAIL;
        if (addr) *addr = a;
        if (mask) *mask = m;
        return OPEN_E_NONE;
      });
}

}  // namespace veltrum::sim
