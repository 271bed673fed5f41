// The platform calls the agent makes: one line per call, its full signature.
//
//   X(name, (parameters))
//
// From this one list come the client stubs (platform/openapi.h), the wire
// numbering (the position in the list) and the service's dispatch
// (platform/rpc_server.h). Every call returns open_error_t and takes the
// client handle first.
//
// Parameter kinds and how they travel:
//   integer, enum or record by value       in
//   const T *  (record, integer)           in; null allowed
//   T *        (record, integer)           in and out; null allowed
//   const open_buffdesc *                  in: the `size` bytes at `pstart`
//   open_buffdesc *                        in and out: the service sees the
//                                          caller's size, never writes past
//                                          it, and sets `size` to what it wrote
// Add a call by adding its line here and its implementation in sim/.
#pragma once

#include "platform/open_types.h"

#define VELTRUM_PLATFORM_CALLS(X)                                                                  \
  /* ---- RPC service, application control, configuration ---- */                                \
  X(rpcclt_openapiConnectivityCheck, (openapiClientHandle_t * client))                             \
  X(rpcclt_openapiApiVersionGet, (openapiClientHandle_t * client, open_revision_data_t * version)) \
  X(rpcclt_openapiAppCtrlVersionSet,                                                               \
    (openapiClientHandle_t * client, const open_buffdesc *appName, const open_buffdesc *version))  \
  X(rpcclt_openapiAppCtrlStatusSet,                                                                \
    (openapiClientHandle_t * client, const open_buffdesc *appName, const open_buffdesc *status))   \
  X(rpcclt_openapiSaveConfig, (openapiClientHandle_t * client))                                    \
                                                                                                   \
  /* ---- interfaces ---- */                                                                       \
  X(openapiIfFirstGet, (openapiClientHandle_t * client, OPEN_INTF_TYPE_t ifType, uint32_t *ifNum)) \
  X(openapiIfNextGet, (openapiClientHandle_t * client, OPEN_INTF_TYPE_t ifType, uint32_t ifNum,    \
                       uint32_t *nextIfNum))                                                       \
  X(openapiIfNameGet, (openapiClientHandle_t * client, uint32_t ifNum, open_buffdesc *ifName))     \
  X(openapiIfTypeGet, (openapiClientHandle_t * client, uint32_t ifNum, OPEN_INTF_TYPE_t *ifType))  \
                                                                                                   \
  /* ---- VLANs ---- */                                                                            \
  X(rpcclt_openapiDot1VlanMaxGet, (openapiClientHandle_t * client, uint32_t *maxVlanId))           \
  X(openapiVlanCreatedCheck, (openapiClientHandle_t * client, uint32_t vlanId))                    \
  X(openapiVlanNextGet, (openapiClientHandle_t * client, uint32_t vlanId, uint32_t *nextVlanId))   \
  X(rpcclt_openapiVlanTypeGet, (openapiClientHandle_t * client, uint32_t vlanId,                   \
                                OPEN_VLAN_TYPE_t *vlanType))                                       \
                                                                                                   \
  /* ---- addresses and the management network ---- */                                             \
  X(rpcclt_openapiInetAton,                                                                        \
    (openapiClientHandle_t * client, const open_buffdesc *ipAddrText, uint32_t *ipAddr))           \
  X(rpcclt_openapiNetworkMgmtVlanGet, (openapiClientHandle_t * client, uint32_t *vlanId))          \
  X(rpcclt_openapiRtrVlanIntfIfNumGet,                                                             \
    (openapiClientHandle_t * client, uint32_t vlanId, uint32_t *ifNum))                            \
  X(rpcclt_openapiRtrIntfIpAddrGet, (openapiClientHandle_t * client, OPEN_AF_t family,             \
                                     uint32_t ifNum, open_inet_addr_t *addr, uint32_t *pfxLen))    \
  X(rpcclt_openapiNetworkPortIPv4AddrGet,                                                          \
    (openapiClientHandle_t * client, uint32_t *ipAddr, uint32_t *subnetMask))                      \
                                                                                                   \
  /* ---- users and login ---- */                                                                  \
  X(rpcclt_openapiUserSessionAuthentication,                                                       \
    (openapiClientHandle_t * client, const open_buffdesc *userName, const open_buffdesc *password, \
     OPEN_LOGIN_TYPE_t loginType, const open_buffdesc *clientAddr,                                 \
     OPEN_LOGIN_ACCESS_LEVELS_t *accessLevel, OPEN_USER_AUTH_METHOD_t *authMethod,                 \
     OPEN_BOOL_t *defaultPassword))                                                                \
  X(rpcclt_openapiUserLockoutStatusGet, (openapiClientHandle_t * client,                           \
                                         const open_buffdesc *userName,                            \
                                         OPEN_USER_LOCKOUT_STATUS_t *status))                      \
  X(rpcclt_openapiUserPasswordSizeGet, (openapiClientHandle_t * client, uint32_t encrypted,        \
                                        uint32_t *minLength, uint32_t *maxLength))                 \
  X(rpcclt_openapiValidateUserPassword,                                                            \
    (openapiClientHandle_t * client, const open_buffdesc *userName, const open_buffdesc *password))\
  X(rpcclt_openapiUserSet,                                                                         \
    (openapiClientHandle_t * client, const open_buffdesc *userName, const open_buffdesc *password))\
                                                                                                   \
  /* ---- Dynamic ARP Inspection ---- */                                                           \
  X(rpcclt_openapiDaiSourceMacValidateModeGet,                                                     \
    (openapiClientHandle_t * client, OPEN_CONTROL_t *mode))                                        \
  X(rpcclt_openapiDaiSourceMacValidateModeSet, (openapiClientHandle_t * client, OPEN_CONTROL_t mode)) \
  X(rpcclt_openapiDaiDestMacValidateModeGet, (openapiClientHandle_t * client, OPEN_CONTROL_t *mode))  \
  X(rpcclt_openapiDaiDestMacValidateModeSet, (openapiClientHandle_t * client, OPEN_CONTROL_t mode))   \
  X(rpcclt_openapiDaiIpAddrValidateModeGet, (openapiClientHandle_t * client, OPEN_CONTROL_t *mode))   \
  X(rpcclt_openapiDaiIpAddrValidateModeSet, (openapiClientHandle_t * client, OPEN_CONTROL_t mode))    \
  X(rpcclt_openapiDaiVlanEnableGet,                                                                \
    (openapiClientHandle_t * client, uint32_t vlanId, OPEN_CONTROL_t *mode))                       \
  X(rpcclt_openapiDaiVlanEnableSet,                                                                \
    (openapiClientHandle_t * client, uint32_t vlanId, OPEN_CONTROL_t mode))                        \
  X(rpcclt_openapiDaiVlanLoggingEnableGet,                                                         \
    (openapiClientHandle_t * client, uint32_t vlanId, OPEN_CONTROL_t *mode))                       \
  X(rpcclt_openapiDaiVlanLoggingEnableSet,                                                         \
    (openapiClientHandle_t * client, uint32_t vlanId, OPEN_CONTROL_t mode))                        \
  X(rpcclt_openapiDaiVlanArpAclGet,                                                                \
    (openapiClientHandle_t * client, uint32_t vlanId, open_buffdesc *aclName))                     \
  X(rpcclt_openapiDaiVlanArpAclSet,                                                                \
    (openapiClientHandle_t * client, uint32_t vlanId, const open_buffdesc *aclName))               \
  X(rpcclt_openapiDaiVlanArpAclStaticFlagGet,                                                      \
    (openapiClientHandle_t * client, uint32_t vlanId, OPEN_CONTROL_t *staticFlag))                 \
  X(rpcclt_openapiDaiVlanArpAclStaticFlagSet,                                                      \
    (openapiClientHandle_t * client, uint32_t vlanId, OPEN_CONTROL_t staticFlag))                  \
  X(rpcclt_openapiDaiIntfTrustGet,                                                                 \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_BOOL_t *trustMode))                      \
  X(rpcclt_openapiDaiIntfTrustSet,                                                                 \
    (openapiClientHandle_t * client, uint32_t ifNum, OPEN_BOOL_t trustMode))                       \
  X(rpcclt_openapiDaiIntfRateLimitGet,                                                             \
    (openapiClientHandle_t * client, uint32_t ifNum, int32_t *rate))                               \
  X(rpcclt_openapiDaiIntfRateLimitSet,                                                             \
    (openapiClientHandle_t * client, uint32_t ifNum, int32_t rate))                                \
  X(rpcclt_openapiDaiIntfBurstIntervalGet,                                                         \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t *burstInterval))                     \
  X(rpcclt_openapiDaiIntfBurstIntervalSet,                                                         \
    (openapiClientHandle_t * client, uint32_t ifNum, uint32_t burstInterval))                      \
  X(rpcclt_openapiDaiVlanNextGet, (openapiClientHandle_t * client, uint32_t vlanId,                \
                                   uint32_t *nextVlanId))                                          \
  X(rpcclt_openapiDaiVlanStatsGet, (openapiClientHandle_t * client, uint32_t vlanId,               \
                                    OPEN_DAI_VLAN_STATS_t *stats))                                 \
  /* ARP ACLs: an empty name asks for the first ACL, sequence 0 for the first rule. */            \
  X(rpcclt_openapiArpAclNextGet,                                                                   \
    (openapiClientHandle_t * client, const open_buffdesc *aclName, open_buffdesc *nextAclName))    \
  X(rpcclt_openapiArpAclCreate, (openapiClientHandle_t * client, const open_buffdesc *aclName))    \
  X(rpcclt_openapiArpAclDelete, (openapiClientHandle_t * client, const open_buffdesc *aclName))    \
  X(rpcclt_openapiArpAclRuleNextGetV2,                                                             \
    (openapiClientHandle_t * client, const open_buffdesc *aclName, uint32_t seqNo,                 \
     uint32_t *nextSeqNo, uint32_t *ipAddr, open_buffdesc *macAddr,                                \
     OPEN_ARP_ACL_RULE_ACTION_t *action))                                                          \
  X(rpcclt_openapiArpAclRuleAdd,                                                                   \
    (openapiClientHandle_t * client, const open_buffdesc *aclName, uint32_t seqNo,                 \
     uint32_t ipAddr, const open_buffdesc *macAddr, OPEN_ARP_ACL_RULE_ACTION_t action))            \
  X(rpcclt_openapiArpAclRuleDelete,                                                                \
    (openapiClientHandle_t * client, const open_buffdesc *aclName, uint32_t seqNo))               \
                                                                                                   \
  /* ---- files, transfers, reload and factory reset ---- */                                       \
  /* Reload: answers, then the service restarts from the saved configuration. */                  \
  X(rpcclt_openapiSystemReload, (openapiClientHandle_t * client))                                  \
  /* Factory reset: saved and running configuration to defaults, then a reload. */                \
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
  /* Waits up to `timeoutSecs` for a platform event (a transfer ending): OPEN_E_NONE when one     \
     came, OPEN_E_TIMEOUT when none did, OPEN_E_EMPTY when none is outstanding. */                 \
  X(openapiEventWait, (openapiClientHandle_t * client, int32_t timeoutSecs))
