// Every declared resource with a GET, in-process, against a real
// veltrum-simd: the handler's time beside the raw cost of the platform
// round trips it makes.
//
// For each registration that serves GET (those whose query variables are
// required are skipped and listed; the others are read without a request,
// so optional query variables are absent and the whole list is walked):
//   - one GET records every request frame it sends on the platform channel
//     (the channel call is wrapped at link time, see bench/CMakeLists.txt),
//     checked against the simulator's call journal;
//   - handler: mean wall time of resource_get(), its answer freed each time;
//   - raw: mean wall time of sending the same frames again, the same calls
//     with the same arguments, straight on the channel in a loop;
//   - ratio = handler / raw (of the means);
//   - paired: the median of the ratios of each handler slice and the raw
//     slice right after it.
// The two are measured in 20 alternating slices each. On a shared machine
// a round trip takes about 3 us while a CPU is free for both ends' polling
// and about 90 us while it is not, and the machine flips between the two
// within a second: the ratio of the means then compares slices of
// different regimes, the paired median much less so. A resource whose
// paired ratio is over the target is timed once more with a clock around
// each channel call, which splits its handler time into the round trips
// and the agent's own work.
//
//   get_sweep [SECONDS_PER_RESOURCE [RESOURCE...]]
//
// SECONDS_PER_RESOURCE is the handler's share (default 0.3); raw gets as
// much. Names after it measure only those resources.
//
// The answer trace of the agent (level 7, on by default) is part of each
// GET; VELTRUM_LOG_LEVEL=6 measures without it. Run with 2>/dev/null.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include <json-c/json.h>

#include "bench/simd_process.h"
#include "core/handler.h"
#include "core/platform_client.h"
#include "support/device.h"
#include "tests/common/sim_control.h"
#include "uri/uri_table.h"

using veltrum::handler::Query;
using veltrum::handler::Resource;
using veltrum::handler::Served;

// ---------------------------------------------------------------- the channel, wrapped

// The linker sends every stub's call of veltrum::rpc::channel_call here
// (--wrap of its mangled name); the real one stays reachable for replays.
#define VELTRUM_CHANNEL_CALL "_ZN7veltrum3rpc12channel_callEP21openapiClientHandle_tRSt6vectorIhSaIhEES6_"
open_error_t wrapped_channel_call(openapiClientHandle_t *client, std::vector<uint8_t> &request,
                                  std::vector<uint8_t> &answer) asm("__wrap_" VELTRUM_CHANNEL_CALL);
open_error_t real_channel_call(openapiClientHandle_t *client, std::vector<uint8_t> &request,
                               std::vector<uint8_t> &answer) asm("__real_" VELTRUM_CHANNEL_CALL);

namespace {

using Clock = std::chrono::steady_clock;

enum class Tap { Off, Record, Count, Time };
Tap g_tap = Tap::Off;
std::vector<std::vector<uint8_t>> g_frames;  // Record: each request as sent
unsigned long g_calls = 0;                   // Count, Time
double g_channel_seconds = 0;                // Time

}  // namespace

open_error_t wrapped_channel_call(openapiClientHandle_t *client, std::vector<uint8_t> &request,
                                  std::vector<uint8_t> &answer) {
  switch (g_tap) {
    case Tap::Off:
      break;
    case Tap::Record:
      g_frames.push_back(request);
      break;
    case Tap::Count:
      ++g_calls;
      break;
    case Tap::Time: {
      ++g_calls;
      auto start = Clock::now();
      open_error_t rc = real_channel_call(client, request, answer);
      g_channel_seconds += std::chrono::duration<double>(Clock::now() - start).count();
      return rc;
    }
  }
  return real_channel_call(client, request, answer);
}

