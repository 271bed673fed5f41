// The list notations of request bodies and platform answers: VLAN and port
// lists ("1,3-5,8") in both directions, ether-type lists, and the platform's
// texts of 4-character cells.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "core/response.h"
#include "core/validate.h"
#include "support/log.h"

namespace {

bool starts_with(const char *text, const char *prefix) {
  return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

// Writes runs of the list notation behind what `out` holds already.
class RunWriter {
 public:
  RunWriter(char *out, size_t size) : out_(out), size_(size), used_(strnlen(out, size)) {}

  // False when `out` holds no terminated text to append to.
  bool valid() const { return used_ < size_; }

  // "a" for a single number, "a-b" for a longer run, then "," when asked.
  // False when it did not fit (what fitted stays, terminated).
  bool put(unsigned start, unsigned end, bool comma) {
    char *at = out_ + used_;
    size_t room = size_ - used_;
    int written = start == end ? std::snprintf(at, room, comma ? "%u," : "%u", end)
                               : std::snprintf(at, room, comma ? "%u-%u," : "%u-%u", start, end);
    if (written < 0 || static_cast<size_t>(written) >= room) {
      used_ = size_ - 1;
      return false;
    }
    used_ += static_cast<size_t>(written);
    return true;
  }

 private:
  char *out_;
  size_t size_;
  size_t used_;
};

}  // namespace

int token_split(const char *text, char separator, char *out, size_t out_size, size_t *consumed) {
  if (!text || !out || !consumed) return -1;
  const char *end = std::strchr(text, separator);
  size_t length = end ? static_cast<size_t>(end - text) : std::strlen(text);
  if (length >= out_size) return -1;
  std::memcpy(out, text, length);
  out[length] = '\0';
  *consumed = length + 1;
  return 0;
}

int vlan_list_to_numbers(const char *text, uint16_t *numbers, size_t capacity, uint32_t *count) {
  if (!text || !numbers || !count) return -1;
  size_t length = strnlen(text, kListTextMax + 1);
  if (length > kListTextMax) {
    format_last_error("List text too long (%zu characters or more)", length);
    return -1;
  }
  char work[kListTextMax + 1] = {};
  std::memcpy(work, text, length);

  size_t found = 0;
  auto add = [&](int number) {
    if (found >= capacity) {
      format_last_error("List %s gives more than %zu numbers", work, capacity);
      return false;
    }
    numbers[found++] = static_cast<uint16_t>(number);
    return true;
  };

  char token[kListTextMax + 1];
  for (size_t offset = 0; offset < length;) {
    size_t used = 0;
    if (token_split(work + offset, ',', token, sizeof token, &used) != 0) return -1;
    offset += used;
    char *dash = std::strchr(token, '-');
    if (!dash) {
      if (!add(std::atoi(token))) return -1;
      continue;
    }
    *dash = '\0';
    int first = std::atoi(token);
    int last = std::atoi(dash + 1);
    // validate_vlan leaves its reason in last_error_text.
    if (validate_vlan(static_cast<uint32_t>(first)) != 0) return -1;
    if (validate_vlan(static_cast<uint32_t>(last)) != 0) return -1;
    if (first > last) std::swap(first, last);
    for (int number = first; number <= last; ++number)
      if (!add(number)) return -1;
  }
  *count = static_cast<uint32_t>(found);
  return 0;
}

int numbers_to_vlan_list(const uint16_t *numbers, size_t count, char *out, size_t out_size) {
  if ((!numbers && count > 0) || !out || out_size == 0) return -1;
  RunWriter text(out, out_size);
  if (!text.valid()) return -1;
  // The run being collected; a start or end of 0 means there is none, so a
  // 0 in the list restarts the run.
  unsigned start = 0;
  unsigned end = 0;
  bool fits = true;
  for (size_t i = 0; i < count; ++i) {
    unsigned x = numbers[i];
    if (start == 0 || end == 0) {
      start = end = x;
    } else if (x == end + 1) {
      end = x;
    } else {
      fits = fits && text.put(start, end, true);
      start = end = x;
    }
  }
  if (count > 0) fits = fits && text.put(start, end, false);
  return fits ? 0 : -1;
}

int protocol_list_parse(char *text, uint32_t *numbers, size_t capacity, uint32_t *count) {
  if (!text || !numbers || !count) return -1;
  size_t found = 0;
  char *rest = nullptr;
  for (char *token = strtok_r(text, ",", &rest); token; token = strtok_r(nullptr, ",", &rest)) {
    if (found >= capacity) return -1;
    char first = token[0];
    if (first >= '0' && first <= '9') {
      // A number past 32 bits gives the largest 32-bit number on every
      // target (the switch's own strtoul saturates there), never its low
      // bits: 4294969344 is no IPv4 (0x0800).
      int base = starts_with(token, "0x") ? 16 : 10;
      unsigned long long n = std::strtoull(token, nullptr, base);
      numbers[found] = n > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(n);
    } else if ((first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z')) {
      // Compared by prefix, "ipx" before "ip": any other word that begins
      // with "ip" is IPv4.
      if (starts_with(token, "ipx") || starts_with(token, "IPX"))
        numbers[found] = 0x8137;
      else if (starts_with(token, "ip") || starts_with(token, "IP"))
        numbers[found] = 0x0800;
      else if (starts_with(token, "arp") || starts_with(token, "ARP"))
        numbers[found] = 0x0806;
    }
    ++found;
  }
  *count = static_cast<uint32_t>(found);
  return 0;
}

int cell_numbers_parse(const char *text, size_t length, int *numbers, size_t capacity) {
  if (!text || !numbers) return -1;
  size_t text_length = strnlen(text, length);
  size_t found = 0;
  for (size_t offset = 0; offset < length; offset += 4) {
    if (found >= capacity) {
      agent_log(4, "Error: Insufficient space in dataArr\n");
      return -1;
    }
    numbers[found++] = offset + 2 < text_length ? std::atoi(text + offset + 2) : 0;
  }
  return 0;
}
