// Addresses and the management network: address texts, the management VLAN
// and address, routing-interface lookups. InetAton converts a dotted IPv4
// text; InetAddrGet an IPv4 or IPv6 text into an address with its family.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_network(SETTING, SETTING_BY, TEXT_SETTING)

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
    (openapiClientHandle_t * client, uint32_t *ipAddr, uint32_t *subnetMask))

VELTRUM_PLATFORM_FAMILY(network, 3)
