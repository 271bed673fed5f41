// MAC-based and protocol-based VLAN classification.
//
// Protocol groups (1 .. OPEN_PBVLAN_GROUP_MAX) have a name, a set of
// EtherTypes (at most OPEN_PBVLAN_PROTOCOLS_MAX), at most one VLAN and a set
// of member ports; a port belongs to at most one group per protocol. The
// protocol set comes as an array of EtherTypes (uint32_t, ascending) in the
// caller's buffer. A MAC-based VLAN entry maps a source MAC address text
// ("hh:hh:hh:hh:hh:hh") to a VLAN that exists.
#pragma once

#include "platform/family.h"

enum {
  OPEN_PBVLAN_GROUP_MAX = 128,
  OPEN_PBVLAN_NAME_LEN_MAX = 16,  // without the NUL
  OPEN_PBVLAN_PROTOCOLS_MAX = 16,
  OPEN_VLAN_MAC_ENTRIES_MAX = 256,
  OPEN_ETHERTYPE_MIN = 0x0600,    // EtherTypes start where frame lengths end
  OPEN_ETHERTYPE_MAX = 0xFFFF,
};

#define VELTRUM_SETTINGS_vlan_classify(SETTING, SETTING_BY, TEXT_SETTING)

// GetFirst/GetNext walk the groups in id order (OPEN_E_NOT_FOUND at the end);
// PortGetNext walks a group's ports (ifNum 0 asks for the first). VlanIDAdd
// replaces nothing: a group with a VLAN refuses another (OPEN_E_EXISTS);
// VlanIDGet answers OPEN_E_NOT_FOUND for a group without one. VlanMacGetNext
// takes the empty text for the first entry.
#define VELTRUM_CALLS_vlan_classify(X)                                                             \
  X(rpcclt_openapiPbVlanGroupCreate, (openapiClientHandle_t * client, uint32_t groupId))           \
  X(rpcclt_openapiPbVlanGroupDelete, (openapiClientHandle_t * client, uint32_t groupId))           \
  X(rpcclt_openapiPbVlanGroupGetFirst, (openapiClientHandle_t * client, uint32_t *groupId))        \
  X(rpcclt_openapiPbVlanGroupGetNext,                                                              \
    (openapiClientHandle_t * client, uint32_t groupId, uint32_t *nextGroupId))                     \
  X(rpcclt_openapiPbVlanGroupNameGet,                                                              \
    (openapiClientHandle_t * client, uint32_t groupId, open_buffdesc *name))                       \
  X(rpcclt_openapiPbVlanGroupNameSet,                                                              \
    (openapiClientHandle_t * client, uint32_t groupId, const open_buffdesc *name))                 \
  X(rpcclt_openapiPbVlanGroupProtocolGet,                                                          \
    (openapiClientHandle_t * client, uint32_t groupId, open_buffdesc *protocols))                  \
  X(rpcclt_openapiPbVlanGroupProtocolAdd,                                                          \
    (openapiClientHandle_t * client, uint32_t groupId, uint32_t protocol))                         \
  X(rpcclt_openapiPbVlanGroupProtocolDelete,                                                       \
    (openapiClientHandle_t * client, uint32_t groupId, uint32_t protocol))                         \
  X(rpcclt_openapiPbVlanGroupVlanIDGet,                                                            \
    (openapiClientHandle_t * client, uint32_t groupId, uint32_t *vlanId))                          \
  X(rpcclt_openapiPbVlanGroupVlanIDAdd,                                                            \
    (openapiClientHandle_t * client, uint32_t groupId, uint32_t vlanId))                           \
  X(rpcclt_openapiPbVlanGroupVlanIDDelete,                                                         \
    (openapiClientHandle_t * client, uint32_t groupId, uint32_t vlanId))                           \
  X(rpcclt_openapiPbVlanGroupPortGetNext,                                                          \
    (openapiClientHandle_t * client, uint32_t groupId, uint32_t ifNum, uint32_t *nextIfNum))       \
  X(rpcclt_openapiPbVlanGroupPortAdd,                                                              \
    (openapiClientHandle_t * client, uint32_t groupId, uint32_t ifNum))                            \
  X(rpcclt_openapiPbVlanGroupPortDelete,                                                           \
    (openapiClientHandle_t * client, uint32_t groupId, uint32_t ifNum))                            \
  X(rpcclt_openapiVlanMacAdd,                                                                      \
    (openapiClientHandle_t * client, const open_buffdesc *mac, uint32_t vlanId))                   \
  X(rpcclt_openapiVlanMacDelete,                                                                   \
    (openapiClientHandle_t * client, const open_buffdesc *mac, uint32_t vlanId))                   \
  X(rpcclt_openapiVlanMacGet,                                                                      \
    (openapiClientHandle_t * client, const open_buffdesc *mac, uint32_t *vlanId))                  \
  X(rpcclt_openapiVlanMacGetNext,                                                                  \
    (openapiClientHandle_t * client, open_buffdesc *mac, uint32_t *vlanId))

VELTRUM_PLATFORM_FAMILY(vlan_classify, 23)
