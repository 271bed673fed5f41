// Records, enumerations and result codes of the switch platform's management
// API. Both sides of the RPC channel (the agent's client library and the
// platform service) are built from this one header, so the records travel as
// their bytes.
#pragma once

#include <cstdint>

// Result of every platform call: 0 success, a negative code otherwise. The
// agent compares a few of them by value (-22, -23, -24, -26, -28, -29, -30).
typedef enum {
  OPEN_E_NONE = 0,        // success
  OPEN_E_RPC = -21,       // the call did not reach the platform service, or its answer was lost
  OPEN_E_PARAM = -22,     // invalid value or argument
  OPEN_E_FULL = -23,      // table full
  OPEN_E_EXISTS = -24,    // entry exists already
  OPEN_E_TIMEOUT = -25,   // the operation timed out
  OPEN_E_NOT_FOUND = -26, // entry or VLAN absent
  OPEN_E_DISABLED = -27,  // the feature is administratively disabled
  OPEN_E_FAIL = -28,      // the operation was tried and failed (unreachable host, say)
  OPEN_E_EMPTY = -29,     // nothing to report or nothing to change
  OPEN_E_UNAVAIL = -30,   // not available here (no address configured, say)
  OPEN_E_INTERNAL = -31,  // internal error of the platform
  OPEN_E_BUFFER = -32,    // an output buffer is too small for the answer
} open_error_t;

// A caller's buffer: `size` bytes at `pstart`. For text the size counts the
// terminating NUL. On return from a call that fills it, `size` holds the
// number of bytes written (including the NUL for text).
typedef struct {
  uint32_t size;
  void *pstart;
} open_buffdesc;

typedef enum {
  OPEN_AF_NONE = 0,
  OPEN_AF_INET = 1,   // IPv4: host-order 32-bit value
  OPEN_AF_INET6 = 2,  // IPv6: 16 bytes, network order
} OPEN_AF_t;

typedef struct {
  OPEN_AF_t family;
  union {
    uint32_t ipv4;
    uint8_t ipv6[16];
  } addr;
} open_inet_addr_t;

typedef enum {
  OPEN_INTF_TYPE_PHY = 0,       // physical port
  OPEN_INTF_TYPE_CPU = 1,       // the CPU interface
  OPEN_INTF_TYPE_LAG = 2,       // port-channel (LAG)
  OPEN_INTF_TYPE_VLAN = 3,      // VLAN routing interface
  OPEN_INTF_TYPE_LOOPBACK = 4,
  OPEN_INTF_TYPE_TUNNEL = 5,
  OPEN_INTF_TYPE_SERVICE_PORT = 6,
  OPEN_INTF_TYPE_ANY = 7,
} OPEN_INTF_TYPE_t;

typedef enum { OPEN_DISABLE = 0, OPEN_ENABLE = 1 } OPEN_CONTROL_t;
typedef enum { OPEN_FALSE = 0, OPEN_TRUE = 1 } OPEN_BOOL_t;

// Access level that a successful user authentication reports.
typedef enum {
  OPEN_LOGIN_ACCESS_NONE = 0,
  OPEN_LOGIN_ACCESS_READ_ONLY = 1,
  OPEN_LOGIN_ACCESS_READ_WRITE = 2,
} OPEN_LOGIN_ACCESS_LEVELS_t;

// How the user was authenticated; only a local-database login is not remote.
typedef enum {
  OPEN_AUTH_METHOD_UNDEFINED = 0,
  OPEN_AUTH_METHOD_RADIUS = 1,
  OPEN_AUTH_METHOD_TACACS = 2,
  OPEN_AUTH_METHOD_LOCAL = 3,
} OPEN_USER_AUTH_METHOD_t;

// Kind of management session a login opens (the agent opens kind 5).
typedef enum {
  OPEN_LOGIN_TYPE_UNKNOWN = 0,
  OPEN_LOGIN_TYPE_SERIAL = 1,
  OPEN_LOGIN_TYPE_TELNET = 2,
  OPEN_LOGIN_TYPE_SSH = 3,
  OPEN_LOGIN_TYPE_HTTP = 4,
  OPEN_LOGIN_TYPE_HTTPS = 5,
} OPEN_LOGIN_TYPE_t;

typedef enum {
  OPEN_USER_LOCKOUT_NONE = 0,
  OPEN_USER_LOCKOUT_LOCKED = 1,
} OPEN_USER_LOCKOUT_STATUS_t;

// Version of the platform API.
typedef struct {
  uint8_t major;
  uint8_t minor;
  uint8_t maint_level;
  uint8_t build_num;
} open_revision_data_t;

// VLAN types the platform reports.
typedef enum {
  OPEN_VLAN_TYPE_DEFAULT = 1,
  OPEN_VLAN_TYPE_ADMIN = 2,   // created by an administrator
  OPEN_VLAN_TYPE_DYNAMIC = 3, // learned (GVRP, 802.1X)
} OPEN_VLAN_TYPE_t;

// Dynamic ARP Inspection counters of one VLAN.
typedef struct {
  uint32_t dhcpDrops;
  uint32_t dhcpPermits;
  uint32_t aclDrops;
  uint32_t aclPermits;
  uint32_t sMacFailures;
  uint32_t dMacFailures;
  uint32_t ipValidFailures;
  uint32_t forwarded;
  uint32_t dropped;
} OPEN_DAI_VLAN_STATS_t;

typedef enum {
  OPEN_ARP_ACL_RULE_ACTION_PERMIT = 1,
  OPEN_ARP_ACL_RULE_ACTION_DENY = 2,
} OPEN_ARP_ACL_RULE_ACTION_t;

// Sizes of the platform's text fields, terminating NUL included.
enum {
  OPEN_APP_NAME_SIZE = 20,
  OPEN_APP_STATUS_SIZE = 127,
  OPEN_INTF_NAME_SIZE = 60,
  OPEN_USER_NAME_SIZE = 65,
  OPEN_PASSWORD_SIZE = 129,
  OPEN_ARP_ACL_NAME_SIZE = 32,
  OPEN_MAC_TEXT_SIZE = 18,
};

// ---- files and transfers ----

// How a transfer reaches the other end. LOCAL takes a file of the switch
// itself (a download from an uploaded file).
typedef enum {
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
typedef enum {
  OPEN_FILE_TYPE_CODE = 3,          // a firmware image
  OPEN_FILE_TYPE_CONFIG = 5,        // the startup configuration as text
  OPEN_FILE_TYPE_SYSTEM_LOG = 6,    // "asciilog.txt"
  OPEN_FILE_TYPE_MESSAGE_LOG = 8,   // "msg.txt"
  OPEN_FILE_TYPE_TRAP_LOG = 9,      // "trap.txt"
  OPEN_FILE_TYPE_TECH_SUPPORT = 27, // "TechSupport"
  OPEN_FILE_TYPE_LAST = 45,
} OPEN_FILE_TYPES_t;

typedef enum {
  OPEN_TRANSFER_STATUS_NONE = 0,     // no transfer since the platform started
  OPEN_TRANSFER_STATUS_RUNNING = 1,
  OPEN_TRANSFER_STATUS_SUCCESS = 2,
  OPEN_TRANSFER_STATUS_FAILED = 3,
} OPEN_TRANSFER_STATUS_t;

enum {
  OPEN_FILE_NAME_SIZE = 160,       // a path on the switch, NUL included
  OPEN_TRANSFER_MESSAGE_SIZE = 256,
};
