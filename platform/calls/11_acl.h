// Access control lists: IPv4, IPv6 and MAC lists, their rules and matches, interface and VLAN bindings.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_acl(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_acl(X)

VELTRUM_PLATFORM_FAMILY(acl, 11)
