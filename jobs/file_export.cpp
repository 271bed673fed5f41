// File export: "mgmt_http_file_export" puts a file of the switch into the
// web front end's export directory "/var/www/ui/export" for download over
// HTTP; "mgmt_file_export" sends the same file to a TFTP server. Both have
// the platform stage the file first (an HTTP-mode upload into
// "/mnt/download"); an exported startup configuration begins with the agent
// settings block (jobs/settings_block.h). Both run on the request's thread
// and block it until the platform's transfer has ended.
//
// mgmt_file_export, a resource of our own design:
//   POST {"mgmt_file_export": {"fileType": 5, "host": "192.0.2.7",
//                              "path": "backups", "name": "switch1.cfg"}}
// All four members are required (-99 without). The type must be one that
// can be exported (5, 6, 8, 9, 27), the host an address or host name, the
// name a plain file name, the path a directory text of at most 127
// characters (each refused with -1). The answer comes once the TFTP
// transfer has ended: 0, or -1 with the platform's reason in the log.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "core/response.h"
#include "core/platform_client.h"
#include "core/validate.h"
#include "jobs/settings_block.h"
#include "jobs/transfer.h"
#include "session/web_files.h"
#include "support/agent_config.h"
#include "support/device.h"
#include "support/files.h"
#include "support/json_ptr.h"
#include "support/log.h"

