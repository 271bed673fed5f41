// The synchronous probes "ping_test" and "traceroute_test": the switch
// platform runs the probe (rpcclt_openapiPing, rpcclt_openapiTraceroute) and
// the request waits for its text.
//
// Both check their body the same way, in this order, and the first failure
// ends the request: every key present (strict parse); "hostname" not null;
// the host an IPv4 address, an IPv6 address or a host name (errCode 18); the
// ranges of the probe, each with errCode 9 and {"value", "params", "min",
// "max"}; "source" 1 to 3 and "family" 1 or 2 (no errCode). A few ranges
// report a minimum they do not enforce ("size", traceroute's "port"):
// clients show the reported one, the platform refuses what it cannot do.
//
// "source" picks where the probe is sent from: 1 nowhere in particular, 2 the
// address "ip", 3 the routing interface of the VLAN "routingintf" (0: the
// network port). Platform result -28 (a source the switch cannot send from)
// gives errCode 130; any other failure 134 (ping) or 135 (traceroute). A
// failed request hands its errCode (0 when none was set) and arguments to
// the error record; the answer's data is {"ping_response": text} or
// {"trace_response": text} under "data".
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <string>

#include "core/handler.h"
#include "core/platform_client.h"
#include "platform/calls/06_diagnostics.h"
#include "jobs/diag_text.h"
#include "support/log.h"
#include "support/mem.h"

using veltrum::handler::Outcome;
using veltrum::jobs::host_text_ok;

namespace {

constexpr int kErrRange = 9;
constexpr int kErrHost = 18;
constexpr int kErrSource = 130;
constexpr int kErrPing = 134;
constexpr int kErrTraceroute = 135;

constexpr size_t kTextSize = 256;  // host and source address: 255 characters
constexpr size_t kPingResponseSize = 2048;
constexpr size_t kTracerouteBufferSize = 4096;
constexpr uint32_t kTracerouteResponseAnnounced = 1024;
constexpr int64_t kNoMinimum = INT64_MIN;

// One range of a probe: what is accepted, and what the client is told.
struct ProbeRange {
  const char *key;
  int64_t min;  // kNoMinimum: none enforced
  int64_t max;
  int64_t shown_min;
  const char *label;
  const char *log;  // given the value
};

const ProbeRange kPingRanges[] = {
    {"count", 1, 15, 1, "Count", "Invalid count %d\n"},
    {"interval", 1, 60, 1, "Interval", "Invalid interval %d\n"},
    {"size", kNoMinimum, 13000, 0, "Size", "Invalid size %d\n"},
};

const ProbeRange kTracerouteRanges[] = {
    {"probe", 1, 10, 1, "Probes Per Hop", "Invalid probe count %d\n"},
    {"ttl", 1, 255, 1, "Max TTL", "Invalid ttl %d\n"},
    {"ttlInit", 1, 255, 1, "Init TTL", "Invalid ttlInit %d\n"},
    {"fail", 1, 255, 1, "MaxFail", "Invalid max fail %d\n"},
    {"interval", 1, 60, 1, "Interval", "Invalid interval %d\n"},
    {"port", kNoMinimum, 65535, 1, "Port", "Invalid port %d\n"},
    {"size", kNoMinimum, 13000, 38, "Size", "Invalid size %d\n"},
};

// What a probe resource reads from its body.
struct ProbeSpec {
  const char *key;  // the body's object
  const char *const *fields;
  size_t field_count;
  const ProbeRange *ranges;
  size_t range_count;
  const char *host_log;  // given the host text
  const char *member;    // the answer's text member
  int failure_code;      // errCode of a platform failure other than -28
  const char *source_log;   // platform result -28, given the result
  const char *failure_log;  // any other failure, given the result
};

const char *const kPingFields[] = {"hostname", "count", "interval", "size", "source", "ip", "routingintf", "family"};
const char *const kTracerouteFields[] = {"hostname", "probe",  "ttl",  "ttlInit", "fail",        "interval",
                                         "port",     "size",   "source", "ip",    "routingintf", "family"};

const ProbeSpec kPing{"ping_test",         kPingFields,       std::size(kPingFields),
                      kPingRanges,         std::size(kPingRanges), "Invalid hostname/address: %s",
                      "ping_response",     kErrPing,          "Failed to ping %d",
                      "Failed to ping %d"};
const ProbeSpec kTraceroute{"traceroute_test",
                            kTracerouteFields,
                            std::size(kTracerouteFields),
                            kTracerouteRanges,
                            std::size(kTracerouteRanges),
                            "Invalid traceroute server/hostname address",
                            "trace_response",
                            kErrTraceroute,
                            "Unable to resolve interface number for source address.",
                            "Failed to traceroute %d"};

constexpr size_t kMaxFields = 12;

// A probe's checked request.
struct Probe {
  JsonField fields[kMaxFields];
  size_t field_count = 0;
  char host[kTextSize] = {};
  char source_addr[kTextSize] = {};
  OPEN_PROBE_SOURCE_t source_type = OPEN_PROBE_SOURCE_NONE;
  uint32_t if_num = 0;
  OPEN_AF_t family = OPEN_AF_INET;

