// Network diagnostics: the switch's own ping and traceroute.
//
// Each probe runs the real program ("ping", "traceroute") of the machine the
// simulator runs on, to its end, and answers with the program's text. The
// switch's network port is that machine's own network stack: a probe from
// the network port, or with no source, is sent as the machine sends it. A
// probe from an address must use an address the machine can send from
// (127.0.0.1 and ::1 always are); a probe from a routing interface uses the
// address of the VLAN routing interface of that number ("vlan_routing" rows),
// under the same condition. Anything else is a source the switch cannot send
// from: OPEN_E_FAIL.
//
// What the platform refuses: counts, intervals, sizes, TTLs and ports out of
// range, a first TTL above the last, an unknown family or source type, a host
// text that is empty, too long, begins with "-" or is an address of the other
// family (OPEN_E_PARAM), a host name that does not resolve (OPEN_E_NOT_FOUND),
// and a response buffer that is missing or empty (OPEN_E_PARAM). A probe whose
// program fails to run, or ends with an error of its own, answers
// OPEN_E_INTERNAL; a ping without replies is a result (its text says so).
//
// Traceroute's "max fail" ends the trace after that many hops in a row that
// answered no probe (lines of "*" only); the program has no such option, so
// the trace is ended from here and answers what it printed until then.
//
// The probes are served outside the model lock (Sim::implement_unlocked):
// a trace may take minutes. The shutdown hook (stop_probes) ends those still running when the
// service stops.
#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "platform/calls/06_diagnostics.h"
#include "sim/bind.h"
#include "sim/features/common.h"
#include "support/log.h"
#include "support/process.h"

