// Companion agents and cloud management switches.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_companion(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_companion(X)

VELTRUM_PLATFORM_FAMILY(companion, 48)
