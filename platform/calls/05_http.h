// The web front end's settings and certificates.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_http(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_http(X)

VELTRUM_PLATFORM_FAMILY(http, 5)
