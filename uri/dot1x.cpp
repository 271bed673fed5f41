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
    {"state", flag("Invalid dot1x Mode %d"), platform_get<&rpcclt_openapiDot1xSystemAuthControlModeGet>,
     platform_set<&rpcclt_openapiDot1xSystemAuthControlModeSet>, "Failed to get the dot1x mode and error code:%d",
     "Failed to set the dot1x mode %d and error code : %d", SetLog::ValueRc},
    {"state", no_check(), nullptr, platform_set<&rpcclt_openapiAuthMgrAdminModeSet>, nullptr,
     "Failed to set the authentication manager mode %d and error code : %d", SetLog::ValueRc},
    {"assignMode", flag("Invalid Vlan assignment Mode %d"), platform_get<&rpcclt_openapiAuthMgrVlanAssignmentModeGet>,
     platform_set<&rpcclt_openapiAuthMgrVlanAssignmentModeSet>,
     "Failed to get the VLAN assignment mode and error code:%d",
     "Failed to set the VLAN assignment mode %d and error code : %d", SetLog::ValueRc},
    {"createMode", flag("Invalid dynamic vlan creation Mode %d"),
     platform_get<&rpcclt_openapiAuthMgrDynamicVlanCreationModeGet>,
     platform_set<&rpcclt_openapiAuthMgrDynamicVlanCreationModeSet>,
     "Failed to get the dynamic VLAN creation mode and error code:%d",
     "Failed to set the dynamic VLAN creation mode %d and error code : %d", SetLog::ValueRc},
    {"floodMode", flag("Invalid EAPOL Mode %d"), platform_get<&rpcclt_openapiDot1xEapolFloodModeGet>,
     platform_set<&rpcclt_openapiDot1xEapolFloodModeSet>, "Failed to get the EAPOL flood mode and error code:%d",
     "Failed to set the EAPOL flood mode %d and error code : %d", SetLog::ValueRc},
};
const Resource kGlobal{.name = "dot1x_global_cfg", .walk = scalar(), .fields = kGlobalFields};

// ---------------------------------------------------------------- dot1x_port_summary

