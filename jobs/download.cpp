// "download" and "download_status": a startup configuration or a firmware
// image fetched by TFTP, or taken from a file a client uploaded to the web
// front end, in a job process named "file_download" (jobs/job_child.h).
//
//   POST {"download": {"type": 5, "protocol": "tftp", "host": "192.0.2.7",
//                      "path": "backups", "name": "switch1.cfg"}}
//   POST {"download": {"type": 3, "protocol": "local", "image": "image2",
//                      "path": "/tmp/upload", "name": "new.stk"}}
//
// "type" 5 is a startup configuration, 3 a firmware image (with "image", the
// slot to write: "image1" or "image2"). "protocol" "tftp" needs "host"
// (an address or host name) and takes "path" as the server's directory;
// "local" names a file inside the web front end's upload directory
// (WEB_UPLOAD_DIR) by "path" and "name", refused like any other path that
// leads out of it. Missing "type", "protocol" or "name" answer -99, other
// refusals -1, a failed fork -101; one download runs at a time.
//
// A configuration replaces the saved configuration and takes effect at the
// next reload, as on a switch. Its agent settings block is read into the
// stored agent configuration by the job; the agent takes the stored record
// over when it collects the finished download (at the next "download_status"
// or "download"), and asks the web front end to reload when a listener
// setting changed. A local file is handed to the platform without its block
// ("/tmp/temp_startup"); a TFTP download is kept by the platform as received
// in "/mnt/download/startup-config.cfg", whose "!" lines it ignores.
//
// The job reports in "/tmp/file_download_status" (JSON: state, pid, type,
// platform message, whether a settings block awaits collection).
// "download_status" answers {"state", "message", "detail"}: state 0 none
// yet, 1 in progress, 2 done, 3 failed; "detail" is the platform's text.
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "core/response.h"
#include "jobs/job_child.h"
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

constexpr const char *kStatusFile = "/tmp/file_download_status";
constexpr const char *kStrippedFile = "/tmp/temp_startup";
constexpr const char *kReceivedConfig = "/mnt/download/startup-config.cfg";
constexpr int kConnectSeconds = 60;

enum State { kNone = 0, kRunning = 1, kDone = 2, kFailed = 3 };
const char *const kStateText[] = {"File Download None", "File Download in Progress", "File Download Success",
                                  "File Download Failed"};

struct Status {
  int state = kNone;
  int pid = 0;
  int type = 0;
  bool settings = false;  // a settings block waits to be collected
  std::string detail;
};

Status read_status() {
  Status s;
  std::string path = device_path(kStatusFile);
  if (!exists(path.c_str())) return s;
  JsonPtr root(json_object_from_file(path.c_str()));
  json_object *v = nullptr;
  if (!root) return s;
  if (json_object_object_get_ex(root.get(), "state", &v)) s.state = member_int(v, kFailed);
  if (s.state < kNone || s.state > kFailed) s.state = kFailed;
  if (json_object_object_get_ex(root.get(), "pid", &v)) s.pid = member_int(v, 0);
  if (json_object_object_get_ex(root.get(), "type", &v)) s.type = member_int(v, 0);
  if (json_object_object_get_ex(root.get(), "settings", &v)) s.settings = json_object_get_boolean(v);
  if (json_object_object_get_ex(root.get(), "detail", &v)) s.detail = json_object_get_string(v);
  return s;
}

void write_status(const Status &s) {
  JsonPtr root(json_object_new_object());
  json_object_object_add(root.get(), "state", json_object_new_int(s.state));
  json_object_object_add(root.get(), "pid", json_object_new_int(s.pid));
  json_object_object_add(root.get(), "type", json_object_new_int(s.type));
  json_object_object_add(root.get(), "settings", json_object_new_boolean(s.settings));
  json_object_object_add(root.get(), "detail", json_object_new_string(s.detail.c_str()));
  if (write_file_atomic(device_path(kStatusFile), json_object_to_json_string(root.get())) != 0)
    agent_log(3, "Unable to write %s", kStatusFile);
}

