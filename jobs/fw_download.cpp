// Firmware from the update server: "fw_download" and "fw_download_status",
// and the update a user starts from it: "fw_update_check", "fw_update" and
// "devicefirmwareupdate".
//
// The platform names the firmware file the switch should fetch, its SHA-256
// digest and its size in files under "/tmp/fw/" (and, for the update check,
// its version). "fw_download" marks an image to boot next and forks the child
// "file_download" (jobs/fw_child.h), which fetches
// "<base>/<model directory>/<channel>/<file>" with curl into "/tmp/fw/image",
// checks its digest and has the platform write it into the chosen image. The
// child reports through the segment of jobs/fw_common.h; the status
// resources read it through the download's own table of states (0..12).
//
// Decisions of our own (docs/firmware.md):
// - The update server's base address is read at each download from
//   "/etc/veltrum/update_server" (its first line, an http(s), ftp or tftp
//   URL); on a development machine the run script and the tests point it at
//   a local server. Without it the download fails (state 4).
// - The maker's three models that share one directory: "VSW-2428",
//   "VSW-2428P" and "VSW-2428F" use "vsw2428"; every other model its own
//   name. A model, a channel or a file name that is not a plain name
//   (letters, digits, ".", "-", "_", not beginning with ".") is never put
//   into a URL: the request or the download fails instead.
// - The child removes an image left by an earlier download before it starts,
//   so the progress is the progress of this download.
// - "fw_update_check" (GET) tells which version the update server offers and
//   whether it is newer than the running one; "fw_update" (GET) shows the
//   running image, the one that boots next and the progress of the download;
//   "devicefirmwareupdate" (POST) starts the update: it fetches the offered
//   firmware into the image that does not run, marks that image to boot
//   next once it is written and, when asked, reloads the switch. It is
//   refused while a firmware flow of this agent runs (the segment's busy
//   mark would outlast a flow ended by an agent restart).
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>

#include "core/handler.h"
#include "jobs/diag_text.h"
#include "jobs/fw_child.h"
#include "jobs/fw_common.h"
#include "platform/calls/08_files.h"
#include "support/device.h"
#include "support/files.h"
#include "support/log.h"

using veltrum::handler::Outcome;
using veltrum::jobs::FwSegment;
using veltrum::jobs::message;
using enum veltrum::jobs::FwState;

namespace {

constexpr const char *kNameFile = "/tmp/fw/fw_write_image";
constexpr const char *kMagicFile = "/tmp/fw/fw_write_magic";
constexpr const char *kSizeFile = "/tmp/fw/fw_write_size";
constexpr const char *kVersionFile = "/tmp/fw/fw_write_version";
constexpr const char *kImageFile = "/tmp/fw/image";
constexpr const char *kBetaMarker = "/etc/beta_firmware";
constexpr const char *kServerFile = "/etc/veltrum/update_server";
constexpr size_t kNameSize = 128;  // a file name of up to 127 characters
constexpr size_t kUrlSize = 512;
constexpr uint32_t kUnit = 1;

struct ModelDirectory {
  const char *model;
  const char *directory;
};
constexpr ModelDirectory kSharedModels[] = {
    {"VSW-2428", "vsw2428"},
    {"VSW-2428P", "vsw2428"},
    {"VSW-2428F", "vsw2428"},
};

bool plain_name(const char *text) {
  if (!text || !*text || *text == '.') return false;
  for (const char *p = text; *p; ++p)
    if (!std::isalnum(static_cast<unsigned char>(*p)) && !std::strchr(".-_", *p)) return false;
  return true;
}

enum class LineRead { Ok, OpenError, ReadError };

// The first line of a file of the switch, without its line break.
LineRead first_line(const char *path, char *out, size_t size) {
  std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(device_path(path).c_str(), "r"), &std::fclose);
  if (!file) return LineRead::OpenError;
  std::memset(out, 0, size);
  if (!std::fgets(out, static_cast<int>(size), file.get())) return LineRead::ReadError;
  out[std::strcspn(out, "\r\n")] = '\0';
  return LineRead::Ok;
}

// The update server's base address, without a trailing "/"; "" when none is set.
std::string update_server() {
  char line[kUrlSize] = {};
  if (first_line(kServerFile, line, sizeof line) != LineRead::Ok || !veltrum::jobs::fw_url_acceptable(line)) return {};
  std::string base = line;
  while (!base.empty() && base.back() == '/') base.pop_back();
  return base;
}

