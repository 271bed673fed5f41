// Voice VLAN and auto VoIP: global and per-port modes, OUI tables, the automatic QoS VLANs.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_voice_vlan(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_voice_vlan(X)

VELTRUM_PLATFORM_FAMILY(voice_vlan, 22)
