// DHCP snooping and the DHCP L2 relay. The modes, limits, database file
// and write delay come from their rows in platform/calls/15_dhcp_snooping.h;
// this part adds the VLANs snooping is enabled on ("dhcpsnp.vlan.enable"),
// the database server ("dhcpsnp.db.ip", host order, 0 for the switch
// itself) and the bindings and counters:
//   "dhcpsnp_static" rows: MAC -> {"vlan", "ip" (dotted), "port"};
//   dynamic: "dhcpsnp_dynamic" rows: MAC -> {"vlan", "ip", "port",
//     "expires" (the CLOCK_MONOTONIC second its lease ends; gone after)};
//   "dhcpsnp_stats" rows: ifNum -> {"macVerify", "mismatch", "untrusted"};
//   "l2relay_stats" rows: ifNum -> {"utsrvw82", "utclientw82", "tsrvwo82",
//     "tclientwo82"}.
#include <arpa/inet.h>

#include <cstring>
#include <ctime>
#include <iterator>

#include "platform/calls/15_dhcp_snooping.h"
#include "sim/bind.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

const SettingSpec kSettings[] = {
    {.key = "dhcpsnp.vlan.enable", .scope = Scope::Vlan, .initial = int64_t{0}, .min = 0, .max = 1},
    {.key = "dhcpsnp.db.ip", .initial = int64_t{0}, .min = 0, .max = 0xffffffffLL},
};
const TableSpec kStatic{"dhcpsnp_static", OPEN_DS_STATIC_BINDINGS_MAX, true};
const TableSpec kDynamic{"dhcpsnp_dynamic", OPEN_DS_BINDINGS_MAX, false};
const TableSpec kStats{"dhcpsnp_stats", 64, false};
const TableSpec kRelayStats{"l2relay_stats", 64, false};

int64_t monotonic_seconds() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec;
}

// An address a client or a server can have: not 0, not the broadcast, a
// multicast or a loopback address.
bool unicast_ipv4(uint32_t a) { return a != 0 && a != 0xffffffffu && (a >> 28) != 0xe && (a >> 24) != 127; }

bool snooped(Sim &sim, SettingRef enable, uint32_t vlan) { return sim.vlan_exists(vlan) && enable.integer(vlan) != 0; }

// The next binding of a table after `mac` ("" for the first); dynamic
// bindings whose lease ran out are gone (every dynamic row has "expires").
const std::pair<const Key, Record> *next_binding(const Table &t, OPEN_DS_BINDING_TYPE_t type, const std::string &mac) {
  int64_t now = monotonic_seconds();
  for (auto *row = mac.empty() ? t.next({}) : t.next({mac}); row; row = t.next(row->first))
    if (type == OPEN_DS_BINDING_STATIC || required_integer(row->second, "expires") > now) return row;
  return nullptr;
}

// A record's counters into a platform record of N uint32_t members (a
// counter not counted yet is 0).
template <typename T, size_t N>
open_error_t counters_of(Sim &sim, const Table &table, uint32_t ifNum, const char *const (&members)[N], T *out) {
  static_assert(sizeof(T) == N * sizeof(uint32_t));
  if (!sim.intf_exists(ifNum, kPhyAndLag) || !out) return OPEN_E_PARAM;
  uint32_t values[N] = {};
  if (const Record *r = table.find({int64_t{ifNum}}))
    for (size_t i = 0; i < N; ++i) values[i] = static_cast<uint32_t>(record_integer(*r, members[i]));
  std::memcpy(out, values, sizeof values);
  return OPEN_E_NONE;
}

const char *const kSnoopCounters[] = {"macVerify", "mismatch", "untrusted"};
const char *const kRelayCounters[] = {"utsrvw82", "utclientw82", "tsrvwo82", "tclientwo82"};

}  // namespace

using namespace calls::dhcp_snooping;

