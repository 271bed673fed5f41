// Firmware images: the two slots, activation, copy, description, upgrade.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_firmware(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_firmware(X)

VELTRUM_PLATFORM_FAMILY(firmware, 7)
