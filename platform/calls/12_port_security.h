// Port security (MAC locking): global and per-interface modes, limits, learned and static entries, violations.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_port_security(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_port_security(X)

VELTRUM_PLATFORM_FAMILY(port_security, 12)
