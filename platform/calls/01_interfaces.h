// Interfaces: walks by type, names, types and the generic interface getters.
#pragma once

#include "platform/family.h"

enum { OPEN_INTF_NAME_SIZE = 60 };

#define VELTRUM_SETTINGS_interfaces(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_interfaces(X)                                                                \
  X(openapiIfFirstGet, (openapiClientHandle_t * client, OPEN_INTF_TYPE_t ifType, uint32_t *ifNum)) \
  X(openapiIfNextGet, (openapiClientHandle_t * client, OPEN_INTF_TYPE_t ifType, uint32_t ifNum,    \
                       uint32_t *nextIfNum))                                                       \
  X(openapiIfNameGet, (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *ifName))     \
  X(openapiIfTypeGet, (openapiClientHandle_t * client, uint32_t ifNum, OPEN_INTF_TYPE_t *ifType))

VELTRUM_PLATFORM_FAMILY(interfaces, 1)
