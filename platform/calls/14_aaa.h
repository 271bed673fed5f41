// RADIUS and TACACS+ servers, their statistics, and the authentication method lists.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_aaa(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_aaa(X)

VELTRUM_PLATFORM_FAMILY(aaa, 14)
