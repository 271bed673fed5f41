// The DHCP and DHCPv6 relays.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_dhcp_relay(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_dhcp_relay(X)

VELTRUM_PLATFORM_FAMILY(dhcp_relay, 46)
