// MAC filters: static MAC entries with source and destination port lists.
#pragma once

#include "platform/family.h"

enum { OPEN_MAC_FILTER_MAX = 100 };

// A filter is named by its MAC address text and VLAN; the first call asks
// for the first filter. Port lists come as arrays of interface numbers
// (uint32_t) in the caller's buffer, whose size says how many fit.
#define VELTRUM_SETTINGS_mac_filter(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_mac_filter(X)                                                                \
  X(rpcclt_openapiFilterCreate,                                                                    \
    (openapiClientHandle_t * client, const open_buffdesc *macAddr, uint32_t vlanId))               \
  X(rpcclt_openapiFilterRemove,                                                                    \
    (openapiClientHandle_t * client, const open_buffdesc *macAddr, uint32_t vlanId))               \
  X(rpcclt_openapiFilterFirstGet, (openapiClientHandle_t * client, open_buffdesc *macAddr, uint32_t *vlanId)) \
  X(rpcclt_openapiFilterNextGet,                                                                   \
    (openapiClientHandle_t * client, const open_buffdesc *macAddr, uint32_t vlanId,                \
     open_buffdesc *nextMacAddr, uint32_t *nextVlanId))                                            \
  X(rpcclt_openapiFilterSrcIntfListGet,                                                            \
    (openapiClientHandle_t * client, const open_buffdesc *macAddr, uint32_t vlanId, open_buffdesc *ifList)) \
  X(rpcclt_openapiFilterDstIntfListGet,                                                            \
    (openapiClientHandle_t * client, const open_buffdesc *macAddr, uint32_t vlanId, open_buffdesc *ifList)) \
  X(rpcclt_openapiFilterSrcIntfAdd,                                                                \
    (openapiClientHandle_t * client, const open_buffdesc *macAddr, uint32_t vlanId, uint32_t ifNum)) \
  X(rpcclt_openapiFilterSrcIntfDelete,                                                             \
    (openapiClientHandle_t * client, const open_buffdesc *macAddr, uint32_t vlanId, uint32_t ifNum)) \
  X(rpcclt_openapiFilterDstIntfAdd,                                                                \
    (openapiClientHandle_t * client, const open_buffdesc *macAddr, uint32_t vlanId, uint32_t ifNum)) \
  X(rpcclt_openapiFilterDstIntfDelete,                                                             \
    (openapiClientHandle_t * client, const open_buffdesc *macAddr, uint32_t vlanId, uint32_t ifNum))

VELTRUM_PLATFORM_FAMILY(mac_filter, 16)