// The job this agent started last (its status may not name it yet).
pid_t g_job_pid = -1;

// A running job whose process is gone ended without reporting.
Status current_status() {
  Status s = read_status();
  pid_t pid = s.pid > 0 ? s.pid : g_job_pid;
  if (s.state == kRunning && pid > 0 && kill(pid, 0) != 0 && errno == ESRCH) {
    s.state = kFailed;
    s.detail = "The download ended unexpectedly";
    write_status(s);
  }
  return s;
}

// Takes over the settings a finished configuration download stored.
void collect(Status &s) {
  if (s.state != kDone || !s.settings) return;
  AgentConfig stored;
  init_agent_config(&stored);
  parse_agent_config(&stored);
  const AgentConfig &now = g_agent_config;
  bool listeners = stored.httpEnable != now.httpEnable || stored.httpPort != now.httpPort ||
                   stored.httpsEnable != now.httpsEnable || stored.httpsPort != now.httpsPort;
  g_agent_config = stored;
  s.settings = false;
  write_status(s);
  agent_log(6, "Web settings taken over from the downloaded configuration");
  if (listeners) veltrum::web::signal_web_monitor();
}

struct Request {
  int type;
  bool tftp;
  std::string image, path, name, host;
  std::string local_file;    // host path of an uploaded file
  std::string local_device;  // its path on the switch
};

const char *text_of(json_object *value) {
  return json_object_is_type(value, json_type_string) ? json_object_get_string(value) : nullptr;
}

int parse_request(json_object *request, Request &r) {
  JsonField fields[] = {{"type", nullptr}, {"protocol", nullptr}, {"image", nullptr},
                        {"path", nullptr}, {"name", nullptr},     {"host", nullptr}};
  if (parse_json_fields("download", request, fields, std::size(fields), true) != 0)
    return refuse(-99, "Parsing error %s", "download");
  for (const JsonField &f : {fields[0], fields[1], fields[4]})
    if (!f.value) return refuse(-99, "Parsing Error '%s' object.", f.name);

  r.type = member_int(fields[0].value);
  if (r.type != OPEN_FILE_TYPE_CONFIG && r.type != OPEN_FILE_TYPE_CODE)
    return refuse(-1, "Invalid download file type %d", r.type);
  const char *protocol = text_of(fields[1].value);
  if (!protocol || (std::strcmp(protocol, "tftp") != 0 && std::strcmp(protocol, "local") != 0))
    return refuse(-1, "Invalid download protocol %s", protocol ? protocol : "");
  r.tftp = std::strcmp(protocol, "tftp") == 0;
  if (r.type == OPEN_FILE_TYPE_CODE) {
    const char *image = text_of(fields[2].value);
    if (!image || (std::strcmp(image, "image1") != 0 && std::strcmp(image, "image2") != 0))
      return refuse(-1, "Invalid image label %s", image ? image : "");
    r.image = image;
  }
  const char *path = fields[3].value ? text_of(fields[3].value) : "";
  if (check_transfer_path(path) != 0) return refuse(-1, "Invalid path %s", path ? path : "");
  r.path = path;
  const char *name = text_of(fields[4].value);
  if (check_transfer_name(name) != 0) return refuse(-1, "Invalid file name %s", name ? name : "");
  r.name = name;
  if (r.tftp) {
    const char *host = text_of(fields[5].value);
    if (check_transfer_host(host) != 0) return refuse(-1, "Invalid host %s", host ? host : "");
    r.host = host;
  } else {
    std::string wanted = r.path;
    while (!wanted.empty() && wanted.back() == '/') wanted.pop_back();
    wanted += "/" + r.name;
    if (veltrum::web::resolve_upload(wanted.c_str(), r.local_file, &r.local_device) != 0)
      return refuse(-1, "Download error : file not found:%s", wanted.c_str());
  }
  return 0;
}

