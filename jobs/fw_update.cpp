// The firmware update from a client's URL: "device_fw_update" and
// "device_fw_update_status".
//
// The POST checks its body and forks the child "fw_update" (jobs/fw_child.h),
// which downloads the image with curl into "/mnt/download/image.stk", has
// the platform write it into the image that does not run, marks that image
// to boot next and, when asked, reloads the switch. The child reports its
// progress through the segment of jobs/fw_common.h (update states 0..11);
// the status resource reads it, and the download's progress from the size
// of the file against the length the server announced.
//
// Decisions of our own (docs/firmware.md):
// - The client's "fwUrl" never passes through a shell: curl runs with an
//   argument vector, the announced length is read from curl's own header
//   output, and a URL that is not an http, https, ftp or tftp URL free of
//   whitespace, control and shell characters is refused with "Parsing Error
//   'fwURL' invalid.\n" (rc -99) before anything starts. curl is told not to
//   expand "[...]" ranges in it (--globoff).
// - The length request is bounded by the download's time limit, so a server
//   that never answers cannot hold the child before its download starts.
// - A "fwDownloadTimeout" that is not a number of seconds from 0 up is
//   refused with "Parsing Error 'fwDownloadTimeout' invalid.\n" (rc -99).
// - The status resource detaches the segment after reading it (one
//   attachment per poll would otherwise pile up in the agent).
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/handler.h"
#include "jobs/diag_text.h"
#include "jobs/fw_child.h"
#include "jobs/fw_common.h"
#include "platform/calls/08_files.h"
#include "support/device.h"
#include "support/log.h"

using veltrum::handler::Outcome;
using veltrum::jobs::FwSegment;
using veltrum::jobs::message;
using enum veltrum::jobs::FwState;

