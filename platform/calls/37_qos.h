// Class of service: trust modes, shaping, queue scheduling, 802.1p and DSCP maps.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_qos(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_qos(X)

VELTRUM_PLATFORM_FAMILY(qos, 37)
