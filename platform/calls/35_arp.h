// ARP: global settings, the caches, static entries.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_arp(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_arp(X)

VELTRUM_PLATFORM_FAMILY(arp, 35)
