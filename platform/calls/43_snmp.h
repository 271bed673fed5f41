// SNMP: communities, users, trap receivers and trap flags.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_snmp(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_snmp(X)

VELTRUM_PLATFORM_FAMILY(snmp, 43)