  int32_t number(const char *name) const {
    for (size_t i = 0; i < field_count; ++i)
      if (std::strcmp(fields[i].name, name) == 0) return json_object_get_int(fields[i].value);
    return 0;
  }
  // The same, as the platform takes it.
  uint32_t u32(const char *name) const { return static_cast<uint32_t>(number(name)); }
  const char *text(const char *name) const {
    for (size_t i = 0; i < field_count; ++i)
      if (std::strcmp(fields[i].name, name) == 0) return json_object_get_string(fields[i].value);
    return nullptr;
  }
};

// Logs a table text given one value (the texts are the tables' literals).
void log_value(const char *format, ...) {
  va_list args;
  va_start(args, format);
  agent_vlog(4, format, args);
  va_end(args);
}

bool check_range(Outcome &out, const ProbeRange &range, int32_t value) {
  if ((range.min == kNoMinimum || value >= range.min) && value <= range.max) return true;
  log_value(range.log, value);
  out.code(kErrRange);
  out.detail_int("value", value);
  out.detail_text("params", range.label);
  out.detail_int("min", range.shown_min);
  out.detail_int("max", range.max);
  return false;
}

// Parses and checks the body; fills `probe`. False on the first failure
// (logged, errCode and arguments in `out`).
bool prepare(const ProbeSpec &spec, json_object *request, Outcome &out, Probe &probe) {
  probe.field_count = spec.field_count;
  for (size_t i = 0; i < spec.field_count; ++i) probe.fields[i] = {spec.fields[i], nullptr};
  if (parse_json_fields(spec.key, request, probe.fields, probe.field_count, false) != 0) {
    agent_log(4, "%s", last_error_text);
    return false;
  }

  const char *host = probe.text("hostname");
  if (host == nullptr) {
    agent_log(4, "Failed to parse IP");
    return false;
  }
  if (!host_text_ok(host)) {
    out.code(kErrHost);
    log_value(spec.host_log, host);
    return false;
  }
  strncpyt(probe.host, host, sizeof probe.host - 1);

  for (size_t i = 0; i < spec.range_count; ++i)
    if (!check_range(out, spec.ranges[i], probe.number(spec.ranges[i].key))) return false;

  int32_t source = probe.number("source");
  if (source < 1 || source > 3) {
    agent_log(4, "Invalid source %d\n", source);
    return false;
  }
  int32_t family = probe.number("family");
  if (family != 1 && family != 2) {
    agent_log(4, "Invalid family %d\n", family);
    return false;
  }
  probe.family = family == 2 ? OPEN_AF_INET6 : OPEN_AF_INET;

  if (source == 1) {
    probe.source_type = OPEN_PROBE_SOURCE_NONE;
  } else if (source == 2) {
    probe.source_type = OPEN_PROBE_SOURCE_ADDRESS;
    strncpyt(probe.source_addr, probe.text("ip"), sizeof probe.source_addr - 1);
  } else {
    auto vlan = static_cast<uint32_t>(probe.number("routingintf"));
    if (vlan == 0) {
      probe.source_type = OPEN_PROBE_SOURCE_NETWORK_PORT;
    } else {
      probe.source_type = OPEN_PROBE_SOURCE_INTERFACE;
      open_error_t rc = rpcclt_openapiRtrVlanIntfIfNumGet(&g_client_handle, vlan, &probe.if_num);
      if (rc != OPEN_E_NONE) {
        agent_log(4, "Failed to get internal interface number. Error %d", rc);
        return false;
      }
    }
  }
  return true;
}

open_buffdesc text_desc(char *text) { return {static_cast<uint32_t>(std::strlen(text) + 1), text}; }

// Serves one probe request: the checks, then `call` (the platform call,
// given the checked request and the host, source and answer buffers), then
// the answer: the text under spec.member on success, else the error record.
// `text` holds `text_size` bytes, of which the platform is told `announced`.
template <typename Call>
void serve_probe(const ProbeSpec &spec, json_object *request, ResponseHolder *response, char *text, size_t text_size,
                 uint32_t announced, Call call) {
  Outcome out;
  Probe probe;
  if (prepare(spec, request, out, probe)) {
    open_buffdesc host = text_desc(probe.host);
    open_buffdesc source = text_desc(probe.source_addr);
    open_buffdesc answer{announced, text};
    open_error_t rc = call(probe, &host, &source, &answer);
    if (rc == OPEN_E_NONE) {
      out.rc = 0;
    } else {
      out.code(rc == OPEN_E_FAIL ? kErrSource : spec.failure_code);
      log_value(rc == OPEN_E_FAIL ? spec.source_log : spec.failure_log, rc);
    }
  }
  text[text_size - 1] = '\0';
  json_object *data = nullptr;
  if (out.rc == 0) {
    data = json_object_new_object();
    json_object_object_add(data, spec.member, json_object_new_string(text));
  } else {
    set_rest_err(out.err_code, out.err_args);
  }
  out.finish_read(response, "data", data);
}

}  // namespace

void ping_test_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  char text[kPingResponseSize] = {};
  serve_probe(kPing, request, response, text, sizeof text, sizeof text,
              [](const Probe &p, open_buffdesc *host, open_buffdesc *source, open_buffdesc *answer) {
                return rpcclt_openapiPing(&g_client_handle, host, p.family, p.u32("count"), p.u32("interval"),
                                          p.u32("size"), p.source_type, p.if_num, source, answer);
              });
}

void traceroute_test_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  char text[kTracerouteBufferSize] = {};
  serve_probe(kTraceroute, request, response, text, sizeof text, kTracerouteResponseAnnounced,
              [](const Probe &p, open_buffdesc *host, open_buffdesc *source, open_buffdesc *answer) {
                return rpcclt_openapiTraceroute(&g_client_handle, host, p.family, p.u32("probe"), p.u32("interval"),
                                                p.u32("ttlInit"), p.u32("ttl"), p.u32("fail"), p.u32("size"),
                                                p.u32("port"), p.source_type, p.if_num, source, answer);
              });
}
