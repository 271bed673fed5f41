// 802.1X port authentication: the authentication manager, supplicant timers, MAB, logical ports, EAPOL counters.
//
// Authentication works on physical ports only. Each client a port sees is
// a logical port of it (numbered by the platform); a port walks its
// clients with LogicalPortFirstGet / LogicalPortNextGet, which end with
// OPEN_E_NOT_FOUND after its last client.
#pragma once

#include "platform/family.h"

typedef enum : uint32_t {
  OPEN_AUTHMGR_PORT_FORCE_UNAUTHORIZED = 1,
  OPEN_AUTHMGR_PORT_AUTO = 2,
  OPEN_AUTHMGR_PORT_FORCE_AUTHORIZED = 3,
  OPEN_AUTHMGR_PORT_MAC_BASED = 4,
} OPEN_AUTHMGR_PORT_CONTROL_t;

// A port's status, and a client's.
typedef enum : uint32_t {
  OPEN_AUTHMGR_PORT_STATUS_AUTHORIZED = 1,
  OPEN_AUTHMGR_PORT_STATUS_UNAUTHORIZED = 2,
} OPEN_AUTHMGR_PORT_STATUS_t;

typedef enum : uint32_t {
  OPEN_AUTHMGR_PORT_CTRL_BOTH = 0,  // traffic both ways is controlled
  OPEN_AUTHMGR_PORT_CTRL_IN = 1,    // incoming traffic only
} OPEN_AUTHMGR_PORT_CTRL_DIRECTION_t;

// What ends a client's session when its timeout runs out.
typedef enum : uint32_t {
  OPEN_AUTHMGR_TERMINATION_DEFAULT = 1,       // the session ends
  OPEN_AUTHMGR_TERMINATION_RADIUS_REAUTH = 2,  // the client is reauthenticated
} OPEN_AUTHMGR_TERMINATION_ACTION_t;

// How MAB presents a client's address to the authentication server; 0
// leaves it to the switch (EAP-MD5).
typedef enum : uint32_t {
  OPEN_MAB_AUTH_TYPE_DEFAULT = 0,
  OPEN_MAB_AUTH_TYPE_EAP_MD5 = 1,
  OPEN_MAB_AUTH_TYPE_PAP = 2,
  OPEN_MAB_AUTH_TYPE_CHAP = 3,
} OPEN_MAB_AUTH_TYPE_t;

// The authenticator PAE state machine of a port.
typedef enum : uint32_t {
  OPEN_DOT1X_APM_INITIALIZE = 1,
  OPEN_DOT1X_APM_DISCONNECTED = 2,
  OPEN_DOT1X_APM_CONNECTING = 3,
  OPEN_DOT1X_APM_AUTHENTICATING = 4,
  OPEN_DOT1X_APM_AUTHENTICATED = 5,
  OPEN_DOT1X_APM_ABORTING = 6,
  OPEN_DOT1X_APM_HELD = 7,
  OPEN_DOT1X_APM_FORCE_AUTH = 8,
  OPEN_DOT1X_APM_FORCE_UNAUTH = 9,
} OPEN_DOT1X_APM_STATES_t;

typedef enum : uint32_t {
  OPEN_DOT1X_PAE_PORT_AUTH_CAPABLE = 1,
  OPEN_DOT1X_PAE_PORT_SUPP_CAPABLE = 2,
} OPEN_DOT1X_PAE_PORT_CAPABILITY_t;

// Texts of a client, without the NUL.
enum {
  OPEN_AUTHMGR_USER_NAME_MAX = 64,
  OPEN_AUTHMGR_FILTER_ID_MAX = 64,
  OPEN_AUTHMGR_CLIENTS_PER_PORT = 48,
};