// Per port: its control mode, the mode it runs, whether the server gives
// its reauthentication period, and its status.
const Field kSummaryFields[] = {
    {"port", kPort},
    {"ctrl", no_check(), platform_get<&rpcclt_openapiAuthMgrPortControlModeGet>, nullptr,
     "Failed to get the port control mode and error code:%d"},
    {"operCtrl", no_check(), platform_get<&rpcclt_openapiAuthMgrPortOperatingControlModeGet>, nullptr,
     "Failed to get the operating control mode and error code:%d"},
    {"reauth", no_check(), platform_get<&rpcclt_openapiAuthMgrAuthenticationReAuthPeriodServerGet>, nullptr,
     "Failed to get the reauthentication period source and error code:%d"},
    {"status", no_check(), platform_get<&rpcclt_openapiAuthMgrPortStatusGet>, nullptr,
     "Failed to get the port status and error code:%d"},
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
    {"port", kPort},
    {"ctrl", choice(OPEN_AUTHMGR_PORT_FORCE_UNAUTHORIZED, OPEN_AUTHMGR_PORT_MAC_BASED, "Invalid Control Mode: %d"),
     platform_get<&rpcclt_openapiAuthMgrPortControlModeGet>, platform_set<&rpcclt_openapiAuthMgrPortControlModeSet>,
     "Failed to get the port control mode and error code:%d",
     "Failed to set the control mode of port %d and error code : %d", SetLog::IndexRc},
    {"guestVid", custom_check(check_guest_vlan, true), platform_get<&rpcclt_openapiAuthMgrPortGuestVlanGet>,
     platform_set<&rpcclt_openapiAuthMgrPortGuestVlanSet>, "Failed to get the guest VLAN and error code:%d",
     "Failed to set the guest VLAN of port %d and error code : %d", SetLog::IndexRc},
    {"mab", flag("Invalid MAB mode: %d"), platform_get<&rpcclt_openapiMabPortMabEnabledGet>,
     platform_set<&rpcclt_openapiMabPortMabEnabledSet>, "Failed to get the MAB mode and error code:%d",
     "Failed to set the MAB mode of port %d and error code : %d", SetLog::IndexRc},
    {"mabAuthType",
     range(OPEN_MAB_AUTH_TYPE_DEFAULT, OPEN_MAB_AUTH_TYPE_CHAP, "MAB Auth Type", "Invalid MAB Auth Type: %d"),
     platform_get<&rpcclt_openapiMabPortMABAuthTypeGet>, platform_set<&rpcclt_openapiMabPortMABAuthTypeSet>,
     "Failed to get the MAB authentication type and error code:%d",
     "Failed to set the MAB authentication type of port %d and error code : %d", SetLog::IndexRc},
    {"guestPeriod", range(1, 300, "Guest VLAN Period", "Invalid Guest Period: %d"),
     platform_get<&rpcclt_openapiAuthMgrPortGuestVlanPeriodGet>,
     platform_set<&rpcclt_openapiAuthMgrPortGuestVlanPeriodSet>,
     "Failed to get the guest VLAN period and error code:%d",
     "Failed to set the guest VLAN period of port %d and error code : %d", SetLog::IndexRc},
    {"unauthVid", custom_check(check_unauth_vlan, true), platform_get<&rpcclt_openapiAuthMgrPortUnauthenticatedVlanGet>,
     platform_set<&rpcclt_openapiAuthMgrPortUnauthenticatedVlanSet>,
     "Failed to get the unauthenticated VLAN and error code:%d",
     "Failed to set the unauthenticated VLAN of port %d and error code : %d", SetLog::IndexRc},
    {"reauth", flag("Invalid Periodic Reauthentication: %d"),
     platform_get<&rpcclt_openapiAuthMgrAuthenticationPeriodicGet>,
     platform_set<&rpcclt_openapiAuthMgrAuthenticationPeriodicSet>,
     "Failed to get the periodic reauthentication and error code:%d",
     "Failed to set the periodic reauthentication of port %d and error code : %d", SetLog::IndexRc},
    {"reauthPeriod", range(1, 65535, "AgReauthentication Periode Time", "Invalid Reauthentication Period: %d"),
     platform_get<&rpcclt_openapiAuthMgrAuthenticationReAuthPeriodGet>,
     platform_set<&rpcclt_openapiAuthMgrAuthenticationReAuthPeriodSet>,
     "Failed to get the reauthentication period and error code:%d",
     "Failed to set the reauthentication period of port %d and error code : %d", SetLog::IndexRc},
    {"quietPeriod", range(0, 65535, "Quiet Period", "Invalid Quiet Period: %d"),
     platform_get<&rpcclt_openapiDot1xPortQuietPeriodGet>, platform_set<&rpcclt_openapiDot1xPortQuietPeriodSet>,
     "Failed to get the quiet period and error code:%d",
     "Failed to set the quiet period of port %d and error code : %d", SetLog::IndexRc},
    {"resendEap", range(1, 65535, "Resending EAP", "Invalid Resending EAP period: %d"),
     platform_get<&rpcclt_openapiDot1xPortTxPeriodGet>, platform_set<&rpcclt_openapiDot1xPortTxPeriodSet>,
     "Failed to get the EAP resend period and error code:%d",
     "Failed to set the EAP resend period of port %d and error code : %d", SetLog::IndexRc},
    {"maxEap", range(1, 10, "MAX EAP Requests", "Invalid MAX EAP Requests: %d"),
     platform_get<&rpcclt_openapiDot1xPortMaxReqGet>, platform_set<&rpcclt_openapiDot1xPortMaxReqSet>,
     "Failed to get the EAP request maximum and error code:%d",
     "Failed to set the EAP request maximum of port %d and error code : %d", SetLog::IndexRc},
    {"suppTimeout", range(1, 65535, "Supplicant Timeout", "Invalid Supplicant Timeout: %d"),
     platform_get<&rpcclt_openapiDot1xPortSuppTimeoutGet>, platform_set<&rpcclt_openapiDot1xPortSuppTimeoutSet>,
     "Failed to get the supplicant timeout and error code:%d",
     "Failed to set the supplicant timeout of port %d and error code : %d", SetLog::IndexRc},
    {"srvTimeout", range(1, 65535, "Server Timeout", "Invalid Server Timeout: %d"),
     platform_get<&rpcclt_openapiDot1xPortServerTimeoutGet>, platform_set<&rpcclt_openapiDot1xPortServerTimeoutSet>,
     "Failed to get the server timeout and error code:%d",
     "Failed to set the server timeout of port %d and error code : %d", SetLog::IndexRc},
    // The platform's range; may be left out of a POST.
    {"maxReauthReq", any_number(), platform_get<&rpcclt_openapiDot1xPortMaxReAuthReqIdentityGet>,
     platform_set<&rpcclt_openapiDot1xPortMaxReAuthReqIdentitySet>,
     "Failed to get the reauthentication request maximum and error code:%d",
     "Failed to set the reauthentication request maximum of port %d and error code : %d", SetLog::IndexRc,
     kGet | kPost | kOptional},
    // What the port is and does, read only.
    {"paeState", no_check(), platform_get<&rpcclt_openapiDot1xPortPaeStateGet>, nullptr,
     "Failed to get the PAE state and error code:%d"},
    {"paeCapability", no_check(), platform_get<&rpcclt_openapiDot1xPortPaeCapabilitiesGet>, nullptr,
     "Failed to get the PAE capabilities and error code:%d"},
    {"protocolVersion", no_check(), platform_get<&rpcclt_openapiDot1xPortProtocolVersionGet>, nullptr,
     "Failed to get the protocol version and error code:%d"},
    {"ctrlDirection", no_check(), platform_get<&rpcclt_openapiAuthMgrPortAdminControlledDirectionsGet>, nullptr,
     "Failed to get the controlled directions and error code:%d"},
};
const Resource kPortAuth{.name = "port_authentication_cfg",
                         .walk = physical_ports(),
                         .fields = kPortAuthFields,
                         .aggregate = kPortAuthAggregate};

