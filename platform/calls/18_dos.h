// Denial-of-service protection: the automatic mode and each attack check with its sizes.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_dos(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_dos(X)

VELTRUM_PLATFORM_FAMILY(dos, 18)
