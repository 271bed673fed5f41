// The network diagnostics resources.
//
// "ping_test_start" / "ping_test_status" and "traceroute_start" /
// "traceroute_status" run the system's ping and traceroute as worker jobs
// (jobs/ping_test.h, jobs/traceroute.h) and let the client poll for their
// output. "ping_test" and "traceroute_test" have the switch platform run the
// probe and answer with its text in the same request. "dnslookup_start"
// resolves a name at once; "dnslookup_stop" and "dnslookup_results" are
// fixed answers (no lookup ever runs in the background).
//
// Each handler leaves its message in last_error_text and logs it (level 4);
// the client sees "respCode" (and, for the synchronous probes, "errCode" and
// "errMsgArgs").
//
// Our own rule beyond the clients' contract: a start request's "host" (and
// traceroute's "srcAddr" and "gateway") goes into the program's argument
// vector, so a text that is not an IPv4 address, an IPv6 address or a host
// name is refused with the start's failure message and nothing is started.
// A text such as "-f" would otherwise reach the program as an option. The
// programs are run without a shell. A "pingTest" or "tracerouteStart" member
// that is not an object counts as missing.
#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <microhttpd.h>

#include "core/handler.h"
#include "core/validate.h"
#include "jobs/diag_text.h"
#include "jobs/ping_test.h"
#include "jobs/traceroute.h"
#include "support/log.h"
#include "support/mem.h"

using veltrum::handler::Outcome;
using veltrum::handler::query_arg;

namespace veltrum::jobs {

void message(const char *format, ...) {
  va_list args;
  va_start(args, format);
  char text[kLastErrorSize];
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  format_last_error("%s", text);
  agent_log(4, "%s", text);
}

bool host_text_ok(const char *text) {
  return text != nullptr &&
         (validate_ipv4_text(text) == 0 || validate_ipv6_text(text) == 0 || validate_host_name(text) == 0);
}

}  // namespace veltrum::jobs