namespace {

// One GET as the dispatcher makes it, its answer freed; its respCode.
int get_once(const Resource &r, bool want_code = false) {
  ResponseHolder holder{};
  veltrum::handler::resource_get(r, nullptr, &holder);
  int code = 0;
  if (want_code) {
    json_object *answer = holder.body ? json_tokener_parse(holder.body) : nullptr;
    json_object *resp = nullptr, *rc = nullptr;
    code = -1000;
    if (answer && json_object_object_get_ex(answer, "resp", &resp) && json_object_object_get_ex(resp, "respCode", &rc))
      code = json_object_get_int(rc);
    json_object_put(answer);
  }
  std::free(holder.body);
  return code;
}

// The recorded frames sent again, each as the stub sends it.
void replay(const std::vector<std::vector<uint8_t>> &frames) {
  thread_local std::vector<uint8_t> request;
  thread_local std::vector<uint8_t> answer;
  for (const auto &f : frames) {
    request.assign(f.begin(), f.end());
    real_channel_call(&g_client_handle, request, answer);
  }
}

// Runs `round` for at least `seconds` (and at least once); rounds made and time taken.
template <typename F>
void slice(double seconds, unsigned long &rounds, double &elapsed, F round) {
  auto start = Clock::now();
  auto until = start + std::chrono::duration<double>(seconds);
  unsigned long n = 0;
  do {
    round();
    ++n;
  } while (Clock::now() < until);
  rounds += n;
  elapsed += std::chrono::duration<double>(Clock::now() - start).count();
}

struct Row {
  std::string name;
  double calls = 0;  // platform calls per GET, counted over the handler's rounds
  size_t frames = 0;
  size_t journal = 0;
  double handler_us = 0;
  double raw_us = 0;
  double paired = 0;  // median of the slices' ratios
  int code = 0;
  std::string top_calls;  // the most frequent calls of one GET, from the journal
  double ratio() const { return raw_us > 0 ? handler_us / raw_us : 0; }
};

// The three most frequent names of a journal, "name xN, ...".
std::string top_calls(const std::vector<std::string> &journal) {
  std::map<std::string, unsigned> counts;
  for (const auto &n : journal) ++counts[n];
  std::vector<std::pair<unsigned, std::string>> order;
  for (const auto &[name, n] : counts) order.emplace_back(n, name);
  std::sort(order.rbegin(), order.rend());
  std::string out;
  for (size_t i = 0; i < order.size() && i < 3; ++i) {
    std::string name = order[i].second;
    if (name.rfind("rpcclt_", 0) == 0) name = name.substr(7);
    out += (i ? ", " : "") + name + " x" + std::to_string(order[i].first);
  }
  return out;
}

}  // namespace

