// 802.1X port authentication: the authentication manager, supplicant timers, MAB, logical ports, EAPOL counters.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_dot1x(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_dot1x(X)

VELTRUM_PLATFORM_FAMILY(dot1x, 13)
