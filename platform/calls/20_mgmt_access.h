// Management access control lists: rules by priority, services, the active list, counters.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_mgmt_access(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_mgmt_access(X)

VELTRUM_PLATFORM_FAMILY(mgmt_access, 20)
