// Voice VLAN and auto VoIP: the voice VLAN, the automatic VLANs of the QoS
// function (wifi and camera), OUI tables and their priorities.
//
// The VLAN module reads the voice VLAN and the automatic VLANs as reserved
// ids that a user may not create, rename or delete; 0 means none is set.
#pragma once

#include "platform/family.h"

// The automatic VLANs of the QoS function.
typedef enum : uint32_t {
  OPEN_QOS_AUTO_VLAN_WIFI = 0,
  OPEN_QOS_AUTO_VLAN_CAMERA = 1,
} OPEN_QOS_AUTO_VLAN_TYPE_t;

#define VELTRUM_SETTINGS_voice_vlan(SETTING, SETTING_BY, TEXT_SETTING)                             \
  SETTING(X(rpcclt_openapiVoipGlobalVlanIdGet), X(rpcclt_openapiVoipGlobalVlanIdSet),              \
          GLOBAL, uint32_t, "voip.vlan", 0, 0, 4093)                                               \
  SETTING_BY(X(rpcclt_openapiQosAutoVlanIdGet), X(rpcclt_openapiQosAutoVlanIdSet),                 \
             GLOBAL, OPEN_QOS_AUTO_VLAN_TYPE_t, 2, uint32_t, "qos.auto_vlan", 0, 0, 4093)

#define VELTRUM_CALLS_voice_vlan(X)

VELTRUM_PLATFORM_FAMILY(voice_vlan, 22)