// The SHA-256 digest of a file as lower-case hexadecimal text, read in
// 256-byte pieces; "" when it cannot be read.
std::string file_digest(const std::string &path) {
  std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX *)> ctx(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  if (!file || !ctx || EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) != 1) return {};
  unsigned char piece[256];
  size_t n;
  while ((n = std::fread(piece, 1, sizeof piece, file.get())) > 0)
    if (EVP_DigestUpdate(ctx.get(), piece, n) != 1) return {};
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  if (std::ferror(file.get()) || EVP_DigestFinal_ex(ctx.get(), digest, &size) != 1) return {};
  std::string text;
  char hex[3];
  for (unsigned i = 0; i < size; ++i) {
    std::snprintf(hex, sizeof hex, "%02x", digest[i]);
    text += hex;
  }
  return text;
}

// The download's progress from "/tmp/fw/image" against the expected size;
// false when the image is not there.
bool download_progress(std::string &text) {
  struct stat st {};
  if (::stat(device_path(kImageFile).c_str(), &st) != 0) return false;
  char line[32] = {};
  int expected = first_line(kSizeFile, line, sizeof line) == LineRead::Ok ? std::atoi(line) : 0;
  text = veltrum::jobs::percent_text(expected > 0 ? veltrum::jobs::percent_of(st.st_size, expected) : 0, 0);
  return true;
}

struct DownloadRequest {
  std::string file;
  int partition = 1;
  bool activate = false;  // mark the image to boot next once written, ...
  bool reboot = false;    // ... and reload the switch
};

int finish(FwSegment &segment, int32_t state) {
  segment.set_state(state, 0);
  if (!segment.detach()) agent_log(7, "Shared memory shmdt() error from file_download child.");
  return 0;
}

// The URL of the file on the update server, or "" (logged) when it cannot be formed.
std::string download_url(openapiClientHandle_t *client, const std::string &file) {
  char model[OPEN_MACHINE_MODEL_SIZE] = {};
  open_buffdesc m{sizeof model, model};
  int rc = rpcclt_openapiSystemRegMachineModelGet(client, &m);
  model[sizeof model - 1] = '\0';
  if (rc != OPEN_E_NONE) agent_log(7, "Failed to get the machine model (%d).", rc);
  const char *directory = model;
  for (const auto &shared : kSharedModels)
    if (std::strcmp(model, shared.model) == 0) directory = shared.directory;
  const char *channel = exists(device_path(kBetaMarker).c_str()) ? "beta" : "prod";
  std::string base = update_server();
  if (base.empty()) {
    agent_log(7, "No update server is set in %s.", kServerFile);
    return {};
  }
  if (!plain_name(directory) || !plain_name(file.c_str())) {
    agent_log(7, "Firmware model directory '%s' or file '%s' cannot be fetched.", directory, file.c_str());
    return {};
  }
  char url[kUrlSize];
  int n = std::snprintf(url, sizeof url, "%s/%s/%s/%s", base.c_str(), directory, channel, file.c_str());
  if (n < 0 || static_cast<size_t>(n) >= sizeof url) {
    agent_log(7, "Firmware URL too long.");
    return {};
  }
  return url;
}

// The child "file_download": its exit status.
int download_child(const DownloadRequest &r) {
  openapiClientHandle_t client{};
  veltrum::jobs::child_connect(&client, "file_download");
  FwSegment segment(FwSegment::Mode::Create);
  if (segment.failure() != FwSegment::Failure::None) {
    agent_log(7, segment.failure() == FwSegment::Failure::Get
                     ? "Shared Memory shmget() Error from file_download child."
                     : "Shared Memory shmat() Error from file_download child.");
    return 1;
  }
  segment.set_state(kFwDownloadStarted, 1);

  std::string url = download_url(&client, r.file);
  std::string image = device_path(kImageFile);
  ::unlink(image.c_str());
  if (url.empty()) return finish(segment, kFwDownloadFailed);
  int rc = veltrum::jobs::run_curl({"--speed-time", "5", "--speed-limit", "1024", "--cacert",
                                    device_path(veltrum::jobs::kCertBundle), "-L", "-s", "-o", image, url});
  if (rc != 0 || !exists(image.c_str())) {
    agent_log(7, "Firmware download failed (%d).", rc);
    return finish(segment, kFwDownloadFailed);
  }

  char label[16];
  std::snprintf(label, sizeof label, "image%d", r.partition);
  segment.set_state(kFwUpgradeStarted, 1);
  char expected[kUrlSize] = {};
  std::string digest = file_digest(image);
  if (!digest.empty() && first_line(kMagicFile, expected, sizeof expected) == LineRead::Ok &&
      std::strncmp(digest.c_str(), expected, digest.size()) != 0) {
    agent_log(7, "Firmware checksum mismatch.");
    return finish(segment, kFwChecksumFailed);
  }

  std::string path = kImageFile;
  open_buffdesc p{static_cast<uint32_t>(path.size() + 1), path.data()};
  open_buffdesc l{static_cast<uint32_t>(std::strlen(label) + 1), label};
  if (rpcclt_openapiImageUpgrade(&client, &p, &l) != OPEN_E_NONE) {
    agent_log(1, "Firmware Upgrade Failed (invalid firmware or bad checksum).");
    return finish(segment, kFwUpgradeFailed);
  }
  segment.set_state(kFwUpgradeSuccess, 1);
  if (r.activate) {
    if ((rc = veltrum::jobs::image_activate(&client, kUnit, label)) != OPEN_E_NONE && rc != OPEN_E_EXISTS) {
      agent_log(7, "openapiImageActivate Failed (%d).", rc);
      return finish(segment, kFwApiFailed);
    }
    if (r.reboot) {
      if ((rc = rpcclt_openapiSystemReload(&client)) != OPEN_E_NONE) {
        agent_log(7, "Firmware upgrade, System Reload or Reboot Failed (%d), Please reboot by Admin", rc);
        return finish(segment, kFwReloadFailed);
      }
      return finish(segment, kFwReloaded);
    }
  }
  return finish(segment, kFwUpgradeSuccess);
}

