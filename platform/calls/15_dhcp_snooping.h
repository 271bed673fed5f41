// DHCP snooping: global and per-interface and per-VLAN modes, bindings, the persistent database, counters; the DHCP L2 relay.
#pragma once

#include "platform/family.h"

typedef enum : uint32_t {
  OPEN_DS_BINDING_STATIC = 0,   // configured
  OPEN_DS_BINDING_DYNAMIC = 1,  // learned from DHCP
} OPEN_DS_BINDING_TYPE_t;

// What DHCP snooping dropped on an interface.
typedef struct {
  uint32_t macVerifyFailures;  // client address not the frame's source
  uint32_t clientIfMismatch;   // client known on another interface
  uint32_t untrustedSvrMsgs;   // server messages on an untrusted interface
} OPEN_DS_INTF_STATS_t;

// DHCP messages the L2 relay saw on an interface, with and without option 82.
typedef struct {
  uint32_t untrustedSrvMsgsWithOpt82;
  uint32_t untrustedCliMsgsWithOpt82;
  uint32_t trustedSrvMsgsWithoutOpt82;
  uint32_t trustedCliMsgsWithoutOpt82;
} OPEN_DS_L2RELAY_INTF_STATS_t;

// Lengths without the NUL; counts of the switch.
enum {
  OPEN_DS_DB_FILE_NAME_MAX = 64,
  OPEN_DS_REMOTE_ID_MAX = 128,
  OPEN_DS_STATIC_BINDINGS_MAX = 1024,
  OPEN_DS_BINDINGS_MAX = 8192,
};

// The rate limit is packets per second, -1 for none; the burst interval
// and the database's write delay are seconds. The database file name
// applies to the local store and to the remote one.
#define VELTRUM_SETTINGS_dhcp_snooping(SETTING, SETTING_BY, TEXT_SETTING)                          \
  SETTING(X(rpcclt_openapiDhcpSnoopingAdminModeGet), X(rpcclt_openapiDsAdminModeSet),              \
          GLOBAL, OPEN_CONTROL_t, "dhcpsnp.admin", 0, 0, 1)                                        \
  SETTING(X(rpcclt_openapiDhcpSnoopingVerifySourceMacGet), X(rpcclt_openapiDsVerifyMacSet),        \
          GLOBAL, OPEN_CONTROL_t, "dhcpsnp.verify_mac", 1, 0, 1)                                   \
  SETTING(X(rpcclt_openapiDhcpSnoopingIntfTrustedGet), X(rpcclt_openapiDsIntfTrustSet),            \
          INTF, OPEN_BOOL_t, "dhcpsnp.intf.trust", 0, 0, 1)                                        \
  SETTING(X(rpcclt_openapiDhcpSnoopingIntfLoggedGet), X(rpcclt_openapiDsIntfLogInvalidSet),        \
          INTF, OPEN_BOOL_t, "dhcpsnp.intf.log_invalid", 0, 0, 1)                                  \
  SETTING(X(rpcclt_openapiDsIntfRateLimitGet), X(rpcclt_openapiDsIntfRateLimitSet),                \
          INTF, int32_t, "dhcpsnp.intf.rate", 15, -1, 300)                                         \
  SETTING(X(rpcclt_openapiDsIntfBurstIntervalGet), X(rpcclt_openapiDsIntfBurstIntervalSet),        \
          INTF, uint32_t, "dhcpsnp.intf.burst", 1, 1, 15)                                          \
  TEXT_SETTING(X(rpcclt_openapiDhcpSnoopingDbFileNameGet), X(rpcclt_openapiDsDbFileNameSet),       \
               GLOBAL, "dhcpsnp.db.file", "dhcpsnooping.db", NAME, 1, OPEN_DS_DB_FILE_NAME_MAX)    \
  SETTING(X(rpcclt_openapiDhcpSnoopingDbWriteDelayGet), X(rpcclt_openapiDsDbStoreIntervalSet),     \
          GLOBAL, uint32_t, "dhcpsnp.db.write_delay", 300, 15, 86400)                              \
  SETTING(X(rpcclt_openapiDsL2RelayAdminModeGet), X(rpcclt_openapiDsL2RelayAdminModeSet),          \
          GLOBAL, OPEN_CONTROL_t, "l2relay.admin", 0, 0, 1)                                        \
  SETTING(X(rpcclt_openapiDsL2RelayIntfModeGet), X(rpcclt_openapiDsL2RelayIntfModeSet),            \
          INTF, OPEN_CONTROL_t, "l2relay.intf.mode", 0, 0, 1)                                      \
  SETTING(X(rpcclt_openapiDsL2RelayIntfTrustGet), X(rpcclt_openapiDsL2RelayIntfTrustSet),          \
          INTF, OPEN_BOOL_t, "l2relay.intf.trust", 0, 0, 1)                                        \
  SETTING(X(rpcclt_openapiDsL2RelayVlanModeGet), X(rpcclt_openapiDsL2RelayVlanModeSet),            \
          VLAN, OPEN_CONTROL_t, "l2relay.vlan.mode", 0, 0, 1)                                      \
  SETTING(X(rpcclt_openapiDsL2RelayCircuitIdGet), X(rpcclt_openapiDsL2RelayCircuitIdSet),          \
          VLAN, OPEN_CONTROL_t, "l2relay.vlan.circuit_id", 0, 0, 1)                                \
  TEXT_SETTING(X(rpcclt_openapiDsL2RelayRemoteIdGet), X(rpcclt_openapiDsL2RelayRemoteIdSet),       \
               VLAN, "l2relay.vlan.remote_id", "", ANY, 0, OPEN_DS_REMOTE_ID_MAX)

