// CPU and memory status and thresholds.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_device_status(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_device_status(X)

VELTRUM_PLATFORM_FAMILY(device_status, 47)