// The file name the platform offers: LineRead::Ok with a plain name.
LineRead offered_file(char (&name)[kNameSize]) {
  LineRead read = first_line(kNameFile, name, sizeof name);
  if (read == LineRead::Ok && !plain_name(name)) return LineRead::ReadError;
  return read;
}

int read_choice(json_object *value) {
  int64_t n = 0;
  return veltrum::handler::read_int(value, n) && (n == 1 || n == 2) ? static_cast<int>(n) : 0;
}

int start_download(json_object *request) {
  JsonField f[] = {{"partition", nullptr}, {"nextActive", nullptr}};
  if (parse_json_fields("fw_download", request, f, std::size(f), false) != 0) {
    message("Unable to parse the data");
    return -1;
  }
  DownloadRequest r;
  r.partition = read_choice(f[0].value);
  int next = read_choice(f[1].value);
  if (r.partition == 0) {
    message("Partition validation failed");
    return -1;
  }
  if (next == 0) {
    message("nextActive validation failed");
    return -1;
  }
  char label[16];
  std::snprintf(label, sizeof label, "image%d", next);
  int rc = veltrum::jobs::image_activate(&g_client_handle, kUnit, label);
  if (rc != OPEN_E_NONE && rc != OPEN_E_EXISTS) {
    message("Failed to set image operation %d\n", rc);
    return -1;
  }
  char name[kNameSize];
  switch (offered_file(name)) {
    case LineRead::OpenError:
      message("%s file open error", kNameFile);
      return -1;
    case LineRead::ReadError:
      message("%s file read error", kNameFile);
      return -1;
    case LineRead::Ok:
      break;
  }
  r.file = name;
  if (veltrum::jobs::start_child("file_download", [r] { return download_child(r); }) < 0) {
    message("Device download fork() Failed.");
    return -1;
  }
  return 0;
}

// The running image and the one that boots next, with their versions.
struct Images {
  char version[2][OPEN_IMAGE_LABEL_SIZE] = {};
  char current[OPEN_IMAGE_LABEL_SIZE] = {};
  char next[OPEN_IMAGE_LABEL_SIZE] = {};
  const char *version_of(const char *label) const { return std::strcmp(label, "image2") == 0 ? version[1] : version[0]; }
};

int read_images(Images &i) {
  open_buffdesc d[4] = {{sizeof i.version[0], i.version[0]},
                        {sizeof i.version[1], i.version[1]},
                        {sizeof i.current, i.current},
                        {sizeof i.next, i.next}};
  int rc = rpcclt_openapiImageVersionAndNameGet(&g_client_handle, kUnit, &d[0], &d[1], &d[2], &d[3]);
  for (char *text : {i.version[0], i.version[1], i.current, i.next}) text[OPEN_IMAGE_LABEL_SIZE - 1] = '\0';
  if (rc != OPEN_E_NONE) veltrum::jobs::result_message("openapiImageVersionAndNameGet Failed (%d).", rc);
  return rc;
}

// The offered firmware's file name and version; false (with the message)
// when the platform offers none.
bool read_offer(char (&name)[kNameSize], char (&version)[kNameSize]) {
  if (offered_file(name) != LineRead::Ok || first_line(kVersionFile, version, sizeof version) != LineRead::Ok) {
    message("No firmware update is offered by the update server");
    return false;
  }
  return true;
}

}  // namespace

VELTRUM_HANDLER(fw_download_post) {
  Outcome out;
  out.rc = start_download(request);
  out.finish_plain(response, "fw_download");
}

