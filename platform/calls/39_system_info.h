// System identity and status: names, location, contact, versions, the dashboard summary, discovery settings.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_system_info(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_system_info(X)

VELTRUM_PLATFORM_FAMILY(system_info, 39)