namespace {

constexpr int kDefaultTimeout = 600;
constexpr unsigned kSettleSeconds = 15;
constexpr int kCurlTimedOut = 28;

struct UpdateRequest {
  bool reboot = false;
  std::string url;
  int timeout = kDefaultTimeout;
};

std::string image_path() { return std::string(veltrum::jobs::kDownloadDir) + "/" + veltrum::jobs::kImageName; }

// The child's endings: `state` with busy 0, the segment detached.
int finish(FwSegment &segment, int32_t state, int status) {
  segment.set_state(state, 0);
  if (!segment.detach()) agent_log(7, "Shared memory shmdt() error from fw_update child.");
  return status;
}

int api_failed(FwSegment &segment, const char *format, int result) {
  veltrum::jobs::log_result(7, format, result);
  return finish(segment, kFwApiFailed, 1);
}

// The child "fw_update": its exit status.
int update_child(const UpdateRequest &r) {
  agent_log(1, "Firmware Upgrade Started.");
  openapiClientHandle_t client{};
  veltrum::jobs::child_connect(&client, "fw_update");

  FwSegment segment(FwSegment::Mode::Create);
  if (segment.failure() != FwSegment::Failure::None) {
    agent_log(7, segment.failure() == FwSegment::Failure::Get ? "Shared Memory shmget() Error from fw_udate child."
                                                              : "Shared Memory shmat() Error from fw_udate child.");
    return 1;
  }
  segment.clear();
  segment.set_total(veltrum::jobs::announced_length(r.url, r.timeout));

  segment.set_state(kFwDownloadStarted, 1);
  int rc = veltrum::jobs::run_curl({"--cacert", device_path(veltrum::jobs::kCertBundle), "-m",
                                    std::to_string(r.timeout), "-o", device_path(image_path()), "--globoff", r.url});
  if (rc == kCurlTimedOut) {
    agent_log(7, "Firmware Download Time-Out (%d).", rc);
    return finish(segment, kFwDownloadTimedOut, 0);
  }
  if (rc != 0) {
    agent_log(7, "Firmware Download Failed (%d).", rc);
    return finish(segment, kFwDownloadFailed, 0);
  }
  agent_log(7, "Firmware Download Successful.");
  segment.set_state(kFwDownloadSuccess, 1);

  veltrum::jobs::LabelText label1{}, label2{}, version1{}, version2{}, active{};
  uint32_t unit = 0;
  if ((rc = veltrum::jobs::image_labels(&client, label1, label2)) != OPEN_E_NONE)
    return api_failed(segment, "openapiImageLabelsGet Failed (%d).", rc);
  if ((rc = rpcclt_openapiSystemLocalUnitGet(&client, &unit)) != OPEN_E_NONE)
    return api_failed(segment, "openapiSystemLocalUnitGet Failed (%d).", rc);
  if ((rc = veltrum::jobs::image_names(&client, unit, version1, version2, active)) != OPEN_E_NONE)
    return api_failed(segment, "openapiImageNamesGet Failed (%d).", rc);
  agent_log(7, "Firmware upgrade, image_1_ver='%s' image_2_ver='%s' active_image_label='%s'.", version1, version2,
            active);

  const char *target = active;
  if (std::strncmp(active, label1, sizeof active) == 0)
    target = label2;
  else if (std::strncmp(active, label2, sizeof active) == 0)
    target = label1;
  agent_log(7, "Firmware upgrade, Active label is '%s', flashing '%s' image label.", active, target);

  segment.set_state(kFwUpgradeStarted, 1);
  std::string file = image_path();
  open_buffdesc path{static_cast<uint32_t>(file.size() + 1), file.data()};
  open_buffdesc label{static_cast<uint32_t>(std::strlen(target) + 1), const_cast<char *>(target)};
  if (rpcclt_openapiImageUpgrade(&client, &path, &label) != OPEN_E_NONE) {
    agent_log(1, "Firmware Upgrade Failed (invalid firmware or bad checksum).");
    return finish(segment, kFwUpgradeFailed, 1);
  }

  segment.set_state(kFwUpgradeSuccess, 1);
  ::unlink(device_path(file).c_str());
  ::unlink(device_path(std::string(veltrum::jobs::kDownloadDir) + "/bootpkg").c_str());

  if ((rc = rpcclt_openapiImageLabelIsValid(&client, &label)) != OPEN_E_NONE)
    return api_failed(segment, "openapiImageLabelIsValid Failed (%d).", rc);
  agent_log(7, "Firmware upgrade, Deactivate '%s' image label and Activate '%s' image label.", active, target);
  if ((rc = veltrum::jobs::image_activate(&client, unit, target)) != OPEN_E_NONE)
    return api_failed(segment, "openapiImageActivate Failed (%d).", rc);

  segment.set_state(kFwUpgradeSuccess, 0);
  ::sleep(kSettleSeconds);
  agent_log(1, "Firmware Upgrade Successful (%s).", r.reboot ? "Rebooting device" : "Reboot device now");
  if (!r.reboot) {
    if (!segment.detach()) agent_log(7, "Shared memory shmdt() error from fw_update child.");
    return 0;
  }
  if ((rc = rpcclt_openapiSystemReload(&client)) == OPEN_E_NONE) return finish(segment, kFwReloaded, 0);
  // The failure ending reports an API failure: 10 is overwritten by 9, as
  // the clients have always seen it.
  segment.set_state(kFwReloadFailed, 0);
  return api_failed(segment, "Firmware upgrade, System Reload or Reboot Failed (%d), Please reboot by Admin", rc);
}

// Checks the body into `r`; 0, or -99 with the message.
int parse_update(json_object *request, UpdateRequest &r) {
  json_object *body = nullptr;
  if (!request || !json_object_object_get_ex(request, "deviceFirmwareUpdate", &body) ||
      !json_object_is_type(body, json_type_object)) {
    message("Parsing error deviceFirmwareUpdate");
    return -99;
  }
  json_object *reboot = nullptr;
  json_object *url = nullptr;
  json_object *timeout = nullptr;
  if (!json_object_object_get_ex(body, "rebootNow", &reboot)) {
    message("Parsing Error 'rebootNow' object.");
    return -99;
  }
  if (!json_object_object_get_ex(body, "fwUrl", &url)) {
    message("Parsing Error 'fwUrl' object.");
    return -99;
  }
  const char *url_text = json_object_is_type(url, json_type_string) ? json_object_get_string(url) : nullptr;
  if (!url_text || !veltrum::jobs::fw_url_acceptable(url_text)) {
    if (url_text) agent_log(4, "Refused firmware URL of %zu characters", std::strlen(url_text));
    message("Parsing Error 'fwURL' invalid.\n");
    return -99;
  }
  if (!json_object_object_get_ex(body, "fwDownloadTimeout", &timeout)) {
    message("Parsing Error 'rebootNow' object.");
    return -99;
  }
  int64_t seconds = 0;
  if (!veltrum::handler::read_int(timeout, seconds) || seconds < 0 || seconds > INT_MAX) {
    message("Parsing Error 'fwDownloadTimeout' invalid.\n");
    return -99;
  }
  r.reboot = json_object_get_boolean(reboot);
  r.url = url_text;
  r.timeout = seconds == 0 ? kDefaultTimeout : static_cast<int>(seconds);
  return 0;
}

}  // namespace

VELTRUM_HANDLER(device_fw_update_post) {
  Outcome out;
  UpdateRequest r;
  out.rc = parse_update(request, r);
  if (out.rc == 0 && veltrum::jobs::start_child("fw_update", [r] { return update_child(r); }) < 0) {
    message("Firmware Update fork() Failed.");
    out.rc = -101;
  }
  out.finish_plain(response, "deviceFirmwareUpdate");
}

VELTRUM_HANDLER(device_fw_update_status_get) {
  Outcome out;
  json_object *data = nullptr;
  FwSegment segment(FwSegment::Mode::Existing);
  if (segment.failure() != FwSegment::Failure::None) {
    message(segment.failure() == FwSegment::Failure::Get ? "Firmware Update shmget() Failed."
                                                         : "Firmware Update shmat() Failed.");
    out.rc = -101;
  } else {
    veltrum::jobs::FwProgress p = segment.read();
    std::string file = image_path();
    struct stat st {};
    float progress = 0;
    if (::stat(device_path(file).c_str(), &st) == 0)
      progress = veltrum::jobs::percent_of(st.st_size, p.totalSize);
    else
      agent_log(7, "Failed to get stats of (%s).", file.c_str());
    data = json_object_new_object();
    json_object_object_add(data, "state", json_object_new_int(p.state));
    json_object_object_add(data, "message", json_object_new_string(veltrum::jobs::update_state_text(p.state)));
    json_object_object_add(data, "dwldProgress",
                           json_object_new_string(veltrum::jobs::percent_text(progress, 2).c_str()));
    out.rc = 0;
  }
  out.finish_read(response, "fwUpdateStatus", data);
}
