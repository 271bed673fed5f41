// Configuration files and transfers, reboot and factory reset of the device.
#pragma once

#include "platform/family.h"

// How a transfer reaches the other end. LOCAL takes a file of the switch
// itself (a download from an uploaded file).
typedef enum : uint32_t {
  OPEN_TRANSFER_NONE = 0,
  OPEN_TRANSFER_TFTP = 1,
  OPEN_TRANSFER_SFTP = 2,
  OPEN_TRANSFER_SCP = 3,
  OPEN_TRANSFER_HTTP = 4,   // staged in /mnt/download for the web front end
  OPEN_TRANSFER_HTTPS = 5,
  OPEN_TRANSFER_FTP = 6,
  OPEN_TRANSFER_LOCAL = 7,
} OPEN_TRANSFER_MODES_t;

// The platform's file types (a transfer carries one). The platform knows
// every number up to OPEN_FILE_TYPE_LAST; which it can transfer depends on
// the type and the direction.
typedef enum : uint32_t {
  OPEN_FILE_TYPE_CODE = 3,          // a firmware image
  OPEN_FILE_TYPE_CONFIG = 5,        // the startup configuration as text
  OPEN_FILE_TYPE_SYSTEM_LOG = 6,    // "asciilog.txt"
  OPEN_FILE_TYPE_MESSAGE_LOG = 8,   // "msg.txt"
  OPEN_FILE_TYPE_TRAP_LOG = 9,      // "trap.txt"
  OPEN_FILE_TYPE_TECH_SUPPORT = 27, // "TechSupport"
  OPEN_FILE_TYPE_LAST = 45,
} OPEN_FILE_TYPES_t;

typedef enum : uint32_t {
  OPEN_TRANSFER_STATUS_NONE = 0,     // no transfer since the platform started
  OPEN_TRANSFER_STATUS_RUNNING = 1,
  OPEN_TRANSFER_STATUS_SUCCESS = 2,
  OPEN_TRANSFER_STATUS_FAILED = 3,
} OPEN_TRANSFER_STATUS_t;

enum {
  OPEN_FILE_NAME_SIZE = 160,       // a path on the switch, NUL included
  OPEN_TRANSFER_MESSAGE_SIZE = 256,
};

#define VELTRUM_SETTINGS_files(SETTING, SETTING_BY, TEXT_SETTING)

// Reload: answers, then the service restarts from the saved configuration.
// Factory reset: saved and running configuration to defaults, then a
// reload. A transfer is set up call by call and started; its end is waited
// for with openapiEventWait: OPEN_E_NONE when an event came, OPEN_E_TIMEOUT
// when none did, OPEN_E_EMPTY when none is outstanding.
#define VELTRUM_CALLS_files(X)                                                                     \
  X(rpcclt_openapiSystemReload, (openapiClientHandle_t * client))                                  \
  X(rpcclt_openapiResetConfigurationSet, (openapiClientHandle_t * client))                         \
  X(rpcclt_openapiSystemFileNameMaxLengthGet, (openapiClientHandle_t * client, uint32_t *length))  \
  /* Writes the support file; `fileName` receives its path on the device. */                      \
  X(rpcclt_openapiSupportFileGenerate, (openapiClientHandle_t * client, open_buffdesc *fileName))  \
  X(rpcclt_openapiTransferModeSet, (openapiClientHandle_t * client, OPEN_TRANSFER_MODES_t mode))   \
  X(rpcclt_openapiTransferUploadFileTypeSet,                                                       \
    (openapiClientHandle_t * client, OPEN_FILE_TYPES_t fileType))                                  \
  X(rpcclt_openapiTransferDownloadFileTypeSet,                                                     \
    (openapiClientHandle_t * client, OPEN_FILE_TYPES_t fileType))                                  \
  /* Server of a TFTP transfer: an IPv4 or IPv6 address or a host name. */                       \
  X(rpcclt_openapiTransferServerAddressSet,                                                        \
    (openapiClientHandle_t * client, const open_buffdesc *serverAddr))                             \
  X(rpcclt_openapiTransferFilePathRemoteSet,                                                       \
    (openapiClientHandle_t * client, const open_buffdesc *path))                                   \
  X(rpcclt_openapiTransferFileRemoteSet,                                                           \
    (openapiClientHandle_t * client, const open_buffdesc *fileName))                               \
  /* The file on the switch: a platform name ("startup-config", an image label) or, for an        \
     upload, an absolute path of a file to send as it is. */                                      \
  X(rpcclt_openapiTransferFileLocalSet,                                                            \
    (openapiClientHandle_t * client, const open_buffdesc *fileName))                               \
  X(rpcclt_openapiTransferUpStartSet, (openapiClientHandle_t * client))                            \
  X(rpcclt_openapiTransferDownStartSet, (openapiClientHandle_t * client))                          \
  X(rpcclt_openapiTransferInProgressGet, (openapiClientHandle_t * client, OPEN_BOOL_t *inProgress)) \
  X(rpcclt_openapiTransferResultGet,                                                               \
    (openapiClientHandle_t * client, OPEN_TRANSFER_STATUS_t *status, open_buffdesc *message))     \
  X(openapiEventWait, (openapiClientHandle_t * client, int32_t timeoutSecs))

VELTRUM_PLATFORM_FAMILY(files, 8)
