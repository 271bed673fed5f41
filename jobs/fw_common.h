// What the firmware resources share: the progress segment of the two flows
// and its state tables, the files and programs of a download, and small
// readers of the platform's image calls.
//
// The progress segment (System V shared memory, key ftok(".", 120), 12
// bytes: state, totalSize, busy) is created by the child of either flow
// ("device_fw_update" of jobs/fw_update.cpp, "fw_download" of
// jobs/fw_download.cpp) and outlives it; each status resource reads it
// through its own table of state texts, so the last writer's state is what
// both show. Nothing guards it: a torn read of the 12 bytes is accepted.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/calls/07_firmware.h"

namespace veltrum::jobs {

// ---------------------------------------------------------------- the segment

struct FwProgress {
  int32_t state;
  int32_t totalSize;  // bytes the update server announced; 0 when unknown
  int32_t busy;       // 1 while a step is under way
};
static_assert(sizeof(FwProgress) == 12);

inline constexpr int kFwSegmentProjId = 120;

// One attachment of the segment, detached when it goes.
class FwSegment {
 public:
  enum class Mode { Create, Existing };  // create (0666) when missing, or only open
  enum class Failure { None, Get, Attach };

  explicit FwSegment(Mode mode);
  ~FwSegment();
  FwSegment(const FwSegment &) = delete;
  FwSegment &operator=(const FwSegment &) = delete;

  Failure failure() const { return failure_; }
  FwProgress read() const;
  void clear();
  void set_state(int32_t state, int32_t busy);
  void set_busy(int32_t busy);
  void set_total(int32_t total);
  // false when shmdt fails.
  bool detach();

 private:
  volatile FwProgress *progress_ = nullptr;
  Failure failure_ = Failure::None;
};

// The states of a flow. Both tables number them alike; the download alone
// has 12.
enum FwState : int32_t {
  kFwNone = 0,
  kFwInProgress = 1,
  kFwDownloadStarted = 2,
  kFwDownloadTimedOut = 3,
  kFwDownloadFailed = 4,
  kFwDownloadSuccess = 5,
  kFwUpgradeStarted = 6,
  kFwUpgradeFailed = 7,
  kFwUpgradeSuccess = 8,
  kFwApiFailed = 9,
  kFwReloadFailed = 10,
  kFwReloaded = 11,
  kFwChecksumFailed = 12,
};

// Texts of the firmware update's states (0..11: the application status
// texts of the firmware update, then the two of the reload), and of the
// download's (0..12); "" outside.
const char *update_state_text(int32_t state);
const char *download_state_text(int32_t state);

// `part` of `whole` in percent, in single precision; a whole of 0 gives the
// infinite or the undefined value (shown "inf%", "nan%").
float percent_of(long long part, long long whole);
// A percentage as "%.<decimals>f%%" formats it ("12.50%", "inf%", "nan%").
std::string percent_text(float percent, int decimals);

// A fixed text of the firmware code (never a client's) that takes one
// number, the platform's result: logged at `level`, or, for a handler's
// message, kept in last_error_text and logged at level 4.
void log_result(int level, const char *format, ...);
void result_message(const char *format, ...);

// ---------------------------------------------------------------- files and programs

inline constexpr const char *kDownloadDir = "/mnt/download";
inline constexpr const char *kImageName = "image.stk";
inline constexpr const char *kCertBundle = "/mnt/fastpath/nimbrel_certs/mozilla_cacert.pem";

// Whether a firmware URL may be handed to curl: an http, https, ftp or tftp
// URL with a host, of at most 1024 characters, with no whitespace, control
// or non-ASCII character and none of the shell's special characters
// (; $ ` | < > ( ) { } \ ' " ^). Anything else (a file: URL, option text,
// a command) is refused: no client text reaches a program otherwise.
bool fw_url_acceptable(const char *url);

// The length curl -I reports: the second field of the first line that
// contains "content-length" in any case, read as a number; 0 without one.
int32_t content_length_of(const char *headers);

// Runs curl with `args` (not through a shell), its output discarded; curl's
// exit status (0 success, 28 time-out), or -1 when it could not be run.
int run_curl(const std::vector<std::string> &args);

// The length the server announces for `url` (a HEAD request of at most
// `timeout` seconds, the certificate unchecked as it only sizes the
// download); 0 when it announces none.
int32_t announced_length(const std::string &url, int timeout);

// Whether `candidate` is a newer version than `current` ("a.b.c.d", compared
// number by number from the left): 1 or 0, -1 when either has no four numbers.
int version_newer(const char *candidate, const char *current);

// ---------------------------------------------------------------- platform readers

// Label and version texts as the platform gives them (40 bytes), and
// descriptions (256 bytes), all zeroed before each call.
using LabelText = char[OPEN_IMAGE_LABEL_SIZE];
using DescrText = char[OPEN_IMAGE_DESCR_SIZE];

int image_labels(openapiClientHandle_t *client, LabelText &image1, LabelText &image2);
// The description of `label`; 0 also when the image has none (OPEN_E_EMPTY).
int image_descr(openapiClientHandle_t *client, const char *label, DescrText &descr);
int image_names(openapiClientHandle_t *client, uint32_t unit, LabelText &version1, LabelText &version2,
                LabelText &active);
int image_activate(openapiClientHandle_t *client, uint32_t unit, const char *label);

// In a child: registers its own platform connection under `name` and waits
// until the service answers (no limit); exits the child (status 1) with the
// registration's message when it cannot register.
void child_connect(openapiClientHandle_t *client, const char *name);

}  // namespace veltrum::jobs
