// Loop protection: global timers, per-port modes and actions, detection
// state and counters.
#pragma once

#include "platform/family.h"

typedef enum : uint32_t {
  OPEN_LOOP_ACTION_SHUTDOWN = 0,  // disable the port
  OPEN_LOOP_ACTION_LOG = 1,       // log only
  OPEN_LOOP_ACTION_BOTH = 2,      // log and disable
} OPEN_LOOP_PROTECT_ACTION_t;

// The transmit interval and disable time are seconds; a disable time of 0
// keeps a port disabled until it is enabled by hand.
#define VELTRUM_SETTINGS_loop_protection(SETTING, SETTING_BY, TEXT_SETTING)                        \
  SETTING(X(rpcclt_openapiLoopProtectAdminModeGet), X(rpcclt_openapiLoopProtectAdminModeSet),       \
          GLOBAL, OPEN_CONTROL_t, "loop.admin", 0, 0, 1)                                           \
  SETTING(X(rpcclt_openapiLoopProtectTxTimerGet), X(rpcclt_openapiLoopProtectTxTimerSet),           \
          GLOBAL, uint32_t, "loop.tx_interval", 5, 1, 10)                                          \
  SETTING(X(rpcclt_openapiLoopProtectMaxPduReceiveGet), X(rpcclt_openapiLoopProtectMaxPduReceiveSet), \
          GLOBAL, uint32_t, "loop.rx_pdu", 1, 1, 10)                                               \
  SETTING(X(rpcclt_openapiLoopProtectDisableTimerGet), X(rpcclt_openapiLoopProtectDisableTimerSet), \
          GLOBAL, uint32_t, "loop.disable_timer", 0, 0, 604800)                                    \
  SETTING(X(rpcclt_openapiLoopProtectPortAdminModeGet), X(rpcclt_openapiLoopProtectPortAdminModeSet), \
          INTF, OPEN_CONTROL_t, "loop.intf.mode", 0, 0, 1)                                         \
  SETTING(X(rpcclt_openapiLoopProtectPortActionGet), X(rpcclt_openapiLoopProtectPortActionSet),     \
          INTF, OPEN_LOOP_PROTECT_ACTION_t, "loop.intf.action", 0, 0, 2)

// What the port saw: whether a loop is detected now, whether the port is
// disabled by it, how many loops it detected and the seconds since the
// last one (0 when none).
#define VELTRUM_CALLS_loop_protection(X)                                                           \
  X(rpcclt_openapiLoopProtectIsLoopDetected, (openapiClientHandle_t * client, uint32_t ifNum, OPEN_BOOL_t *detected)) \
  X(rpcclt_openapiLoopProtectIsPortDisabled, (openapiClientHandle_t * client, uint32_t ifNum, OPEN_BOOL_t *disabled)) \
  X(rpcclt_openapiLoopProtectPortloopDetectCountGet,                                               \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count))                             \
  X(rpcclt_openapiLoopProtectPortTimeSinceLastLoopGet,                                             \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *seconds))                           \
  X(rpcclt_openapiLoopProtectPortStatsClear, (openapiClientHandle_t * client, uint32_t ifNum))     \
  X(rpcclt_openapiLoopProtectAllStatsClear, (openapiClientHandle_t * client))

VELTRUM_PLATFORM_FAMILY(loop_protection, 19)
