// Addresses and the management network: address texts, the management VLAN
// and address, routing-interface lookups. InetAton converts a dotted IPv4
// text; InetAddrGet an IPv4 or IPv6 text into an address with its family.
#pragma once

#include "platform/family.h"

// How the network port gets its address: as configured, or from a server.
typedef enum : uint32_t {
  OPEN_PROTOCOL_NONE = 0,
  OPEN_PROTOCOL_DHCP = 1,   // IPv4 and IPv6
  OPEN_PROTOCOL_BOOTP = 2,  // IPv4 only
} OPEN_PROTOCOL_t;

typedef enum : uint32_t {
  OPEN_IP6_NBR_STATE_REACHABLE = 0,
  OPEN_IP6_NBR_STATE_STALE = 1,
  OPEN_IP6_NBR_STATE_DELAY = 2,
  OPEN_IP6_NBR_STATE_PROBE = 3,
  OPEN_IP6_NBR_STATE_INCOMPLETE = 4,
} OPEN_IP6_NBR_STATE_t;

// A neighbour of the network port.
typedef struct {
  open_inet_addr_t addr;
  char mac[OPEN_MAC_TEXT_SIZE];  // "HH:HH:HH:HH:HH:HH"
  uint8_t pad[2];
  OPEN_BOOL_t isRouter;
  OPEN_IP6_NBR_STATE_t state;
  uint32_t lastUpdated;          // seconds since the entry last changed
} OPEN_IP6_NBR_ENTRY_t;

enum {
  OPEN_IPV6_ADDR_TEXT_LEN_MAX = 39,  // the longest IPv6 address text
  OPEN_NETWORK_IPV6_ADDRS = 8,       // addresses of the network port
  OPEN_MAC_ADDR_LEN = 6,
};

#define VELTRUM_SETTINGS_network(SETTING, SETTING_BY, TEXT_SETTING)                                \
  SETTING(X(rpcclt_openapiNetworkPortIPv4ProtocolModeGet),                                         \
          X(rpcclt_openapiNetworkPortIPv4ProtocolModeSet),                                         \
          GLOBAL, OPEN_PROTOCOL_t, "network.ipv4_proto", 0, 0, 2)                                  \
  SETTING(X(rpcclt_openapiNetworkPortIPv6AdminModeGet), X(rpcclt_openapiNetworkPortIPv6AdminModeSet), \
          GLOBAL, OPEN_CONTROL_t, "network.ipv6_admin", 1, 0, 1)                                   \
  SETTING(X(rpcclt_openapiNetworkPortIPv6AutoConfigModeGet),                                       \
          X(rpcclt_openapiNetworkPortIPv6AutoConfigModeSet),                                       \
          GLOBAL, OPEN_CONTROL_t, "network.ipv6_autoconf", 0, 0, 1)                                \
  SETTING(X(rpcclt_openapiNetworkPortIPv6ProtocolModeGet),                                         \
          X(rpcclt_openapiNetworkPortIPv6ProtocolModeSet),                                         \
          GLOBAL, OPEN_PROTOCOL_t, "network.ipv6_proto", 0, 0, 1)                                  \
  TEXT_SETTING(X(rpcclt_openapiNetworkPortIPv6GatewayGet), X(rpcclt_openapiNetworkPortIPv6GatewaySet), \
               GLOBAL, "network.ipv6_gateway", "", IPV6, 0, OPEN_IPV6_ADDR_TEXT_LEN_MAX)

#define VELTRUM_CALLS_network(X)                                                                   \
  X(rpcclt_openapiInetAton,                                                                        \
    (openapiClientHandle_t * client, const open_buffdesc *ipAddrText, uint32_t *ipAddr))           \
  X(rpcclt_openapiInetAddrGet,                                                                     \
    (openapiClientHandle_t * client, const open_buffdesc *ipAddrText, open_inet_addr_t *ipAddr))   \
  X(rpcclt_openapiNetworkMgmtVlanGet, (openapiClientHandle_t * client, uint32_t *vlanId))          \
  X(rpcclt_openapiRtrVlanIntfIfNumGet,                                                             \
    (openapiClientHandle_t * client, uint32_t vlanId, uint32_t *ifNum))                            \
  X(rpcclt_openapiRtrIntfIpAddrGet, (openapiClientHandle_t * client, OPEN_AF_t family,             \
                                     uint32_t ifNum, open_inet_addr_t *addr, uint32_t *pfxLen))    \
  X(rpcclt_openapiNetworkPortIPv4AddrGet,                                                          \
    (openapiClientHandle_t * client, uint32_t *ipAddr, uint32_t *subnetMask))                      \
  VELTRUM_CALLS_network_shared(X)

