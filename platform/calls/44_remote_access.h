// SSH and telnet servers and keys.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_remote_access(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_remote_access(X)

VELTRUM_PLATFORM_FAMILY(remote_access, 44)
