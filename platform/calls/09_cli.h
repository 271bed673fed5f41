// Capture of CLI "show" output into files.
#pragma once

#include "platform/family.h"

#define VELTRUM_SETTINGS_cli(SETTING, SETTING_BY, TEXT_SETTING)

// Runs a "show" command of the switch CLI and writes what it prints to a
// file under "/tmp".
#define VELTRUM_CALLS_cli(X)                                                                       \
  X(rpcclt_openapiCliShowExecuteToFile,                                                            \
    (openapiClientHandle_t * client, const open_buffdesc *command, const open_buffdesc *fileName))

VELTRUM_PLATFORM_FAMILY(cli, 9)
