// RADIUS and TACACS+ servers, their statistics, and the authentication lists.
//
// Servers are named by their address or host name. Their shared secrets
// are written, never read: the switch keeps them encrypted and reports only
// whether one is configured. An empty secret removes a server's own secret
// (a TACACS+ server then uses the global key).
#pragma once

#include "platform/family.h"

typedef enum : uint32_t {
  OPEN_RADIUS_SERVER_ENTRY_TYPE_PRIMARY = 1,
  OPEN_RADIUS_SERVER_ENTRY_TYPE_SECONDARY = 2,
} OPEN_RADIUS_SERVER_ENTRY_TYPE_t;

// Authentication or accounting server.
typedef enum : uint32_t {
  OPEN_RADIUS_SERVER_AUTH = 0,
  OPEN_RADIUS_SERVER_ACCT = 1,
} OPEN_RADIUS_SERVER_KIND_t;

// Whether an authentication server has a secret of its own: with NONE it
// keeps none (one it had is forgotten).
typedef enum : uint32_t {
  OPEN_RADIUS_KEY_TYPE_NONE = 0,
  OPEN_RADIUS_KEY_TYPE_CONFIGURED = 1,
} OPEN_RADIUS_KEY_TYPE_t;

typedef enum : uint32_t {
  OPEN_IP_ADDRESS_IPV4 = 1,
  OPEN_IP_ADDRESS_IPV6 = 2,
  OPEN_IP_ADDRESS_DNS = 3,
} OPEN_IP_ADDRESS_TYPE_t;

// The lists of authentication methods, by what they authenticate.
typedef enum : uint32_t {
  OPEN_AUTH_LIST_DOT1X = 0,
  OPEN_AUTH_LIST_HTTP = 1,
  OPEN_AUTH_LIST_HTTPS = 2,
} OPEN_AUTH_LIST_TYPE_t;

// The methods of a list; UNDEFINED ends a list (no method at that order).
// The first four are the platform's user authentication methods.
typedef enum : uint32_t {
  OPEN_AUTH_LIST_METHOD_UNDEFINED = 0,
  OPEN_AUTH_LIST_METHOD_RADIUS = 1,
  OPEN_AUTH_LIST_METHOD_TACACS = 2,
  OPEN_AUTH_LIST_METHOD_LOCAL = 3,
  OPEN_AUTH_LIST_METHOD_ENABLE = 4,
  OPEN_AUTH_LIST_METHOD_LINE = 5,
  OPEN_AUTH_LIST_METHOD_NONE = 6,
  OPEN_AUTH_LIST_METHOD_IAS = 7,
} OPEN_AUTH_LIST_METHOD_t;

// Lengths without the NUL; counts of the switch.
enum {
  OPEN_RADIUS_HOST_NAME_MAX = 63,
  OPEN_RADIUS_SERVER_NAME_MAX = 32,
  OPEN_RADIUS_KEY_MAX = 128,
  OPEN_RADIUS_SERVERS_MAX = 32,
  OPEN_TACACS_HOST_NAME_MAX = 63,
  OPEN_TACACS_KEY_MAX = 128,
  OPEN_TACACS_SERVERS_MAX = 5,
  OPEN_AUTH_LIST_NAME_MAX = 15,
  OPEN_AUTH_LIST_METHODS = 4,
};

#define VELTRUM_SETTINGS_aaa(SETTING, SETTING_BY, TEXT_SETTING)                                    \
  SETTING(X(rpcclt_openapiRadiusServerRetransGet), X(rpcclt_openapiRadiusServerRetransSet),        \
          GLOBAL, uint32_t, "radius.retransmit", 4, 1, 15)                                         \
  SETTING(X(rpcclt_openapiRadiusServerTimeOutGet), X(rpcclt_openapiRadiusServerTimeOutSet),        \
          GLOBAL, uint32_t, "radius.timeout", 5, 1, 30)                                            \
  SETTING(X(rpcclt_openapiRadiusAccountingModeGet), X(rpcclt_openapiRadiusAccountingModeSet),      \
          GLOBAL, OPEN_CONTROL_t, "radius.accounting", 0, 0, 1)                                    \
  SETTING(X(rpcclt_openapiTacacsServerGlobalTimeoutGet), X(rpcclt_openapiTacacsServerGlobalTimeoutSet), \
          GLOBAL, uint32_t, "tacacs.timeout", 5, 1, 30)