VELTRUM_SIM_PART(dhcp_snooping, kFamily) {
  Store &store = sim.store();
  SettingRef vlan_enable = store.define(kSettings[0]);
  SettingRef db_ip = store.define(kSettings[1]);
  static_assert(std::size(kSettings) == 2);
  Table &statics = store.define_table(kStatic);
  Table &dynamics = store.define_table(kDynamic);
  Table &stats = store.define_table(kStats);
  Table &relay_stats = store.define_table(kRelayStats);
  // The VLAN part (an earlier family) has defined its table already.
  const Table &vlans = store.table("vlans");

  // ---- the database

  sim.implement<CallId::rpcclt_openapiDhcpSnoopingDbIpAddressGet>(
      [db_ip](openapiClientHandle_t *, uint32_t *ip) { return read_integer(db_ip, 0, ip); });
  sim.implement<CallId::rpcclt_openapiDsDbIpAddrSet>([db_ip](openapiClientHandle_t *, uint32_t ip) {
    if (ip != 0 && !unicast_ipv4(ip)) return OPEN_E_PARAM;
    return db_ip.set(int64_t{ip});
  });
  implement_constant<CallId::rpcclt_openapiDhcpSnoopingDbFileNameMaxLengthGet>(sim, uint32_t{OPEN_DS_DB_FILE_NAME_MAX});

  // ---- VLANs

  sim.implement<CallId::rpcclt_openapiDhcpSnoopingEnabledVlanRangeNextGet>(
      [&sim, &vlans, vlan_enable](openapiClientHandle_t *, uint32_t *start, uint32_t *end) {
        if (!start || !end) return OPEN_E_PARAM;
        // The existing VLANs after *end, in order.
        auto *row = vlans.next({int64_t{*end}});
        while (row && !snooped(sim, vlan_enable, static_cast<uint32_t>(std::get<int64_t>(row->first[0]))))
          row = vlans.next(row->first);
        if (!row) return OPEN_E_NOT_FOUND;
        uint32_t v = static_cast<uint32_t>(std::get<int64_t>(row->first[0]));
        *start = v;
        while (snooped(sim, vlan_enable, v + 1)) ++v;
        *end = v;
        return OPEN_E_NONE;
      });
  // Every VLAN of the range must exist; nothing changes otherwise.
  sim.implement<CallId::rpcclt_openapiDsVlanConfigSet>(
      [&sim, vlan_enable](openapiClientHandle_t *, uint32_t start, uint32_t end, OPEN_CONTROL_t mode) {
        if (start < 1 || start > end || end > sim.options().max_vlan || mode > OPEN_ENABLE) return OPEN_E_PARAM;
        for (uint32_t v = start; v <= end; ++v)
          if (!sim.vlan_exists(v)) return OPEN_E_NOT_FOUND;
        for (uint32_t v = start; v <= end; ++v)
          if (open_error_t rc = vlan_enable.set(v, int64_t{mode})) return rc;
        return OPEN_E_NONE;
      });

  // ---- bindings

  sim.implement<CallId::rpcclt_openapiDsBindingGetNext>(
      [&statics, &dynamics](openapiClientHandle_t *, OPEN_DS_BINDING_TYPE_t type, const open_buffdesc *mac,
                            open_buffdesc *nextMac, uint32_t *vlan, open_inet_addr_t *ip, uint32_t *ifNum,
                            uint32_t *lease) {
        if (type != OPEN_DS_BINDING_STATIC && type != OPEN_DS_BINDING_DYNAMIC) return OPEN_E_PARAM;
        auto *row = next_binding(type == OPEN_DS_BINDING_STATIC ? statics : dynamics, type, mac_key(buffer_text(mac)));
        if (!row) return OPEN_E_NOT_FOUND;
        const Record &r = row->second;
        if (open_error_t rc = fill_text(nextMac, std::get<std::string>(row->first[0]))) return rc;
        if (vlan) *vlan = static_cast<uint32_t>(required_integer(r, "vlan"));
        if (ifNum) *ifNum = static_cast<uint32_t>(required_integer(r, "port"));
        if (ip) {
          in_addr a{};
          *ip = {};
          ip->family = OPEN_AF_INET;
          if (inet_pton(AF_INET, required_text(r, "ip").c_str(), &a) == 1) ip->addr.ipv4 = ntohl(a.s_addr);
        }
        if (lease)
          *lease = type == OPEN_DS_BINDING_STATIC
                       ? 0
                       : static_cast<uint32_t>(required_integer(r, "expires") - monotonic_seconds());
        return OPEN_E_NONE;
      });
  // A client station on an existing VLAN and interface, with a unicast
  // IPv4 address.
  sim.implement<CallId::rpcclt_openapiDsIpStaticBindingAdd>(
      [&sim, &statics, &dynamics](openapiClientHandle_t *, const open_buffdesc *mac, uint32_t vlan, open_inet_addr_t ip,
                                  uint32_t ifNum) {
        std::string m = buffer_text(mac);
        if (!unicast_mac(m) || ip.family != OPEN_AF_INET || !unicast_ipv4(ip.addr.ipv4)) return OPEN_E_PARAM;
        if (!sim.intf_exists(ifNum, kPhyAndLag)) return OPEN_E_PARAM;
        if (!sim.vlan_exists(vlan)) return OPEN_E_NOT_FOUND;
        in_addr a{htonl(ip.addr.ipv4)};
        char text[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &a, text, sizeof text);
        Key key{mac_key(m)};
        if (open_error_t rc =
                statics.upsert(key, {{"vlan", int64_t{vlan}}, {"ip", std::string(text)}, {"port", int64_t{ifNum}}}))
          return rc;
        dynamics.erase(key);
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiDsIpStaticBindingRemove>(
      [&statics](openapiClientHandle_t *, const open_buffdesc *mac) {
        std::string m = buffer_text(mac);
        if (!unicast_mac(m)) return OPEN_E_PARAM;
        return statics.erase({mac_key(m)});
      });

  // ---- counters

  sim.implement<CallId::rpcclt_openapiDsIntfStatsGet>(
      [&sim, &stats](openapiClientHandle_t *, uint32_t ifNum, OPEN_DS_INTF_STATS_t *out) {
        return counters_of(sim, stats, ifNum, kSnoopCounters, out);
      });
  sim.implement<CallId::rpcclt_openapiDsL2RelayIntfStatsGet>(
      [&sim, &relay_stats](openapiClientHandle_t *, uint32_t ifNum, OPEN_DS_L2RELAY_INTF_STATS_t *out) {
        return counters_of(sim, relay_stats, ifNum, kRelayCounters, out);
      });
}

}  // namespace veltrum::sim
