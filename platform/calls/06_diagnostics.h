// Network diagnostics: ping and traceroute from the switch.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_diagnostics(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_diagnostics(X)

VELTRUM_PLATFORM_FAMILY(diagnostics, 6)
