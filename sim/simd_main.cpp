// veltrum-simd: the simulated switch platform service.
//
//   veltrum-simd --root DIR [--copper N] [--uplinks N] [--lags N] [--max-vlan N]
//
// Prepares the device root, loads the saved configuration and serves the
// platform calls on "<root>/run/openapi/openapi.sock", and the CLI's telnet
// service on 127.0.0.1 (sim/cli/telnet.h), until SIGTERM or SIGINT.
#include <csignal>
#include <cstdio>
#include <memory>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/client.h"
#include "sim/cli/telnet.h"
#include "sim/device_root.h"
#include "sim/sim.h"
#include "support/device.h"
#include "support/log.h"

namespace {

void usage() {
  std::fprintf(stderr,
               "usage: veltrum-simd --root DIR [--copper N] [--uplinks N] [--lags N] [--max-vlan N]\n");
  std::exit(2);
}

uint32_t number(const char *text, uint32_t min, uint32_t max) {
  char *end = nullptr;
  unsigned long v = std::strtoul(text, &end, 10);
  if (!*text || *end || v < min || v > max) usage();
  return static_cast<uint32_t>(v);
}

}  // namespace

int main(int argc, char **argv) {
  log_set_ident("veltrum-simd");
  veltrum::sim::SimOptions options;
  bool have_root = false;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (i + 1 >= argc) usage();
    const char *v = argv[++i];
    if (a == "--root") {
      options.root = v;
      while (options.root.size() > 1 && options.root.back() == '/') options.root.pop_back();
      if (options.root == "/") options.root.clear();
      have_root = true;
    } else if (a == "--copper") {
      options.copper = number(v, 1, 96);
    } else if (a == "--uplinks") {
      options.uplinks = number(v, 0, 16);
    } else if (a == "--lags") {
      options.lags = number(v, 0, 64);
    } else if (a == "--max-vlan") {
      options.max_vlan = number(v, 2, 4094);
    } else {
      usage();
    }
  }
  if (!have_root) usage();
  set_device_root(options.root);

  if (!veltrum::sim::prepare_device_root(options.root)) {
    std::fprintf(stderr, "veltrum-simd: cannot prepare the device root %s: %s\n", options.root.c_str(),
                 std::strerror(errno));
    return 1;
  }

  // Signals are taken by sigwait below, never by a handler on some thread.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  // A wrong binding or a declared call without implementation is a fault of
  // the build: the service refuses to start and says which.
  std::unique_ptr<veltrum::sim::Sim> model;
  try {
    model = std::make_unique<veltrum::sim::Sim>(options);
  } catch (const std::exception &e) {
    std::fprintf(stderr, "veltrum-simd: %s\n", e.what());
    return 1;
  }
  veltrum::sim::Sim &sim = *model;
  if (auto missing = sim.missing_calls(); !missing.empty()) {
    for (const auto &name : missing) std::fprintf(stderr, "veltrum-simd: %s has no implementation\n", name.c_str());
    return 1;
  }
  sim.load_config();

  // The CLI first: once the platform answers, its CLI does too.
  veltrum::sim::cli::TelnetService cli(sim);
  if (!cli.start()) {
    std::fprintf(stderr, "veltrum-simd: cannot listen for the CLI's telnet service: %s\n", std::strerror(errno));
    return 1;
  }

  veltrum::rpc::Server server(device_path(OPENAPI_SOCKET_PATH), sim);
  sim.set_server(&server);
  if (!server.start()) {
    std::fprintf(stderr, "veltrum-simd: cannot listen on %s: %s\n", device_path(OPENAPI_SOCKET_PATH).c_str(),
                 std::strerror(errno));
    return 1;
  }
  agent_log(6, "serving %u platform calls on %s", sim.implemented_calls(),
            device_path(OPENAPI_SOCKET_PATH).c_str());
  agent_log(6, "CLI telnet service on 127.0.0.1 port %d", cli.port());

  int sig = 0;
  sigwait(&signals, &sig);
  agent_log(6, "stopping on signal %d", sig);
  cli.stop();
  sim.shutdown();  // a connection thread may be waiting for a part's work
  server.stop();
  return 0;
}
