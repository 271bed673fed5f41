// MAC-based and protocol-based VLAN classification.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_vlan_classify(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_vlan_classify(X)

VELTRUM_PLATFORM_FAMILY(vlan_classify, 23)
