// The checks of a key's value.
#include <arpa/inet.h>

#include <string>

#include <json-c/json.h>
#include <microhttpd.h>

#include "core/handler_detail.h"
#include "core/validate.h"
#include "support/log.h"

namespace veltrum::handler {

using detail::first_conversion;
using detail::log_with_value;

// ---------------------------------------------------------------- checks

bool numeric_check(const Check &check) {
  switch (check.kind) {
    case CheckKind::Custom:
      return check.numeric;
    case CheckKind::Range:
    case CheckKind::Limits:
    case CheckKind::Flag:
    case CheckKind::Choice:
    case CheckKind::OneOf:
    case CheckKind::NonZero:
    case CheckKind::Port:
    case CheckKind::Vlan:
    case CheckKind::Number:
      return true;
    default:
      return false;
  }
}

namespace {

// Logs a check's message with what its LogArgs say.
void log_check(const Check &check, json_object *value, int64_t number, int64_t min, int64_t max) {
  if (!check.log) return;
  switch (check.log_args) {
    case LogArgs::Value:
      if (numeric_check(check) && first_conversion(check.log) != 's')
        log_table_message(check.log, static_cast<int>(number));
      else
        log_with_value(check.log, value);
      break;
    case LogArgs::MinMax:
      log_table_message(check.log, static_cast<int>(min), static_cast<int>(max));
      break;
    case LogArgs::Max:
      log_table_message(check.log, static_cast<int>(max));
      break;
    case LogArgs::None:
      log_table_message("%s", check.log);
      break;
    case LogArgs::ValueMinMax:
      log_table_message(check.log, static_cast<int>(number), static_cast<int>(min), static_cast<int>(max));
      break;
  }
}

bool valid_mask(const char *text) {
  in_addr a{};
  if (inet_pton(AF_INET, text, &a) != 1) return false;
  uint32_t inverse = ~ntohl(a.s_addr);
  return (inverse & (inverse + 1)) == 0;  // ones, then zeros
}

bool text_passes(const Check &check, const std::string &text, int64_t min, int64_t max) {
  if (check.allow_empty && text.empty()) return true;
  switch (check.kind) {
    case CheckKind::Mac:
      return validate_mac_text(text.c_str()) == 0;
    case CheckKind::Text:
      return static_cast<int64_t>(text.size()) >= min && static_cast<int64_t>(text.size()) <= max;
    case CheckKind::Ipv4:
      return validate_ipv4_text(text.c_str()) == 0;
    case CheckKind::Ipv6:
      return validate_ipv6_text(text.c_str()) == 0;
    case CheckKind::Ip:
      return validate_ipv4_text(text.c_str()) == 0 || validate_ipv6_text(text.c_str()) == 0;
    case CheckKind::Mask:
      return valid_mask(text.c_str());
    case CheckKind::Host:
      return validate_ipv4_text(text.c_str()) == 0 || validate_ipv6_text(text.c_str()) == 0 ||
             validate_host_name(text.c_str()) == 0;
    default:
      return true;
  }
}

// The bounds `limits` gives, read once per request.
int request_limits(Outcome &out, LimitsFn limits, int64_t &min, int64_t &max) {
  Outcome::Facts &f = out.facts;
  for (size_t i = 0; i < f.limits_count; ++i)
    if (f.limits_fn[i] == limits) {
      min = f.limits_min[i];
      max = f.limits_max[i];
      return f.limits_rc[i];
    }
  int rc = limits(min, max);
  if (f.limits_count < Outcome::Facts::kLimits) {
    f.limits_fn[f.limits_count] = limits;
    f.limits_min[f.limits_count] = min;
    f.limits_max[f.limits_count] = max;
    f.limits_rc[f.limits_count++] = rc;
  }
  return rc;
}

// The port validator on the layout read once per request.
int request_port_check(Outcome &out, uint32_t port, int kind) {
  if (kind < PORT_KIND_PHYSICAL || kind > PORT_KIND_ANY) return 0;
  Outcome::Facts &f = out.facts;
  if (!f.have_ports[kind]) {
    PortLayout l = port_layout_get(kind);
    f.ports[kind][0] = l.phy_first;
    f.ports[kind][1] = l.phy_count;
    f.ports[kind][2] = l.lag_first;
    f.ports[kind][3] = l.lag_count;
    f.have_ports[kind] = true;
  }
  const PortLayout l{f.ports[kind][0], f.ports[kind][1], f.ports[kind][2], f.ports[kind][3]};
  return validate_port_in(l, port, kind);
}

// The VLAN validator with the highest id read once per request.
int request_vlan_check(Outcome &out, uint32_t vlan) {
  Outcome::Facts &f = out.facts;
  if (!f.have_vlan_max) {
    f.vlan_max_rc = rpcclt_openapiDot1VlanMaxGet(&g_client_handle, &f.vlan_max);
    f.have_vlan_max = true;
  }
  if (f.vlan_max_rc != OPEN_E_NONE) return f.vlan_max_rc;
  return validate_vlan_below(f.vlan_max, vlan);
}

}  // namespace

bool check_value(Outcome &out, const char *key, const Check &check, json_object *value) {
  if (check.kind == CheckKind::Custom) return check.custom(out, key, value);
  if (check.kind == CheckKind::None) {
    int64_t n = 0;
    std::string t;
    if (read_int(value, n) || read_text(value, t)) return true;
    out.fail("Invalid value of %s", key);
    return false;
  }

  if (!numeric_check(check)) {
    std::string text;
    bool readable = read_text(value, text);
    int64_t min = check.min;
    int64_t max = check.max;
    if (readable && check.kind == CheckKind::Text && check.limits) {
      int rc = request_limits(out, check.limits, min, max);
      if (rc != OPEN_E_NONE) {
        out.fail("Failed to get the range of %s and error code:%d", key, rc);
        return false;
      }
    }
    if (readable && text_passes(check, text, min, max)) return true;
    if (check.secret) {
      // Neither the log nor the answer shows a secret: the bounds only.
      if (check.log) log_table_message(check.log, static_cast<int>(max));
      if (!readable) agent_log(4, "%s: not a text", key);
      ++out.failures;
      return false;
    }
    log_check(check, value, 0, min, max);
    if (!readable) agent_log(4, "%s: not a text", key);
    ++out.failures;
    if (check.code > 0) out.code(check.code);
    if (check.kind == CheckKind::Text) {
      out.detail_text("value", text.c_str());
      if (check.label) out.detail_text("params", check.label);
    } else if (check.label || check.kind == CheckKind::Mac) {
      out.detail_text("params", check.label);
      out.detail_text("value", text.c_str());
    }
    return false;
  }

  int64_t v = 0;
  bool readable = read_int(value, v);
  int64_t min = check.min;
  int64_t max = check.max;
  bool ok = false;
  if (readable) {
    switch (check.kind) {
      case CheckKind::Range:
      case CheckKind::Flag:
      case CheckKind::Choice:
        ok = v >= min && v <= max;
        break;
      case CheckKind::Limits: {
        int rc = request_limits(out, check.limits, min, max);
        if (rc != OPEN_E_NONE) {
          out.fail("Failed to get the range of %s and error code:%d", key, rc);
          return false;
        }
        ok = v >= min && v <= max;
        break;
      }
      case CheckKind::OneOf:
        for (size_t i = 0; i < check.value_count && !ok; ++i) ok = check.values[i] == v;
        break;
      case CheckKind::NonZero:
        ok = v != 0;
        break;
      case CheckKind::Port:
        ok = v >= 0 && v <= UINT32_MAX && request_port_check(out, static_cast<uint32_t>(v), check.port_kind) == 0;
        break;
      case CheckKind::Vlan:
        ok = v >= 0 && v <= UINT32_MAX && request_vlan_check(out, static_cast<uint32_t>(v)) == 0;
        break;
      default:
        ok = true;
        break;
    }
  }
  if (ok) return true;

  if (readable)
    log_check(check, value, v, min, max);
  else
    agent_log(4, "%s: not a number", key);
  ++out.failures;
  json_object *shown = readable ? json_object_new_int64(v) : json_object_get(value);
  switch (check.kind) {
    case CheckKind::Range:
    case CheckKind::Limits:
      if (check.code > 0) out.code(check.code);
      out.detail("value", shown);
      out.detail_text("params", check.label);
      out.detail_int("min", min);
      out.detail_int("max", max);
      return false;
    case CheckKind::Port:
      out.code(check.code);
      out.detail("port_id", shown);
      return false;
    case CheckKind::Vlan:
      out.code(check.code);
      out.detail("vlan_id", shown);
      return false;
    default:
      json_object_put(shown);
      return false;
  }
}

}  // namespace veltrum::handler