namespace veltrum::sim {

namespace {

constexpr uint32_t kMaxPingCount = 15;
constexpr uint32_t kMaxInterval = 60;
constexpr uint32_t kMaxProbeSize = 13000;
constexpr uint32_t kMaxProbes = 10;
constexpr uint32_t kMaxTtl = 255;
constexpr uint32_t kMaxPort = 65535;
constexpr size_t kMaxHostText = 255;
constexpr int kStopGraceMs = 2000;

// ---------------------------------------------------------------- running probes

// The probes' programs now running, so that stop_probes can end them.
struct Registry {
  std::mutex mutex;
  bool stopping = false;
  std::map<int, pid_t> running;  // process handle -> pid
};

Registry &registry() {
  static Registry *r = new Registry();  // detached connection threads may outlive main
  return *r;
}

// One run of a probe's program: its output, bounded by what the caller's
// buffer can take, and what ends it early.
struct ProbeRun {
  size_t keep = 0;  // bytes of output worth keeping
  std::string output;
  bool first = true;
  int handle = -1;
  pid_t pid = -1;
  uint32_t max_fail = 0;  // traceroute: hops in a row without answer that end the trace (0: none)
  uint32_t silent_hops = 0;
  bool cut = false;  // ended from here after max_fail silent hops
};

// A traceroute hop line: its number, then only "*" when no probe answered.
// Answers 1 for a silent hop, 0 for a hop with an answer, -1 for other lines.
int hop_kind(const char *line) {
  std::istringstream words(line);
  std::string word;
  if (!(words >> word) || word.find_first_not_of("0123456789") != std::string::npos) return -1;
  bool any = false;
  while (words >> word) {
    if (word != "*") return 0;
    any = true;
  }
  return any ? 1 : 0;
}

void probe_line(const char *line, void *arg) {
  ProbeRun *run = static_cast<ProbeRun *>(arg);
  if (run->first) {
    // The runner's own report of the child it started.
    run->first = false;
    run->pid = static_cast<pid_t>(std::atoi(line + std::strlen("pid: ")));
    run->handle = process_handle_open(run->pid);
    Registry &r = registry();
    bool stopping;
    {
      std::lock_guard<std::mutex> lock(r.mutex);
      stopping = r.stopping;
      if (run->handle >= 0) r.running[run->handle] = run->pid;
    }
    if (stopping) process_terminate(run->handle, run->pid, kStopGraceMs);
    return;
  }
  if (run->cut) return;
  if (run->output.size() < run->keep) run->output += line;
  if (run->max_fail == 0) return;
  int kind = hop_kind(line);
  if (kind < 0) return;
  run->silent_hops = kind == 1 ? run->silent_hops + 1 : 0;
  if (run->silent_hops >= run->max_fail) {
    run->cut = true;
    process_terminate(run->handle, run->pid, kStopGraceMs);
  }
}

// Runs `args` to its end; the exit status as execvp_cmd_cb_arg gives it.
int run_probe(const std::vector<std::string> &args, ProbeRun &run) {
  std::string command;
  for (const auto &a : args) command += (command.empty() ? "" : " ") + a;
  agent_log(7, "probe: %s", command.c_str());

  std::vector<char *> argv;
  for (const auto &a : args) argv.push_back(const_cast<char *>(a.c_str()));
  argv.push_back(nullptr);
  int status = execvp_cmd_cb_arg(argv[0], nullptr, nullptr, nullptr, probe_line, &run, nullptr, argv.data());

  if (run.handle >= 0) {
    Registry &r = registry();
    {
      std::lock_guard<std::mutex> lock(r.mutex);
      r.running.erase(run.handle);
    }
    ::close(run.handle);
  }
  return status;
}

// The output into the caller's buffer, cut after the last whole line that
// fits (or, when not even one line does, after as many bytes as fit).
open_error_t fill_output(open_buffdesc *response, const std::string &output) {
  size_t room = response->size - 1;
  size_t take = output.size();
  if (take > room) {
    size_t last_newline = room > 0 ? output.rfind('\n', room - 1) : std::string::npos;
    take = last_newline != std::string::npos ? last_newline + 1 : room;
  }
  char *out = static_cast<char *>(response->pstart);
  std::memcpy(out, output.data(), take);
  out[take] = '\0';
  response->size = static_cast<uint32_t>(take + 1);
  return OPEN_E_NONE;
}

// ---------------------------------------------------------------- checks

int af_of(OPEN_AF_t family) { return family == OPEN_AF_INET6 ? AF_INET6 : AF_INET; }

bool is_address(int af, const std::string &text) {
  unsigned char bytes[sizeof(in6_addr)];
  return inet_pton(af, text.c_str(), bytes) == 1;
}

// The host of a probe: OPEN_E_NONE when it names a target of `family`.
open_error_t check_host(const std::string &host, OPEN_AF_t family) {
  if (host.empty() || host.size() > kMaxHostText || host[0] == '-') return OPEN_E_PARAM;
  int af = af_of(family);
  if (is_address(af == AF_INET ? AF_INET6 : AF_INET, host)) return OPEN_E_PARAM;
  addrinfo hints{};
  hints.ai_family = af;
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo *found = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) return OPEN_E_NOT_FOUND;
  freeaddrinfo(found);
  return OPEN_E_NONE;
}

// True when this machine can send from the address (it is one of its own).
bool can_send_from(int af, const std::string &text) {
  sockaddr_storage address{};
  socklen_t length = 0;
  if (af == AF_INET) {
    auto *a = reinterpret_cast<sockaddr_in *>(&address);
    a->sin_family = AF_INET;
    if (inet_pton(AF_INET, text.c_str(), &a->sin_addr) != 1) return false;
    length = sizeof *a;
  } else {
    auto *a = reinterpret_cast<sockaddr_in6 *>(&address);
    a->sin6_family = AF_INET6;
    if (inet_pton(AF_INET6, text.c_str(), &a->sin6_addr) != 1) return false;
    length = sizeof *a;
  }
  int fd = ::socket(af, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  bool ok = ::bind(fd, reinterpret_cast<sockaddr *>(&address), length) == 0;
  ::close(fd);
  return ok;
}

// The address a probe sends from ("" for the machine's choice), or
// OPEN_E_FAIL for a source the switch cannot send from.
open_error_t resolve_source(Sim &sim, const Table &routing, OPEN_AF_t family, OPEN_PROBE_SOURCE_t type, uint32_t ifNum,
                            const open_buffdesc *srcAddr, std::string &source) {
  source.clear();
  switch (type) {
    case OPEN_PROBE_SOURCE_NETWORK_PORT:
    case OPEN_PROBE_SOURCE_NONE:
      return OPEN_E_NONE;
    case OPEN_PROBE_SOURCE_ADDRESS:
      source = buffer_text(srcAddr);
      break;
    case OPEN_PROBE_SOURCE_INTERFACE: {
      // The model's routing interfaces have IPv4 addresses only.
      if (family != OPEN_AF_INET) return OPEN_E_FAIL;
      auto lock = sim.lock_model();
      for (const auto &[key, row] : routing.rows()) {
        if (required_integer(row, "ifNum") != ifNum) continue;
        auto it = row.find("addr");
        if (it != row.end()) source = std::get<std::string>(it->second);
        break;
      }
      if (source.empty()) return OPEN_E_FAIL;
      break;
    }
    default:
      return OPEN_E_PARAM;
  }
  return can_send_from(af_of(family), source) ? OPEN_E_NONE : OPEN_E_FAIL;
}

bool family_ok(OPEN_AF_t family) { return family == OPEN_AF_INET || family == OPEN_AF_INET6; }
bool response_ok(const open_buffdesc *response) { return response && response->pstart && response->size > 0; }

// Ends the probes still running: the service is stopping, and a
// connection thread may be waiting for one.
void stop_probes() {
  Registry &r = registry();
  std::map<int, pid_t> running;
  {
    std::lock_guard<std::mutex> lock(r.mutex);
    r.stopping = true;
    running = r.running;
  }
  // The handles stay open until their runs end, which needs these to end.
  for (const auto &[handle, pid] : running) process_terminate(handle, pid, kStopGraceMs);
}

}  // namespace

using namespace calls::diagnostics;

VELTRUM_SIM_PART(diagnostics, kFamily) {
  // The routing interfaces (the interface part, an earlier family, defines them).
  const Table &routing = sim.store().table("vlan_routing");
  sim.on_shutdown(stop_probes);

  sim.implement_unlocked<CallId::rpcclt_openapiPing>(
      [&sim, &routing](openapiClientHandle_t *, const open_buffdesc *host, OPEN_AF_t family, uint32_t count,
             uint32_t interval, uint32_t size, OPEN_PROBE_SOURCE_t srcType, uint32_t ifNum,
             const open_buffdesc *srcAddr, open_buffdesc *response) {
        if (!response_ok(response) || !family_ok(family) || count < 1 || count > kMaxPingCount || interval < 1 ||
            interval > kMaxInterval || size > kMaxProbeSize)
          return OPEN_E_PARAM;
        std::string target = buffer_text(host);
        if (open_error_t rc = check_host(target, family)) return rc;
        std::string source;
        if (open_error_t rc = resolve_source(sim, routing, family, srcType, ifNum, srcAddr, source)) return rc;

        std::vector<std::string> args{"ping", family == OPEN_AF_INET6 ? "-6" : "-4", "-c", std::to_string(count),
                                      "-i", std::to_string(interval), "-s", std::to_string(size)};
        if (!source.empty()) args.insert(args.end(), {"-I", source});
        args.insert(args.end(), {"--", target});
        ProbeRun run;
        run.keep = response->size;
        int status = run_probe(args, run);
        // 1: no reply came, which is a result like any other.
        if (status != 0 && status != 1) return OPEN_E_INTERNAL;
        return fill_output(response, run.output);
      });

  sim.implement_unlocked<CallId::rpcclt_openapiTraceroute>(
      [&sim, &routing](openapiClientHandle_t *, const open_buffdesc *host, OPEN_AF_t family, uint32_t probes,
             uint32_t interval, uint32_t initTtl, uint32_t maxTtl, uint32_t maxFail, uint32_t size, uint32_t port,
             OPEN_PROBE_SOURCE_t srcType, uint32_t ifNum, const open_buffdesc *srcAddr, open_buffdesc *response) {
        if (!response_ok(response) || !family_ok(family) || probes < 1 || probes > kMaxProbes || interval < 1 ||
            interval > kMaxInterval || initTtl < 1 || initTtl > kMaxTtl || maxTtl < 1 || maxTtl > kMaxTtl ||
            initTtl > maxTtl || maxFail < 1 || maxFail > kMaxTtl || size > kMaxProbeSize || port > kMaxPort)
          return OPEN_E_PARAM;
        std::string target = buffer_text(host);
        if (open_error_t rc = check_host(target, family)) return rc;
        std::string source;
        if (open_error_t rc = resolve_source(sim, routing, family, srcType, ifNum, srcAddr, source)) return rc;

        // The interval is the pause between probes; the program takes more
        // than 10 as milliseconds. Port 0 is the program's default port.
        std::vector<std::string> args{"traceroute", family == OPEN_AF_INET6 ? "-6" : "-4",
                                      "-q", std::to_string(probes),
                                      "-f", std::to_string(initTtl),
                                      "-m", std::to_string(maxTtl),
                                      "-z", std::to_string(interval * 1000)};
        if (port != 0) args.insert(args.end(), {"-p", std::to_string(port)});
        if (!source.empty()) args.insert(args.end(), {"-s", source});
        args.insert(args.end(), {"--", target, std::to_string(size)});
        ProbeRun run;
        run.keep = response->size;
        run.max_fail = maxFail;
        int status = run_probe(args, run);
        if (status != 0 && !run.cut) return OPEN_E_INTERNAL;
        return fill_output(response, run.output);
      });
}

}  // namespace veltrum::sim
