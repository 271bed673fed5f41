// DHCP snooping (global, per interface, per VLAN, bindings, persistence, counters) and the DHCP L2 relay.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_dhcp_snooping(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_dhcp_snooping(X)

VELTRUM_PLATFORM_FAMILY(dhcp_snooping, 15)
