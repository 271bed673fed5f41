// LLDP and LLDP-MED: local and remote data, timers, per-port settings.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_lldp(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_lldp(X)

VELTRUM_PLATFORM_FAMILY(lldp, 28)
