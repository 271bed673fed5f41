// DiffServ: the administrative mode, classes, policies and services.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_diffserv(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_diffserv(X)

VELTRUM_PLATFORM_FAMILY(diffserv, 38)
