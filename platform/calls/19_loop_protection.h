// Loop protection: global timers, per-port modes and actions, detection state and counters.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_loop_protection(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_loop_protection(X)

VELTRUM_PLATFORM_FAMILY(loop_protection, 19)
