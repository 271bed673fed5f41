// IPv6: global settings, interfaces, prefixes, static routes, neighbours, counters.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_ipv6(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_ipv6(X)

VELTRUM_PLATFORM_FAMILY(ipv6, 36)