// Counters of a RADIUS server are (client, host, uint32_t *value); RTT is
// the last round trip in hundredths of a second. Servers are walked in
// address order: First answers the first, Next the one after `host`, both
// OPEN_E_NOT_FOUND at the end. Adding a RADIUS
// server that exists sets its name; adding a TACACS+ server that exists
// answers OPEN_E_EXISTS. The current server is the first primary server,
// else the first server ("" without servers). A TACACS+ port of 0 is the
// protocol's own port (49). Authentication lists are named per type;
// setting the first method of a list that does not exist creates it.
#define VELTRUM_CALLS_aaa(X)                                                                       \
  X(rpcclt_openapiRadiusServerFirstIPHostNameGet,                                                  \
    (openapiClientHandle_t * client, open_buffdesc *host))                                         \
  X(rpcclt_openapiRadiusServerNextIPHostNameGet,                                                   \
    (openapiClientHandle_t * client, const open_buffdesc *host, open_buffdesc *nextHost))          \
  X(rpcclt_openapiRadiusServerHostNameGet,                                                         \
    (openapiClientHandle_t * client, const open_buffdesc *host, open_buffdesc *serverName))        \
  X(rpcclt_openapiRadiusServerNameMaxLengthGet,                                                    \
    (openapiClientHandle_t * client, uint32_t *maxLength))                                         \
  X(rpcclt_openapiRadiusAuthServerAdd,                                                             \
    (openapiClientHandle_t * client, const open_buffdesc *host, const open_buffdesc *serverName))  \
  X(rpcclt_openapiRadiusAuthServerRemove,                                                          \
    (openapiClientHandle_t * client, const open_buffdesc *host))                                   \
  X(rpcclt_openapiRadiusAuthServerPortNumGet,                                                      \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *port))                   \
  X(rpcclt_openapiRadiusAuthServerPortNumSet,                                                      \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t port))                    \
  X(rpcclt_openapiRadiusAuthServerTypeGet,                                                         \
    (openapiClientHandle_t * client, const open_buffdesc *host, OPEN_RADIUS_SERVER_ENTRY_TYPE_t *type)) \
  X(rpcclt_openapiRadiusAuthServerTypeSet,                                                         \
    (openapiClientHandle_t * client, const open_buffdesc *host, OPEN_RADIUS_SERVER_ENTRY_TYPE_t type)) \
  X(rpcclt_openapiRadiusHostNameServerIncMsgAuthModeGet,                                           \
    (openapiClientHandle_t * client, const open_buffdesc *host, OPEN_CONTROL_t *mode))             \
  X(rpcclt_openapiRadiusHostNameServerIncMsgAuthModeSet,                                           \
    (openapiClientHandle_t * client, const open_buffdesc *host, OPEN_CONTROL_t mode))              \
  X(rpcclt_openapiRadiusHostNameServerSharedSecretConfigured,                                      \
    (openapiClientHandle_t * client, OPEN_RADIUS_SERVER_KIND_t kind, const open_buffdesc *host,    \
     OPEN_BOOL_t *configured))                                                                     \
  X(rpcclt_openapiRadiusHostNameServerSharedSecretKeyTypeSet,                                      \
    (openapiClientHandle_t * client, const open_buffdesc *host, OPEN_RADIUS_KEY_TYPE_t keyType))   \
  X(rpcclt_openapiRadiusAuthServerSharedSecretEncryptedSet,                                        \
    (openapiClientHandle_t * client, const open_buffdesc *host, const open_buffdesc *secret))      \
  X(rpcclt_openapiRadiusServerGlobalCurentGet,                                                     \
    (openapiClientHandle_t * client, open_buffdesc *host))                                         \
  X(rpcclt_openapiRadiusConfiguredServersCountGet,                                                 \
    (openapiClientHandle_t * client, uint32_t *count))                                             \
  X(rpcclt_openapiRadiusServerStatAccessReqGet,                                                    \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusServerStatAccessRetransGet,                                                \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusServerStatAccessAcceptGet,                                                 \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusServerStatAccessRejectGet,                                                 \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusServerStatAccessChallengeGet,                                              \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusServerStatMalformedAccessResponseGet,                                      \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusServerStatBadAuthGet,                                                      \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusServerStatPendingReqGet,                                                   \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusServerStatTimeoutsGet,                                                     \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusServerStatUnknownTypeGet,                                                  \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusServerStatPktsDroppedGet,                                                  \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusServerStatRTTGet,                                                          \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusAccountingServerIPHostNameVerify,                                          \
    (openapiClientHandle_t * client, const open_buffdesc *host, OPEN_IP_ADDRESS_TYPE_t *addrType)) \
  X(rpcclt_openapiRadiusAcctServerAdd,                                                             \
    (openapiClientHandle_t * client, const open_buffdesc *host, const open_buffdesc *serverName))  \
  X(rpcclt_openapiRadiusAcctServerFirstIPHostNameGet,                                              \
    (openapiClientHandle_t * client, open_buffdesc *host))                                         \
  X(rpcclt_openapiRadiusAcctServerNextIPHostNameGet,                                               \
    (openapiClientHandle_t * client, const open_buffdesc *host, open_buffdesc *nextHost))          \
  X(rpcclt_openapiRadiusServerAcctHostNameGet,                                                     \
    (openapiClientHandle_t * client, const open_buffdesc *host, open_buffdesc *serverName))        \
  X(rpcclt_openapiRadiusAccountingHostNameServerPortNumGet,                                        \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *port))                   \
  X(rpcclt_openapiRadiusAccountingHostNameServerPortNumSet,                                        \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t port))                    \
  X(rpcclt_openapiRadiusAccountingHostNameServerSharedSecretSet,                                   \
    (openapiClientHandle_t * client, const open_buffdesc *host, const open_buffdesc *secret))      \
  X(rpcclt_openapiRadiusAcctServerStatReqGet,                                                      \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusAcctServerStatRetransGet,                                                  \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusAcctServerStatResponseGet,                                                 \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusAcctServerStatMalformedResponseGet,                                        \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusAcctServerStatBadAuthGet,                                                  \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusAcctServerStatPendingReqGet,                                               \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusAcctServerStatTimeoutsGet,                                                 \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusAcctServerStatUnknownTypeGet,                                              \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusAcctServerStatPktsDroppedGet,                                              \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusAcctServerStatRTTGet,                                                      \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *value))                  \
  X(rpcclt_openapiRadiusStatsClear, (openapiClientHandle_t * client))                              \
  X(rpcclt_openapiTacacsServerGlobalKeySet,                                                        \
    (openapiClientHandle_t * client, const open_buffdesc *key))                                    \
  X(rpcclt_openapiTacacsKeyMaxLengthGet, (openapiClientHandle_t * client, uint32_t *maxLength))    \
  X(rpcclt_openapiTacacsServerMaxLengthGet, (openapiClientHandle_t * client, uint32_t *maxLength)) \
  X(rpcclt_openapiTacacsServerFirstGet, (openapiClientHandle_t * client, open_buffdesc *host))     \
  X(rpcclt_openapiTacacsServerNextGet,                                                             \
    (openapiClientHandle_t * client, const open_buffdesc *host, open_buffdesc *nextHost))          \
  X(rpcclt_openapiTacacsServerAdd, (openapiClientHandle_t * client, const open_buffdesc *host))    \
  X(rpcclt_openapiTacacsServerDelete, (openapiClientHandle_t * client, const open_buffdesc *host)) \
  X(rpcclt_openapiTacacsServerPortGet,                                                             \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *port))                   \
  X(rpcclt_openapiTacacsServerPortSet,                                                             \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t port))                    \
  X(rpcclt_openapiTacacsServerPriorityGet,                                                         \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *priority))               \
  X(rpcclt_openapiTacacsServerPrioritySet,                                                         \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t priority))                \
  X(rpcclt_openapiTacacsServerTimeoutGet,                                                          \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t *timeout))                \
  X(rpcclt_openapiTacacsServerTimeoutSet,                                                          \
    (openapiClientHandle_t * client, const open_buffdesc *host, uint32_t timeout))                 \
  X(rpcclt_openapiTacacsServerKeySet,                                                              \
    (openapiClientHandle_t * client, const open_buffdesc *host, const open_buffdesc *key))         \
  X(rpcclt_openapiAuthenticationMethodGet,                                                         \
    (openapiClientHandle_t * client, OPEN_AUTH_LIST_TYPE_t type, const open_buffdesc *listName,    \
     uint32_t order, OPEN_AUTH_LIST_METHOD_t *method))                                                  \
  X(rpcclt_openapiAuthenticationMethodSet,                                                         \
    (openapiClientHandle_t * client, OPEN_AUTH_LIST_TYPE_t type, const open_buffdesc *listName,    \
     uint32_t order, OPEN_AUTH_LIST_METHOD_t method))

VELTRUM_PLATFORM_FAMILY(aaa, 14)
