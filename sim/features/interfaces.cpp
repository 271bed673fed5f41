// Interfaces: walks, names and types, and the generic state of ports and
// LAGs.
//
// State:
//   "interfaces.intf.admin", ".link_trap", ".max_frame"   (rows)
//   "interfaces.intf.speed"    the speed a port is set to (configuration)
//   "interfaces.intf.descr"    descriptions, of the CPU interface too
//   "interfaces.intf.carrier"  dynamic: 1 while a port has a link partner
//                              (tests and veltrum-simctl plug ports in)
//   "intf_roles"   [ifNum] -> {"role": OPEN_SPECIAL_PORT_TYPE_t, "lag": ifNum}:
//                  the parts that give a port a role (LAG membership,
//                  mirroring) record it here; a port without a row is normal
//   "vlan_routing" [vlan] -> {"ifNum", "addr", "pfxLen"}: the VLAN routing
//                  interfaces, kept by the network part
//                  (sim/features/network.cpp); defined here because the
//                  walks list them among the interfaces
#include <algorithm>
#include <cstdio>
#include <vector>

#include "platform/calls/01_interfaces.h"
#include "sim/bind.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

constexpr uint32_t kPhy = intf_bit(OPEN_INTF_TYPE_PHY);
constexpr uint32_t kCpu = intf_bit(OPEN_INTF_TYPE_CPU);

const SettingSpec kSettings[] = {
    {"interfaces.intf.speed", Scope::Intf, int64_t{OPEN_PORT_SPEED_AUTO_NEG}, OPEN_PORT_SPEED_AUTO_NEG,
     OPEN_PORT_SPEED_FULL_10G, true, kPhy},
    {"interfaces.intf.descr", Scope::Intf, std::string(), 0, OPEN_INTF_DESCR_LEN_MAX, true, kPhyAndLag | kCpu},
    {"interfaces.intf.carrier", Scope::Intf, int64_t{0}, 0, 1, false, kPhy},
};
const TableSpec kRoles{"intf_roles", 256, true};
const TableSpec kVlanRouting{"vlan_routing", 128, true};

bool type_matches(OPEN_INTF_TYPE_t wanted, OPEN_INTF_TYPE_t type) {
  return wanted == OPEN_INTF_TYPE_ANY || wanted == type;
}

int64_t member(const Record &r, const char *name) { return record_integer(r, name, -1); }

}  // namespace

using namespace calls::interfaces;

