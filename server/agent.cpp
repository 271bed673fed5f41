#include "server/agent.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <microhttpd.h>

#include "server/dispatch.h"
#include "core/platform_client.h"
#include "jobs/ping_test.h"
#include "jobs/traceroute.h"
#include "uri/uri_table.h"
#include "support/agent_config.h"
#include "support/device.h"
#include "support/log.h"
#include "support/mem.h"
#include "support/worker.h"

namespace {

// Registers one client handle under the application name and waits, with no
// limit, until the service answers on it. Each platform call on the handle
// ends within the call time-out (VELTRUM_RPC_TIMEOUT_MS under a development
// root).
void register_client(openapiClientHandle_t *handle) {
  open_error_t rc = openapiClientRegister(kAppName, handle);
  if (rc != OPEN_E_NONE) {
    std::fprintf(stderr, "Failed to initialize RPC to OpEN. Exiting (result = %d)\n", rc);
    std::exit(2);
  }
  long timeout_ms =
      development_setting("VELTRUM_RPC_TIMEOUT_MS", veltrum::rpc::kDefaultCallTimeout.count(), 1, 600 * 1000);
  veltrum::rpc::set_call_timeout(handle, std::chrono::milliseconds(timeout_ms));
  while (rpcclt_openapiConnectivityCheck(handle) != OPEN_E_NONE) sleep(1);
}

[[noreturn]] void init_failed(const char *what) {
  agent_log(1, "%s", what);
  std::fprintf(stderr, "%s\n", what);
  std::exit(1);
}

// At the connection limit libmicrohttpd would take a new connection only to
// close it unanswered. Its listen socket is left out of the wait instead, so
// new connections wait in the kernel's listen queue and are taken, in the
// order they came, as soon as a connection closes.
void hold_new_connections_at_limit(MHD_Daemon *daemon, fd_set *read_set) {
  const MHD_DaemonInfo *count = MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_CURRENT_CONNECTIONS);
  if (!count || count->num_connections < kConnectionLimit) return;
  const MHD_DaemonInfo *listen = MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_LISTEN_FD);
  if (listen && listen->listen_fd != MHD_INVALID_SOCKET) FD_CLR(listen->listen_fd, read_set);
}

// Stops the daemon when the loop ends, whichever way it ends.
struct DaemonStopper {
  MHD_Daemon *daemon;
  ~DaemonStopper() {
    if (daemon) MHD_stop_daemon(daemon);
  }
};

}  // namespace

void agent_init() {
  // A resource declaration the walkers cannot serve, or one that disagrees
  // with its row of the URI table, is a fault of the build: refuse to start.
  if (!check_uri_table()) init_failed("Error in the resource declarations.");

  register_client(&g_client_handle);
  // The second registration is made and confirmed the same way; no request
  // path uses it.
  register_client(&g_client_handle2);

  init_agent_config(&g_agent_config);
  parse_agent_config(&g_agent_config);
  dump_agent_config(&g_agent_config);

  set_app_status(APP_STATUS_NON_OPERATIONAL);
  if (init_worker_manager() != 0) init_failed("Error in init_worker_manager.");

  // The job modules: traceroute first, then the ping test.
  if (init_traceroute() != 0) init_failed("Error in init_traceroute.");
  if (init_ping_test() != 0) init_failed("Error in init_ping_test.");

  // Children of the job and file modules must be reapable.
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGCHLD);
  sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

int run_http_server() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kDaemonPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);

  auto idle_timeout =
      static_cast<unsigned>(development_setting("VELTRUM_IDLE_TIMEOUT", kConnectionTimeoutSeconds, 1, 3600));
  // Strict parsing: a request libmicrohttpd would have to guess at is refused.
  int strict = 1;
  DaemonStopper daemon{MHD_start_daemon(
      MHD_USE_ERROR_LOG, kDaemonPort, nullptr, nullptr, &access_handler, nullptr, MHD_OPTION_SOCK_ADDR, &address,
      MHD_OPTION_CONNECTION_TIMEOUT, idle_timeout, MHD_OPTION_NOTIFY_COMPLETED, &request_completed, nullptr,
      MHD_OPTION_CONNECTION_LIMIT, kConnectionLimit, MHD_OPTION_STRICT_FOR_CLIENT, strict, MHD_OPTION_END)};
  if (!daemon.daemon) {
    agent_log(1, "Failed to start MHD daemon.");
    return -1;
  }
  agent_log(7, "Veltrum started.");

  for (;;) {
    fd_set read_set;
    fd_set write_set;
    fd_set error_set;
    FD_ZERO(&read_set);
    FD_ZERO(&write_set);
    FD_ZERO(&error_set);
    MHD_socket highest = 0;
    if (MHD_get_fdset(daemon.daemon, &read_set, &write_set, &error_set, &highest) != MHD_YES) {
      sleep(1);
      agent_log(7, "Failed to call MHD_get_fdset, sleep 1s");
      continue;
    }
    hold_new_connections_at_limit(daemon.daemon, &read_set);

    MHD_UNSIGNED_LONG_LONG timeout_ms = 0;
    timeval timeout{};
    timeval *wait = nullptr;
    if (MHD_get_timeout(daemon.daemon, &timeout_ms) == MHD_YES) {
      timeout.tv_sec = static_cast<time_t>(timeout_ms / 1000);
      timeout.tv_usec = static_cast<suseconds_t>((timeout_ms - timeout.tv_sec * 1000ULL) * 1000);
      wait = &timeout;
    }

    if (select(highest + 1, &read_set, &write_set, &error_set, wait) == -1) {
      // An interrupted wait says nothing about the descriptors: ask again.
      if (errno == EINTR) continue;
      agent_log(1, "Failed to call select. errno = %d", errno);
      return -1;
    }
    if (MHD_run_from_select(daemon.daemon, &read_set, &write_set, &error_set) != MHD_YES) {
      agent_log(1, "Serious errors happened in MHD_run_from_select.");
      return -1;
    }
  }
}
