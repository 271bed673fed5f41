// The multicast forwarding database and automatic video multicast.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_mfdb(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_mfdb(X)

VELTRUM_PLATFORM_FAMILY(mfdb, 33)
