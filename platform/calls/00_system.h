// The platform service itself: connectivity, API version, application
// control, saving the running configuration, reload and factory reset.
#pragma once

#include "platform/family.h"

// Version of the platform API.
typedef struct {
  uint8_t major;
  uint8_t minor;
  uint8_t maint_level;
  uint8_t build_num;
} open_revision_data_t;

enum { OPEN_APP_STATUS_SIZE = 127 };

#define VELTRUM_SETTINGS_system(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_system(X)                                                                    \
  X(rpcclt_openapiConnectivityCheck, (openapiClientHandle_t * client))                             \
  X(rpcclt_openapiApiVersionGet, (openapiClientHandle_t * client, open_revision_data_t * version)) \
  X(rpcclt_openapiAppCtrlVersionSet,                                                               \
    (openapiClientHandle_t * client, const open_buffdesc *appName, const open_buffdesc *version))  \
  X(rpcclt_openapiAppCtrlStatusSet,                                                                \
    (openapiClientHandle_t * client, const open_buffdesc *appName, const open_buffdesc *status))   \
  X(rpcclt_openapiSaveConfig, (openapiClientHandle_t * client))

VELTRUM_PLATFORM_FAMILY(system, 0)
