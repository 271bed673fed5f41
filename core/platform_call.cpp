#include "core/platform_call.h"
#include "core/validate.h"

#include <arpa/inet.h>

#include <bit>
#include <cstdlib>
#include <cstring>

namespace veltrum::handler::call_detail {

bool parse_inet(const char *text, open_inet_addr_t &out) {
  out = {};
  in_addr a4{};
  if (inet_pton(AF_INET, text, &a4) == 1) {
    out.family = OPEN_AF_INET;
    out.addr.ipv4 = ntohl(a4.s_addr);
    return true;
  }
  if (inet_pton(AF_INET6, text, out.addr.ipv6) == 1) {
    out.family = OPEN_AF_INET6;
    return true;
  }
  return false;
}

json_object *inet_json(const open_inet_addr_t &addr) {
  char text[INET6_ADDRSTRLEN] = {};
  if (addr.family == OPEN_AF_INET6) {
    inet_ntop(AF_INET6, addr.addr.ipv6, text, sizeof text);
  } else if (addr.family == OPEN_AF_INET) {
    in_addr a{htonl(addr.addr.ipv4)};
    inet_ntop(AF_INET, &a, text, sizeof text);
  }
  return json_object_new_string(text);
}

// The empty text is the address 0 ("any").
bool parse_ipv4(const char *text, uint32_t &host_order) {
  if (!*text) {
    host_order = 0;
    return true;
  }
  in_addr a{};
  if (inet_pton(AF_INET, text, &a) != 1) return false;
  host_order = ntohl(a.s_addr);
  return true;
}

json_object *number_list_json(const uint32_t *numbers, size_t count) {
  // Interface numbers and VLAN ids fit 16 bits; the text of 4094 single
  // numbers fits 5 characters each.
  std::vector<uint16_t> small(numbers, numbers + count);
  std::string text(count * 6 + 1, '\0');
  numbers_to_vlan_list(small.data(), small.size(), text.data(), text.size());
  return json_object_new_string(text.c_str());
}

bool mask_prefix(const std::string &text, uint32_t &prefix_len) {
  uint32_t mask = 0;
  if (!parse_ipv4(text.c_str(), mask)) return false;
  uint32_t ones = 0;
  while (ones < 32 && (mask & (0x80000000u >> ones))) ++ones;
  if (ones < 32 && (mask << ones) != 0) return false;  // ones must be contiguous
  prefix_len = ones;
  return true;
}

json_object *mask_json(uint32_t prefix_len) {
  return ipv4_json(prefix_len == 0 ? 0 : prefix_len_to_mask(prefix_len > 32 ? 32 : prefix_len));
}

json_object *hex_json(const uint8_t *bytes, size_t n, char separator) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (size_t i = 0; i < n; ++i) {
    if (i && separator) text += separator;
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return json_object_new_string(text.c_str());
}

json_object *time_json(int64_t seconds) {
  char *text = time_text(static_cast<time_t>(seconds));
  json_object *out = json_object_new_string(text ? text : "");
  std::free(text);
  return out;
}

void duration_into(const Context &c, const char *prefix, uint64_t seconds) {
  const std::pair<const char *, uint64_t> parts[] = {{"Day", seconds / 86400},
                                                     {"Hour", seconds / 3600 % 24},
                                                     {"Min", seconds / 60 % 60},
                                                     {"Sec", seconds % 60}};
  for (const auto &[unit, n] : parts) into(c, (std::string(prefix) + unit).c_str(), json_object_new_int64(static_cast<int64_t>(n)));
}

json_object *ipv4_json(uint32_t host_order) {
  char text[INET_ADDRSTRLEN] = {};
  in_addr a{htonl(host_order)};
  inet_ntop(AF_INET, &a, text, sizeof text);
  return json_object_new_string(text);
}

json_object *source_value(const Context &c, const char *key, bool query) {
  return query ? c.e->query_value(key) : c.e->value(key);
}

// The member's bytes are copied into the low bytes of a 64-bit number: the
// low-order bytes on a little-endian host, which every target is (x86-64,
// 32-bit ARM); a big-endian one would need the copy at the other end.
static_assert(std::endian::native == std::endian::little, "record members are read as little-endian numbers");

json_object *member_json(const void *record, const Member &m) {
  const auto *p = static_cast<const unsigned char *>(record) + m.offset;
  uint64_t raw = 0;
  std::memcpy(&raw, p, m.size);
  if (m.is_signed && m.size < 8 && (raw >> (m.size * 8 - 1)) & 1) raw |= ~uint64_t{0} << (m.size * 8);
  if (!m.is_signed) return integer_json(raw);
  return json_object_new_int64(static_cast<int64_t>(raw));
}

}  // namespace veltrum::handler::call_detail

namespace veltrum::handler {

std::vector<uint32_t> ports_of(json_object *list, const char *key) {
  std::vector<uint32_t> out;
  if (!json_object_is_type(list, json_type_array)) return out;
  for (size_t i = 0; i < json_object_array_length(list); ++i) {
    json_object *port = nullptr;
    int64_t n = 0;
    if (json_object_object_get_ex(json_object_array_get_idx(list, i), key, &port) && read_int(port, n))
      out.push_back(static_cast<uint32_t>(n));
  }
  return out;
}

bool port_list_check(Outcome &out, const char *key, json_object *value) {
  return port_list_check(out, key, value, 3, "Port validation failed");
}

bool port_list_check(Outcome &out, const char *key, json_object *value, int kind, const char *log) {
  if (!json_object_is_type(value, json_type_array)) {
    out.fail("Parsing error - expected %s array ", key);
    return false;
  }
  const Check kPort = port_check(kind, log);
  for (size_t i = 0; i < json_object_array_length(value); ++i) {
    json_object *port = nullptr;
    json_object *element = json_object_array_get_idx(value, i);
    if (!json_object_is_type(element, json_type_object) || !json_object_object_get_ex(element, "port", &port)) {
      out.fail("Parsing Error: 'port' invalid.\n");
      return false;
    }
    if (!check_value(out, "port", kPort, port)) return false;
  }
  return true;
}

}  // namespace veltrum::handler