// Timers are seconds. The global rows switch the EAPOL (802.1X) part of
// authentication, the VLAN assignment from the authentication server and
// the creation of the VLANs it assigns.
#define VELTRUM_SETTINGS_dot1x(SETTING, SETTING_BY, TEXT_SETTING)                                  \
  SETTING(X(rpcclt_openapiDot1xSystemAuthControlModeGet), X(rpcclt_openapiDot1xSystemAuthControlModeSet), \
          GLOBAL, OPEN_CONTROL_t, "dot1x.system_auth_control", 0, 0, 1)                            \
  SETTING(X(rpcclt_openapiAuthMgrVlanAssignmentModeGet), X(rpcclt_openapiAuthMgrVlanAssignmentModeSet), \
          GLOBAL, OPEN_CONTROL_t, "authmgr.vlan_assignment", 0, 0, 1)                              \
  SETTING(X(rpcclt_openapiAuthMgrDynamicVlanCreationModeGet),                                      \
          X(rpcclt_openapiAuthMgrDynamicVlanCreationModeSet),                                      \
          GLOBAL, OPEN_CONTROL_t, "authmgr.dynamic_vlan_creation", 0, 0, 1)                        \
  SETTING(X(rpcclt_openapiDot1xEapolFloodModeGet), X(rpcclt_openapiDot1xEapolFloodModeSet),        \
          GLOBAL, OPEN_CONTROL_t, "dot1x.eapol_flood", 0, 0, 1)                                    \
  SETTING(X(rpcclt_openapiAuthMgrAuthenticationReAuthPeriodServerGet),                             \
          X(rpcclt_openapiAuthMgrAuthenticationReAuthPeriodServerSet),                             \
          INTF_PHY, OPEN_BOOL_t, "authmgr.intf.reauth_period_server", 0, 0, 1)                     \
  SETTING(X(rpcclt_openapiAuthMgrAuthenticationPeriodicGet), X(rpcclt_openapiAuthMgrAuthenticationPeriodicSet), \
          INTF_PHY, OPEN_BOOL_t, "authmgr.intf.periodic", 0, 0, 1)                                 \
  SETTING(X(rpcclt_openapiAuthMgrAuthenticationReAuthPeriodGet),                                   \
          X(rpcclt_openapiAuthMgrAuthenticationReAuthPeriodSet),                                   \
          INTF_PHY, uint32_t, "authmgr.intf.reauth_period", 3600, 1, 65535)                        \
  SETTING(X(rpcclt_openapiAuthMgrPortGuestVlanPeriodGet), X(rpcclt_openapiAuthMgrPortGuestVlanPeriodSet), \
          INTF_PHY, uint32_t, "authmgr.intf.guest_vlan_period", 90, 1, 300)                        \
  SETTING(X(rpcclt_openapiDot1xPortMaxReAuthReqIdentityGet),                                       \
          X(rpcclt_openapiDot1xPortMaxReAuthReqIdentitySet),                                       \
          INTF_PHY, uint32_t, "dot1x.intf.max_reauth_req", 2, 1, 20)                               \
  SETTING(X(rpcclt_openapiDot1xPortMaxReqGet), X(rpcclt_openapiDot1xPortMaxReqSet),                \
          INTF_PHY, uint32_t, "dot1x.intf.max_req", 2, 1, 10)                                      \
  SETTING(X(rpcclt_openapiDot1xPortQuietPeriodGet), X(rpcclt_openapiDot1xPortQuietPeriodSet),      \
          INTF_PHY, uint32_t, "dot1x.intf.quiet_period", 60, 0, 65535)                             \
  SETTING(X(rpcclt_openapiDot1xPortServerTimeoutGet), X(rpcclt_openapiDot1xPortServerTimeoutSet),  \
          INTF_PHY, uint32_t, "dot1x.intf.server_timeout", 30, 1, 65535)                           \
  SETTING(X(rpcclt_openapiDot1xPortSuppTimeoutGet), X(rpcclt_openapiDot1xPortSuppTimeoutSet),      \
          INTF_PHY, uint32_t, "dot1x.intf.supp_timeout", 30, 1, 65535)                             \
  SETTING(X(rpcclt_openapiDot1xPortTxPeriodGet), X(rpcclt_openapiDot1xPortTxPeriodSet),            \
          INTF_PHY, uint32_t, "dot1x.intf.tx_period", 30, 1, 65535)                                \
  SETTING(X(rpcclt_openapiMabPortMABAuthTypeGet), X(rpcclt_openapiMabPortMABAuthTypeSet),          \
          INTF_PHY, OPEN_MAB_AUTH_TYPE_t, "mab.intf.auth_type", 0, 0, 3)                           \
  SETTING(X(rpcclt_openapiMabPortMabEnabledGet), X(rpcclt_openapiMabPortMabEnabledSet),            \
          INTF_PHY, OPEN_CONTROL_t, "mab.intf.enable", 0, 0, 1)

