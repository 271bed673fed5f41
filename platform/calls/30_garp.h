// GARP and GVRP.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_garp(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_garp(X)

VELTRUM_PLATFORM_FAMILY(garp, 30)
