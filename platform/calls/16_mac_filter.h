// MAC filters: static MAC entries with source and destination port lists.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_mac_filter(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_mac_filter(X)

VELTRUM_PLATFORM_FAMILY(mac_filter, 16)