// ---------------------------------------------------------------- port_auth_initialise_cfg

// "auth" 1 restarts authentication on the port (its sessions end); 0 does
// nothing.
const Field kInitialiseFields[] = {
    {"port", kPort, nullptr, nullptr, nullptr, nullptr, SetLog::Rc, kIndex},
    {"auth", flag("Invalid auth mode: %d"), nullptr, set<&rpcclt_openapiAuthMgrPortInitializeSet, Idx<0>, Val>, nullptr,
     "Failed to initialise port %d and error code : %d", SetLog::IndexRc},
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
    {"port", any_number(), nullptr, nullptr, nullptr, nullptr, SetLog::Rc, kIndex},
    {"user", no_check(),
     get<&rpcclt_openapiAuthMgrLogicalPortUserNameGet, Idx<1>, ValText<OPEN_AUTHMGR_USER_NAME_MAX + 1>>, nullptr,
     "Failed to get the user name of the client and error code:%d"},
    {"filter", no_check(),
     get<&rpcclt_openapiAuthMgrLogicalPortFilterIdGet, Idx<1>, ValText<OPEN_AUTHMGR_FILTER_ID_MAX + 1>>, nullptr,
     "Failed to get the filter of the client and error code:%d"},
    {"assign", no_check(), get<&rpcclt_openapiAuthMgrLogicalPortVlanAssignmentGet, Idx<1>, Val>, nullptr,
     "Failed to get the VLAN of the client and error code:%d"},
    {"timeout", no_check(), get<&rpcclt_openapiAuthMgrLogicalPortSessionTimeoutGet, Idx<1>, Val>, nullptr,
     "Failed to get the session timeout of the client and error code:%d"},
    {"mac", no_check(), get<&rpcclt_openapiAuthMgrLogicalPortClientMacAddrGet, Idx<1>, ValText<kMacText>>, nullptr,
     "Failed to get the MAC address of the client and error code:%d"},
    {"status", no_check(), get<&rpcclt_openapiAuthMgrLogicalPortClientAuthStatusGet, Idx<1>, Val>, nullptr,
     "Failed to get the status of the client and error code:%d"},
    {"termAction", no_check(), get<&rpcclt_openapiAuthMgrLogicalPortTerminationActionGet, Idx<1>, Val>, nullptr,
     "Failed to get the termination action of the client and error code:%d"},
};
const Resource kClients{.name = "dot1x_client_summary",
                        .walk = list(next_client, "Failed to get the clients and error code:%d"),
                        .fields = kClientFields};

