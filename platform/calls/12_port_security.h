// Port security (MAC locking): global and per-interface modes, limits,
// learned and static entries, violations.
#pragma once

#include "platform/family.h"

// Most addresses a port may learn, and keep as static entries.
enum {
  OPEN_PML_DYNAMIC_LIMIT_MAX = 4096,
  OPEN_PML_STATIC_LIMIT_MAX = 20,
};

#define VELTRUM_SETTINGS_port_security(SETTING, SETTING_BY, TEXT_SETTING)                          \
  SETTING(X(rpcclt_openapiPmlGlobalAdminModeGet), X(rpcclt_openapiPmlGlobalAdminModeSet),           \
          GLOBAL, OPEN_CONTROL_t, "pml.admin", 0, 0, 1)                                            \
  SETTING(X(rpcclt_openapiPmlIntfModeGet), X(rpcclt_openapiPmlIntfModeSet),                         \
          INTF, OPEN_CONTROL_t, "pml.intf.mode", 0, 0, 1)                                          \
  SETTING(X(rpcclt_openapiPmlIntfViolationDDisableModeGet),                                        \
          X(rpcclt_openapiPmlIntfViolationDDisableModeSet),                                        \
          INTF, OPEN_CONTROL_t, "pml.intf.violation_shutdown", 0, 0, 1)                            \
  SETTING(X(rpcclt_openapiPmlIntfViolationTrapModeGet), X(rpcclt_openapiPmlIntfViolationTrapModeSet), \
          INTF, OPEN_CONTROL_t, "pml.intf.violation_trap", 0, 0, 1)

// The limits refuse a value below what the port holds already. Learned
// entries are walked per port by MAC address and VLAN; the first call asks
// for the first entry. A port without violation answers an empty address
// and VLAN 0.
#define VELTRUM_CALLS_port_security(X)                                                             \
  X(rpcclt_openapiPmlIntfDynamicLimitGet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *limit)) \
  X(rpcclt_openapiPmlIntfDynamicLimitSet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t limit))  \
  X(rpcclt_openapiPmlIntfStaticLimitGet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *limit))  \
  X(rpcclt_openapiPmlIntfStaticLimitSet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t limit))   \
  X(rpcclt_openapiPmlIntfDynamicEntryGetFirst,                                                     \
    (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *macAddr, uint32_t *vlanId))    \
  X(rpcclt_openapiPmlIntfDynamicEntryGetNext,                                                      \
    (openapiClientHandle_t * client, uint32_t ifNum, const open_buffdesc *macAddr, uint32_t vlanId, \
     open_buffdesc *nextMacAddr, uint32_t *nextVlanId))                                            \
  X(rpcclt_openapiPmlIntfDynamicLearnedAddrCountGet,                                               \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *count))                             \
  X(rpcclt_openapiPmlIntfDynamicToStaticMove, (openapiClientHandle_t * client, uint32_t ifNum))    \
  X(rpcclt_openapiPmlIntfLastViolationAddrGet,                                                     \
    (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *macAddr, uint32_t *vlanId))

VELTRUM_PLATFORM_FAMILY(port_security, 12)