VELTRUM_HANDLER(fw_download_status_get) {
  Outcome out;
  json_object *data = nullptr;
  FwSegment segment(FwSegment::Mode::Existing);
  std::string progress;
  if (segment.failure() == FwSegment::Failure::Get) {
    data = json_object_new_object();
    json_object_object_add(data, "state", json_object_new_int(0));
    json_object_object_add(data, "message", json_object_new_string("STATE_NONE"));
    json_object_object_add(data, "dwldProgress", json_object_new_string("0.00%"));
    out.rc = 0;
  } else if (segment.failure() == FwSegment::Failure::Attach) {
    message("Download status shmat() Failed.");
    out.code(7);
    out.rc = -101;
  } else if (!download_progress(progress)) {
    message("Failed to get stats of firmware download");
    out.code(22);
    out.detail_text("params", "Download Status");
    out.rc = -1;
  } else {
    veltrum::jobs::FwProgress p = segment.read();
    data = json_object_new_object();
    json_object_object_add(data, "state", json_object_new_int(p.state));
    json_object_object_add(data, "message", json_object_new_string(veltrum::jobs::download_state_text(p.state)));
    json_object_object_add(data, "dwldProgress", json_object_new_string(progress.c_str()));
    out.rc = 0;
  }
  if (out.rc != 0)
    out.finish_scalar(response, "download_status");
  else
    out.finish_read(response, "download_status", data);
}

VELTRUM_HANDLER(fw_update_check_get) {
  Outcome out;
  json_object *data = nullptr;
  char name[kNameSize] = {};
  char version[kNameSize] = {};
  Images images;
  if (read_offer(name, version) && read_images(images) == OPEN_E_NONE) {
    const char *current = images.version_of(images.current);
    data = json_object_new_object();
    json_object_object_add(data, "currentVersion", json_object_new_string(current));
    json_object_object_add(data, "availableVersion", json_object_new_string(version));
    json_object_object_add(data, "fileName", json_object_new_string(name));
    json_object_object_add(data, "updateAvailable",
                           json_object_new_int(veltrum::jobs::version_newer(version, current) == 1 ? 1 : 0));
    out.rc = 0;
  }
  out.finish_read(response, "fw_update_check", data);
}

VELTRUM_HANDLER(fw_update_get) {
  Outcome out;
  json_object *data = nullptr;
  Images images;
  if (read_images(images) == OPEN_E_NONE) {
    veltrum::jobs::FwProgress p{0, 0, 0};
    FwSegment segment(FwSegment::Mode::Existing);
    if (segment.failure() == FwSegment::Failure::None) p = segment.read();
    std::string progress;
    if (!download_progress(progress)) progress = veltrum::jobs::percent_text(0, 0);
    data = json_object_new_object();
    json_object_object_add(data, "activeImage", json_object_new_string(images.current));
    json_object_object_add(data, "currentVersion", json_object_new_string(images.version_of(images.current)));
    json_object_object_add(data, "nextActive", json_object_new_string(images.next));
    json_object_object_add(data, "nextVersion", json_object_new_string(images.version_of(images.next)));
    json_object_object_add(data, "state", json_object_new_int(p.state));
    json_object_object_add(data, "message", json_object_new_string(veltrum::jobs::download_state_text(p.state)));
    json_object_object_add(data, "dwldProgress", json_object_new_string(progress.c_str()));
    json_object_object_add(data, "busy", json_object_new_int(p.busy));
    out.rc = 0;
  }
  out.finish_read(response, "fw_update", data);
}

VELTRUM_HANDLER(devicefirmwareupdate_post) {
  Outcome out;
  out.rc = -1;
  json_object *body = nullptr;
  json_object *reboot = nullptr;
  char name[kNameSize] = {};
  char version[kNameSize] = {};
  Images images;
  if (!request || !json_object_object_get_ex(request, "devicefirmwareupdate", &body) ||
      !json_object_is_type(body, json_type_object)) {
    message("Parsing error devicefirmwareupdate");
    out.rc = -99;
  } else if (!json_object_object_get_ex(body, "rebootNow", &reboot)) {
    message("Parsing Error 'rebootNow' object.");
    out.rc = -99;
  } else if (veltrum::jobs::children_running() > 0) {
    message("A firmware update is in progress");
  } else if (!read_offer(name, version) || read_images(images) != OPEN_E_NONE) {
    // the message is set
  } else if (veltrum::jobs::version_newer(version, images.version_of(images.current)) != 1) {
    message("The switch runs firmware %s; the update server offers no newer one (%s)",
            images.version_of(images.current), version);
  } else {
    DownloadRequest r;
    r.file = name;
    r.partition = std::strcmp(images.current, "image1") == 0 ? 2 : 1;
    r.activate = true;
    r.reboot = json_object_get_boolean(reboot);
    if (veltrum::jobs::start_child("file_download", [r] { return download_child(r); }) < 0)
      message("Device download fork() Failed.");
    else
      out.rc = 0;
  }
  out.finish_plain(response, "devicefirmwareupdate");
}
