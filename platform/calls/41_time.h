// Clock, time zone, summer time and NTP.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_time(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_time(X)

VELTRUM_PLATFORM_FAMILY(time, 41)
