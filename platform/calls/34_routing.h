// IPv4 routing: routing interfaces, static routes, the route table, router discovery, IP counters.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_routing(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_routing(X)

VELTRUM_PLATFORM_FAMILY(routing, 34)
