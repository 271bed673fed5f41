// 802.1X port authentication: "dot1x_global_cfg", "dot1x_port_summary",
// "port_authentication_cfg", "port_auth_initialise_cfg",
// "dot1x_client_summary", "dot1x_eapol_stats" and "dot1x_auth_list".
//
// Authentication works on physical ports: their ports are checked as
// physical ports (kind 1) and their lists walk the physical ports only.
#include "core/platform_call.h"
#include "platform/calls/13_dot1x.h"
#include "platform/calls/14_aaa.h"

using namespace veltrum::handler;

namespace {

// Aggregate codes of the family (docs/security.md).
constexpr int kPortAuthAggregate = 1260;
constexpr int kInitialiseAggregate = 1261;
constexpr int kEapolStatsAggregate = 1262;

constexpr Check kPort = port_check(1, "Port validation failed");

// ---------------------------------------------------------------- dot1x_global_cfg

// "state" switches the authentication manager and 802.1X together; GET
// reads the 802.1X mode.
const Field kGlobalFields[] = {
    {.key = "state",
     .check = flag("Invalid dot1x Mode %d"),
     .get = platform_get<&rpcclt_openapiDot1xSystemAuthControlModeGet>,
     .set = platform_set<&rpcclt_openapiDot1xSystemAuthControlModeSet>,
     .set_log = SetLog::ValueRc},
    {.key = "state", .set = platform_set<&rpcclt_openapiAuthMgrAdminModeSet>, .set_log = SetLog::ValueRc},
    {.key = "assignMode",
     .check = flag("Invalid Vlan assignment Mode %d"),
     .get = platform_get<&rpcclt_openapiAuthMgrVlanAssignmentModeGet>,
     .set = platform_set<&rpcclt_openapiAuthMgrVlanAssignmentModeSet>,
     .set_log = SetLog::ValueRc},
    {.key = "createMode",
     .check = flag("Invalid dynamic vlan creation Mode %d"),
     .get = platform_get<&rpcclt_openapiAuthMgrDynamicVlanCreationModeGet>,
     .set = platform_set<&rpcclt_openapiAuthMgrDynamicVlanCreationModeSet>,
     .set_log = SetLog::ValueRc},
    {.key = "floodMode",
     .check = flag("Invalid EAPOL Mode %d"),
     .get = platform_get<&rpcclt_openapiDot1xEapolFloodModeGet>,
     .set = platform_set<&rpcclt_openapiDot1xEapolFloodModeSet>,
     .set_log = SetLog::ValueRc},
};
const Resource kGlobal{.name = "dot1x_global_cfg", .walk = scalar(), .fields = kGlobalFields};

// ---------------------------------------------------------------- dot1x_port_summary

// Per port: its control mode, the mode it runs, whether the server gives
// its reauthentication period, and its status.
const Field kSummaryFields[] = {
    {.key = "port", .check = kPort},
    {.key = "ctrl", .get = platform_get<&rpcclt_openapiAuthMgrPortControlModeGet>},
    {.key = "operCtrl", .get = platform_get<&rpcclt_openapiAuthMgrPortOperatingControlModeGet>},
    {.key = "reauth", .get = platform_get<&rpcclt_openapiAuthMgrAuthenticationReAuthPeriodServerGet>},
    {.key = "status", .get = platform_get<&rpcclt_openapiAuthMgrPortStatusGet>},
};
const Resource kSummary{
    .name = "dot1x_port_summary", .walk = physical_ports(), .fields = kSummaryFields, .wrapper = "ports"};

// ---------------------------------------------------------------- port_authentication_cfg

// Guest and unauthenticated VLANs: 0 (none) or a VLAN that passes the VLAN
// validator.
bool zero_or_vlan(Outcome &out, const char *key, json_object *value, const Check &vlan) {
  int64_t id = 0;
  if (read_int(value, id) && id == 0) return true;
  return check_value(out, key, vlan, value);
}
bool check_guest_vlan(Outcome &out, const char *key, json_object *value) {
  static constexpr Check kVlan = vlan_check("Validation failed for Guest vlan %d");
  return zero_or_vlan(out, key, value, kVlan);
}
bool check_unauth_vlan(Outcome &out, const char *key, json_object *value) {
  static constexpr Check kVlan = vlan_check("Validation failed for Unauthentication %d");
  return zero_or_vlan(out, key, value, kVlan);
}

// Set in table order; the first refusal ends the port's element.
const Field kPortAuthFields[] = {
    {.key = "port", .check = kPort},
    {.key = "ctrl",
     .check = choice(OPEN_AUTHMGR_PORT_FORCE_UNAUTHORIZED, OPEN_AUTHMGR_PORT_MAC_BASED, "Invalid Control Mode: %d"),
     .get = platform_get<&rpcclt_openapiAuthMgrPortControlModeGet>,
     .set = platform_set<&rpcclt_openapiAuthMgrPortControlModeSet>,
     .set_log = SetLog::IndexRc},
    {.key = "guestVid",
     .check = custom_check(check_guest_vlan, true),
     .get = platform_get<&rpcclt_openapiAuthMgrPortGuestVlanGet>,
     .set = platform_set<&rpcclt_openapiAuthMgrPortGuestVlanSet>,
     .set_log = SetLog::IndexRc},
    {.key = "mab",
     .check = flag("Invalid MAB mode: %d"),
     .get = platform_get<&rpcclt_openapiMabPortMabEnabledGet>,
     .set = platform_set<&rpcclt_openapiMabPortMabEnabledSet>,
     .set_log = SetLog::IndexRc},
    {.key = "mabAuthType",
     .check = range(OPEN_MAB_AUTH_TYPE_DEFAULT, OPEN_MAB_AUTH_TYPE_CHAP, "MAB Auth Type", "Invalid MAB Auth Type: %d"),
     .get = platform_get<&rpcclt_openapiMabPortMABAuthTypeGet>,
     .set = platform_set<&rpcclt_openapiMabPortMABAuthTypeSet>,
     .set_log = SetLog::IndexRc},
    {.key = "guestPeriod",
     .check = range(1, 300, "Guest VLAN Period", "Invalid Guest Period: %d"),
     .get = platform_get<&rpcclt_openapiAuthMgrPortGuestVlanPeriodGet>,
     .set = platform_set<&rpcclt_openapiAuthMgrPortGuestVlanPeriodSet>,
     .set_log = SetLog::IndexRc},
    {.key = "unauthVid",
     .check = custom_check(check_unauth_vlan, true),
     .get = platform_get<&rpcclt_openapiAuthMgrPortUnauthenticatedVlanGet>,
     .set = platform_set<&rpcclt_openapiAuthMgrPortUnauthenticatedVlanSet>,
     .set_log = SetLog::IndexRc},
    {.key = "reauth",
     .check = flag("Invalid Periodic Reauthentication: %d"),
     .get = platform_get<&rpcclt_openapiAuthMgrAuthenticationPeriodicGet>,
     .set = platform_set<&rpcclt_openapiAuthMgrAuthenticationPeriodicSet>,
     .set_log = SetLog::IndexRc},
    {.key = "reauthPeriod",
     .check = range(1, 65535, "AgReauthentication Periode Time", "Invalid Reauthentication Period: %d"),
     .get = platform_get<&rpcclt_openapiAuthMgrAuthenticationReAuthPeriodGet>,
     .set = platform_set<&rpcclt_openapiAuthMgrAuthenticationReAuthPeriodSet>,
     .set_log = SetLog::IndexRc},
    {.key = "quietPeriod",
     .check = range(0, 65535, "Quiet Period", "Invalid Quiet Period: %d"),
     .get = platform_get<&rpcclt_openapiDot1xPortQuietPeriodGet>,
     .set = platform_set<&rpcclt_openapiDot1xPortQuietPeriodSet>,
     .set_log = SetLog::IndexRc},
    {.key = "resendEap",
     .check = range(1, 65535, "Resending EAP", "Invalid Resending EAP period: %d"),
     .get = platform_get<&rpcclt_openapiDot1xPortTxPeriodGet>,
     .set = platform_set<&rpcclt_openapiDot1xPortTxPeriodSet>,
     .set_log = SetLog::IndexRc},
    {.key = "maxEap",
     .check = range(1, 10, "MAX EAP Requests", "Invalid MAX EAP Requests: %d"),
     .get = platform_get<&rpcclt_openapiDot1xPortMaxReqGet>,
     .set = platform_set<&rpcclt_openapiDot1xPortMaxReqSet>,
     .set_log = SetLog::IndexRc},
    {.key = "suppTimeout",
     .check = range(1, 65535, "Supplicant Timeout", "Invalid Supplicant Timeout: %d"),
     .get = platform_get<&rpcclt_openapiDot1xPortSuppTimeoutGet>,
     .set = platform_set<&rpcclt_openapiDot1xPortSuppTimeoutSet>,
     .set_log = SetLog::IndexRc},
    {.key = "srvTimeout",
     .check = range(1, 65535, "Server Timeout", "Invalid Server Timeout: %d"),
     .get = platform_get<&rpcclt_openapiDot1xPortServerTimeoutGet>,
     .set = platform_set<&rpcclt_openapiDot1xPortServerTimeoutSet>,
     .set_log = SetLog::IndexRc},
    // The platform's range; may be left out of a POST.
    {.key = "maxReauthReq",
     .check = any_number(),
     .get = platform_get<&rpcclt_openapiDot1xPortMaxReAuthReqIdentityGet>,
     .set = platform_set<&rpcclt_openapiDot1xPortMaxReAuthReqIdentitySet>,
     .set_log = SetLog::IndexRc,
     .flags = kGet | kPost | kOptional},
    // What the port is and does, read only.
    {.key = "paeState", .get = platform_get<&rpcclt_openapiDot1xPortPaeStateGet>},
    {.key = "paeCapability", .get = platform_get<&rpcclt_openapiDot1xPortPaeCapabilitiesGet>},
    {.key = "protocolVersion", .get = platform_get<&rpcclt_openapiDot1xPortProtocolVersionGet>},
    {.key = "ctrlDirection", .get = platform_get<&rpcclt_openapiAuthMgrPortAdminControlledDirectionsGet>},
};
const Resource kPortAuth{.name = "port_authentication_cfg",
                         .walk = physical_ports(),
                         .fields = kPortAuthFields,
                         .aggregate = kPortAuthAggregate};

// ---------------------------------------------------------------- port_auth_initialise_cfg

// "auth" 1 restarts authentication on the port (its sessions end); 0 does
// nothing.
const Field kInitialiseFields[] = {
    {.key = "port", .check = kPort, .flags = kIndex},
    {.key = "auth",
     .check = flag("Invalid auth mode: %d"),
     .set = set<&rpcclt_openapiAuthMgrPortInitializeSet, Idx<0>, Val>,
     .set_log = SetLog::IndexRc},
};
const Resource kInitialise{
    .name = "port_auth_initialise_cfg", .fields = kInitialiseFields, .aggregate = kInitialiseAggregate};

// ---------------------------------------------------------------- dot1x_client_summary

// Every client of every physical port, port by port: index 0 the port,
// index 1 the client's logical port.
int next_client(Element &e, bool first) {
  uint32_t port = e.index.num[0];
  int rc = OPEN_E_NONE;
  if (first) {
    rc = openapiIfFirstGet(&g_client_handle, OPEN_INTF_TYPE_PHY, &port);
  } else {
    uint32_t next = 0;
    rc = rpcclt_openapiAuthMgrLogicalPortNextGet(&g_client_handle, e.index.num[1], &next);
    if (rc == OPEN_E_NONE) {
      e.index.num[1] = next;
      return rc;
    }
    if (!walk_ended(rc)) return rc;
    rc = openapiIfNextGet(&g_client_handle, OPEN_INTF_TYPE_PHY, port, &port);
  }
  for (; rc == OPEN_E_NONE; rc = openapiIfNextGet(&g_client_handle, OPEN_INTF_TYPE_PHY, port, &port)) {
    uint32_t lport = 0;
    int found = rpcclt_openapiAuthMgrLogicalPortFirstGet(&g_client_handle, port, &lport);
    if (found == OPEN_E_NONE) {
      e.index.num[0] = port;
      e.index.num[1] = lport;
      e.index.nums = 2;
      return OPEN_E_NONE;
    }
    if (!walk_ended(found)) return found;
  }
  return rc;
}

constexpr size_t kMacText = OPEN_MAC_TEXT_SIZE;  // the text and its NUL

const Field kClientFields[] = {
    {.key = "port", .check = any_number(), .flags = kIndex},
    {.key = "user",
     .get = get<&rpcclt_openapiAuthMgrLogicalPortUserNameGet, Idx<1>, ValText<OPEN_AUTHMGR_USER_NAME_MAX + 1>>},
    {.key = "filter",
     .get = get<&rpcclt_openapiAuthMgrLogicalPortFilterIdGet, Idx<1>, ValText<OPEN_AUTHMGR_FILTER_ID_MAX + 1>>},
    {.key = "assign", .get = get<&rpcclt_openapiAuthMgrLogicalPortVlanAssignmentGet, Idx<1>, Val>},
    {.key = "timeout", .get = get<&rpcclt_openapiAuthMgrLogicalPortSessionTimeoutGet, Idx<1>, Val>},
    {.key = "mac", .get = get<&rpcclt_openapiAuthMgrLogicalPortClientMacAddrGet, Idx<1>, ValText<kMacText>>},
    {.key = "status", .get = get<&rpcclt_openapiAuthMgrLogicalPortClientAuthStatusGet, Idx<1>, Val>},
    {.key = "termAction", .get = get<&rpcclt_openapiAuthMgrLogicalPortTerminationActionGet, Idx<1>, Val>},
};
constexpr const char *kClientPart[] = {"logicalPort"};
const Resource kClients{.name = "dot1x_client_summary",
                        .walk = list(next_client, "Failed to get the clients and error code:%d").adding(kClientPart),
                        .fields = kClientFields};

// ---------------------------------------------------------------- dot1x_eapol_stats

// GET: each port's EAPOL counters; POST: clears the counters of each port
// listed.
const Field kEapolFields[] = {
    {.key = "port", .check = kPort},
    {.key = "frameRx", .get = platform_get<&rpcclt_openapiDot1xPortEapolFramesRxGet>},
    {.key = "frameTx", .get = platform_get<&rpcclt_openapiDot1xPortEapolFramesTxGet>},
    {.key = "startFrameRx", .get = platform_get<&rpcclt_openapiDot1xPortEapolStartFramesRxGet>},
    {.key = "logoffFrameRx", .get = platform_get<&rpcclt_openapiDot1xPortEapolLogoffFramesRxGet>},
    {.key = "lastFrameVer", .get = platform_get<&rpcclt_openapiDot1xPortLastEapolFrameVersionGet>},
    {.key = "lastFrameSrc", .get = platform_get<&rpcclt_openapiDot1xPortLastEapolFrameSourceGet, kMacText>},
    {.key = "invalidFrameRx",
     .get = platform_get<&rpcclt_openapiDot1xPortInvalidEapolFramesRxGet>,
     .get_error = "Failed to get Invalid EAPOL frames received %d"},
    {.key = "lenErrFrameRx", .get = platform_get<&rpcclt_openapiDot1xPortEapLengthErrorFramesRxGet>},
    {.key = "responseIdFrameRx", .get = platform_get<&rpcclt_openapiDot1xPortEapRespIdFramesRxGet>},
    {.key = "responseFrameRx", .get = platform_get<&rpcclt_openapiDot1xPortEapResponseFramesRxGet>},
    {.key = "requestIdFrameTx", .get = platform_get<&rpcclt_openapiDot1xPortEapReqIdFramesTxGet>},
    {.key = "requestFrameTx", .get = platform_get<&rpcclt_openapiDot1xPortEapReqFramesTxGet>},
};
const Resource kEapolStats{.name = "dot1x_eapol_stats",
                           .walk = physical_ports(),
                           .fields = kEapolFields,
                           .aggregate = kEapolStatsAggregate,
                           .create = act<&rpcclt_openapiDot1xPortStatsClear, Idx<0>>,
                           .create_error = "Failed to clear the EAPOL statistics of port %d and error code : %d",
                           .create_log = ActionLog::IndexRc};

// ---------------------------------------------------------------- dot1x_auth_list

// The switch authenticates 802.1X clients with the methods of its list
// "dot1xList"; a POST sets the first method of the list it names.
constexpr const char kDot1xList[] = "dot1xList";
constexpr int64_t kDot1xMethods[] = {OPEN_AUTH_LIST_METHOD_LOCAL, OPEN_AUTH_LIST_METHOD_NONE,
                                     OPEN_AUTH_LIST_METHOD_RADIUS, OPEN_AUTH_LIST_METHOD_IAS};

int dot1x_list_name(const Element &, json_object **out) {
  *out = json_object_new_string(kDot1xList);
  return OPEN_E_NONE;
}

const Field kAuthListFields[] = {
    {.key = "Dot1xListName", .check = any_text(), .get = dot1x_list_name},
    {.key = "method_0",
     .check = one_of(kDot1xMethods, "Invalid Authentication method for order 0:%d\n"),
     .get = get<&rpcclt_openapiAuthenticationMethodGet, Lit<OPEN_AUTH_LIST_DOT1X>, LitText<kDot1xList>, Lit<0>, Val>,
     .set = set<&rpcclt_openapiAuthenticationMethodSet, Lit<OPEN_AUTH_LIST_DOT1X>, Key<"Dot1xListName">, Lit<0>, Val>,
     .set_log = SetLog::ValueRc},
};
const Resource kAuthList{.name = "dot1x_auth_list", .walk = scalar(), .fields = kAuthListFields};

}  // namespace

VELTRUM_SERVE(dot1x_global_cfg, kGlobal);
VELTRUM_SERVE(dot1x_port_summary, kSummary);
VELTRUM_SERVE(port_authentication_cfg, kPortAuth);
VELTRUM_SERVE(port_auth_initialise_cfg, kInitialise);
VELTRUM_SERVE(dot1x_client_summary, kClients);
VELTRUM_SERVE(dot1x_eapol_stats, kEapolStats);
VELTRUM_SERVE(dot1x_auth_list, kAuthList);