int main(int argc, char **argv) {
  double seconds = argc > 1 ? std::atof(argv[1]) : 0.3;
  constexpr int kSlices = 20;  // alternating handler and raw slices per resource
  constexpr double kTarget = 1.3;

  char root_template[] = "/tmp/veltrum-sweep-XXXXXX";
  std::string root = mkdtemp(root_template);
  set_device_root(root);

  pid_t simd = start_simd(root);
  openapiClientRegister("sweep", &g_client_handle);
  auto give_up = Clock::now() + std::chrono::seconds(20);
  while (rpcclt_openapiConnectivityCheck(&g_client_handle) != OPEN_E_NONE) {
    int status = 0;
    if (waitpid(simd, &status, WNOHANG) == simd || Clock::now() > give_up) {
      std::fprintf(stderr, "veltrum-simd did not come up\n");
      return 1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }

  // Factory defaults and a few VLANs, so that walks over VLANs have elements.
  {
    veltrum::test::SimControl sim;
    sim.clear_faults();
    sim.factory_reset();
    for (int vlan : {2, 10, 20, 100}) {
      std::string row = "{\"key\":[" + std::to_string(vlan) + "],\"record\":{\"name\":\"v" + std::to_string(vlan) +
                        "\",\"type\":2}}";
      if (sim.set("vlans", row) != OPEN_E_NONE) std::fprintf(stderr, "cannot add VLAN %d\n", vlan);
    }
  }
  veltrum::test::SimControl sim;

  std::printf("%zu rows in the URI table, %zu declarations; %.2f s per resource (handler) and as much raw\n",
              UriTableCount, veltrum::handler::served().size(), seconds);
  std::printf("%-30s %6s %10s %10s %7s %6s %6s  %s\n", "resource", "calls", "handler us", "raw us", "us/call", "ratio",
              "paired", "most calls (one GET)");

  std::vector<Row> rows;
  std::vector<std::string> skipped, optional, no_calls;
  std::map<std::string, int> seen;
  for (const Served &s : veltrum::handler::served()) {
    const Resource &r = *s.resource;
    if (!(s.methods & veltrum::handler::kServeGet) || !veltrum::handler::serves_get(r)) continue;
    std::string name = s.name;
    if (argc > 2 && std::find(argv + 2, argv + argc, name) == argv + argc) continue;
    if (seen[name]++) name += "#" + std::to_string(seen[name]);
    bool required = false;
    for (const Query &q : r.query) required |= q.missing_log != nullptr;
    if (required) {
      skipped.push_back(name);
      continue;
    }
    if (!r.query.empty()) optional.push_back(name);

    Row row;
    row.name = name;
    for (int i = 0; i < 3; ++i) get_once(r);  // warm up

    sim.reset_counts();
    g_frames.clear();
    g_tap = Tap::Record;
    row.code = get_once(r, true);
    g_tap = Tap::Off;
    std::vector<std::string> journal = sim.journal();
    row.frames = g_frames.size();
    row.journal = journal.size();
    row.top_calls = top_calls(journal);
    std::vector<std::vector<uint8_t>> frames = std::move(g_frames);

    unsigned long handler_rounds = 0, raw_rounds = 0;
    double handler_time = 0, raw_time = 0;
    std::vector<double> pairs;
    g_calls = 0;
    for (int i = 0; i < kSlices; ++i) {
      unsigned long h_rounds = 0, r_rounds = 0;
      double h_time = 0, r_time = 0;
      g_tap = Tap::Count;
      slice(seconds / kSlices, h_rounds, h_time, [&] { get_once(r); });
      g_tap = Tap::Off;
      handler_rounds += h_rounds;
      handler_time += h_time;
      if (frames.empty()) continue;
      slice(seconds / kSlices, r_rounds, r_time, [&] { replay(frames); });
      raw_rounds += r_rounds;
      raw_time += r_time;
      pairs.push_back((h_time / h_rounds) / (r_time / r_rounds));
    }
    row.calls = double(g_calls) / handler_rounds;
    row.handler_us = handler_time * 1e6 / handler_rounds;
    row.raw_us = raw_rounds ? raw_time * 1e6 / raw_rounds : 0;
    if (!pairs.empty()) {
      std::sort(pairs.begin(), pairs.end());
      size_t n = pairs.size();
      row.paired = n % 2 ? pairs[n / 2] : (pairs[n / 2 - 1] + pairs[n / 2]) / 2;
    }

    char ratio[16] = "-", paired[16] = "-", per_call[16] = "-";
    if (row.raw_us > 0) {
      std::snprintf(ratio, sizeof ratio, "%.2f", row.ratio());
      std::snprintf(paired, sizeof paired, "%.2f", row.paired);
      std::snprintf(per_call, sizeof per_call, "%.1f", row.raw_us / row.frames);
    }
    std::printf("%-30s %6.1f %10.1f %10.1f %7s %6s %6s  %s%s\n", row.name.c_str(), row.calls, row.handler_us,
                row.raw_us, per_call, ratio, paired, row.top_calls.c_str(),
                row.code ? (" [respCode " + std::to_string(row.code) + "]").c_str() : "");
    if (row.journal != row.frames)
      std::printf("  (journal %zu calls, %zu frames recorded: the journal keeps the last 4096)\n", row.journal,
                  row.frames);

    if (row.raw_us <= 0) {
      no_calls.push_back(row.name);
    } else if (row.paired > kTarget) {
      // Where its time goes: the round trips inside the GET and the rest.
      unsigned long rounds = 0;
      double elapsed = 0;
      g_calls = 0;
      g_channel_seconds = 0;
      g_tap = Tap::Time;
      slice(seconds / 2, rounds, elapsed, [&] { get_once(r); });
      g_tap = Tap::Off;
      std::printf("  over %.1f: per GET %.1f us in %.1f channel calls, %.1f us of the agent's own\n", kTarget,
                  g_channel_seconds * 1e6 / rounds, double(g_calls) / rounds,
                  (elapsed - g_channel_seconds) * 1e6 / rounds);
    }
    rows.push_back(row);
  }

  std::vector<const Row *> rated;
  for (const Row &row : rows)
    if (row.raw_us > 0) rated.push_back(&row);
  std::printf("\n%zu resources measured, %zu with platform calls\n", rows.size(), rated.size());
  auto summary = [&](const char *what, double (*value)(const Row *)) {
    if (rated.empty()) return;
    std::sort(rated.begin(), rated.end(), [&](const Row *a, const Row *b) { return value(a) < value(b); });
    const Row *worst = rated.back();
    size_t n = rated.size();
    double median = n % 2 ? value(rated[n / 2]) : (value(rated[n / 2 - 1]) + value(rated[n / 2])) / 2;
    size_t over = size_t(std::count_if(rated.begin(), rated.end(), [&](const Row *x) { return value(x) > kTarget; }));
    std::printf("%s: median %.2f, worst %.2f (%s), %zu over %.1f\n", what, median, value(worst), worst->name.c_str(),
                over, kTarget);
  };
  summary("ratio of the means", [](const Row *x) { return x->ratio(); });
  summary("paired ratio", [](const Row *x) { return x->paired; });
  auto list = [](const char *what, const std::vector<std::string> &names) {
    if (names.empty()) return;
    std::printf("%s:", what);
    for (const auto &n : names) std::printf(" %s", n.c_str());
    std::printf("\n");
  };
  list("skipped (required query variables)", skipped);
  list("read without their optional query variables (the whole list)", optional);
  list("no platform calls (no ratio)", no_calls);

  openapiClientTearDown(&g_client_handle);
  kill(simd, SIGTERM);
  waitpid(simd, nullptr, 0);
  std::string cleanup = "rm -rf '" + root + "'";
  return std::system(cleanup.c_str()) == 0 ? 0 : 1;
}