namespace {

using veltrum::jobs::host_text_ok;
using veltrum::jobs::message;

// A member of a leniently parsed request: 0 or null when absent.
int32_t int_member(const JsonField &field) { return field.value ? json_object_get_int(field.value) : 0; }
char *text_member(const JsonField &field) {
  const char *text = field.value ? json_object_get_string(field.value) : nullptr;
  return text ? strdup(text) : nullptr;
}

// ---------------------------------------------------------------- asynchronous jobs

// What a start resource answers, and the job it drives.
struct JobResource {
  const char *parse_failed;
  const char *busy;
  const char *start_failed;
  const char *not_running;
  const char *stop_failed;
  const veltrum::jobs::JobKind &kind;
};

// Starts or stops the job as the request's action says; answers rc. Takes
// the request. `texts_ok` is false when a text of it may not reach the program.
int run_action(const JobResource &job, int32_t action, void *request, bool texts_ok) {
  if (action == 1) {
    if (!texts_ok) {
      job.kind.free_request(request);
      message("%s", job.start_failed);
      return -1;
    }
    switch (veltrum::jobs::job_start(job.kind, request)) {
      case veltrum::jobs::JOB_OK:
        return 0;
      case veltrum::jobs::JOB_BUSY:
        message("%s", job.busy);
        return 1;
      default:
        message("%s", job.start_failed);
        return -1;
    }
  }
  if (action == 0) {
    int result = veltrum::jobs::job_stop(job.kind);
    job.kind.free_request(request);
    // The stop answers 2 when nothing runs, so stopping an idle job answers
    // the stop failure; -1 (never given) would be "not running".
    if (result == 0) return 0;
    message("%s", result == -1 ? job.not_running : job.stop_failed);
    return result == -1 ? 2 : -1;
  }
  job.kind.free_request(request);
  return 0;
}

// Leniently parses the object `key` of the body; false (with the message)
// when it is absent or no object.
bool parse_start(const char *key, json_object *request, JsonField *fields, size_t count, const char *failed) {
  json_object *body = nullptr;
  if (!request || !json_object_object_get_ex(request, key, &body) || !json_object_is_type(body, json_type_object) ||
      parse_json_fields(key, request, fields, count, true) != 0) {
    message("%s", failed);
    return false;
  }
  return true;
}

const JobResource kPingJob{"Can't get Ping parameters from request", "Ping test is in progress",
                           "Failed to start Ping test", "Ping test is not running", "Failed to stop Ping test",
                           kPingTestJob};
const JobResource kTraceJob{"Can't get traceroute parameters from request", "Traceroute is in progress",
                            "Failed to start Traceroute", "Traceroute is not running", "Failed to stop Traceroute",
                            kTracerouteJob};

constexpr int32_t kMaxStartCount = 15;
constexpr int32_t kMaxStartSize = 13000;

int ping_start(json_object *request) {
  JsonField f[] = {{"action", nullptr}, {"ipversion", nullptr}, {"host", nullptr}, {"count", nullptr}, {"size", nullptr}};
  if (!parse_start("pingTest", request, f, std::size(f), kPingJob.parse_failed)) return -1;

  auto *ping = static_cast<PingRequest *>(xcalloc(1, sizeof(PingRequest)));
  ping->action = int_member(f[0]);
  ping->ipVersion = int_member(f[1]);
  ping->host = text_member(f[2]);
  ping->count = int_member(f[3]);
  ping->size = int_member(f[4]);
  // Negative values pass, as they always have.
  if ((ping->count != 0 && ping->count > kMaxStartCount) || (ping->size != 0 && ping->size > kMaxStartSize)) {
    ping_test_free_request(ping);
    message("Ping parameters is not correct");
    return -1;
  }
  bool texts_ok = ping->host == nullptr || host_text_ok(ping->host);
  if (!texts_ok && ping->action == 1) agent_log(4, "Invalid hostname/address: %s", ping->host);
  return run_action(kPingJob, ping->action, ping, texts_ok);
}

int traceroute_start_request(json_object *request) {
  JsonField f[] = {{"action", nullptr},  {"host", nullptr},    {"ipVersion", nullptr},   {"noFrag", nullptr},
                   {"displayTTL", nullptr}, {"printNumner", nullptr}, {"bypassRoute", nullptr}, {"verbose", nullptr},
                   {"maxTtl", nullptr},  {"port", nullptr},    {"nQueries", nullptr},    {"tos", nullptr},
                   {"wait", nullptr},    {"srcAddr", nullptr}, {"gateway", nullptr}};
  if (!parse_start("tracerouteStart", request, f, std::size(f), kTraceJob.parse_failed)) return -1;

  auto *trace = static_cast<TracerouteRequest *>(xcalloc(1, sizeof(TracerouteRequest)));
  trace->action = int_member(f[0]);
  trace->host = text_member(f[1]);
  trace->ipVersion = int_member(f[2]);
  trace->noFrag = int_member(f[3]);
  trace->displayTTL = int_member(f[4]);
  trace->printNumeric = int_member(f[5]);
  trace->bypassRoute = int_member(f[6]);
  trace->verbose = int_member(f[7]);
  trace->maxTtl = int_member(f[8]);
  trace->port = int_member(f[9]);
  trace->nQueries = int_member(f[10]);
  trace->tos = int_member(f[11]);
  trace->wait = int_member(f[12]);
  trace->srcAddr = text_member(f[13]);
  trace->gateway = text_member(f[14]);

  bool texts_ok = true;
  for (const char *text : {trace->srcAddr, trace->gateway}) {
    if (text != nullptr && *text != '\0' && !host_text_ok(text)) texts_ok = false;
  }
  if (trace->host != nullptr && !host_text_ok(trace->host)) texts_ok = false;
  if (!texts_ok && trace->action == 1) agent_log(4, "Invalid traceroute server/hostname address");
  return run_action(kTraceJob, trace->action, trace, texts_ok);
}

void job_status(ResponseHolder *response, const veltrum::jobs::JobKind &kind, const char *failed, const char *name) {
  Outcome out;
  json_object *view = veltrum::jobs::job_status_view(kind);
  out.rc = view ? 0 : -1;
  if (!view) message("%s", failed);
  out.finish_read(response, name, view);
}

}  // namespace