// The database is kept on the switch while its server address is 0, on
// that server otherwise (a unicast address). VLANs are enabled by ranges
// of existing VLANs; EnabledVlanRangeNextGet answers the first run of
// enabled VLANs after *vlanEnd (0 for the first), OPEN_E_NOT_FOUND after
// the last. Bindings are named by their client's MAC address and walked
// per type in address order from "" (the first); a static binding replaces
// what the switch learned for that address. The remaining lease of a
// dynamic binding is in seconds (0 for static ones).
#define VELTRUM_CALLS_dhcp_snooping(X)                                                             \
  X(rpcclt_openapiDhcpSnoopingDbIpAddressGet, (openapiClientHandle_t * client, uint32_t *ipAddr))  \
  X(rpcclt_openapiDsDbIpAddrSet, (openapiClientHandle_t * client, uint32_t ipAddr))                \
  X(rpcclt_openapiDhcpSnoopingDbFileNameMaxLengthGet,                                              \
    (openapiClientHandle_t * client, uint32_t *maxLength))                                         \
  X(rpcclt_openapiDhcpSnoopingEnabledVlanRangeNextGet,                                             \
    (openapiClientHandle_t * client, uint32_t *vlanStart, uint32_t *vlanEnd))                      \
  X(rpcclt_openapiDsVlanConfigSet,                                                                 \
    (openapiClientHandle_t * client, uint32_t vlanStart, uint32_t vlanEnd, OPEN_CONTROL_t mode))   \
  X(rpcclt_openapiDsBindingGetNext,                                                                \
    (openapiClientHandle_t * client, OPEN_DS_BINDING_TYPE_t type, const open_buffdesc *macAddr,    \
     open_buffdesc *nextMacAddr, uint32_t *vlanId, open_inet_addr_t *ipAddr, uint32_t *ifNum,      \
     uint32_t *remainingLease))                                                                    \
  X(rpcclt_openapiDsIpStaticBindingAdd,                                                            \
    (openapiClientHandle_t * client, const open_buffdesc *macAddr, uint32_t vlanId,                \
     open_inet_addr_t ipAddr, uint32_t ifNum))                                              \
  X(rpcclt_openapiDsIpStaticBindingRemove, (openapiClientHandle_t * client, const open_buffdesc *macAddr)) \
  X(rpcclt_openapiDsIntfStatsGet,                                                                  \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_DS_INTF_STATS_t *stats))                 \
  X(rpcclt_openapiDsL2RelayIntfStatsGet,                                                           \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_DS_L2RELAY_INTF_STATS_t *stats))

VELTRUM_PLATFORM_FAMILY(dhcp_snooping, 15)
