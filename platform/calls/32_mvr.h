// Multicast VLAN registration.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_mvr(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_mvr(X)

VELTRUM_PLATFORM_FAMILY(mvr, 32)
