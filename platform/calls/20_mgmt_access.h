// Management access control lists: rules by priority, services, the active list, counters.
#pragma once

#include "platform/family.h"

// The switch keeps one management access list (a name of 1 to 31
// characters) with up to 64 rules by priority (1 to 64, the lower first).
// Each rule permits or denies one service from a source address and mask
// (0.0.0.0 and 0.0.0.0: any source). While the list is active, management
// traffic that it does not permit is dropped and counted.
typedef enum : uint32_t { OPEN_MGMT_ACAL_DENY = 0, OPEN_MGMT_ACAL_PERMIT = 1 } OPEN_MGMT_ACAL_ACTION_t;

typedef enum : uint32_t {
  OPEN_MGMT_ACAL_SERVICE_ANY = 0,
  OPEN_MGMT_ACAL_SERVICE_TELNET = 1,
  OPEN_MGMT_ACAL_SERVICE_HTTP = 2,
  OPEN_MGMT_ACAL_SERVICE_HTTPS = 3,
  OPEN_MGMT_ACAL_SERVICE_SNMP = 4,
  OPEN_MGMT_ACAL_SERVICE_SSH = 5,
  OPEN_MGMT_ACAL_SERVICE_SNTP = 6,
  OPEN_MGMT_ACAL_SERVICE_TFTP = 7,
} OPEN_MGMT_ACAL_SERVICE_t;

enum {
  OPEN_MGMT_ACAL_NAME_MAX = 31,      // characters, without the NUL
  OPEN_MGMT_ACAL_PRIORITY_MAX = 64,  // priorities 1 to this
};

#define VELTRUM_SETTINGS_mgmt_access(SETTING, SETTING_BY, TEXT_SETTING)

// NameGet answers OPEN_E_NOT_FOUND while no list exists. Rules are named
// by the list's name and their priority; RuleFirstGet/RuleNextGet walk
// them by priority. Addresses are host-order IPv4 values.
#define VELTRUM_CALLS_mgmt_access(X)                                                                                   \
  X(rpcclt_openapiMacalNameGet, (openapiClientHandle_t * client, open_buffdesc * name))                                \
  X(rpcclt_openapiMacalListCreate, (openapiClientHandle_t * client, const open_buffdesc *name))                        \
  X(rpcclt_openapiMacalListDelete, (openapiClientHandle_t * client, const open_buffdesc *name))                        \
  X(rpcclt_openapiMacalActivate, (openapiClientHandle_t * client, const open_buffdesc *name))                          \
  X(rpcclt_openapiMacalDeactivate, (openapiClientHandle_t * client, const open_buffdesc *name))                        \
  X(rpcclt_openapiMacalIsAnyListActivated, (openapiClientHandle_t * client, OPEN_BOOL_t * active))                     \
  X(rpcclt_openapiMacalStatsPacketsFilteredGet, (openapiClientHandle_t * client, uint32_t * count))                    \
  X(rpcclt_openapiMacalRuleExists,                                                                                     \
    (openapiClientHandle_t * client, const open_buffdesc *name, uint32_t priority, OPEN_BOOL_t *exists))               \
  X(rpcclt_openapiMacalRuleEntryAdd, (openapiClientHandle_t * client, const open_buffdesc *name, uint32_t priority))   \
  X(rpcclt_openapiMacalRuleRemove, (openapiClientHandle_t * client, const open_buffdesc *name, uint32_t priority))     \
  X(rpcclt_openapiMacalRuleFirstGet, (openapiClientHandle_t * client, const open_buffdesc *name, uint32_t *priority))  \
  X(rpcclt_openapiMacalRuleNextGet,                                                                                    \
    (openapiClientHandle_t * client, const open_buffdesc *name, uint32_t priority, uint32_t *nextPriority))            \
  X(rpcclt_openapiMacalRuleActionAdd,                                                                                  \
    (openapiClientHandle_t * client, const open_buffdesc *name, uint32_t priority, OPEN_MGMT_ACAL_ACTION_t action))    \
  X(rpcclt_openapiMacalRuleActionGet,                                                                                  \
    (openapiClientHandle_t * client, const open_buffdesc *name, uint32_t priority, OPEN_MGMT_ACAL_ACTION_t *action))   \
  X(rpcclt_openapiMacalRuleServiceAdd,                                                                                 \
    (openapiClientHandle_t * client, const open_buffdesc *name, uint32_t priority, OPEN_MGMT_ACAL_SERVICE_t service))  \
  X(rpcclt_openapiMacalRuleServiceGet,                                                                                 \
    (openapiClientHandle_t * client, const open_buffdesc *name, uint32_t priority, OPEN_MGMT_ACAL_SERVICE_t *service)) \
  X(rpcclt_openapiMacalRuleSrcIpMaskAdd,                                                                               \
    (openapiClientHandle_t * client, const open_buffdesc *name, uint32_t priority, uint32_t ipAddr, uint32_t mask))    \
  X(rpcclt_openapiMacalRuleSrcIpMaskGet,                                                                               \
    (openapiClientHandle_t * client, const open_buffdesc *name, uint32_t priority, uint32_t *ipAddr, uint32_t *mask))  \
  X(rpcclt_openapiOpenIPtoStringGet, (openapiClientHandle_t * client, open_inet_addr_t ipAddr, open_buffdesc * ipText))

VELTRUM_PLATFORM_FAMILY(mgmt_access, 20)
