// The platform service itself: connectivity, API version, application
// control, saving the running configuration, reload and factory reset; the
// switch's own identity (the system group: name, location, contact,
// description, object id, uptime).
//
// Application control keeps one entry per application name: an entry is
// created, started, stopped and deleted by name (OPEN_E_NOT_FOUND for a name
// without entry, OPEN_E_EXISTS for a second create). An application reports
// its version and status text itself (VersionSet, StatusSet, which need no
// entry); a start or stop sets the status to "Running" or "Stopped" until
// the application reports another. Names are 1 to OPEN_APP_NAME_SIZE - 1
// letters, digits, "-", "_" and ".".
#pragma once

#include "platform/family.h"

// Version of the platform API.
typedef struct {
  uint8_t major;
  uint8_t minor;
  uint8_t maint_level;
  uint8_t build_num;
} open_revision_data_t;

enum { OPEN_APP_STATUS_SIZE = 127 };
enum {
  OPEN_APP_VERSION_SIZE = 32,     // an application's version text, NUL included
  OPEN_SYSTEM_TEXT_LEN_MAX = 255, // name, location, contact, without the NUL
  OPEN_SYSTEM_DESCR_SIZE = 256,   // the description text, NUL included
  OPEN_SYSTEM_OID_SIZE = 128,     // the object id text, NUL included
};

#define VELTRUM_SETTINGS_system(SETTING, SETTING_BY, TEXT_SETTING)                                 \
  TEXT_SETTING(X(rpcclt_openapi1213SystemSysNameGet), X(rpcclt_openapi1213SystemSysNameSet),       \
               GLOBAL, "system.name", "", ANY, 0, OPEN_SYSTEM_TEXT_LEN_MAX)                        \
  TEXT_SETTING(X(rpcclt_openapi1213SystemSysLocationGet), X(rpcclt_openapi1213SystemSysLocationSet), \
               GLOBAL, "system.location", "", ANY, 0, OPEN_SYSTEM_TEXT_LEN_MAX)                    \
  TEXT_SETTING(X(rpcclt_openapi1213SystemSysContactGet), X(rpcclt_openapi1213SystemSysContactSet), \
               GLOBAL, "system.contact", "", ANY, 0, OPEN_SYSTEM_TEXT_LEN_MAX)

#define VELTRUM_CALLS_system(X)                                                                    \
  X(rpcclt_openapiConnectivityCheck, (openapiClientHandle_t * client))                             \
  X(rpcclt_openapiApiVersionGet, (openapiClientHandle_t * client, open_revision_data_t * version)) \
  X(rpcclt_openapiAppCtrlVersionSet,                                                               \
    (openapiClientHandle_t * client, const open_buffdesc *appName, const open_buffdesc *version))  \
  X(rpcclt_openapiAppCtrlStatusSet,                                                                \
    (openapiClientHandle_t * client, const open_buffdesc *appName, const open_buffdesc *status))   \
  X(rpcclt_openapiSaveConfig, (openapiClientHandle_t * client))                                   \
  X(rpcclt_openapiAppCtrlEntryCreate, (openapiClientHandle_t * client, const open_buffdesc *appName)) \
  X(rpcclt_openapiAppCtrlEntryDelete, (openapiClientHandle_t * client, const open_buffdesc *appName)) \
  X(rpcclt_openapiAppCtrlStart, (openapiClientHandle_t * client, const open_buffdesc *appName))    \
  X(rpcclt_openapiAppCtrlStop, (openapiClientHandle_t * client, const open_buffdesc *appName))     \
  X(rpcclt_openapiAppCtrlStatusGet,                                                                \
    (openapiClientHandle_t * client, const open_buffdesc *appName, open_buffdesc *status))         \
  X(rpcclt_openapiAppCtrlVersionGet,                                                               \
    (openapiClientHandle_t * client, const open_buffdesc *appName, open_buffdesc *version))        \
  /* The model and firmware version of the switch, as one text. */                                \
  X(rpcclt_openapi1213SystemSysDescrGet, (openapiClientHandle_t * client, open_buffdesc *descr))  \
  /* The switch's object identifier, dotted ("1.3.6.1.4.1...."). */                               \
  X(rpcclt_openapi1213SysObjectIDGet, (openapiClientHandle_t * client, open_buffdesc *oid))       \
  /* Seconds since the switch booted (a reload starts again from 0). */                           \
  X(rpcclt_openapi1213SystemSysUpTimeGet, (openapiClientHandle_t * client, uint32_t *seconds))

VELTRUM_PLATFORM_FAMILY(system, 0)
