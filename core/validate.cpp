// Address, name and MAC checks, address conversions, and the port and VLAN
// validators.
#include "core/validate.h"

#include <arpa/inet.h>
#include <regex.h>

#include <bit>
#include <initializer_list>
#include <cstring>

#include "core/platform_client.h"
#include "core/response.h"
#include "core/platform_client.h"
#include "support/log.h"
#include "support/mem.h"

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_hex_digit(char c) { return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

int hex_value(char c) {
  if (is_digit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c - 'A' + 10;
}

// A compiled POSIX expression, freed with its owner. The name expressions are
// constant, so each is compiled once, on first use, and kept.
class Regex {
 public:
  Regex(const char *pattern, int flags) : compiled_(regcomp(&regex_, pattern, flags) == 0) {}
  ~Regex() {
    if (compiled_) regfree(&regex_);
  }
  Regex(const Regex &) = delete;
  Regex &operator=(const Regex &) = delete;

  // False also when the expression could not be compiled.
  bool matches(const char *text) const { return compiled_ && regexec(&regex_, text, 0, nullptr, 0) == 0; }

 private:
  regex_t regex_;
  bool compiled_;
};

const Regex &domain_name_regex() {
  static const Regex regex("^([a-zA-Z0-9]+(-[a-zA-Z0-9]+)*\\.)+[a-zA-Z]{2,}$", REG_EXTENDED);
  return regex;
}

const Regex &host_name_regex() {
  static const Regex regex("^[a-zA-Z0-9][a-zA-Z0-9-]{0,62}(\\.[a-zA-Z0-9][a-zA-Z0-9-]{0,62})*$",
                           REG_EXTENDED | REG_NOSUB);
  return regex;
}

}  // namespace

// ---- address and name checks ----------------------------------------------

int validate_ipv4_text(const char *text) {
  in_addr addr;
  return text && inet_pton(AF_INET, text, &addr) == 1 ? 0 : -1;
}

int validate_ipv6_text(const char *text) {
  in6_addr addr;
  return text && inet_pton(AF_INET6, text, &addr) == 1 ? 0 : -1;
}

int check_zero_ipv4(const char *text) {
  in_addr addr;
  if (!text || inet_pton(AF_INET, text, &addr) != 1) return -1;
  return addr.s_addr == 0 ? 0 : -1;
}

int ip_addr_kind(const char *text) {
  if (!text) return -1;
  if (is_digit(text[0])) {
    if (std::strchr(text, '.')) return 0;
    if (std::strchr(text, ':')) return 1;
    return -1;
  }
  if (is_letter(text[0])) return 2;
  return -1;
}

int validate_domain_name(const char *text) {
  return text && domain_name_regex().matches(text) ? 0 : -1;
}

int validate_host_name(const char *text) {
  if (!text || std::strlen(text) >= 256) return -1;
  return host_name_regex().matches(text) ? 0 : -1;
}

int validate_name_text(const char *text) {
  if (!text) return -1;
  size_t length = std::strlen(text);
  if (length < 1 || length > 32) return -1;
  for (size_t i = 0; i < length; ++i) {
    char c = text[i];
    if (!is_digit(c) && !is_letter(c) && c != '-' && c != '.' && c != '_' && c != ':') return -1;
  }
  return 0;
}

// ---- MAC address texts -------------------------------------------------------

int validate_mac_text(const char *text) {
  if (!text || std::strlen(text) != 17) return -1;
  for (size_t i = 0; i < 17; ++i) {
    bool separator_position = i % 3 == 2;
    if (separator_position ? text[i] != ':' : !is_hex_digit(text[i])) return -1;
  }
  return 0;
}

int check_zero_mac(const char *text) {
  if (!text) return -1;
  return std::strcmp(text, "00:00:00:00:00:00") == 0 ? -1 : 0;
}

int mac_text_to_bytes(const char *text, uint8_t bytes[6]) {
  if (!text || !bytes || std::strlen(text) != 17) return -1;
  uint8_t packed[6] = {};
  size_t digits = 0;
  for (size_t i = 0; i < 17; ++i) {
    char c = text[i];
    if (c < '0' || c > 'f') return -1;
    if (c != ':' && !is_hex_digit(c)) return -1;
    bool separator_position = i % 3 == 2;
    if (c == ':') {
      // Early success: the caller's bytes stay as they were.
      if (!separator_position) return 0;
      continue;
    }
    if (separator_position) return -1;
    uint8_t nibble = static_cast<uint8_t>(hex_value(c));
    packed[digits / 2] = static_cast<uint8_t>(digits % 2 == 0 ? nibble << 4 : packed[digits / 2] | nibble);
    ++digits;
  }
  std::memcpy(bytes, packed, sizeof packed);
  return 0;
}

int validate_oui_text(const char *text) {
  char oui[32] = {};
  strncpyt(oui, text, sizeof oui - 1);
  if (std::strlen(oui) > 8) return -1;
  if (oui[2] != ':' || oui[5] != ':') return -1;
  for (int i : {0, 1, 3, 4, 6, 7})
    if (!is_hex_digit(oui[i])) return -1;
  return 0;
}

// ---- address conversions -------------------------------------------------------

char *platform_addr_to_text(const open_inet_addr_t *addr, char *out) {
  if (!addr || !out) return nullptr;
  if (addr->family == OPEN_AF_INET) {
    in_addr network{htonl(addr->addr.ipv4)};
    return inet_ntop(AF_INET, &network, out, kInetAddrTextSize) ? out : nullptr;
  }
  if (addr->family == OPEN_AF_INET6)
    return inet_ntop(AF_INET6, addr->addr.ipv6, out, kInetAddrTextSize) ? out : nullptr;
  return nullptr;
}

int ipv4_to_text(uint32_t host_addr, char *out) {
  if (!out) return -1;
  char text[kIpv4TextSize] = {};
  in_addr network{htonl(host_addr)};
  if (!inet_ntop(AF_INET, &network, text, sizeof text)) return -1;
  strncpyt(out, text, kIpv4TextSize - 1);
  return 0;
}

int mask_to_prefix_len(const char *mask, uint32_t *prefix_len) {
  if (!mask || !prefix_len) return -1;
  char text[32] = {};
  strncpyt(text, mask, sizeof text - 1);
  open_buffdesc desc{static_cast<uint32_t>(std::strlen(text) + 1), text};
  uint32_t value = 0;
  int rc = rpcclt_openapiInetAton(&g_client_handle, &desc, &value);
  if (rc != OPEN_E_NONE) return rc;
  // Every one bit counts, wherever it stands; a 32-bit value has at most 32.
  *prefix_len = static_cast<uint32_t>(std::popcount(value));
  return 0;
}

uint32_t prefix_len_to_mask(uint32_t prefix_len) {
  if (prefix_len == 0) {
    agent_log(7, "Prefix length %u, MASK: 0.0.0.0", prefix_len);
    return 0;
  }
  if (prefix_len > 32) {
    agent_log(7, "Invalid Prefix length %u", prefix_len);
    return 0xFFFFFFFFu;
  }
  return 0xFFFFFFFFu << (32 - prefix_len);
}

// ---- ports and VLANs -------------------------------------------------------------

uint32_t intf_count_get(OPEN_INTF_TYPE_t type) {
  uint32_t ifnum = 0;
  if (openapiIfFirstGet(&g_client_handle, type, &ifnum) != OPEN_E_NONE) return 0;
  uint32_t count = 1;
  while (openapiIfNextGet(&g_client_handle, type, ifnum, &ifnum) == OPEN_E_NONE) ++count;
  return count;
}

uint32_t intf_first_get(OPEN_INTF_TYPE_t type) {
  uint32_t ifnum = 0;
  if (openapiIfFirstGet(&g_client_handle, type, &ifnum) != OPEN_E_NONE) return 0xFFFFFFFFu;
  return ifnum;
}

// The ranges are computed in unsigned arithmetic: a type the switch lacks
// has first = all ones and count 0, so its range [first, first - 1] is empty
// and never accepts.
PortLayout port_layout_get(int kind) {
  PortLayout l;
  if (kind == PORT_KIND_PHYSICAL || kind == PORT_KIND_ANY) {
    l.phy_first = intf_first_get(OPEN_INTF_TYPE_PHY);
    l.phy_count = intf_count_get(OPEN_INTF_TYPE_PHY);
  }
  if (kind == PORT_KIND_LAG || kind == PORT_KIND_ANY) {
    l.lag_first = intf_first_get(OPEN_INTF_TYPE_LAG);
    l.lag_count = intf_count_get(OPEN_INTF_TYPE_LAG);
  }
  return l;
}

int validate_port_in(const PortLayout &l, uint32_t port, int kind) {
  const uint32_t phy_last = l.phy_first + l.phy_count - 1;
  const uint32_t lag_last = l.lag_first + l.lag_count - 1;
  switch (kind) {
    case PORT_KIND_PHYSICAL:
      return port >= l.phy_first && port <= phy_last ? 0 : -1;
    case PORT_KIND_LAG:
      return port >= l.lag_first && port <= lag_last ? 0 : -1;
    case PORT_KIND_ANY:
      if (port < l.phy_first) return -1;
      if (port > phy_last && port < l.lag_first) return -1;
      return port <= lag_last ? 0 : -1;
    default:
      return 0;
  }
}

int validate_port(uint32_t port, int kind) {
  if (kind != PORT_KIND_PHYSICAL && kind != PORT_KIND_LAG && kind != PORT_KIND_ANY) return 0;
  return validate_port_in(port_layout_get(kind), port, kind);
}

int validate_vlan(uint32_t vlan_id) {
  uint32_t max_vlan = 0;
  int rc = rpcclt_openapiDot1VlanMaxGet(&g_client_handle, &max_vlan);
  if (rc != OPEN_E_NONE) return rc;
  return validate_vlan_below(max_vlan, vlan_id);
}

int validate_vlan_below(uint32_t max_vlan, uint32_t vlan_id) {
  if (vlan_id == 0 || vlan_id > max_vlan) {
    format_last_error("Invalid vlan id(%u) allowed range(%u..%u)", vlan_id, 1u, max_vlan);
    return OPEN_E_PARAM;
  }
  int rc = openapiVlanCreatedCheck(&g_client_handle, vlan_id);
  if (rc == OPEN_E_NONE) return 0;
  if (rc == OPEN_E_NOT_FOUND)
    format_last_error("Invalid VLAN ID %u", vlan_id);
  else
    format_last_error("Failed to check VLAN ID %u", vlan_id);
  return rc;
}

int vlan_type_get(uint32_t vlan_id) {
  OPEN_VLAN_TYPE_t type{};
  int rc = rpcclt_openapiVlanTypeGet(&g_client_handle, vlan_id, &type);
  if (rc != OPEN_E_NONE) {
    agent_log(4, "Failed to max VLAN limits:%d", rc);
    return -1;
  }
  return static_cast<int>(type);
}

int validate_file_type(int type) {
  switch (type) {
    case 3: case 5: case 6: case 8: case 9: case 17:
    case 19: case 27: case 35: case 37: case 38: case 45:
      return 0;
    default:
      return -1;
  }
}
