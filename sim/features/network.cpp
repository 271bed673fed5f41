// Address conversion, the management network and routing interfaces.
//
// State:
//   "network.mgmt_vlan"          the management VLAN
//   "network.ipv4_addr", "network.ipv4_mask", "network.ipv4_gateway"
//                                the network port's IPv4 parameters, as text
//   "network.ipv4_proto", "network.ipv6_*"   (rows)
//   "network.routing_mode"       routing on or off, per address family
//   "network_ipv6_addrs"  [hex of the address] -> {"addr", "pfxLen", "eui64"}
//   "network_ipv6_neighbors"  dynamic: [hex of the address] -> {"addr",
//                         "mac", "router", "state", "updated"}
//   "vlan_routing"        [vlan] -> {"ifNum", "addr", "pfxLen"}: the VLAN
//                         routing interfaces and their IPv4 address
//                         (defined by the interfaces part, whose walks list
//                         them)
//   "rtr_ipv6_addrs"      [ifNum, hex of the address] -> {"addr", "pfxLen",
//                         "eui64"}: the IPv6 addresses of routing interfaces
#include <arpa/inet.h>

#include <cstdio>
#include <cstring>
#include <optional>

#include "platform/calls/03_network.h"
#include "sim/bind.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

const SettingSpec kSettings[] = {
    {"network.mgmt_vlan", Scope::Global, int64_t{1}, 1, 4093},
    {"network.ipv4_addr", Scope::Global, std::string("192.168.0.239"), 7, 15},
    {"network.ipv4_mask", Scope::Global, std::string("255.255.255.0"), 7, 15},
    {"network.ipv4_gateway", Scope::Global, std::string("0.0.0.0"), 7, 15, true, kPhyAndLag, 0, TextSyntax::IPV4},
    {"network.routing_mode", Scope::Global, int64_t{OPEN_DISABLE}, 0, 1, true, kPhyAndLag, 3},
};
const TableSpec kIpv6Addrs{"network_ipv6_addrs", OPEN_NETWORK_IPV6_ADDRS, true};
const TableSpec kIpv6Neighbors{"network_ipv6_neighbors", 256, false};
const TableSpec kRtrIpv6Addrs{"rtr_ipv6_addrs", 512, true};
constexpr size_t kRoutingCapacity = 128;

bool parse_ipv4(const std::string &text, uint32_t &host_order) {
  in_addr a{};
  if (inet_pton(AF_INET, text.c_str(), &a) != 1) return false;
  host_order = ntohl(a.s_addr);
  return true;
}

std::string ipv4_text(uint32_t host_order) {
  in_addr a{htonl(host_order)};
  char text[INET_ADDRSTRLEN];
  inet_ntop(AF_INET, &a, text, sizeof text);
  return text;
}

std::string ipv6_text(const uint8_t (&bytes)[16]) {
  char text[INET6_ADDRSTRLEN];
  inet_ntop(AF_INET6, bytes, text, sizeof text);
  return text;
}

// The key of an IPv6 address: its bytes in hexadecimal, so keys sort as
// the addresses do.
std::string ipv6_key(const uint8_t (&bytes)[16]) {
  char hex[33];
  for (int i = 0; i < 16; ++i) std::snprintf(hex + 2 * i, 3, "%02x", bytes[i]);
  return hex;
}

uint32_t mask_of(uint32_t pfxLen) { return pfxLen == 0 ? 0 : ~uint32_t{0} << (32 - pfxLen); }

uint32_t prefix_of(uint32_t mask) {
  uint32_t n = 0;
  while (n < 32 && (mask & (1u << (31 - n)))) ++n;
  return n;
}

// A unicast IPv4 host address within a subnet of 1 to 30 bits: no network
// or broadcast address, nothing of 0/8, 127/8, multicast or class E.
bool host_address_ok(uint32_t addr, uint32_t pfxLen) {
  if (pfxLen < 1 || pfxLen > 30) return false;
  uint32_t first = addr >> 24;
  if (first == 0 || first == 127 || first >= 224) return false;
  uint32_t host = addr & ~mask_of(pfxLen);
  return host != 0 && host != ~mask_of(pfxLen);
}

bool overlaps(uint32_t a, uint32_t aLen, uint32_t b, uint32_t bLen) {
  uint32_t m = mask_of(std::min(aLen, bLen));
  return (a & m) == (b & m);
}

