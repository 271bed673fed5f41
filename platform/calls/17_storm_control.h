// Storm control: global and per-interface broadcast, multicast and unicast limits and actions.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_storm_control(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_storm_control(X)

VELTRUM_PLATFORM_FAMILY(storm_control, 17)
