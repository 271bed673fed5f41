// Private VLANs: types, associations, host and promiscuous ports, port modes.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_private_vlan(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_private_vlan(X)

VELTRUM_PLATFORM_FAMILY(private_vlan, 21)
