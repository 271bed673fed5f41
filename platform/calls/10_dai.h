// Dynamic ARP Inspection: validation modes, per-VLAN and per-interface
// settings, ARP ACLs and their rules, counters.
#pragma once

#include "platform/family.h"

// Dynamic ARP Inspection counters of one VLAN.
typedef struct {
  uint32_t dhcpDrops;
  uint32_t dhcpPermits;
  uint32_t aclDrops;
  uint32_t aclPermits;
  uint32_t sMacFailures;
  uint32_t dMacFailures;
  uint32_t ipValidFailures;
  uint32_t forwarded;
  uint32_t dropped;
} OPEN_DAI_VLAN_STATS_t;

typedef enum : uint32_t {
  OPEN_ARP_ACL_RULE_ACTION_PERMIT = 1,
  OPEN_ARP_ACL_RULE_ACTION_DENY = 2,
} OPEN_ARP_ACL_RULE_ACTION_t;

enum { OPEN_ARP_ACL_NAME_SIZE = 32 };

// The rate limit -1 means "none"; the ARP ACL of a VLAN names an ARP ACL.
#define VELTRUM_SETTINGS_dai(SETTING, SETTING_BY, TEXT_SETTING)                                    \
  SETTING(X(rpcclt_openapiDaiSourceMacValidateModeGet), X(rpcclt_openapiDaiSourceMacValidateModeSet), \
          GLOBAL, OPEN_CONTROL_t, "dai.smac", 0, 0, 1)                                             \
  SETTING(X(rpcclt_openapiDaiDestMacValidateModeGet), X(rpcclt_openapiDaiDestMacValidateModeSet),  \
          GLOBAL, OPEN_CONTROL_t, "dai.dmac", 0, 0, 1)                                             \
  SETTING(X(rpcclt_openapiDaiIpAddrValidateModeGet), X(rpcclt_openapiDaiIpAddrValidateModeSet),    \
          GLOBAL, OPEN_CONTROL_t, "dai.ip", 0, 0, 1)                                               \
  SETTING(X(rpcclt_openapiDaiVlanEnableGet), X(rpcclt_openapiDaiVlanEnableSet),                    \
          VLAN, OPEN_CONTROL_t, "dai.vlan.enable", 0, 0, 1)                                        \
  SETTING(X(rpcclt_openapiDaiVlanLoggingEnableGet), X(rpcclt_openapiDaiVlanLoggingEnableSet),      \
          VLAN, OPEN_CONTROL_t, "dai.vlan.logging", 1, 0, 1)                                       \
  TEXT_SETTING(X(rpcclt_openapiDaiVlanArpAclGet), X(rpcclt_openapiDaiVlanArpAclSet),               \
               VLAN, "dai.vlan.acl", "", NAME, 0, OPEN_ARP_ACL_NAME_SIZE - 1)                      \
  SETTING(X(rpcclt_openapiDaiVlanArpAclStaticFlagGet), X(rpcclt_openapiDaiVlanArpAclStaticFlagSet), \
          VLAN, OPEN_CONTROL_t, "dai.vlan.acl_static", 0, 0, 1)                                    \
  SETTING(X(rpcclt_openapiDaiIntfTrustGet), X(rpcclt_openapiDaiIntfTrustSet),                      \
          INTF, OPEN_BOOL_t, "dai.intf.trust", 0, 0, 1)                                            \
  SETTING(X(rpcclt_openapiDaiIntfRateLimitGet), X(rpcclt_openapiDaiIntfRateLimitSet),              \
          INTF, int32_t, "dai.intf.rate", 15, -1, 300)                                             \
  SETTING(X(rpcclt_openapiDaiIntfBurstIntervalGet), X(rpcclt_openapiDaiIntfBurstIntervalSet),      \
          INTF, uint32_t, "dai.intf.burst", 1, 1, 15)

// ARP ACLs: an empty name asks for the first ACL, sequence 0 for the first rule.
#define VELTRUM_CALLS_dai(X)                                                                       \
  X(rpcclt_openapiDaiVlanNextGet, (openapiClientHandle_t * client, uint32_t vlanId,                \
                                   uint32_t *nextVlanId))                                          \
  X(rpcclt_openapiDaiVlanStatsGet, (openapiClientHandle_t * client, uint32_t vlanId,               \
                                    OPEN_DAI_VLAN_STATS_t *stats))                                 \
  X(rpcclt_openapiArpAclNextGet,                                                                   \
    (openapiClientHandle_t * client, const open_buffdesc *aclName, open_buffdesc *nextAclName))    \
  X(rpcclt_openapiArpAclCreate, (openapiClientHandle_t * client, const open_buffdesc *aclName))    \
  X(rpcclt_openapiArpAclDelete, (openapiClientHandle_t * client, const open_buffdesc *aclName))    \
  X(rpcclt_openapiArpAclRuleNextGetV2,                                                             \
    (openapiClientHandle_t * client, const open_buffdesc *aclName, uint32_t seqNo,                 \
     uint32_t *nextSeqNo, uint32_t *ipAddr, open_buffdesc *macAddr,                                \
     OPEN_ARP_ACL_RULE_ACTION_t *action))                                                          \
  X(rpcclt_openapiArpAclRuleAdd,                                                                   \
    (openapiClientHandle_t * client, const open_buffdesc *aclName, uint32_t seqNo,                 \
     uint32_t ipAddr, const open_buffdesc *macAddr, OPEN_ARP_ACL_RULE_ACTION_t action))            \
  X(rpcclt_openapiArpAclRuleDelete,                                                                \
    (openapiClientHandle_t * client, const open_buffdesc *aclName, uint32_t seqNo))

VELTRUM_PLATFORM_FAMILY(dai, 10)
