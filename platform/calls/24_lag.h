// Port-channels (LAGs) and LACP.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_lag(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_lag(X)

VELTRUM_PLATFORM_FAMILY(lag, 24)
