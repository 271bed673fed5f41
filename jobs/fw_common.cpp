#include "jobs/fw_common.h"

#include <sys/ipc.h>
#include <strings.h>
#include <sys/shm.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "core/app_status.h"
#include "core/platform_client.h"
#include "core/response.h"
#include "support/log.h"
#include "support/process.h"

namespace veltrum::jobs {

// ---------------------------------------------------------------- the segment

namespace {

// After the application status texts of the firmware update (2..11).
constexpr int kFirstUpdateStatus = APP_STATUS_FW_UPDATE_NONE;
constexpr const char *kUpdateReloadTexts[] = {
    "Device Reboot or Reload Failed by Firmware Upgrade",
    "Device Rebooted or Reloaded by Firmware Upgrade",
};

constexpr const char *kDownloadStateTexts[] = {
    "Download Status None",
    "Download in Progress",
    "Download Started",
    "Download Timed-Out",
    "Download Failed",
    "Download Success",
    "Validation and Upgrade Started",
    "Validation and Upgrade Failed",
    "Validation and Upgrade Success",
    "OpEN API Failed",
    "Device Reboot or Reload Failed",
    "Device Rebooted or Reloaded by device upgrade",
    "Checksum Validation Failed",
};

template <size_t N>
const char *state_text(const char *const (&table)[N], int32_t state) {
  return state >= 0 && static_cast<size_t>(state) < N ? table[state] : "";
}

}  // namespace

FwSegment::FwSegment(Mode mode) {
  key_t key = ::ftok(".", kFwSegmentProjId);
  int id = key == -1 ? -1 : ::shmget(key, sizeof(FwProgress), mode == Mode::Create ? IPC_CREAT | 0666 : 0666);
  if (id < 0) {
    failure_ = Failure::Get;
    return;
  }
  void *at = ::shmat(id, nullptr, 0);
  if (at == reinterpret_cast<void *>(-1)) {
    failure_ = Failure::Attach;
    return;
  }
  progress_ = static_cast<volatile FwProgress *>(at);
}

FwSegment::~FwSegment() { detach(); }

bool FwSegment::detach() {
  if (!progress_) return true;
  void *at = const_cast<FwProgress *>(progress_);
  progress_ = nullptr;
  return ::shmdt(at) == 0;
}

FwProgress FwSegment::read() const {
  if (!progress_) return {0, 0, 0};
  return {progress_->state, progress_->totalSize, progress_->busy};
}

void FwSegment::clear() {
  if (!progress_) return;
  progress_->state = 0;
  progress_->totalSize = 0;
  progress_->busy = 0;
}

void FwSegment::set_state(int32_t state, int32_t busy) {
  if (!progress_) return;
  progress_->state = state;
  progress_->busy = busy;
}

void FwSegment::set_busy(int32_t busy) {
  if (progress_) progress_->busy = busy;
}

void FwSegment::set_total(int32_t total) {
  if (progress_) progress_->totalSize = total;
}

const char *update_state_text(int32_t state) {
  constexpr int32_t kFromStatus = APP_STATUS_COUNT - kFirstUpdateStatus;
  if (state >= 0 && state < kFromStatus) return app_status_text(kFirstUpdateStatus + state);
  return state_text(kUpdateReloadTexts, state - kFromStatus);
}
const char *download_state_text(int32_t state) { return state_text(kDownloadStateTexts, state); }

float percent_of(long long part, long long whole) {
  if (whole != 0) return static_cast<float>(part) / static_cast<float>(whole) * 100;
  return part > 0 ? std::numeric_limits<float>::infinity() : std::numeric_limits<float>::quiet_NaN();
}

std::string percent_text(float percent, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f%%", decimals, static_cast<double>(percent));
  return text;
}

void log_result(int level, const char *format, ...) {
  va_list args;
  va_start(args, format);
  agent_vlog(level, format, args);
  va_end(args);
}

void result_message(const char *format, ...) {
  char text[kLastErrorSize];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  format_last_error("%s", text);
  agent_log(4, "%s", text);
}

// ---------------------------------------------------------------- files and programs

bool fw_url_acceptable(const char *url) {
  constexpr size_t kMaxUrl = 1024;
  if (!url) return false;
  size_t length = std::strlen(url);
  if (length > kMaxUrl) return false;
  static const char *const kSchemes[] = {"http://", "https://", "ftp://", "tftp://"};
  size_t host_at = 0;
  for (const char *scheme : kSchemes) {
    size_t n = std::strlen(scheme);
    if (length > n && strncasecmp(url, scheme, n) == 0) host_at = n;
  }
  if (host_at == 0 || url[host_at] == '/') return false;
  for (const char *p = url; *p; ++p) {
    auto c = static_cast<unsigned char>(*p);
    if (c <= 0x20 || c >= 0x7f || std::strchr(";$`|<>(){}\\'\"^", c)) return false;
  }
  return true;
}

int32_t content_length_of(const char *headers) {
  if (!headers) return 0;
  const char *line = headers;
  while (*line) {
    const char *end = std::strchr(line, '\n');
    size_t size = end ? static_cast<size_t>(end - line) : std::strlen(line);
    std::string text(line, size);
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    if (lower.find("content-length") != std::string::npos) {
      // awk '{print $2}': the second field separated by blanks.
      char first[256], second[256];
      int value = 0;
      if (std::sscanf(text.c_str(), "%255s %255s", first, second) == 2 && std::sscanf(second, "%d", &value) == 1)
        return value;
      return 0;
    }
    if (!end) break;
    line = end + 1;
  }
  return 0;
}

namespace {

// Runs curl, its output (at most `size` - 1 bytes) into `output`, or discarded.
int curl(const std::vector<std::string> &args, char *output, size_t size) {
  std::vector<char *> argv;
  std::string program = "curl";
  argv.push_back(program.data());
  for (const auto &a : args) argv.push_back(const_cast<char *>(a.c_str()));
  argv.push_back(nullptr);
  return execvp_cmd("curl", argv.data(), output, size);
}

}  // namespace

int run_curl(const std::vector<std::string> &args) { return curl(args, nullptr, 0); }

int32_t announced_length(const std::string &url, int timeout) {
  char headers[8192] = {};
  curl({"-k", "-sI", "-m", std::to_string(timeout), url}, headers, sizeof headers);
  return content_length_of(headers);
}

int version_newer(const char *candidate, const char *current) {
  int a[4], b[4];
  if (!candidate || !current || std::sscanf(candidate, "%d.%d.%d.%d", &a[0], &a[1], &a[2], &a[3]) != 4 ||
      std::sscanf(current, "%d.%d.%d.%d", &b[0], &b[1], &b[2], &b[3]) != 4)
    return -1;
  return std::lexicographical_compare(b, b + 4, a, a + 4) ? 1 : 0;
}

// ---------------------------------------------------------------- platform readers

namespace {

open_buffdesc out_text(char *text, size_t size) {
  std::memset(text, 0, size);
  return {static_cast<uint32_t>(size), text};
}

open_buffdesc in_text(const char *text) {
  return {static_cast<uint32_t>(std::strlen(text) + 1), const_cast<char *>(text)};
}

// A platform text is used as a C text: the last byte stays its end.
template <size_t N>
void terminate(char (&text)[N]) {
  text[N - 1] = '\0';
}

}  // namespace

int image_labels(openapiClientHandle_t *client, LabelText &image1, LabelText &image2) {
  open_buffdesc a = out_text(image1, sizeof image1);
  open_buffdesc b = out_text(image2, sizeof image2);
  int rc = rpcclt_openapiImageLabelsGet(client, &a, &b);
  terminate(image1);
  terminate(image2);
  return rc;
}

int image_descr(openapiClientHandle_t *client, const char *label, DescrText &descr) {
  open_buffdesc l = in_text(label);
  open_buffdesc d = out_text(descr, sizeof descr);
  int rc = rpcclt_openapiImageDescrGet(client, &l, &d);
  terminate(descr);
  return rc == OPEN_E_EMPTY ? OPEN_E_NONE : rc;
}

int image_names(openapiClientHandle_t *client, uint32_t unit, LabelText &version1, LabelText &version2,
                LabelText &active) {
  open_buffdesc a = out_text(version1, sizeof version1);
  open_buffdesc b = out_text(version2, sizeof version2);
  open_buffdesc c = out_text(active, sizeof active);
  int rc = rpcclt_openapiImageNamesGet(client, unit, &a, &b, &c);
  terminate(version1);
  terminate(version2);
  terminate(active);
  return rc;
}

int image_activate(openapiClientHandle_t *client, uint32_t unit, const char *label) {
  open_buffdesc l = in_text(label);
  return rpcclt_openapiImageActivate(client, unit, &l, OPEN_FALSE);
}

void child_connect(openapiClientHandle_t *client, const char *name) {
  open_error_t rc = openapiClientRegister(name, client);
  if (rc != OPEN_E_NONE) {
    std::fprintf(stderr, "Failed to initialize RPC to OpEN. Exiting (result = %d)\n", rc);
    ::_exit(1);
  }
  while (rpcclt_openapiConnectivityCheck(client) != OPEN_E_NONE) ::sleep(1);
}

}  // namespace veltrum::jobs