// The platform transfer of the download: 0 when the platform took the file.
int transfer(openapiClientHandle_t *client, const Request &r, std::string &message) {
  std::string local = r.type == OPEN_FILE_TYPE_CODE ? r.image : "startup-config";
  if (r.tftp) return run_tftp_transfer(client, TftpTransfer{false, r.type, r.host, r.path, r.name, local}, message);

  // A local file: a configuration without its settings block.
  std::string from = r.local_device;
  if (r.type == OPEN_FILE_TYPE_CONFIG) {
    if (remove_settings_block(r.local_file.c_str(), device_path(kStrippedFile).c_str()) != 0) {
      message = "The file could not be read";
      return -1;
    }
    from = kStrippedFile;
  }
  size_t slash = from.find_last_of('/');
  std::string dir = from.substr(0, slash);
  std::string file = from.substr(slash + 1);
  open_buffdesc dir_desc{static_cast<uint32_t>(dir.size() + 1), dir.data()};
  open_buffdesc file_desc{static_cast<uint32_t>(file.size() + 1), file.data()};
  open_buffdesc local_desc{static_cast<uint32_t>(local.size() + 1), local.data()};
  if (rpcclt_openapiTransferModeSet(client, OPEN_TRANSFER_LOCAL) != OPEN_E_NONE ||
      rpcclt_openapiTransferDownloadFileTypeSet(client, static_cast<OPEN_FILE_TYPES_t>(r.type)) != OPEN_E_NONE ||
      rpcclt_openapiTransferFilePathRemoteSet(client, &dir_desc) != OPEN_E_NONE ||
      rpcclt_openapiTransferFileRemoteSet(client, &file_desc) != OPEN_E_NONE ||
      rpcclt_openapiTransferFileLocalSet(client, &local_desc) != OPEN_E_NONE ||
      rpcclt_openapiTransferDownStartSet(client) != OPEN_E_NONE) {
    message = "The platform refused the transfer";
    return -1;
  }
  return wait_transfer(client, 50, 120 * 1000, message) == 0 ? 0 : -1;
}

[[noreturn]] void download_job(const Request &r) {
  Status s;
  s.state = kRunning;
  s.pid = getpid();
  s.type = r.type;
  write_status(s);

  openapiClientHandle_t client{};
  std::string message;
  int rc = -1;
  if (job_connect("file_download", &client, kConnectSeconds) != 0)
    message = "The platform does not answer";
  else
    rc = transfer(&client, r, message);
  if (rc == 0 && r.type == OPEN_FILE_TYPE_CONFIG) {
    std::string received = r.tftp ? device_path(kReceivedConfig) : r.local_file;
    AgentConfig cfg = g_agent_config;
    s.settings = read_settings_block(received.c_str(), &cfg) == 0;
  }
  if (rc != 0) agent_log(3, "File download failed: %s", message.c_str());
  s.state = rc == 0 ? kDone : kFailed;
  s.detail = message;
  write_status(s);
  _exit(0);
}

int start_download(json_object *request) {
  Request r;
  if (int rc = parse_request(request, r); rc != 0) return rc;
  Status s = current_status();
  collect(s);
  if (s.state == kRunning) return refuse(-1, "A file download is already in progress");
  s = Status{};
  s.state = kRunning;
  s.type = r.type;
  write_status(s);
  pid_t job = fork_job("file_download");
  if (job == 0) download_job(r);
  if (job < 0) {
    s.state = kFailed;
    s.detail = "The download could not be started";
    write_status(s);
    return refuse(-101, "File download fork() Failed.");
  }
  g_job_pid = job;
  return 0;
}

}  // namespace

void download_post(MHD_Connection *, ResponseHolder *response, json_object *request) {
  veltrum::web::answer(response, nullptr, "download", start_download(request));
}

void download_status_get(MHD_Connection *, ResponseHolder *response, json_object *) {
  Status s = current_status();
  collect(s);
  JsonPtr data(json_object_new_object());
  json_object_object_add(data.get(), "state", json_object_new_int(s.state));
  json_object_object_add(data.get(), "message", json_object_new_string(kStateText[s.state]));
  json_object_object_add(data.get(), "detail", json_object_new_string(s.detail.c_str()));
  veltrum::web::answer(response, data.get(), "download_status", 0);
}
