// Users and logins: authentication, lock-out, passwords.
#pragma once

#include "platform/family.h"

// Access level that a successful user authentication reports.
typedef enum : uint32_t {
  OPEN_LOGIN_ACCESS_NONE = 0,
  OPEN_LOGIN_ACCESS_READ_ONLY = 1,
  OPEN_LOGIN_ACCESS_READ_WRITE = 2,
} OPEN_LOGIN_ACCESS_LEVELS_t;

// How the user was authenticated; only a local-database login is not remote.
typedef enum : uint32_t {
  OPEN_AUTH_METHOD_UNDEFINED = 0,
  OPEN_AUTH_METHOD_RADIUS = 1,
  OPEN_AUTH_METHOD_TACACS = 2,
  OPEN_AUTH_METHOD_LOCAL = 3,
} OPEN_USER_AUTH_METHOD_t;

// Kind of management session a login opens (the agent opens kind 5).
typedef enum : uint32_t {
  OPEN_LOGIN_TYPE_UNKNOWN = 0,
  OPEN_LOGIN_TYPE_SERIAL = 1,
  OPEN_LOGIN_TYPE_TELNET = 2,
  OPEN_LOGIN_TYPE_SSH = 3,
  OPEN_LOGIN_TYPE_HTTP = 4,
  OPEN_LOGIN_TYPE_HTTPS = 5,
} OPEN_LOGIN_TYPE_t;

typedef enum : uint32_t {
  OPEN_USER_LOCKOUT_NONE = 0,
  OPEN_USER_LOCKOUT_LOCKED = 1,
} OPEN_USER_LOCKOUT_STATUS_t;

enum {
  OPEN_USER_NAME_SIZE = 65,
  OPEN_PASSWORD_SIZE = 129,
};

#define VELTRUM_SETTINGS_users(SETTING, SETTING_BY, TEXT_SETTING)

#define VELTRUM_CALLS_users(X)                                                                     \
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
  /* Longest user name and longest password, terminating NUL included. */                        \
  X(rpcclt_openapiUserNameSizeGet, (openapiClientHandle_t * client, uint32_t *size))              \
  X(rpcclt_openapiPasswordSizeGet, (openapiClientHandle_t * client, uint32_t *size))              \
  /* The clear password of a local user (the CLI bridge logs in with it). */                      \
  X(rpcclt_openapiUserPasswordGet,                                                                 \
    (openapiClientHandle_t * client, const open_buffdesc *userName, open_buffdesc *password))

VELTRUM_PLATFORM_FAMILY(users, 4)
