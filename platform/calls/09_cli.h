// Capture of CLI "show" output into files.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_cli(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_cli(X)

VELTRUM_PLATFORM_FAMILY(cli, 9)
