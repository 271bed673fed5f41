// IGMP and MLD snooping: global, interface and VLAN settings, multicast routers, queriers.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_snooping(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_snooping(X)

VELTRUM_PLATFORM_FAMILY(snooping, 31)
