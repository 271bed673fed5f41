// Configuration files and transfers, reboot and factory reset of the device.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_files(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_files(X)

VELTRUM_PLATFORM_FAMILY(files, 8)