// ---------------------------------------------------------------- dot1x_eapol_stats

// GET: each port's EAPOL counters; POST: clears the counters of each port
// listed.
const Field kEapolFields[] = {
    {"port", kPort},
    {"frameRx", no_check(), platform_get<&rpcclt_openapiDot1xPortEapolFramesRxGet>, nullptr,
     "Failed to get EAPOL frames received %d"},
    {"frameTx", no_check(), platform_get<&rpcclt_openapiDot1xPortEapolFramesTxGet>, nullptr,
     "Failed to get EAPOL frames transmitted %d"},
    {"startFrameRx", no_check(), platform_get<&rpcclt_openapiDot1xPortEapolStartFramesRxGet>, nullptr,
     "Failed to get EAPOL start frames received %d"},
    {"logoffFrameRx", no_check(), platform_get<&rpcclt_openapiDot1xPortEapolLogoffFramesRxGet>, nullptr,
     "Failed to get EAPOL logoff frames received %d"},
    {"lastFrameVer", no_check(), platform_get<&rpcclt_openapiDot1xPortLastEapolFrameVersionGet>, nullptr,
     "Failed to get the last EAPOL frame version %d"},
    {"lastFrameSrc", no_check(), platform_get<&rpcclt_openapiDot1xPortLastEapolFrameSourceGet, kMacText>, nullptr,
     "Failed to get the last EAPOL frame source %d"},
    {"invalidFrameRx", no_check(), platform_get<&rpcclt_openapiDot1xPortInvalidEapolFramesRxGet>, nullptr,
     "Failed to get Invalid EAPOL frames received %d"},
    {"lenErrFrameRx", no_check(), platform_get<&rpcclt_openapiDot1xPortEapLengthErrorFramesRxGet>, nullptr,
     "Failed to get EAP length error frames received %d"},
    {"responseIdFrameRx", no_check(), platform_get<&rpcclt_openapiDot1xPortEapRespIdFramesRxGet>, nullptr,
     "Failed to get EAP response/identity frames received %d"},
    {"responseFrameRx", no_check(), platform_get<&rpcclt_openapiDot1xPortEapResponseFramesRxGet>, nullptr,
     "Failed to get EAP response frames received %d"},
    {"requestIdFrameTx", no_check(), platform_get<&rpcclt_openapiDot1xPortEapReqIdFramesTxGet>, nullptr,
     "Failed to get EAP request/identity frames transmitted %d"},
    {"requestFrameTx", no_check(), platform_get<&rpcclt_openapiDot1xPortEapReqFramesTxGet>, nullptr,
     "Failed to get EAP request frames transmitted %d"},
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
    {"Dot1xListName", any_text(), dot1x_list_name},
    {"method_0", one_of(kDot1xMethods, "Invalid Authentication method for order 0:%d\n"),
     get<&rpcclt_openapiAuthenticationMethodGet, Lit<OPEN_AUTH_LIST_DOT1X>, LitText<kDot1xList>, Lit<0>, Val>,
     set<&rpcclt_openapiAuthenticationMethodSet, Lit<OPEN_AUTH_LIST_DOT1X>, Key<"Dot1xListName">, Lit<0>, Val>,
     "Failed to get the authentication method and error code:%d",
     "Failed to set the authentication method %d and error code : %d", SetLog::ValueRc},
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
