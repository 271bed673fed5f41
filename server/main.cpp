// veltrum: the switch's REST management agent. No options, no environment
// (VELTRUM_ROOT, VELTRUM_LOG_LEVEL, VELTRUM_RPC_TIMEOUT_MS and
// VELTRUM_IDLE_TIMEOUT are development hooks, docs/architecture.md); it runs
// until the select loop fails.
#include <pthread.h>
#include <unistd.h>

#include <cstring>

#include <json-c/json.h>

#include "server/agent.h"
#include "core/platform_client.h"
#include "jobs/ping_test.h"
#include "jobs/traceroute.h"
#include "support/log.h"
#include "support/mem.h"
#include "support/worker.h"

namespace {

// The applications whose version the agent reports at start.
struct AppEntry {
  const char *name;
  const char *version;
};
constexpr AppEntry kApps[] = {{kAppName, kAppVersion}};

// A background thread slot that main joins on the way out. Nothing in this
// build starts it; joining an empty slot does nothing.
struct BackgroundThread {
  pthread_t thread{};
  bool started = false;
  void join() {
    if (started) pthread_join(thread, nullptr);
    started = false;
  }
};

void report_versions() {
  for (const AppEntry &app : kApps) {
    char name[20] = {};
    char version[20] = {};
    strncpyt(name, app.name, sizeof name - 1);
    strncpyt(version, app.version, sizeof version - 1);
    open_buffdesc name_desc{sizeof name, name};
    open_buffdesc version_desc{sizeof version, version};
    open_error_t rc = rpcclt_openapiAppCtrlVersionSet(&g_client_handle, &name_desc, &version_desc);
    if (rc != OPEN_E_NONE)
      agent_log(7, "Failed to set app (%s)'s version (%s) error (%d)", app.name, app.version, rc);
  }
}

}  // namespace

int main() {
  int result = 0;
  BackgroundThread background;

  agent_init();

  open_revision_data_t version{};
  if (rpcclt_openapiApiVersionGet(&g_client_handle, &version) != OPEN_E_NONE)
    agent_log(7, "Open API Version retrieve error.");
  else
    agent_log(7, "Open API Version = %d.%d.%d.%d", version.major, version.minor, version.maint_level,
              version.build_num);

  report_versions();

  agent_log(7, "JSON-C library version: %s", json_c_version());
  agent_log(7, "Starting RESTful server on port: %d", kDaemonPort);
  agent_log(6, "Veltrum initializing... , pid is: %lu.\n", static_cast<unsigned long>(getpid()));

  set_app_status(APP_STATUS_OPERATIONAL);

  if (run_http_server() != 0) {
    result = -1;
    agent_log(1, "Failed to start Veltrum\n");
  }

  background.join();

  set_app_status(APP_STATUS_NON_OPERATIONAL);
  shutdown_traceroute();
  shutdown_ping_test();
  destroy_worker_manager();
  return result;
}