// The management network: the management VLAN (one that exists), the
// network port's IPv4 address, mask and gateway (0: none) set together:
// a unicast address whose host part is neither all zeros nor all ones, a
// mask of 1 to 30 bits, a gateway inside the subnet; a subnet that
// overlaps a routing interface's is refused (OPEN_E_PARAM). Its IPv6
// addresses: GetNext walks them after `addr` (family OPEN_AF_NONE: from the
// first); Add takes a global unicast address with a prefix of 1 to 128 bits
// (64 with EUI-64), PrefixDelete the same address and prefix. Its IPv6
// neighbours: GetNext after entry->addr, the same way.
//
// Routing: the routing mode per address family (OPEN_AF_INET, OPEN_AF_INET6).
// A VLAN that exists gets one routing interface (Create: OPEN_E_EXISTS for a
// second, OPEN_E_FULL past 128); the interface numbers follow the CPU
// interface. IpVlanRtrVlanIdGetNext walks the VLANs that have one (0: from
// the first); IntIfNumToVlanId and RtrIntfVlanIdGet map a number back.
// IpAddrAdd gives a routing interface its IPv4 address (replacing the one it
// had; a subnet overlapping another interface's or the network port's:
// OPEN_E_EXISTS) or an IPv6 address (several, EUI-64 with prefix 64);
// IpAddrDel removes the one named (OPEN_E_NOT_FOUND for another).
//
// Conversions: MacAddrStringToHexGet turns "hh:hh:hh:hh:hh:hh" (or with "-")
// into OPEN_MAC_ADDR_LEN bytes.
#define VELTRUM_CALLS_network_shared(X)                                                            \
  X(rpcclt_openapiNetworkMgmtVlanSet, (openapiClientHandle_t * client, uint32_t vlanId))           \
  X(rpcclt_openapiNetworkPortGatewayIPv4AddrGet, (openapiClientHandle_t * client, uint32_t *gateway)) \
  X(rpcclt_openapiNetworkPortIPv4ParametersSet,                                                    \
    (openapiClientHandle_t * client, uint32_t ipAddr, uint32_t netMask, uint32_t gateway))         \
  X(rpcclt_openapiNetworkPortIPv6AddressGetNext,                                                   \
    (openapiClientHandle_t * client, open_inet_addr_t *addr, uint32_t *pfxLen, OPEN_BOOL_t *eui64)) \
  X(rpcclt_openapiNetworkPortIPv6AddressAdd,                                                       \
    (openapiClientHandle_t * client, open_inet_addr_t addr, uint32_t pfxLen, OPEN_BOOL_t eui64)) \
  X(rpcclt_openapiNetworkPortIPv6PrefixDelete,                                                     \
    (openapiClientHandle_t * client, open_inet_addr_t addr, uint32_t pfxLen))               \
  X(rpcclt_openapiNetworkPortIpv6NbrEntryGetNext,                                                  \
    (openapiClientHandle_t * client, OPEN_IP6_NBR_ENTRY_t *entry))                                 \
  X(rpcclt_openapiRtrAdminModeGet, (openapiClientHandle_t * client, OPEN_AF_t family, OPEN_CONTROL_t *mode)) \
  X(rpcclt_openapiRtrAdminModeSet, (openapiClientHandle_t * client, OPEN_AF_t family, OPEN_CONTROL_t mode)) \
  X(rpcclt_openapiRtrVlanIntfCreate, (openapiClientHandle_t * client, uint32_t vlanId))            \
  X(rpcclt_openapiRtrVlanIntfDelete, (openapiClientHandle_t * client, uint32_t vlanId))            \
  X(rpcclt_openapiIpVlanRtrVlanIdGetNext, (openapiClientHandle_t * client, uint32_t *vlanId))      \
  X(rpcclt_openapiIpVlanRtrIntIfNumToVlanId,                                                       \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *vlanId))                            \
  X(rpcclt_openapiRtrIntfVlanIdGet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *vlanId)) \
  X(rpcclt_openapiRtrIntfIpAddrAdd, (openapiClientHandle_t * client, OPEN_AF_t family, uint32_t ifNum, \
                                     open_inet_addr_t addr, uint32_t pfxLen, OPEN_BOOL_t eui64)) \
  X(rpcclt_openapiRtrIntfIpAddrDel, (openapiClientHandle_t * client, OPEN_AF_t family, uint32_t ifNum, \
                                     open_inet_addr_t addr, uint32_t pfxLen))               \
  X(rpcclt_openapiMacAddrStringToHexGet,                                                           \
    (openapiClientHandle_t * client, const open_buffdesc *macText, open_buffdesc *mac))

VELTRUM_PLATFORM_FAMILY(network, 3)
