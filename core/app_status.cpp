#include "core/app_status.h"

#include <cstddef>

#include "core/platform_client.h"
#include "support/log.h"
#include "support/mem.h"

namespace {

constexpr const char *kAppStatusTexts[APP_STATUS_COUNT] = {
    "Operational",
    "Non-operational",
    "Firmware Update None",
    "Firmware Update in Progress",
    "Firmware Download Started",
    "Firmware Download Timed-Out",
    "Firmware Download Failed",
    "Firmware Download Success",
    "Firmware Validation and Upgrade Started",
    "Firmware Validation and Upgrade Failed",
    "Firmware Validation and Upgrade Success",
    "Firmware Upgrade OpEN API Failed",
};

constexpr size_t kAppNameSize = 20;
constexpr size_t kAppStatusSize = 127;

}  // namespace

const char *app_status_text(int index) {
  if (index < 0 || index >= APP_STATUS_COUNT) return nullptr;
  return kAppStatusTexts[index];
}

void set_app_status(int index) {
  const char *text = app_status_text(index);
  if (!text) return;
  char name[kAppNameSize] = {};
  char status[kAppStatusSize] = {};
  strncpyt(name, kAppName, sizeof name - 1);
  strncpyt(status, text, sizeof status - 1);
  open_buffdesc name_desc{sizeof name, name};
  open_buffdesc status_desc{sizeof status, status};
  if (rpcclt_openapiAppCtrlStatusSet(&g_client_handle, &name_desc, &status_desc) != OPEN_E_NONE)
    agent_log(7, "Failed to set application control status.");
}
