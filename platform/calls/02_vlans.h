// VLANs: the VLAN table, names and types, static membership and tagging per
// VLAN and per interface, port VLAN ids, acceptable frame types, ingress
// filtering, default priorities, the VLAN lists of a port and protected
// ports.
//
// VLAN lists (the VLANs a port belongs to, tags, is forbidden from) come as
// arrays of VLAN ids (uint32_t, ascending) in the caller's buffer; an array
// that does not fit answers OPEN_E_BUFFER.
#pragma once

#include "platform/family.h"

// VLAN types the platform reports.
typedef enum : uint32_t {
  OPEN_VLAN_TYPE_DEFAULT = 1,
  OPEN_VLAN_TYPE_ADMIN = 2,    // created by an administrator
  OPEN_VLAN_TYPE_DYNAMIC = 3,  // learned (GVRP, 802.1X)
} OPEN_VLAN_TYPE_t;

// How an interface takes part in a VLAN: a static member, not a member but
// free to join dynamically (GVRP), or forbidden from joining.
typedef enum : uint32_t {
  OPEN_VLAN_PARTICIPATION_MODE_INCLUDE = 0,
  OPEN_VLAN_PARTICIPATION_MODE_AUTO = 1,
  OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE = 2,
} OPEN_VLAN_PARTICIPATION_MODE_t;

// The frames an interface admits.
typedef enum : uint32_t {
  OPEN_DOT1Q_ADMIT_ALL = 0,
  OPEN_DOT1Q_ADMIT_VLAN_ONLY = 1,      // tagged and priority-tagged only
  OPEN_DOT1Q_ADMIT_UNTAGGED_ONLY = 2,  // untagged and priority-tagged only
} OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t;

enum {
  OPEN_VLAN_NAME_LEN_MAX = 32,      // the longest VLAN name, without its NUL
  OPEN_VLAN_ID_MIN = 1,
  OPEN_DOT1P_PRIORITY_MAX = 7,
  OPEN_PROTECTED_PORT_GROUPS = 3,   // protected port groups 0 .. 2
};

#define VELTRUM_SETTINGS_vlans(SETTING, SETTING_BY, TEXT_SETTING)                                  \
  SETTING(X(rpcclt_openapiVlanIfAcceptFrameTypeGet), X(rpcclt_openapiVlanIfAcceptFrameTypeSet),    \
          INTF, OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t, "vlan.intf.frame_types", 0, 0, 2)                  \
  SETTING(X(rpcclt_openapiQportsEnableIngressFilteringGet),                                        \
          X(rpcclt_openapiQportsEnableIngressFilteringSet),                                        \
          INTF, OPEN_CONTROL_t, "vlan.intf.ingress_filter", 0, 0, 1)                               \
  SETTING(X(rpcclt_openapiVlanIfDefaultUserPriorityGet),                                           \
          X(rpcclt_openapiVlanIfDefaultUserPrioritySet),                                           \
          INTF, uint32_t, "vlan.intf.priority", 0, 0, OPEN_DOT1P_PRIORITY_MAX)

// Create, Delete: OPEN_E_PARAM for an id outside 1..max, OPEN_E_EXISTS /
// OPEN_E_NOT_FOUND; Delete refuses VLAN 1 (OPEN_E_PARAM) and a VLAN that
// still has a role the switch cannot drop by itself (the management VLAN,
// one with a routing interface: OPEN_E_INUSE). Deleting a VLAN removes its
// memberships, resets the port VLAN ids that named it to 1 and forgets every
// per-VLAN setting of every feature.
//
// Participation and tagging are per (VLAN, interface); tagging of an
// interface that is no member of the VLAN is refused (OPEN_E_PARAM).
// CurrentIngressFiltering is what the port does: on when configured, and
// always on while the port admits only tagged frames.
#define VELTRUM_CALLS_vlans(X)                                                                     \
  X(rpcclt_openapiDot1VlanMaxGet, (openapiClientHandle_t * client, uint32_t *maxVlanId))           \
  X(openapiVlanCreatedCheck, (openapiClientHandle_t * client, uint32_t vlanId))                    \
  X(openapiVlanNextGet, (openapiClientHandle_t * client, uint32_t vlanId, uint32_t *nextVlanId))   \
  X(rpcclt_openapiVlanTypeGet, (openapiClientHandle_t * client, uint32_t vlanId,                   \
                                OPEN_VLAN_TYPE_t *vlanType))                                       \
  X(rpcclt_openapiVlanCreate, (openapiClientHandle_t * client, uint32_t vlanId))                   \
  X(rpcclt_openapiVlanDelete, (openapiClientHandle_t * client, uint32_t vlanId))                   \
  X(rpcclt_openapiVlanNameLenGet, (openapiClientHandle_t * client, uint32_t *len))                 \
  X(rpcclt_openapiVlanNameGet, (openapiClientHandle_t * client, uint32_t vlanId,                   \
                                open_buffdesc *vlanName))                                          \
  X(rpcclt_openapiVlanNameSet, (openapiClientHandle_t * client, uint32_t vlanId,                   \
                                const open_buffdesc *vlanName))                                    \
  X(openapiVlanIfParticipationStatusGet,                                                           \
    (openapiClientHandle_t * client, uint32_t vlanId, uint32_t ifNum,                              \
     OPEN_VLAN_PARTICIPATION_MODE_t *status))                                                      \
  X(rpcclt_openapiVlanIfParticipationSet,                                                          \
    (openapiClientHandle_t * client, uint32_t vlanId, uint32_t ifNum,                              \
     OPEN_VLAN_PARTICIPATION_MODE_t mode))                                                         \
  X(openapiVlanIfTaggingGet,                                                                       \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t vlanId, OPEN_CONTROL_t *tagging))    \
  X(rpcclt_openapiVlanIfTaggingSet,                                                                \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t vlanId, OPEN_CONTROL_t tagging))     \
  X(openapiVlanIfPvidGet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *vlanId))      \
  X(rpcclt_openapiVlanIfPvidSet, (openapiClientHandle_t * client, uint32_t ifNum, uint32_t vlanId)) \
  X(rpcclt_openapiVlanVIDListGet,                                                                  \
    (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *vlanList))                     \
  X(rpcclt_openapiDot1qSwPortTaggedVlanListGet,                                                    \
    (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *vlanList))                     \
  X(rpcclt_openapiDot1qSwPortUntaggedVlanListGet,                                                  \
    (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *vlanList))                     \
  X(rpcclt_openapiDot1qSwPortForbiddenVlanListGet,                                                 \
    (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *vlanList))                     \
  X(rpcclt_openapiDot1qSwPortDynamicallyAddedVlanListGet,                                          \
    (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *vlanList))                     \
  X(rpcclt_openapiQportsCurrentIngressFilteringGet,                                                \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_CONTROL_t *mode))                        \
  X(rpcclt_openapiProtectedPortGroupIntfListGet,                                                   \
    (openapiClientHandle_t * client, uint32_t groupId, open_buffdesc *ifList))                     \
  X(rpcclt_openapiProtectedPortGroupIntfAdd,                                                       \
    (openapiClientHandle_t * client, uint32_t groupId, uint32_t ifNum))                            \
  X(rpcclt_openapiProtectedPortGroupIntfDelete,                                                    \
    (openapiClientHandle_t * client, uint32_t groupId, uint32_t ifNum))

VELTRUM_PLATFORM_FAMILY(vlans, 2)
