// Small helpers the simulator's feature families share.
#pragma once

#include <cctype>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "sim/bind.h"

namespace veltrum::sim {

// Reads an integer setting into a call's out parameter.
template <typename T>
open_error_t read_integer(SettingRef setting, uint32_t index, T *out) {
  if (!out) return OPEN_E_PARAM;
  Value v;
  if (open_error_t rc = setting.get(index, v)) return rc;
  *out = static_cast<T>(std::get<int64_t>(v));
  return OPEN_E_NONE;
}
// Implements a call (client, T *out) that answers a constant of the
// switch (a maximum length, say).
template <auto Id, typename T>
void implement_constant(Sim &sim, T value) {
  sim.implement<Id>([value](openapiClientHandle_t *, T *out) {
    if (!out) return OPEN_E_PARAM;
    *out = value;
    return OPEN_E_NONE;
  });
}

// A MAC address as the switch keeps it: upper-case hexadecimal digits.
inline std::string mac_key(std::string mac) {
  for (char &c : mac) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return mac;
}

// A MAC address text "hh:hh:hh:hh:hh:hh" that names one station: not all
// zeros, not a group (multicast or broadcast) address.
inline bool unicast_mac(const std::string &mac) {
  if (!text_matches(TextSyntax::MAC, mac) || mac == "00:00:00:00:00:00") return false;
  int first = std::stoi(mac.substr(0, 2), nullptr, 16);
  return (first & 1) == 0;
}

// Whether a host-order IPv4 mask is a mask: ones, then zeros.
inline bool contiguous_mask(uint32_t mask) {
  uint32_t inverse = ~mask;
  return (inverse & (inverse + 1)) == 0;
}

// A record's member that every row of its table has: a missing one (a
// misspelled member, a row written without it) is a programming error
// (std::logic_error, which the call answers as a failure of the platform).
inline int64_t required_integer(const Record &r, const char *member) {
  auto it = r.find(member);
  if (it == r.end() || it->second.index() != 0) throw std::logic_error(std::string("a row lacks integer member ") + member);
  return std::get<int64_t>(it->second);
}
inline const std::string &required_text(const Record &r, const char *member) {
  auto it = r.find(member);
  if (it == r.end() || it->second.index() != 1) throw std::logic_error(std::string("a row lacks text member ") + member);
  return std::get<std::string>(it->second);
}

// A record's member, or the default: for members a row may lack (a
// counter not yet counted, an optional field, a row of an older saved
// file written before the member existed).
inline int64_t record_integer(const Record &r, const char *member, int64_t fallback = 0) {
  auto it = r.find(member);
  return it != r.end() && it->second.index() == 0 ? std::get<int64_t>(it->second) : fallback;
}
inline std::string record_text(const Record &r, const char *member) {
  auto it = r.find(member);
  return it != r.end() && it->second.index() == 1 ? std::get<std::string>(it->second) : std::string();
}

}  // namespace veltrum::sim
