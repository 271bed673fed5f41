// Name resolution: DNS client settings, servers, static hosts, the cache.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_dns(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_dns(X)

VELTRUM_PLATFORM_FAMILY(dns, 40)
