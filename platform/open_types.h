// Records, enumerations and result codes shared by every family of the
// switch platform's management API. A family's own records live in its
// file under platform/calls/. Both sides of the RPC channel (the agent's
// client library and the platform service) are built from these headers,
// so the records travel as their bytes: every record has fixed-width
// members, and every enumeration a fixed 32-bit underlying type (a value
// outside its enumerators is the platform's to refuse, never undefined).
#pragma once

#include <cstdint>

// Result of every platform call: 0 success, a negative code otherwise. The
// agent compares a few of them by value (-22, -23, -24, -26, -28, -29, -30).
typedef enum : int32_t {
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
  OPEN_E_INUSE = -33,     // the entry is still used by another setting and cannot be removed
} open_error_t;

// A caller's buffer: `size` bytes at `pstart`. For text the size counts the
// terminating NUL. On return from a call that fills it, `size` holds the
// number of bytes written (including the NUL for text).
typedef struct {
  uint32_t size;
  void *pstart;
} open_buffdesc;

typedef enum : uint32_t {
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

typedef enum : uint32_t {
  OPEN_INTF_TYPE_PHY = 0,       // physical port
  OPEN_INTF_TYPE_CPU = 1,       // the CPU interface
  OPEN_INTF_TYPE_LAG = 2,       // port-channel (LAG)
  OPEN_INTF_TYPE_VLAN = 3,      // VLAN routing interface
  OPEN_INTF_TYPE_LOOPBACK = 4,
  OPEN_INTF_TYPE_TUNNEL = 5,
  OPEN_INTF_TYPE_SERVICE_PORT = 6,
  OPEN_INTF_TYPE_ANY = 7,
} OPEN_INTF_TYPE_t;

typedef enum : uint32_t { OPEN_DISABLE = 0, OPEN_ENABLE = 1 } OPEN_CONTROL_t;
typedef enum : uint32_t { OPEN_FALSE = 0, OPEN_TRUE = 1 } OPEN_BOOL_t;

// Sizes of text fields shared by several families, terminating NUL included.
enum {
  OPEN_APP_NAME_SIZE = 20,
  OPEN_MAC_TEXT_SIZE = 18,
};
