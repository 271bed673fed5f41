// VLANs: the VLAN table, names, membership, tagging, PVIDs, VLAN lists of
// ports and protected ports.
#pragma once

#include "platform/family.h"

// VLAN types the platform reports.
typedef enum : uint32_t {
  OPEN_VLAN_TYPE_DEFAULT = 1,
  OPEN_VLAN_TYPE_ADMIN = 2,    // created by an administrator
  OPEN_VLAN_TYPE_DYNAMIC = 3,  // learned (GVRP, 802.1X)
} OPEN_VLAN_TYPE_t;

#define VELTRUM_SETTINGS_vlans(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_vlans(X)                                                                     \
  X(rpcclt_openapiDot1VlanMaxGet, (openapiClientHandle_t * client, uint32_t *maxVlanId))           \
  X(openapiVlanCreatedCheck, (openapiClientHandle_t * client, uint32_t vlanId))                    \
  X(openapiVlanNextGet, (openapiClientHandle_t * client, uint32_t vlanId, uint32_t *nextVlanId))   \
  X(rpcclt_openapiVlanTypeGet, (openapiClientHandle_t * client, uint32_t vlanId,                   \
                                OPEN_VLAN_TYPE_t *vlanType))

VELTRUM_PLATFORM_FAMILY(vlans, 2)
