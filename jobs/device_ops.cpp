// "device_reboot" and "device_factory_reset": the handler answers at once,
// and a job process (jobs/job_child.h) waits a moment, so that the answer
// reaches the client, and has the platform reload or reset. Their failures
// show only in the log.
#include <unistd.h>

#include <climits>

#include "core/response.h"
#include "jobs/job_child.h"
#include "platform/calls/08_files.h"
#include "session/web_files.h"
#include "support/device.h"
#include "support/json_ptr.h"
#include "support/log.h"

namespace {

using veltrum::web::refuse;

constexpr unsigned kRebootDelaySeconds = 5;
constexpr unsigned kResetDelaySeconds = 2;
constexpr int kConnectSeconds = 60;
constexpr const char *kResetBackup = "/mnt/fastpath/veltrum_fr.bk";

void remove_reset_backup() { veltrum::web::run_program({"rm", "-rf", device_path(kResetBackup)}); }

[[noreturn]] void reboot_job() {
  sleep(kRebootDelaySeconds);
  openapiClientHandle_t client{};
  if (job_connect("device_reboot", &client, kConnectSeconds) == 0) {
    open_error_t rc = rpcclt_openapiSystemReload(&client);
    if (rc != OPEN_E_NONE) refuse(-1, "System Reload Failed (%d).", rc);
  }
  _exit(0);
}

[[noreturn]] void factory_reset_job() {
  agent_log(1, "Restoring Configurations to Factory-defaults.");
  sleep(kResetDelaySeconds);
  openapiClientHandle_t client{};
  open_error_t rc = OPEN_E_RPC;
  if (job_connect("factory_reset", &client, kConnectSeconds) == 0) rc = rpcclt_openapiResetConfigurationSet(&client);
  if (rc != OPEN_E_NONE) {
    agent_log(1, "Failed openapiResetConfigurationSet() API.");
    refuse(-1, "RESET Configurations Failed (%d).", rc);
    remove_reset_backup();
  }
  _exit(0);
}

}  // namespace

void device_reboot_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  int rc = 0;
  json_object *body = nullptr;
  if (!json_object_object_get_ex(request, "deviceReboot", &body)) {
    rc = refuse(-99, "Parsing error %s", "deviceReboot");
  } else {
    pid_t job = fork_job("device_reboot");
    if (job < 0) rc = refuse(-101, "Device reboot fork() Failed.");
    if (job == 0) reboot_job();
  }
  veltrum::web::answer(response, nullptr, "deviceReboot", rc);
}

void device_factory_reset_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  int rc = 0;
  json_object *body = nullptr;
  json_object *erase = nullptr;
  if (!json_object_object_get_ex(request, "deviceFactoryReset", &body)) {
    rc = refuse(-99, "Parsing error deviceFactoryReset");
  } else if (!json_object_object_get_ex(body, "erase", &erase) ||
             veltrum::web::member_int(erase) == INT_MIN) {
    rc = refuse(-99, "Parsing Error 'erase' object.");
  } else {
    pid_t job = fork_job("factory_reset");
    if (job < 0) rc = refuse(-102, "Factory-reset fork() Failed.");
    if (job == 0) factory_reset_job();
  }
  veltrum::web::answer(response, nullptr, "deviceFactoryReset", rc);
  if (rc != 0) remove_reset_backup();
}
