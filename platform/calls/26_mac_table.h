// The MAC address table: entries, aging, static entries, counts.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_mac_table(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_mac_table(X)

VELTRUM_PLATFORM_FAMILY(mac_table, 26)
