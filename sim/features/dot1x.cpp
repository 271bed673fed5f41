// 802.1X port authentication. The timers, MAB settings and global modes
// come from their rows in platform/calls/13_dot1x.h; this part adds the
// authentication manager's mode ("authmgr.admin"), each port's control mode
// and guest and unauthenticated VLANs, and the dynamic state:
//   "authmgr_clients" rows: (ifNum, slot) -> {"mac", "user", "status"
//     (OPEN_AUTHMGR_PORT_STATUS_t), "filter", "vlan", "timeout", "action"},
//     the clients a port sees; the logical port of a client is
//     ifNum * 256 + slot;
//   "dot1x_eapol_stats" rows: ifNum -> the port's EAPOL counters by their
//     API names ("frameRx", ..., "lastFrameVer", "lastFrameSrc").
#include <iterator>
#include <memory>

#include "platform/calls/13_dot1x.h"
#include "sim/bind.h"
#include "sim/features/common.h"

namespace veltrum::sim {

namespace {

constexpr uint32_t kPhy = intf_bit(OPEN_INTF_TYPE_PHY);
constexpr uint32_t kSlots = 256;  // logical port numbers of one port

const SettingSpec kSettings[] = {
    {.key = "authmgr.admin", .initial = int64_t{0}, .min = 0, .max = 1},
    {.key = "authmgr.intf.control",
     .scope = Scope::Intf,
     .initial = int64_t{OPEN_AUTHMGR_PORT_AUTO},
     .min = OPEN_AUTHMGR_PORT_FORCE_UNAUTHORIZED,
     .max = OPEN_AUTHMGR_PORT_MAC_BASED,
     .intf_types = kPhy},
    {.key = "authmgr.intf.guest_vlan",
     .scope = Scope::Intf,
     .initial = int64_t{0},
     .min = 0,
     .max = 4093,
     .intf_types = kPhy},
    {.key = "authmgr.intf.unauth_vlan",
     .scope = Scope::Intf,
     .initial = int64_t{0},
     .min = 0,
     .max = 4093,
     .intf_types = kPhy},
};
const TableSpec kClients{"authmgr_clients", 28 * OPEN_AUTHMGR_CLIENTS_PER_PORT, false};
const TableSpec kEapolStats{"dot1x_eapol_stats", 64, false};

// 802.1X for the EAPOL part of authentication, the client version the
// switch speaks.
constexpr uint32_t kProtocolVersion = 2;

// What the part keeps, resolved once when it is installed.
struct Dot1x {
  SettingRef admin;
  SettingRef control;
  Table &clients;
  Table &eapol_stats;
};

// The clients of a port, in slot order.
std::vector<const std::pair<const Key, Record> *> clients_of(const Table &clients, uint32_t ifNum) {
  return clients.with_prefix({int64_t{ifNum}});
}

// The client a logical port number names, or null.
const Record *client(const Table &clients, uint32_t lport) {
  return clients.find({int64_t{lport / kSlots}, int64_t{lport % kSlots}});
}

uint32_t lport_of(const Key &key) {
  return static_cast<uint32_t>(std::get<int64_t>(key[0]) * kSlots + std::get<int64_t>(key[1]));
}

// The mode a port runs: force-authorized while the authentication manager
// is disabled, its control mode otherwise.
OPEN_AUTHMGR_PORT_CONTROL_t operating_mode(const Dot1x &d, uint32_t ifNum) {
  if (!d.admin.integer()) return OPEN_AUTHMGR_PORT_FORCE_AUTHORIZED;
  return static_cast<OPEN_AUTHMGR_PORT_CONTROL_t>(d.control.integer(ifNum));
}

// A client row the control tool wrote may lack members: those it lacks
// read as their defaults (unauthorized, no filter, no VLAN ...).
bool has_authorized_client(const Table &clients, uint32_t ifNum) {
  for (auto *row : clients_of(clients, ifNum))
    if (record_integer(row->second, "status") == OPEN_AUTHMGR_PORT_STATUS_AUTHORIZED) return true;
  return false;
}

void end_sessions(Table &clients, uint32_t ifNum) { clients.erase_prefix({int64_t{ifNum}}); }

// A guest or unauthenticated VLAN setting: 0 or a VLAN that exists.
template <auto GetId, auto SetId>
void port_vlan(Sim &sim, SettingRef setting) {
  sim.implement<GetId>([setting](openapiClientHandle_t *, uint32_t ifNum, uint32_t *vlan) {
    return read_integer(setting, ifNum, vlan);
  });
  sim.implement<SetId>([&sim, setting](openapiClientHandle_t *, uint32_t ifNum, uint32_t vlan) {
    if (!sim.intf_exists(ifNum, kPhy)) return OPEN_E_PARAM;
    if (vlan > sim.options().max_vlan) return OPEN_E_PARAM;
    if (vlan != 0 && !sim.vlan_exists(vlan)) return OPEN_E_NOT_FOUND;
    return setting.set(ifNum, int64_t{vlan});
  });
}

// What every port answers alike.
template <auto Id, typename T>
void port_constant(Sim &sim, T value) {
  sim.implement<Id>([&sim, value](openapiClientHandle_t *, uint32_t ifNum, T *out) {
    if (!sim.intf_exists(ifNum, kPhy) || !out) return OPEN_E_PARAM;
    *out = value;
    return OPEN_E_NONE;
  });
}

// A getter of one of a port's EAPOL counters.
template <auto Id>
void eapol_counter(Sim &sim, const Table &stats, const char *member) {
  sim.implement<Id>([&sim, &stats, member](openapiClientHandle_t *, uint32_t ifNum, uint32_t *count) {
    if (!sim.intf_exists(ifNum, kPhy) || !count) return OPEN_E_PARAM;
    const Record *r = stats.find({int64_t{ifNum}});
    *count = r ? static_cast<uint32_t>(record_integer(*r, member)) : 0;
    return OPEN_E_NONE;
  });
}

// A getter of one number of a client.
template <auto Id, typename T>
void client_number(Sim &sim, const Table &clients, const char *member, T fallback) {
  sim.implement<Id>([&clients, member, fallback](openapiClientHandle_t *, uint32_t lport, T *out) {
    const Record *r = client(clients, lport);
    if (!r) return OPEN_E_NOT_FOUND;
    if (!out) return OPEN_E_PARAM;
    *out = static_cast<T>(record_integer(*r, member, static_cast<int64_t>(fallback)));
    return OPEN_E_NONE;
  });
}

template <auto Id>
void client_text(Sim &sim, const Table &clients, const char *member) {
  sim.implement<Id>([&clients, member](openapiClientHandle_t *, uint32_t lport, open_buffdesc *out) {
    const Record *r = client(clients, lport);
    if (!r) return OPEN_E_NOT_FOUND;
    return fill_text(out, record_text(*r, member));
  });
}

}  // namespace

using namespace calls::dot1x;

VELTRUM_SIM_PART(dot1x, kFamily) {
  Store &store = sim.store();
  static_assert(std::size(kSettings) == 4);
  // The part's handles, shared by its calls.
  auto d = std::make_shared<Dot1x>(Dot1x{store.define(kSettings[0]), store.define(kSettings[1]),
                                         store.define_table(kClients), store.define_table(kEapolStats)});
  SettingRef guest_vlan = store.define(kSettings[2]);
  SettingRef unauth_vlan = store.define(kSettings[3]);

  // Disabling the authentication manager ends every session.
  sim.implement<CallId::rpcclt_openapiAuthMgrAdminModeSet>([d](openapiClientHandle_t *, OPEN_CONTROL_t mode) {
    if (open_error_t rc = d->admin.set(int64_t{mode})) return rc;
    if (mode == OPEN_DISABLE) d->clients.clear();
    return OPEN_E_NONE;
  });

  sim.implement<CallId::rpcclt_openapiAuthMgrPortControlModeGet>(
      [d](openapiClientHandle_t *, uint32_t ifNum, OPEN_AUTHMGR_PORT_CONTROL_t *mode) {
        return read_integer(d->control, ifNum, mode);
      });
  // Another control mode ends the port's sessions.
  sim.implement<CallId::rpcclt_openapiAuthMgrPortControlModeSet>(
      [&sim, d](openapiClientHandle_t *, uint32_t ifNum, OPEN_AUTHMGR_PORT_CONTROL_t mode) {
        if (!sim.intf_exists(ifNum, kPhy)) return OPEN_E_PARAM;
        int64_t before = d->control.integer(ifNum);
        if (open_error_t rc = d->control.set(ifNum, int64_t{mode})) return rc;
        if (before != mode) end_sessions(d->clients, ifNum);
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiAuthMgrPortOperatingControlModeGet>(
      [&sim, d](openapiClientHandle_t *, uint32_t ifNum, OPEN_AUTHMGR_PORT_CONTROL_t *mode) {
        if (!sim.intf_exists(ifNum, kPhy) || !mode) return OPEN_E_PARAM;
        *mode = operating_mode(*d, ifNum);
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiAuthMgrPortStatusGet>(
      [&sim, d](openapiClientHandle_t *, uint32_t ifNum, OPEN_AUTHMGR_PORT_STATUS_t *status) {
        if (!sim.intf_exists(ifNum, kPhy) || !status) return OPEN_E_PARAM;
        bool authorized = false;
        switch (operating_mode(*d, ifNum)) {
          case OPEN_AUTHMGR_PORT_FORCE_AUTHORIZED:
            authorized = true;
            break;
          case OPEN_AUTHMGR_PORT_FORCE_UNAUTHORIZED:
            break;
          default:
            authorized = has_authorized_client(d->clients, ifNum);
        }
        *status = authorized ? OPEN_AUTHMGR_PORT_STATUS_AUTHORIZED : OPEN_AUTHMGR_PORT_STATUS_UNAUTHORIZED;
        return OPEN_E_NONE;
      });
  // The authenticator's state: forced, or waiting for a client
  // (connecting), holding a client that failed (held), or authenticated.
  sim.implement<CallId::rpcclt_openapiDot1xPortPaeStateGet>(
      [&sim, d](openapiClientHandle_t *, uint32_t ifNum, OPEN_DOT1X_APM_STATES_t *state) {
        if (!sim.intf_exists(ifNum, kPhy) || !state) return OPEN_E_PARAM;
        switch (operating_mode(*d, ifNum)) {
          case OPEN_AUTHMGR_PORT_FORCE_AUTHORIZED:
            *state = OPEN_DOT1X_APM_FORCE_AUTH;
            break;
          case OPEN_AUTHMGR_PORT_FORCE_UNAUTHORIZED:
            *state = OPEN_DOT1X_APM_FORCE_UNAUTH;
            break;
          default:
            *state = has_authorized_client(d->clients, ifNum) ? OPEN_DOT1X_APM_AUTHENTICATED
                     : clients_of(d->clients, ifNum).empty()  ? OPEN_DOT1X_APM_CONNECTING
                                                              : OPEN_DOT1X_APM_HELD;
        }
        return OPEN_E_NONE;
      });

  port_vlan<CallId::rpcclt_openapiAuthMgrPortGuestVlanGet, CallId::rpcclt_openapiAuthMgrPortGuestVlanSet>(
      sim, guest_vlan);
  port_vlan<CallId::rpcclt_openapiAuthMgrPortUnauthenticatedVlanGet,
            CallId::rpcclt_openapiAuthMgrPortUnauthenticatedVlanSet>(sim, unauth_vlan);

  // What the switch's ports can do, the same for each.
  port_constant<CallId::rpcclt_openapiAuthMgrPortAdminControlledDirectionsGet>(sim, OPEN_AUTHMGR_PORT_CTRL_BOTH);
  port_constant<CallId::rpcclt_openapiDot1xPortPaeCapabilitiesGet>(sim, OPEN_DOT1X_PAE_PORT_AUTH_CAPABLE);
  port_constant<CallId::rpcclt_openapiDot1xPortProtocolVersionGet>(sim, kProtocolVersion);

  // Initialising restarts authentication on a port that authenticates its
  // clients: their sessions end. "Not initialising" changes nothing.
  sim.implement<CallId::rpcclt_openapiAuthMgrPortInitializeSet>(
      [&sim, d](openapiClientHandle_t *, uint32_t ifNum, OPEN_BOOL_t initialize) {
        if (!sim.intf_exists(ifNum, kPhy) || initialize > OPEN_TRUE) return OPEN_E_PARAM;
        if (initialize == OPEN_FALSE) return OPEN_E_NONE;
        int64_t mode = d->control.integer(ifNum);
        if (mode != OPEN_AUTHMGR_PORT_AUTO && mode != OPEN_AUTHMGR_PORT_MAC_BASED) return OPEN_E_PARAM;
        end_sessions(d->clients, ifNum);
        return OPEN_E_NONE;
      });

  // ---- clients

  sim.implement<CallId::rpcclt_openapiAuthMgrLogicalPortFirstGet>(
      [&sim, d](openapiClientHandle_t *, uint32_t ifNum, uint32_t *lport) {
        if (!sim.intf_exists(ifNum, kPhy) || !lport) return OPEN_E_PARAM;
        auto rows = clients_of(d->clients, ifNum);
        if (rows.empty()) return OPEN_E_NOT_FOUND;
        *lport = lport_of(rows.front()->first);
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiAuthMgrLogicalPortNextGet>(
      [&sim, d](openapiClientHandle_t *, uint32_t lport, uint32_t *next) {
        if (!next) return OPEN_E_PARAM;
        uint32_t ifNum = lport / kSlots;
        if (!sim.intf_exists(ifNum, kPhy)) return OPEN_E_PARAM;
        auto *row = d->clients.next({int64_t{ifNum}, int64_t{lport % kSlots}});
        if (!row || row->first[0] != Value(int64_t{ifNum})) return OPEN_E_NOT_FOUND;
        *next = lport_of(row->first);
        return OPEN_E_NONE;
      });
  client_number<CallId::rpcclt_openapiAuthMgrLogicalPortClientAuthStatusGet>(sim, d->clients, "status",
                                                                             OPEN_AUTHMGR_PORT_STATUS_UNAUTHORIZED);
  client_text<CallId::rpcclt_openapiAuthMgrLogicalPortClientMacAddrGet>(sim, d->clients, "mac");
  client_text<CallId::rpcclt_openapiAuthMgrLogicalPortFilterIdGet>(sim, d->clients, "filter");
  client_text<CallId::rpcclt_openapiAuthMgrLogicalPortUserNameGet>(sim, d->clients, "user");
  client_number<CallId::rpcclt_openapiAuthMgrLogicalPortSessionTimeoutGet>(sim, d->clients, "timeout", uint32_t{0});
  client_number<CallId::rpcclt_openapiAuthMgrLogicalPortTerminationActionGet>(sim, d->clients, "action",
                                                                              OPEN_AUTHMGR_TERMINATION_DEFAULT);
  client_number<CallId::rpcclt_openapiAuthMgrLogicalPortVlanAssignmentGet>(sim, d->clients, "vlan", uint32_t{0});

  // ---- EAPOL counters

  eapol_counter<CallId::rpcclt_openapiDot1xPortEapolFramesRxGet>(sim, d->eapol_stats, "frameRx");
  eapol_counter<CallId::rpcclt_openapiDot1xPortEapolFramesTxGet>(sim, d->eapol_stats, "frameTx");
  eapol_counter<CallId::rpcclt_openapiDot1xPortEapolStartFramesRxGet>(sim, d->eapol_stats, "startFrameRx");
  eapol_counter<CallId::rpcclt_openapiDot1xPortEapolLogoffFramesRxGet>(sim, d->eapol_stats, "logoffFrameRx");
  eapol_counter<CallId::rpcclt_openapiDot1xPortLastEapolFrameVersionGet>(sim, d->eapol_stats, "lastFrameVer");
  eapol_counter<CallId::rpcclt_openapiDot1xPortInvalidEapolFramesRxGet>(sim, d->eapol_stats, "invalidFrameRx");
  eapol_counter<CallId::rpcclt_openapiDot1xPortEapLengthErrorFramesRxGet>(sim, d->eapol_stats, "lenErrFrameRx");
  eapol_counter<CallId::rpcclt_openapiDot1xPortEapRespIdFramesRxGet>(sim, d->eapol_stats, "responseIdFrameRx");
  eapol_counter<CallId::rpcclt_openapiDot1xPortEapResponseFramesRxGet>(sim, d->eapol_stats, "responseFrameRx");
  eapol_counter<CallId::rpcclt_openapiDot1xPortEapReqIdFramesTxGet>(sim, d->eapol_stats, "requestIdFrameTx");
  eapol_counter<CallId::rpcclt_openapiDot1xPortEapReqFramesTxGet>(sim, d->eapol_stats, "requestFrameTx");
  // No frame seen yet: the zero address.
  sim.implement<CallId::rpcclt_openapiDot1xPortLastEapolFrameSourceGet>(
      [&sim, d](openapiClientHandle_t *, uint32_t ifNum, open_buffdesc *mac) {
        if (!sim.intf_exists(ifNum, kPhy)) return OPEN_E_PARAM;
        const Record *r = d->eapol_stats.find({int64_t{ifNum}});
        std::string source = r ? record_text(*r, "lastFrameSrc") : std::string();
        return fill_text(mac, source.empty() ? std::string("00:00:00:00:00:00") : source);
      });
  sim.implement<CallId::rpcclt_openapiDot1xPortStatsClear>([&sim, d](openapiClientHandle_t *, uint32_t ifNum) {
    if (!sim.intf_exists(ifNum, kPhy)) return OPEN_E_PARAM;
    d->eapol_stats.erase({int64_t{ifNum}});
    return OPEN_E_NONE;
  });
}

}  // namespace veltrum::sim