void ping_test_start_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  Outcome out;
  out.rc = ping_start(request);
  out.finish_plain(response, "pingTestStart");
}

void ping_test_status_get(MHD_Connection *, ResponseHolder *response, json_object *) {
  job_status(response, kPingTestJob, "Failed to get the status of Ping test", "pingTestStatus");
}

void traceroute_start_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  Outcome out;
  out.rc = traceroute_start_request(request);
  out.finish_plain(response, "tracerouteStart");
}

void traceroute_status_get(MHD_Connection *, ResponseHolder *response, json_object *) {
  job_status(response, kTracerouteJob, "Failed to get the status of traceroute", "tracerouteInfo");
}

// ---------------------------------------------------------------- DNS lookup

namespace {

struct AddrInfoFree {
  void operator()(addrinfo *list) const { freeaddrinfo(list); }
};

}  // namespace

void dnslookup_start_get(MHD_Connection *connection, ResponseHolder *response, json_object *) {
  Outcome out;
  const char *name = query_arg(connection, "domainName");
  if (name == nullptr) {
    message("Wrong query variable in uri ");
    out.finish_read(response, "dnsLookupStart", nullptr);
    return;
  }

  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo *found = nullptr;
  int rc = getaddrinfo(name, nullptr, &hints, &found);
  std::unique_ptr<addrinfo, AddrInfoFree> results(found);

  json_object *data = json_object_new_object();
  json_object *lookup = json_object_new_array();
  json_object_object_add(data, "lookup", lookup);
  if (rc != 0) {
    json_object_object_add(data, "Error_code", json_object_new_int(rc));
  } else {
    for (const addrinfo *a = results.get(); a != nullptr; a = a->ai_next) {
      char text[INET6_ADDRSTRLEN] = {};
      const char *shown = nullptr;
      if (a->ai_family == AF_INET) {
        shown = inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in *>(a->ai_addr)->sin_addr, text,
                          INET_ADDRSTRLEN);
      } else {
        shown = inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6 *>(a->ai_addr)->sin6_addr, text, sizeof text);
      }
      if (shown) json_object_array_add(lookup, json_object_new_string(text));
    }
  }
  out.rc = 0;
  out.finish_read(response, "dnsLookupStart", data);
}

void dnslookup_stop_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  Outcome out;
  JsonField f[] = {{"state", nullptr}};
  if (parse_json_fields("dnsLookupStop", request, f, std::size(f), false) != 0) {
    message("Parsing error - %s ", "dnsLookupStop");
    out.rc = -99;
  } else {
    // No lookup ever runs in the background: there is nothing to stop.
    (void)json_object_get_boolean(f[0].value);
    out.rc = 0;
  }
  out.finish_plain(response, "dnsLookupStop");
}

void dnslookup_results_get(MHD_Connection *, ResponseHolder *response, json_object *) {
  static const char *const kStateTexts[] = {
      "DNSLOOKUP test is successful",
      "DNSLOOKUP test is in progress",
      "DNSLOOKUP test result expired or no result, need to restart DNSLookuptest",
  };
  constexpr int kState = 0;
  Outcome out;
  json_object *data = json_object_new_object();
  json_object_object_add(data, "state", json_object_new_int(kState));
  json_object_object_add(data, "message", json_object_new_string(kStateTexts[kState]));
  json_object_object_add(data, "fileLocation", json_object_new_string("sample file path"));
  out.rc = 0;
  out.finish_read(response, "dnsLookupResults", data);
}