// The authentication manager's mode has no getter (clients read the 802.1X
// system mode, set with it); while it is disabled every port operates
// force-authorized. A port's operating control mode, status and PAE state
// follow from it, the port's control mode and its clients; a change
// of control mode, an initialisation and disabling the authentication
// manager end the port's client sessions. Guest and unauthenticated VLANs
// are 0 (none) or a VLAN that exists.
#define VELTRUM_CALLS_dot1x(X)                                                                     \
  X(rpcclt_openapiAuthMgrAdminModeSet, (openapiClientHandle_t * client, OPEN_CONTROL_t mode))      \
  X(rpcclt_openapiAuthMgrPortControlModeGet,                                                       \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_AUTHMGR_PORT_CONTROL_t *mode))           \
  X(rpcclt_openapiAuthMgrPortControlModeSet,                                                       \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_AUTHMGR_PORT_CONTROL_t mode))            \
  X(rpcclt_openapiAuthMgrPortOperatingControlModeGet,                                              \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_AUTHMGR_PORT_CONTROL_t *mode))           \
  X(rpcclt_openapiAuthMgrPortStatusGet,                                                            \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_AUTHMGR_PORT_STATUS_t *status))          \
  X(rpcclt_openapiAuthMgrPortGuestVlanGet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *vlanId)) \
  X(rpcclt_openapiAuthMgrPortGuestVlanSet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t vlanId))  \
  X(rpcclt_openapiAuthMgrPortUnauthenticatedVlanGet,                                               \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *vlanId))                            \
  X(rpcclt_openapiAuthMgrPortUnauthenticatedVlanSet,                                               \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t vlanId))                             \
  X(rpcclt_openapiAuthMgrPortAdminControlledDirectionsGet,                                         \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_AUTHMGR_PORT_CTRL_DIRECTION_t *direction)) \
  X(rpcclt_openapiAuthMgrPortInitializeSet,                                                        \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_BOOL_t initialize))                      \
  X(rpcclt_openapiDot1xPortPaeCapabilitiesGet,                                                     \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_DOT1X_PAE_PORT_CAPABILITY_t *capability)) \
  X(rpcclt_openapiDot1xPortPaeStateGet,                                                            \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_DOT1X_APM_STATES_t *state))              \
  X(rpcclt_openapiDot1xPortProtocolVersionGet,                                                     \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *version))                           \
  X(rpcclt_openapiAuthMgrLogicalPortFirstGet,                                                      \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *lIntIfNum))                         \
  X(rpcclt_openapiAuthMgrLogicalPortNextGet,                                                       \
    (openapiClientHandle_t * client, uint32_t lIntIfNum, uint32_t *nextLIntIfNum))                 \
  X(rpcclt_openapiAuthMgrLogicalPortClientAuthStatusGet,                                           \
    (openapiClientHandle_t * client, uint32_t lIntIfNum, OPEN_AUTHMGR_PORT_STATUS_t *status))      \
  X(rpcclt_openapiAuthMgrLogicalPortClientMacAddrGet,                                              \
    (openapiClientHandle_t * client, uint32_t lIntIfNum, open_buffdesc *macAddr))                  \
  X(rpcclt_openapiAuthMgrLogicalPortFilterIdGet,                                                   \
    (openapiClientHandle_t * client, uint32_t lIntIfNum, open_buffdesc *filterId))                 \
  X(rpcclt_openapiAuthMgrLogicalPortSessionTimeoutGet,                                             \
    (openapiClientHandle_t * client, uint32_t lIntIfNum, uint32_t *seconds))                       \
  X(rpcclt_openapiAuthMgrLogicalPortTerminationActionGet,                                          \
    (openapiClientHandle_t * client, uint32_t lIntIfNum, OPEN_AUTHMGR_TERMINATION_ACTION_t *action)) \
  X(rpcclt_openapiAuthMgrLogicalPortUserNameGet,                                                   \
    (openapiClientHandle_t * client, uint32_t lIntIfNum, open_buffdesc *userName))                 \
  X(rpcclt_openapiAuthMgrLogicalPortVlanAssignmentGet,                                             \
    (openapiClientHandle_t * client, uint32_t lIntIfNum, uint32_t *vlanId))                        \
  X(rpcclt_openapiDot1xPortEapolFramesRxGet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count)) \
  X(rpcclt_openapiDot1xPortEapolFramesTxGet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count)) \
  X(rpcclt_openapiDot1xPortEapolStartFramesRxGet,                                                  \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count))                             \
  X(rpcclt_openapiDot1xPortEapolLogoffFramesRxGet,                                                 \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count))                             \
  X(rpcclt_openapiDot1xPortLastEapolFrameVersionGet,                                               \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *version))                           \
  X(rpcclt_openapiDot1xPortLastEapolFrameSourceGet,                                                \
    (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *macAddr))                      \
  X(rpcclt_openapiDot1xPortInvalidEapolFramesRxGet,                                                \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count))                             \
  X(rpcclt_openapiDot1xPortEapLengthErrorFramesRxGet,                                              \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count))                             \
  X(rpcclt_openapiDot1xPortEapRespIdFramesRxGet,                                                   \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count))                             \
  X(rpcclt_openapiDot1xPortEapResponseFramesRxGet,                                                 \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count))                             \
  X(rpcclt_openapiDot1xPortEapReqIdFramesTxGet,                                                    \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count))                             \
  X(rpcclt_openapiDot1xPortEapReqFramesTxGet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count)) \
  X(rpcclt_openapiDot1xPortStatsClear, (openapiClientHandle_t * client, uint32_t ifNum))

VELTRUM_PLATFORM_FAMILY(dot1x, 13)
