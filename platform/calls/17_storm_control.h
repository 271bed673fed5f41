// Storm control: global and per-interface broadcast, multicast and unicast
// limits and actions.
#pragma once

#include "platform/family.h"

typedef enum : uint32_t {
  OPEN_STORM_BCAST = 0,
  OPEN_STORM_MCAST = 1,
  OPEN_STORM_UCAST = 2,
} OPEN_STORMCONTROL_TYPE_t;

typedef enum : uint32_t {
  OPEN_STORM_ACTION_NONE = 0,      // drop the excess only
  OPEN_STORM_ACTION_SHUTDOWN = 1,  // disable the port
  OPEN_STORM_ACTION_TRAP = 2,      // send a trap
} OPEN_STORMCONTROL_ACTION_t;

// Thresholds are percent of the port's speed.
enum { OPEN_STORM_THRESHOLD_MIN = 0, OPEN_STORM_THRESHOLD_MAX = 100 };

#define VELTRUM_SETTINGS_storm_control(SETTING, SETTING_BY, TEXT_SETTING)                          \
  SETTING_BY(X(rpcclt_openapiStormControlModeGet), X(rpcclt_openapiStormControlModeSet),           \
             GLOBAL, OPEN_STORMCONTROL_TYPE_t, 3, OPEN_CONTROL_t, "storm.mode", 0, 0, 1)           \
  SETTING_BY(X(rpcclt_openapiStormControlThresholdGet), X(rpcclt_openapiStormControlThresholdSet), \
             GLOBAL, OPEN_STORMCONTROL_TYPE_t, 3, uint32_t, "storm.threshold", 5,                  \
             OPEN_STORM_THRESHOLD_MIN, OPEN_STORM_THRESHOLD_MAX)                                   \
  SETTING_BY(X(rpcclt_openapiStormControlActionGet), X(rpcclt_openapiStormControlActionSet),       \
             GLOBAL, OPEN_STORMCONTROL_TYPE_t, 3, OPEN_STORMCONTROL_ACTION_t, "storm.action", 0, 0, 2) \
  SETTING_BY(X(rpcclt_openapiStormControlIntfModeGet), X(rpcclt_openapiStormControlIntfModeSet),   \
             INTF, OPEN_STORMCONTROL_TYPE_t, 3, OPEN_CONTROL_t, "storm.intf.mode", 0, 0, 1)        \
  SETTING_BY(X(rpcclt_openapiStormControlIntfThresholdGet),                                        \
             X(rpcclt_openapiStormControlIntfThresholdSet),                                        \
             INTF, OPEN_STORMCONTROL_TYPE_t, 3, uint32_t, "storm.intf.threshold", 5,               \
             OPEN_STORM_THRESHOLD_MIN, OPEN_STORM_THRESHOLD_MAX)

// The per-interface action is read per type and set by one call per type.
#define VELTRUM_CALLS_storm_control(X)                                                             \
  X(rpcclt_openapiStormControlThresholdMinMaxGet,                                                  \
    (openapiClientHandle_t * client, uint32_t *minThreshold, uint32_t *maxThreshold))              \
  X(rpcclt_openapiSwDevCtrlStormControlActionIntfGet,                                              \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_STORMCONTROL_TYPE_t type,                \
     OPEN_STORMCONTROL_ACTION_t *action))                                                          \
  X(rpcclt_openapiSwDevCtrlBcastStormControlActionIntfSet,                                         \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_STORMCONTROL_ACTION_t action))           \
  X(rpcclt_openapiSwDevCtrlMcastStormControlActionIntfSet,                                         \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_STORMCONTROL_ACTION_t action))           \
  X(rpcclt_openapiSwDevCtrlUcastStormControlActionIntfSet,                                         \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_STORMCONTROL_ACTION_t action))

VELTRUM_PLATFORM_FAMILY(storm_control, 17)
