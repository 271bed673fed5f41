// The DHCP and DHCPv6 servers: pools, exclusions, bindings, counters.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_dhcp_server(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_dhcp_server(X)

VELTRUM_PLATFORM_FAMILY(dhcp_server, 45)