namespace {

using veltrum::web::member_int;
using veltrum::web::refuse;

constexpr const char *kExportDir = "/var/www/ui/export";
constexpr const char *kStagingFile = "/tmp/rest_http";
constexpr const char *kDownloadDir = "/mnt/download";

// What each exportable type copies, and its name in the export directory.
struct ExportSource {
  int type;
  const char *dir;
  const char *name;
  const char *export_name;
};
const ExportSource kSources[] = {
    {OPEN_FILE_TYPE_CONFIG, "/tmp", "rest_http", "startup-config.cfg"},
    {OPEN_FILE_TYPE_SYSTEM_LOG, kDownloadDir, "asciilog.txt", "asciilog.txt"},
    {OPEN_FILE_TYPE_MESSAGE_LOG, kDownloadDir, "msg.txt", "msg.txt"},
    {OPEN_FILE_TYPE_TRAP_LOG, kDownloadDir, "trap.txt", "trap.txt"},
    {OPEN_FILE_TYPE_TECH_SUPPORT, "/mnt/fastpath", "TechSupport", "TechSupport"},
};

const ExportSource *source_of(int type) {
  for (const ExportSource &s : kSources)
    if (s.type == type) return &s;
  return nullptr;
}

// "%s/%s" of a directory and a name, in a 128-byte buffer as the device
// forms it.
std::string joined(const char *dir, const char *name) {
  char path[128];
  std::snprintf(path, sizeof path, "%s/%s", dir, name);
  return path;
}

open_buffdesc input_text(const char *text) {
  return open_buffdesc{static_cast<uint32_t>(std::strlen(text) + 1), const_cast<char *>(text)};
}

// Has the platform stage the file of `type` in /mnt/download (the support
// file is generated first). 0 or -1 (logged).
int stage_file(int type) {
  if (type == OPEN_FILE_TYPE_TECH_SUPPORT) {
    uint32_t length = 0;
    open_error_t rc = rpcclt_openapiSystemFileNameMaxLengthGet(&g_client_handle, &length);
    if (rc != OPEN_E_NONE) return refuse(-1, "Support file generation failed. Error %d", rc);
    std::unique_ptr<char, decltype(&std::free)> name(static_cast<char *>(std::calloc(length + 1, 1)), &std::free);
    if (!name) return refuse(-1, "Could not allocate memory.");
    open_buffdesc desc{length + 1, name.get()};
    rc = rpcclt_openapiSupportFileGenerate(&g_client_handle, &desc);
    if (rc != OPEN_E_NONE) return refuse(-1, "Support file generation failed. Error %d", rc);
  }
  open_error_t rc = rpcclt_openapiTransferModeSet(&g_client_handle, OPEN_TRANSFER_HTTP);
  if (rc != OPEN_E_NONE) return refuse(-1, "Transfer mode set failed. Error %d", rc);
  rc = rpcclt_openapiTransferUploadFileTypeSet(&g_client_handle, static_cast<OPEN_FILE_TYPES_t>(type));
  if (rc != OPEN_E_NONE) return refuse(-1, "Transfer remote file type set failed. Error %d", rc);
  if (type == OPEN_FILE_TYPE_CONFIG) {
    open_buffdesc remote = input_text("startup-config.cfg");
    rc = rpcclt_openapiTransferFileRemoteSet(&g_client_handle, &remote);
    if (rc != OPEN_E_NONE) return refuse(-1, "Transfer remote file name set failed. Error %d", rc);
    open_buffdesc local = input_text("startup-config");
    rc = rpcclt_openapiTransferFileLocalSet(&g_client_handle, &local);
    if (rc != OPEN_E_NONE) return refuse(-1, "Local file set failed. Error %d", rc);
    std::string old = device_path(joined(kDownloadDir, "startup-config.cfg"));
    if (exists(old.c_str())) unlink(old.c_str());
  }
  rc = rpcclt_openapiTransferUpStartSet(&g_client_handle);
  if (rc != OPEN_E_NONE) return refuse(-1, "HTTP Transfer failed. Error %d", rc);
  std::string message;
  // The platform's verdict is not asked: a failed staging shows as a
  // missing file below.
  return wait_transfer(&g_client_handle, 0, 0, message) < 0 ? -1 : 0;
}

// The export staging file: the settings block and the staged startup
// configuration.
int write_staging() {
  std::string startup = device_path(joined(kDownloadDir, "startup-config.cfg"));
  std::string staging = device_path(kStagingFile);
  if (write_export_staging(g_agent_config, startup.c_str(), staging.c_str()) != 0) {
    agent_log(4, "Unable to add switch.conf to startup.conf file");
    return -1;
  }
  return 0;
}

void prepare_export_dir() {
  std::string dir = device_path(kExportDir);
  veltrum::web::run_program({"rm", "-rf", dir});
  veltrum::web::run_program({"mkdir", dir});
  veltrum::web::run_program({"chown", "lighttpd:lighttpd", "-R", dir});
}

int http_export(json_object *request) {
  JsonField fields[] = {{"fileType", nullptr}};
  if (parse_json_fields("http_file_export", request, fields, 1, false) != 0)
    return refuse(-1, "Unable to parse the data");
  int type = member_int(fields[0].value, -1);
  if (int rc = validate_file_type(type); rc != 0) agent_log(4, "Invalid file type %d with error %d", type, rc);
  if (stage_file(type) != 0) return -1;
  prepare_export_dir();
  const ExportSource *source = source_of(type);
  if (!source) return refuse(-1, "File type %d cannot be exported", type);
  if (type == OPEN_FILE_TYPE_CONFIG) write_staging();
  std::string from = device_path(joined(source->dir, source->name));
  std::string to = device_path(joined(kExportDir, source->export_name));
  return copy_file(from.c_str(), to.c_str()) == 0 ? 0 : -1;
}

const char *member_text(json_object *value) {
  return json_object_is_type(value, json_type_string) ? json_object_get_string(value) : nullptr;
}

int tftp_export(json_object *request) {
  JsonField fields[] = {{"fileType", nullptr}, {"host", nullptr}, {"path", nullptr}, {"name", nullptr}};
  if (parse_json_fields("mgmt_file_export", request, fields, 4, false) != 0) return refuse(-99, "%s", last_error_text);
  int type = member_int(fields[0].value, -1);
  const char *host = member_text(fields[1].value);
  const char *path = member_text(fields[2].value);
  const char *name = member_text(fields[3].value);
  const ExportSource *source = source_of(type);
  if (!source || validate_file_type(type) != 0) return refuse(-1, "Invalid file type %d", type);
  if (check_transfer_host(host) != 0) return refuse(-1, "Invalid host %s", host ? host : "");
  if (check_transfer_path(path) != 0) return refuse(-1, "Invalid path %s", path ? path : "");
  if (check_transfer_name(name) != 0) return refuse(-1, "Invalid file name %s", name ? name : "");

  if (stage_file(type) != 0) return -1;
  if (type == OPEN_FILE_TYPE_CONFIG && write_staging() != 0) return -1;
  std::string message;
  TftpTransfer t{true, type, host, path, name, joined(source->dir, source->name)};
  if (run_tftp_transfer(&g_client_handle, t, message) != 0)
    return refuse(-1, "TFTP export to %s failed: %s", host, message.c_str());
  return 0;
}

}  // namespace

void mgmt_http_file_export_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  veltrum::web::answer(response, nullptr, "http_file_export", http_export(request));
}

void mgmt_file_export_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  veltrum::web::answer(response, nullptr, "mgmt_file_export", tftp_export(request));
}
