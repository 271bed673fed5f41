// Logs: memory, flash and trap logs, syslog servers.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_logging(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_logging(X)

VELTRUM_PLATFORM_FAMILY(logging, 42)
