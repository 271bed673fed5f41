// Port settings and status, statistics, Green Ethernet, cable tests.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_ports(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_ports(X)

VELTRUM_PLATFORM_FAMILY(ports, 27)
