// Port mirroring sessions.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_mirroring(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_mirroring(X)

VELTRUM_PLATFORM_FAMILY(mirroring, 29)
