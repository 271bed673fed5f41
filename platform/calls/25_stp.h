// Spanning tree: common, multiple and rapid instances, ports, statistics.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_stp(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_stp(X)

VELTRUM_PLATFORM_FAMILY(stp, 25)