VELTRUM_SIM_PART(interfaces, kFamily) {
  Store &store = sim.store();
  store.define(kSettings);
  store.define_table(kRoles);
  store.define_table(kVlanRouting);
  const Table &roles = store.table("intf_roles");
  const Table &routing = store.table("vlan_routing");
  SettingRef admin = store.setting("interfaces.intf.admin");
  SettingRef carrier = store.setting("interfaces.intf.carrier");
  SettingRef speed_set = store.setting("interfaces.intf.speed");
  SettingRef max_frame = store.setting("interfaces.intf.max_frame");
  SettingRef base_mac = store.setting("system.base_mac");

  // Every interface of a type, ascending: the fixed ones and the VLAN
  // routing interfaces.
  auto walk = [&sim, &routing](OPEN_INTF_TYPE_t type) {
    std::vector<uint32_t> out;
    for (const auto &i : sim.interfaces())
      if (type_matches(type, i.type)) out.push_back(i.ifNum);
    if (type_matches(type, OPEN_INTF_TYPE_VLAN))
      for (const auto &[key, r] : routing.rows()) out.push_back(static_cast<uint32_t>(member(r, "ifNum")));
    std::sort(out.begin(), out.end());
    return out;
  };
  // The VLAN whose routing interface has this number, or 0.
  auto routing_vlan = [&routing](uint32_t ifNum) -> uint32_t {
    for (const auto &[key, r] : routing.rows())
      if (member(r, "ifNum") == ifNum) return static_cast<uint32_t>(std::get<int64_t>(key.at(0)));
    return 0;
  };

  sim.implement<CallId::openapiIfFirstGet>([walk](openapiClientHandle_t *, OPEN_INTF_TYPE_t type, uint32_t *ifNum) {
    if (!ifNum || type > OPEN_INTF_TYPE_ANY) return OPEN_E_PARAM;
    std::vector<uint32_t> all = walk(type);
    if (all.empty()) return OPEN_E_NOT_FOUND;
    *ifNum = all.front();
    return OPEN_E_NONE;
  });

  sim.implement<CallId::openapiIfNextGet>(
      [walk](openapiClientHandle_t *, OPEN_INTF_TYPE_t type, uint32_t ifNum, uint32_t *next) {
        if (!next || type > OPEN_INTF_TYPE_ANY) return OPEN_E_PARAM;
        for (uint32_t n : walk(type))
          if (n > ifNum) {
            *next = n;
            return OPEN_E_NONE;
          }
        return OPEN_E_NOT_FOUND;
      });

  sim.implement<CallId::openapiIfNameGet>(
      [&sim, routing_vlan](openapiClientHandle_t *, uint32_t ifNum, open_buffdesc *name) {
        if (const Interface *i = sim.interface(ifNum)) return fill_text(name, i->name);
        if (uint32_t vlan = routing_vlan(ifNum)) return fill_text(name, "vlan " + std::to_string(vlan));
        return OPEN_E_NOT_FOUND;
      });

  sim.implement<CallId::openapiIfTypeGet>(
      [&sim, routing_vlan](openapiClientHandle_t *, uint32_t ifNum, OPEN_INTF_TYPE_t *type) {
        const Interface *i = sim.interface(ifNum);
        if (!i && !routing_vlan(ifNum)) return OPEN_E_NOT_FOUND;
        if (!type) return OPEN_E_PARAM;
        *type = i ? i->type : OPEN_INTF_TYPE_VLAN;
        return OPEN_E_NONE;
      });

  // ---- state ----

  // The role of a port ("intf_roles"), normal without a row.
  auto role_of = [&roles](uint32_t ifNum) {
    const Record *r = roles.find({int64_t{ifNum}});
    return static_cast<OPEN_SPECIAL_PORT_TYPE_t>(r ? record_integer(*r, "role") : 0);
  };
  // Whether the link of a port, LAG or the CPU interface is up.
  auto link_up = [&sim, &roles, admin, carrier](const Interface &i) {
    switch (i.type) {
      case OPEN_INTF_TYPE_CPU:
        return true;
      case OPEN_INTF_TYPE_PHY:
        return admin.integer(i.ifNum) == OPEN_ENABLE && carrier.integer(i.ifNum) == 1;
      case OPEN_INTF_TYPE_LAG:
        if (admin.integer(i.ifNum) != OPEN_ENABLE) return false;
        for (const auto &[key, r] : roles.rows()) {
          auto port = static_cast<uint32_t>(std::get<int64_t>(key.at(0)));
          if (record_integer(r, "role") == OPEN_SPECIAL_PORT_TYPE_TRUNK_MEMBER && member(r, "lag") == i.ifNum &&
              sim.intf_exists(port, kPhy) && admin.integer(port) == OPEN_ENABLE && carrier.integer(port) == 1)
            return true;
        }
        return false;
      default:
        return false;
    }
  };
  // The interface for a getter: a port, a LAG or the CPU interface.
  auto known = [&sim](uint32_t ifNum) {
    return sim.intf_exists(ifNum, kPhyAndLag | kCpu) ? sim.interface(ifNum) : nullptr;
  };

  auto link_state = [known, link_up](openapiClientHandle_t *, uint32_t ifNum, OPEN_LINK_STATE_t *state) {
    const Interface *i = known(ifNum);
    if (!i || !state) return OPEN_E_PARAM;
    *state = link_up(*i) ? OPEN_LINK_UP : OPEN_LINK_DOWN;
    return OPEN_E_NONE;
  };
  sim.implement<CallId::openapiIfLinkStateGet>(link_state);
  sim.implement<CallId::openapiIfOprStateGet>(link_state);

  sim.implement<CallId::rpcclt_openapiIfActiveStateGet>(
      [known, link_up, role_of](openapiClientHandle_t *, uint32_t ifNum, OPEN_CONTROL_t *active) {
        const Interface *i = known(ifNum);
        if (!i || !active) return OPEN_E_PARAM;
        *active = link_up(*i) && role_of(ifNum) == OPEN_SPECIAL_PORT_TYPE_NORMAL ? OPEN_ENABLE : OPEN_DISABLE;
        return OPEN_E_NONE;
      });

  // ---- speed ----

  auto copper = [&sim](uint32_t ifNum) { return ifNum <= sim.options().copper; };
  // The speed a port, LAG or the CPU interface is set to.
  auto mode_of = [speed_set](const Interface &i) {
    if (i.type == OPEN_INTF_TYPE_PHY) return static_cast<OPEN_PORT_SPEED_t>(speed_set.integer(i.ifNum));
    return i.type == OPEN_INTF_TYPE_LAG ? OPEN_PORT_SPEED_LAG : OPEN_PORT_SPEED_UNKNOWN;
  };

  sim.implement<CallId::rpcclt_openapiIfSpeedModeGet>(
      [known, mode_of](openapiClientHandle_t *, uint32_t ifNum, OPEN_PORT_SPEED_t *speed) {
        const Interface *i = known(ifNum);
        if (!i || !speed) return OPEN_E_PARAM;
        *speed = mode_of(*i);
        return OPEN_E_NONE;
      });

  sim.implement<CallId::openapiIfSpeedGet>(
      [known, mode_of, link_up, copper](openapiClientHandle_t *, uint32_t ifNum, OPEN_PORT_SPEED_t *speed) {
        const Interface *i = known(ifNum);
        if (!i || !speed) return OPEN_E_PARAM;
        OPEN_PORT_SPEED_t mode = mode_of(*i);
        if (i->type != OPEN_INTF_TYPE_PHY || !link_up(*i))
          *speed = i->type == OPEN_INTF_TYPE_LAG && link_up(*i) ? OPEN_PORT_SPEED_LAG : OPEN_PORT_SPEED_UNKNOWN;
        else if (mode == OPEN_PORT_SPEED_AUTO_NEG)
          *speed = copper(ifNum) ? OPEN_PORT_SPEED_FULL_1000 : OPEN_PORT_SPEED_FULL_10G;
        else
          *speed = mode;
        return OPEN_E_NONE;
      });

  // Copper ports run 10 M to 1 G, uplinks 1 G or 10 G; both negotiate.
  sim.implement<CallId::rpcclt_openapiIfSpeedSet>(
      [&sim, copper, speed_set](openapiClientHandle_t *, uint32_t ifNum, OPEN_PORT_SPEED_t speed) {
        if (!sim.intf_exists(ifNum, kPhy)) return OPEN_E_PARAM;
        bool ok = speed == OPEN_PORT_SPEED_AUTO_NEG ||
                  (copper(ifNum) ? speed >= OPEN_PORT_SPEED_HALF_10 && speed <= OPEN_PORT_SPEED_FULL_1000
                                 : speed == OPEN_PORT_SPEED_FULL_1000 || speed == OPEN_PORT_SPEED_FULL_10G);
        if (!ok) return OPEN_E_PARAM;
        return speed_set.set(ifNum, int64_t{speed});
      });

  sim.implement<CallId::openapiIfAutoNegGet>(
      [known, mode_of](openapiClientHandle_t *, uint32_t ifNum, OPEN_CONTROL_t *autoNeg) {
        const Interface *i = known(ifNum);
        if (!i || !autoNeg) return OPEN_E_PARAM;
        *autoNeg = mode_of(*i) == OPEN_PORT_SPEED_AUTO_NEG ? OPEN_ENABLE : OPEN_DISABLE;
        return OPEN_E_NONE;
      });

  // ---- frames, descriptions, addresses ----

  sim.implement<CallId::openapiIfMtuSizeGet>([max_frame](openapiClientHandle_t *, uint32_t ifNum, uint32_t *mtu) {
    if (!mtu) return OPEN_E_PARAM;
    Value frame;
    if (open_error_t rc = max_frame.get(ifNum, frame)) return rc;
    *mtu = static_cast<uint32_t>(std::get<int64_t>(frame)) - OPEN_FRAME_OVERHEAD;
    return OPEN_E_NONE;
  });

  bind_setting<CallId::rpcclt_openapiIfDescrGet, CallId::rpcclt_openapiIfDescrSet>(
      sim, store.setting("interfaces.intf.descr"));

  // The CPU interface has the switch's base address, port or LAG n the
  // address n above it.
  sim.implement<CallId::rpcclt_openapiIfMacAddrGet>(
      [known, base_mac](openapiClientHandle_t *, uint32_t ifNum, open_buffdesc *mac) {
        const Interface *i = known(ifNum);
        if (!i || !mac) return OPEN_E_PARAM;
        unsigned b[6] = {};
        std::string base = base_mac.text();
        if (std::sscanf(base.c_str(), "%x:%x:%x:%x:%x:%x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5]) != 6)
          return OPEN_E_INTERNAL;
        uint64_t value = 0;
        for (unsigned byte : b) value = value << 8 | byte;
        if (i->type != OPEN_INTF_TYPE_CPU) value += ifNum;
        char text[OPEN_MAC_TEXT_SIZE];
        std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", unsigned(value >> 40 & 0xff),
                      unsigned(value >> 32 & 0xff), unsigned(value >> 24 & 0xff), unsigned(value >> 16 & 0xff),
                      unsigned(value >> 8 & 0xff), unsigned(value & 0xff));
        return fill_text(mac, text);
      });

  sim.implement<CallId::rpcclt_openapiIfSpecialPortTypeGet>(
      [known, role_of](openapiClientHandle_t *, uint32_t ifNum, OPEN_SPECIAL_PORT_TYPE_t *type) {
        if (!known(ifNum) || !type) return OPEN_E_PARAM;
        *type = role_of(ifNum);
        return OPEN_E_NONE;
      });

  // Copper ports are copper, the uplinks' cages hold fibre modules.
  sim.implement<CallId::rpcclt_openapiIfActiveMediaTypeGet>(
      [&sim, copper](openapiClientHandle_t *, uint32_t ifNum, OPEN_PORT_MEDIA_TYPE_t *media) {
        if (!sim.intf_exists(ifNum, kPhy) || !media) return OPEN_E_PARAM;
        *media = copper(ifNum) ? OPEN_PORT_MEDIA_COPPER : OPEN_PORT_MEDIA_FIBER;
        return OPEN_E_NONE;
      });
}

}  // namespace veltrum::sim