// A global unicast IPv6 address: not unspecified, loopback, link-local or
// multicast.
bool ipv6_unicast(const uint8_t (&b)[16]) {
  static const uint8_t zero[16] = {};
  uint8_t loopback[16] = {};
  loopback[15] = 1;
  if (!std::memcmp(b, zero, 16) || !std::memcmp(b, loopback, 16)) return false;
  if (b[0] == 0xff) return false;
  return !(b[0] == 0xfe && (b[1] & 0xc0) == 0x80);
}

bool ipv6_args_ok(const open_inet_addr_t &addr, uint32_t pfxLen, OPEN_BOOL_t eui64) {
  if (addr.family != OPEN_AF_INET6 || !ipv6_unicast(addr.addr.ipv6)) return false;
  if (eui64 != OPEN_FALSE && eui64 != OPEN_TRUE) return false;
  return pfxLen >= 1 && pfxLen <= 128 && (eui64 == OPEN_FALSE || pfxLen == 64);
}

}  // namespace

using namespace calls::network;

VELTRUM_SIM_PART(network, kFamily) {
  Store &store = sim.store();
  store.define(kSettings);
  SettingRef mgmt_vlan = store.setting("network.mgmt_vlan");
  SettingRef ipv4_addr = store.setting("network.ipv4_addr");
  SettingRef ipv4_mask = store.setting("network.ipv4_mask");
  SettingRef ipv4_gateway = store.setting("network.ipv4_gateway");
  SettingRef routing_mode = store.setting("network.routing_mode");
  store.define_table(kIpv6Addrs);
  store.define_table(kIpv6Neighbors);
  store.define_table(kRtrIpv6Addrs);
  Table &routing = store.table("vlan_routing");
  Table &v6addrs = store.table("network_ipv6_addrs");
  const Table &neighbors = store.table("network_ipv6_neighbors");
  Table &rtr6 = store.table("rtr_ipv6_addrs");

  sim.implement<CallId::rpcclt_openapiInetAton>([](openapiClientHandle_t *, const open_buffdesc *text, uint32_t *addr) {
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

  // ---- the management network ----

  sim.implement<CallId::rpcclt_openapiNetworkMgmtVlanGet>([mgmt_vlan](openapiClientHandle_t *, uint32_t *vlan) {
    if (!vlan) return OPEN_E_PARAM;
    *vlan = static_cast<uint32_t>(mgmt_vlan.integer());
    return OPEN_E_NONE;
  });

  sim.implement<CallId::rpcclt_openapiNetworkMgmtVlanSet>([&sim, mgmt_vlan](openapiClientHandle_t *, uint32_t vlan) {
    if (vlan < 1 || vlan > sim.options().max_vlan) return OPEN_E_PARAM;
    if (!sim.vlan_exists(vlan)) return OPEN_E_NOT_FOUND;
    return mgmt_vlan.set(int64_t{vlan});
  });

  sim.implement<CallId::rpcclt_openapiNetworkPortIPv4AddrGet>(
      [ipv4_addr, ipv4_mask](openapiClientHandle_t *, uint32_t *addr, uint32_t *mask) {
        uint32_t a = 0;
        uint32_t m = 0;
        if (!parse_ipv4(ipv4_addr.text(), a) || !parse_ipv4(ipv4_mask.text(), m)) return OPEN_E_UNAVAIL;
        if (addr) *addr = a;
        if (mask) *mask = m;
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiNetworkPortGatewayIPv4AddrGet>(
      [ipv4_gateway](openapiClientHandle_t *, uint32_t *gateway) {
        uint32_t g = 0;
        if (!gateway) return OPEN_E_PARAM;
        if (!parse_ipv4(ipv4_gateway.text(), g)) return OPEN_E_UNAVAIL;
        *gateway = g;
        return OPEN_E_NONE;
      });

  // The subnet of the routing interface that overlaps (addr, pfxLen), but
  // for the one of `except` (an interface number, 0: none).
  auto routing_overlap = [&routing](uint32_t addr, uint32_t pfxLen, uint32_t except) {
    for (const auto &[key, r] : routing.rows()) {
      uint32_t other = 0;
      if (record_integer(r, "ifNum") == except || !parse_ipv4(record_text(r, "addr"), other)) continue;
      if (overlaps(addr, pfxLen, other, static_cast<uint32_t>(record_integer(r, "pfxLen")))) return true;
    }
    return false;
  };

  sim.implement<CallId::rpcclt_openapiNetworkPortIPv4ParametersSet>(
      [ipv4_addr, ipv4_mask, ipv4_gateway, routing_overlap](openapiClientHandle_t *, uint32_t addr, uint32_t mask,
                                                            uint32_t gateway) {
        if (!contiguous_mask(mask)) return OPEN_E_PARAM;
        uint32_t pfxLen = prefix_of(mask);
        if (!host_address_ok(addr, pfxLen)) return OPEN_E_PARAM;
        if (gateway != 0 &&
            (gateway == addr || !overlaps(gateway, pfxLen, addr, pfxLen) || !host_address_ok(gateway, pfxLen)))
          return OPEN_E_PARAM;
        if (routing_overlap(addr, pfxLen, 0)) return OPEN_E_PARAM;
        ipv4_addr.set(ipv4_text(addr));
        ipv4_mask.set(ipv4_text(mask));
        return ipv4_gateway.set(ipv4_text(gateway));
      });

  // ---- the network port's IPv6 addresses and neighbours ----

  sim.implement<CallId::rpcclt_openapiNetworkPortIPv6AddressGetNext>(
      [&v6addrs](openapiClientHandle_t *, open_inet_addr_t *addr, uint32_t *pfxLen, OPEN_BOOL_t *eui64) {
        if (!addr || !pfxLen || !eui64) return OPEN_E_PARAM;
        if (addr->family != OPEN_AF_NONE && addr->family != OPEN_AF_INET6) return OPEN_E_PARAM;
        Key after;
        if (addr->family == OPEN_AF_INET6) after = {ipv6_key(addr->addr.ipv6)};
        auto *row = v6addrs.next(after);
        if (!row) return OPEN_E_NOT_FOUND;
        open_inet_addr_t out{};
        out.family = OPEN_AF_INET6;
        inet_pton(AF_INET6, record_text(row->second, "addr").c_str(), out.addr.ipv6);
        *addr = out;
        *pfxLen = static_cast<uint32_t>(record_integer(row->second, "pfxLen"));
        *eui64 = record_integer(row->second, "eui64") ? OPEN_TRUE : OPEN_FALSE;
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiNetworkPortIPv6AddressAdd>(
      [&v6addrs](openapiClientHandle_t *, open_inet_addr_t addr, uint32_t pfxLen, OPEN_BOOL_t eui64) {
        if (!ipv6_args_ok(addr, pfxLen, eui64)) return OPEN_E_PARAM;
        return v6addrs.insert(
            {ipv6_key(addr.addr.ipv6)},
            {{"addr", ipv6_text(addr.addr.ipv6)}, {"pfxLen", int64_t{pfxLen}}, {"eui64", int64_t{eui64 == OPEN_TRUE}}});
      });

  sim.implement<CallId::rpcclt_openapiNetworkPortIPv6PrefixDelete>(
      [&v6addrs](openapiClientHandle_t *, open_inet_addr_t addr, uint32_t pfxLen) {
        if (addr.family != OPEN_AF_INET6 || pfxLen < 1 || pfxLen > 128) return OPEN_E_PARAM;
        Key key{ipv6_key(addr.addr.ipv6)};
        const Record *r = v6addrs.find(key);
        if (!r || record_integer(*r, "pfxLen") != pfxLen) return OPEN_E_NOT_FOUND;
        return v6addrs.erase(key);
      });

  sim.implement<CallId::rpcclt_openapiNetworkPortIpv6NbrEntryGetNext>(
      [&neighbors](openapiClientHandle_t *, OPEN_IP6_NBR_ENTRY_t *entry) {
        if (!entry) return OPEN_E_PARAM;
        if (entry->addr.family != OPEN_AF_NONE && entry->addr.family != OPEN_AF_INET6) return OPEN_E_PARAM;
        Key after;
        if (entry->addr.family == OPEN_AF_INET6) after = {ipv6_key(entry->addr.addr.ipv6)};
        auto *row = neighbors.next(after);
        if (!row) return OPEN_E_NOT_FOUND;
        const Record &r = row->second;
        OPEN_IP6_NBR_ENTRY_t out{};
        out.addr.family = OPEN_AF_INET6;
        if (inet_pton(AF_INET6, record_text(r, "addr").c_str(), out.addr.addr.ipv6) != 1) return OPEN_E_INTERNAL;
        std::snprintf(out.mac, sizeof out.mac, "%s", mac_key(record_text(r, "mac")).c_str());
        out.isRouter = record_integer(r, "router") ? OPEN_TRUE : OPEN_FALSE;
        out.state = static_cast<OPEN_IP6_NBR_STATE_t>(record_integer(r, "state"));
        out.lastUpdated = static_cast<uint32_t>(record_integer(r, "updated"));
        *entry = out;
        return OPEN_E_NONE;
      });

  // ---- routing ----

  auto family_ok = [](OPEN_AF_t family) { return family == OPEN_AF_INET || family == OPEN_AF_INET6; };

  sim.implement<CallId::rpcclt_openapiRtrAdminModeGet>(
      [routing_mode, family_ok](openapiClientHandle_t *, OPEN_AF_t family, OPEN_CONTROL_t *mode) {
        if (!mode || !family_ok(family)) return OPEN_E_PARAM;
        Value v;
        if (open_error_t rc = routing_mode.get(0, family, v)) return rc;
        *mode = static_cast<OPEN_CONTROL_t>(std::get<int64_t>(v));
        return OPEN_E_NONE;
      });

  sim.implement<CallId::rpcclt_openapiRtrAdminModeSet>(
      [routing_mode, family_ok](openapiClientHandle_t *, OPEN_AF_t family, OPEN_CONTROL_t mode) {
        if (!family_ok(family)) return OPEN_E_PARAM;
        return routing_mode.set(0, family, int64_t{mode});
      });

  // The routing interface of a VLAN, or null.
  auto routing_of_vlan = [&routing](uint32_t vlan) { return routing.find({int64_t{vlan}}); };
  // The VLAN of a routing interface number, or nothing.
  auto vlan_of_intf = [&routing](uint32_t ifNum) -> std::optional<uint32_t> {
    for (const auto &[key, r] : routing.rows())
      if (record_integer(r, "ifNum") == ifNum) return static_cast<uint32_t>(std::get<int64_t>(key.at(0)));
    return std::nullopt;
  };

  sim.implement<CallId::rpcclt_openapiRtrVlanIntfIfNumGet>(
      [&sim, routing_of_vlan](openapiClientHandle_t *, uint32_t vlan, uint32_t *ifNum) {
        if (!ifNum || vlan < 1 || vlan > sim.options().max_vlan) return OPEN_E_PARAM;
        const Record *r = routing_of_vlan(vlan);
        if (!r) return OPEN_E_NOT_FOUND;
        *ifNum = static_cast<uint32_t>(std::get<int64_t>(r->at("ifNum")));
        return OPEN_E_NONE;
      });

  // Routing interface numbers follow the last fixed interface.
  sim.implement<CallId::rpcclt_openapiRtrVlanIntfCreate>(
      [&sim, &routing, vlan_of_intf](openapiClientHandle_t *, uint32_t vlan) {
        if (vlan < 1 || vlan > sim.options().max_vlan) return OPEN_E_PARAM;
        if (!sim.vlan_exists(vlan)) return OPEN_E_NOT_FOUND;
        if (routing.find({int64_t{vlan}})) return OPEN_E_EXISTS;
        if (routing.size() >= kRoutingCapacity) return OPEN_E_FULL;
        uint32_t ifNum = sim.interfaces().back().ifNum + 1;
        while (vlan_of_intf(ifNum) || sim.interface(ifNum)) ++ifNum;
        return routing.insert({int64_t{vlan}}, {{"ifNum", int64_t{ifNum}}, {"pfxLen", int64_t{0}}});
      });

  sim.implement<CallId::rpcclt_openapiRtrVlanIntfDelete>(
      [&sim, &routing, &rtr6, routing_of_vlan](openapiClientHandle_t *, uint32_t vlan) {
        if (vlan < 1 || vlan > sim.options().max_vlan) return OPEN_E_PARAM;
        const Record *r = routing_of_vlan(vlan);
        if (!r) return OPEN_E_NOT_FOUND;
        rtr6.erase_prefix({r->at("ifNum")});
        return routing.erase({int64_t{vlan}});
      });

  sim.implement<CallId::rpcclt_openapiIpVlanRtrVlanIdGetNext>([&routing](openapiClientHandle_t *, uint32_t *vlan) {
    if (!vlan) return OPEN_E_PARAM;
    auto *row = routing.next({int64_t{*vlan}});
    if (!row) return OPEN_E_NOT_FOUND;
    *vlan = static_cast<uint32_t>(std::get<int64_t>(row->first.at(0)));
    return OPEN_E_NONE;
  });

  auto to_vlan = [vlan_of_intf](openapiClientHandle_t *, uint32_t ifNum, uint32_t *vlan) {
    if (!vlan) return OPEN_E_PARAM;
    std::optional<uint32_t> v = vlan_of_intf(ifNum);
    if (!v) return OPEN_E_NOT_FOUND;
    *vlan = *v;
    return OPEN_E_NONE;
  };
  sim.implement<CallId::rpcclt_openapiIpVlanRtrIntIfNumToVlanId>(to_vlan);
  sim.implement<CallId::rpcclt_openapiRtrIntfVlanIdGet>(to_vlan);

  sim.implement<CallId::rpcclt_openapiRtrIntfIpAddrGet>(
      [&routing](openapiClientHandle_t *, OPEN_AF_t family, uint32_t ifNum, open_inet_addr_t *addr, uint32_t *pfxLen) {
        if (!addr || family != OPEN_AF_INET) return OPEN_E_PARAM;
        for (const auto &[key, r] : routing.rows()) {
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

  sim.implement<CallId::rpcclt_openapiRtrIntfIpAddrAdd>(
      [&routing, &rtr6, ipv4_addr, ipv4_mask, vlan_of_intf, routing_overlap](openapiClientHandle_t *, OPEN_AF_t family,
                                                                             uint32_t ifNum, open_inet_addr_t addr,
                                                                             uint32_t pfxLen, OPEN_BOOL_t eui64) {
        if (addr.family != family) return OPEN_E_PARAM;
        std::optional<uint32_t> vlan = vlan_of_intf(ifNum);
        if (family == OPEN_AF_INET) {
          if (eui64 != OPEN_FALSE || !host_address_ok(addr.addr.ipv4, pfxLen)) return OPEN_E_PARAM;
          if (!vlan) return OPEN_E_NOT_FOUND;
          if (routing_overlap(addr.addr.ipv4, pfxLen, ifNum)) return OPEN_E_EXISTS;
          uint32_t port = 0;
          uint32_t mask = 0;
          if (parse_ipv4(ipv4_addr.text(), port) && parse_ipv4(ipv4_mask.text(), mask) &&
              overlaps(addr.addr.ipv4, pfxLen, port, prefix_of(mask)))
            return OPEN_E_EXISTS;
          Record &r = *routing.find({int64_t{*vlan}});
          r["addr"] = ipv4_text(addr.addr.ipv4);
          r["pfxLen"] = int64_t{pfxLen};
          return OPEN_E_NONE;
        }
        if (family != OPEN_AF_INET6 || !ipv6_args_ok(addr, pfxLen, eui64)) return OPEN_E_PARAM;
        if (!vlan) return OPEN_E_NOT_FOUND;
        return rtr6.insert(
            {int64_t{ifNum}, ipv6_key(addr.addr.ipv6)},
            {{"addr", ipv6_text(addr.addr.ipv6)}, {"pfxLen", int64_t{pfxLen}}, {"eui64", int64_t{eui64 == OPEN_TRUE}}});
      });

  sim.implement<CallId::rpcclt_openapiRtrIntfIpAddrDel>(
      [&routing, &rtr6, vlan_of_intf](openapiClientHandle_t *, OPEN_AF_t family, uint32_t ifNum, open_inet_addr_t addr,
                                      uint32_t pfxLen) {
        if (addr.family != family || (family != OPEN_AF_INET && family != OPEN_AF_INET6)) return OPEN_E_PARAM;
        std::optional<uint32_t> vlan = vlan_of_intf(ifNum);
        if (!vlan) return OPEN_E_NOT_FOUND;
        if (family == OPEN_AF_INET) {
          Record &r = *routing.find({int64_t{*vlan}});
          uint32_t current = 0;
          if (!parse_ipv4(record_text(r, "addr"), current) || current != addr.addr.ipv4 ||
              record_integer(r, "pfxLen") != pfxLen)
            return OPEN_E_NOT_FOUND;
          r.erase("addr");
          r["pfxLen"] = int64_t{0};
          return OPEN_E_NONE;
        }
        Key key{int64_t{ifNum}, ipv6_key(addr.addr.ipv6)};
        const Record *r = rtr6.find(key);
        if (!r || record_integer(*r, "pfxLen") != pfxLen) return OPEN_E_NOT_FOUND;
        return rtr6.erase(key);
      });

  // ---- conversions ----

  sim.implement<CallId::rpcclt_openapiMacAddrStringToHexGet>(
      [](openapiClientHandle_t *, const open_buffdesc *text, open_buffdesc *mac) {
        if (!text || !mac || !mac->pstart) return OPEN_E_PARAM;
        std::string t = buffer_text(text);
        for (char &c : t)
          if (c == '-') c = ':';
        if (!text_matches(TextSyntax::MAC, t)) return OPEN_E_PARAM;
        if (mac->size < OPEN_MAC_ADDR_LEN) return OPEN_E_BUFFER;
        auto *out = static_cast<uint8_t *>(mac->pstart);
        for (int i = 0; i < OPEN_MAC_ADDR_LEN; ++i)
          out[i] = static_cast<uint8_t>(std::stoi(t.substr(3 * i, 2), nullptr, 16));
        mac->size = OPEN_MAC_ADDR_LEN;
        return OPEN_E_NONE;
      });
}

}  // namespace veltrum::sim
