// Files, transfers, reload and factory reset.
//
// Transfers. A transfer is described piece by piece (mode, file type, server,
// remote path and name, local file) and then started; the platform runs it
// and tells through InProgressGet and ResultGet how it went. What the
// simulated switch does:
//   upload, HTTP mode   the file of the type is staged in /mnt/download under
//                       its fixed name (startup-config.cfg, asciilog.txt,
//                       msg.txt, trap.txt, TechSupport) for the web front end;
//   upload, TFTP mode   the file is sent to the server (path/name);
//   download, TFTP      the file is fetched from the server;
//   download, LOCAL     the file is taken from the switch itself (the remote
//                       path and name then name a file under the device root).
// What is uploaded: by TFTP, the local file when it is an absolute path (a
// file the agent prepared, sent as it is); else the platform's own file of
// the type:
// the startup configuration ("startup-config", the saved file, or "{}" when
// none was saved) or the running one ("running-config"), the system log
// (events since the service started), the message log (every event, kept
// across reloads), the trap log, or the support file.
// What a download installs: a configuration (type 5) becomes the saved
// configuration; lines that begin with "!" are comments, as on a switch, and
// the file as received is kept in /mnt/download/startup-config.cfg. A
// firmware file (type 3) goes to the image slot named by the local file,
// through the firmware family's image writer.
//
// TFTP transfers run on a thread of their own, so the platform lock is not
// held while the network is waited for; the transfer is settled (its file
// installed) by the next transfer call, under the lock. Every other transfer
// is done when its start call returns. TFTP servers are reached on port 69;
// VELTRUM_TFTP_PORT (a development hook, like VELTRUM_ROOT) names another,
// so that tests need no privileged port.
//
// Reload and factory reset answer, then the service goes away for the boot
// time and comes back with the saved configuration or with defaults.
#include <curl/curl.h>
#include <sys/stat.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <thread>

#include "platform/calls/00_system.h"
#include "platform/calls/08_files.h"
#include "sim/bind.h"
#include "support/files.h"
#include "support/json_ptr.h"
#include "support/log.h"

namespace veltrum::sim {

namespace {

constexpr std::chrono::milliseconds kBootTime{1500};
constexpr size_t kLogLines = 512;
constexpr size_t kConfigMaxBytes = 1u << 20;
constexpr size_t kImageMaxBytes = 64u << 20;
constexpr long kTftpTimeoutMs = 15000;
constexpr int kEventWaitMaxSecs = 10;
constexpr const char *kStagingDir = "/mnt/download";
constexpr const char *kSupportFile = "/mnt/fastpath/TechSupport";

const char *staged_name(int type) {
  switch (type) {
    case OPEN_FILE_TYPE_CONFIG: return "startup-config.cfg";
    case OPEN_FILE_TYPE_SYSTEM_LOG: return "asciilog.txt";
    case OPEN_FILE_TYPE_MESSAGE_LOG: return "msg.txt";
    case OPEN_FILE_TYPE_TRAP_LOG: return "trap.txt";
    case OPEN_FILE_TYPE_TECH_SUPPORT: return "TechSupport";
    default: return nullptr;
  }
}

std::string timestamp() {
  char text[32];
  time_t now = time(nullptr);
  struct tm tm_now;
  localtime_r(&now, &tm_now);
  strftime(text, sizeof text, "%b %d %H:%M:%S", &tm_now);
  return text;
}

// A path on the switch the agent names: absolute, without "." or ".."
// components, so it cannot leave the device root.
bool clean_device_path(const std::string &path) {
  if (path.empty() || path.front() != '/' || path.find('\0') != std::string::npos) return false;
  std::istringstream parts(path);
  std::string part;
  while (std::getline(parts, part, '/'))
    if (part == "." || part == "..") return false;
  return true;
}

// Host text of a TFTP server: letters, digits and the characters of
// addresses and names, nothing a URL would read as more than a host.
bool clean_host(const std::string &host) {
  if (host.empty() || host.size() > 255) return false;
  for (unsigned char c : host)
    if (!isalnum(c) && c != '.' && c != ':' && c != '-' && c != '_') return false;
  return true;
}

std::optional<std::string> read_whole(const std::string &path, size_t limit) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || static_cast<size_t>(st.st_size) > limit)
    return std::nullopt;
  char *data = load_file(path.c_str());
  if (!data) return std::nullopt;
  std::string text(data, static_cast<size_t>(st.st_size));
  std::free(data);
  return text;
}

// The configuration of a downloaded file: its lines without the "!"
// comments, which must form one JSON object. Null otherwise.
json_object *config_of(const std::string &file) {
  std::istringstream lines(file);
  std::string line;
  std::string body;
  while (std::getline(lines, line)) {
    if (!line.empty() && line.front() == '!') continue;
    body += line;
    body += '\n';
  }
  json_tokener_error error = json_tokener_success;
  json_object *root = json_tokener_parse_verbose(body.c_str(), &error);
  if (root && !json_object_is_type(root, json_type_object)) {
    json_object_put(root);
    return nullptr;
  }
  return root;
}

// ---------------------------------------------------------------- TFTP through libcurl

struct CurlDeleter {
  void operator()(CURL *c) const { curl_easy_cleanup(c); }
};
using CurlPtr = std::unique_ptr<CURL, CurlDeleter>;

struct TftpJob {
  std::string url;
  bool upload = false;
  std::string data;  // sent, or received
  size_t limit = 0;
  size_t sent = 0;
  std::atomic<bool> *abort = nullptr;
};

size_t tftp_receive(char *bytes, size_t size, size_t count, void *arg) {
  auto *job = static_cast<TftpJob *>(arg);
  size_t n = size * count;
  if (job->data.size() + n > job->limit) return 0;  // too large: ends the transfer
  job->data.append(bytes, n);
  return n;
}

size_t tftp_send(char *buffer, size_t size, size_t count, void *arg) {
  auto *job = static_cast<TftpJob *>(arg);
  size_t n = std::min(size * count, job->data.size() - job->sent);
  std::memcpy(buffer, job->data.data() + job->sent, n);
  job->sent += n;
  return n;
}

int tftp_progress(void *arg, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  auto *job = static_cast<TftpJob *>(arg);
  return job->abort && job->abort->load() ? 1 : 0;
}

// Runs the transfer; "" on success, else what went wrong.
std::string run_tftp(TftpJob &job) {
  CurlPtr curl(curl_easy_init());
  if (!curl) return "TFTP client unavailable";
  CURL *c = curl.get();
  curl_easy_setopt(c, CURLOPT_URL, job.url.c_str());
  curl_easy_setopt(c, CURLOPT_PROTOCOLS_STR, "tftp");
  curl_easy_setopt(c, CURLOPT_TFTP_NO_OPTIONS, 1L);
  curl_easy_setopt(c, CURLOPT_TIMEOUT_MS, kTftpTimeoutMs);
  curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(c, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(c, CURLOPT_XFERINFOFUNCTION, tftp_progress);
  curl_easy_setopt(c, CURLOPT_XFERINFODATA, &job);
  if (job.upload) {
    curl_easy_setopt(c, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(c, CURLOPT_READFUNCTION, tftp_send);
    curl_easy_setopt(c, CURLOPT_READDATA, &job);
    curl_easy_setopt(c, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(job.data.size()));
  } else {
    curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, tftp_receive);
    curl_easy_setopt(c, CURLOPT_WRITEDATA, &job);
  }
  CURLcode rc = curl_easy_perform(c);
  if (rc == CURLE_OK) return "";
  if (rc == CURLE_WRITE_ERROR && job.data.size() >= job.limit) return "File too large";
  return std::string("TFTP transfer failed: ") + curl_easy_strerror(rc);
}

std::string url_escape(const std::string &text) {
  std::string out;
  static const char hex[] = "0123456789ABCDEF";
  for (unsigned char c : text) {
    if (isalnum(c) || c == '/' || c == '.' || c == '-' || c == '_' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}

// ---------------------------------------------------------------- the family's state

class Files {
 public:
  explicit Files(Sim &sim) : sim_(sim) { event("System started", true); }
  ~Files() { abort_transfer(); }

  // Transfer description.
  OPEN_TRANSFER_MODES_t mode = OPEN_TRANSFER_NONE;
  int up_type = -1;
  int down_type = -1;
  std::string server, remote_path, remote_name, local;

  void event(const std::string &text, bool trap = false) {
    std::string line = timestamp() + " " + text;
    push(system_log_, line);
    push(message_log_, line);
    if (trap) push(trap_log_, line);
  }

  open_error_t start(bool upload);
  bool running() {
    settle();
    std::lock_guard<std::mutex> lock(mu_);
    return status_ == OPEN_TRANSFER_STATUS_RUNNING;
  }
  OPEN_TRANSFER_STATUS_t status(std::string &message) {
    settle();
    std::lock_guard<std::mutex> lock(mu_);
    message = message_;
    return status_;
  }
  open_error_t wait_event(int32_t seconds);

  // A reboot ends any transfer and forgets the description; the persistent
  // message log stays, the system log starts again.
  void reboot(bool factory) {
    abort_transfer();
    std::lock_guard<std::mutex> lock(mu_);
    status_ = OPEN_TRANSFER_STATUS_NONE;
    message_.clear();
    event_pending_ = false;
    mode = OPEN_TRANSFER_NONE;
    up_type = down_type = -1;
    server.clear(), remote_path.clear(), remote_name.clear(), local.clear();
    system_log_.clear();
    event(factory ? "System restarted with factory defaults" : "System restarted", true);
  }

  std::string support_file_text();

 private:
  static void push(std::deque<std::string> &log, const std::string &line) {
    log.push_back(line);
    if (log.size() > kLogLines) log.pop_front();
  }
  static std::string joined(const std::deque<std::string> &log) {
    std::string text;
    for (const auto &l : log) text += l + "\n";
    return text;
  }
  std::string root_path(const std::string &device) const { return sim_.options().root + device; }
  std::optional<std::string> upload_content(int type, std::string &why);
  void finish(OPEN_TRANSFER_STATUS_t status, const std::string &message);
  void install(const std::string &data);
  void settle();
  void abort_transfer() {
    abort_ = true;
    if (thread_.joinable()) thread_.join();
    abort_ = false;
  }
  std::string tftp_url() const {
    std::string host = server.find(':') != std::string::npos ? "[" + server + "]" : server;
    const char *env = std::getenv("VELTRUM_TFTP_PORT");
    std::string port = env && *env ? env : "69";
    std::string file = remote_path;
    while (!file.empty() && file.back() == '/') file.pop_back();
    file = file.empty() ? remote_name : file + "/" + remote_name;
    return "tftp://" + host + ":" + port + "/" + url_escape(file);
  }

  Sim &sim_;
  std::deque<std::string> system_log_, message_log_, trap_log_;

  // The running transfer. The thread touches only what `mu_` guards.
  std::mutex mu_;
  std::condition_variable changed_;
  std::thread thread_;
  std::atomic<bool> abort_{false};
  OPEN_TRANSFER_STATUS_t status_ = OPEN_TRANSFER_STATUS_NONE;
  std::string message_;
  bool event_pending_ = false;
  bool fetched_ = false;      // a download's data waits to be installed
  int type_now_ = -1;
  std::string local_now_;
  std::string fetched_data_;
};

std::string Files::support_file_text() {
  std::ostringstream out;
  out << "Tech support information, " << timestamp() << "\n\n";
  out << "--- Images ---\n";
  for (const auto &image : sim_.images())
    out << image.label << " " << image.version << (image.active ? " (active)" : "")
        << (image.next_active ? " (next)" : "") << "\n";
  out << "\n--- Interfaces ---\n";
  for (const auto &intf : sim_.interfaces()) out << intf.ifNum << " " << intf.name << "\n";
  JsonPtr running(sim_.store().save_json());
  out << "\n--- Running configuration ---\n"
      << json_object_to_json_string_ext(running.get(), JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_NOSLASHESCAPE)
      << "\n\n--- System log ---\n"
      << joined(system_log_);
  return out.str();
}

std::optional<std::string> Files::upload_content(int type, std::string &why) {
  if (mode == OPEN_TRANSFER_TFTP && !local.empty() && local.front() == '/') {
    if (!clean_device_path(local)) {
      why = "Invalid local file " + local;
      return std::nullopt;
    }
    auto data = read_whole(root_path(local), kImageMaxBytes);
    if (!data) why = "Local file " + local + " not found";
    return data;
  }
  switch (type) {
    case OPEN_FILE_TYPE_CONFIG: {
      if (local.empty() || local.front() == '/' || local == "startup-config") {
        std::string saved = root_path(SIM_SAVED_CONFIG_PATH);
        if (!exists(saved.c_str())) return std::string("{}\n");
        auto data = read_whole(saved, kConfigMaxBytes);
        if (!data) why = "Startup configuration unreadable";
        return data;
      }
      if (local == "running-config") {
        JsonPtr running(sim_.store().save_json());
        return std::string(json_object_to_json_string_ext(running.get(), JSON_C_TO_STRING_PRETTY |
                                                                              JSON_C_TO_STRING_NOSLASHESCAPE)) +
               "\n";
      }
      why = "Unknown configuration " + local;
      return std::nullopt;
    }
    case OPEN_FILE_TYPE_SYSTEM_LOG: return joined(system_log_);
    case OPEN_FILE_TYPE_MESSAGE_LOG: return joined(message_log_);
    case OPEN_FILE_TYPE_TRAP_LOG: return joined(trap_log_);
    case OPEN_FILE_TYPE_TECH_SUPPORT: {
      auto data = read_whole(root_path(kSupportFile), kImageMaxBytes);
      return data ? *data : support_file_text();
    }
    default:
      why = "File type " + std::to_string(type) + " cannot be uploaded";
      return std::nullopt;
  }
}

// Under the platform lock (a call is being served); `mu_` not held.
open_error_t Files::start(bool upload) {
  if (running()) return OPEN_E_EXISTS;
  if (thread_.joinable()) thread_.join();
  int type = upload ? up_type : down_type;
  if (type < 0) return OPEN_E_PARAM;
  bool tftp = mode == OPEN_TRANSFER_TFTP;
  if (tftp && (server.empty() || remote_name.empty())) return OPEN_E_PARAM;

  {
    std::lock_guard<std::mutex> lock(mu_);
    status_ = OPEN_TRANSFER_STATUS_RUNNING;
    message_ = "Transfer in progress";
    event_pending_ = true;
    fetched_ = false;
    type_now_ = type;
    local_now_ = local;
  }
  event(std::string(upload ? "Upload" : "Download") + " of file type " + std::to_string(type) + " started");

  // Failures found now end the transfer at once; the start itself succeeds.
  auto failed = [this](const std::string &why) {
    finish(OPEN_TRANSFER_STATUS_FAILED, why);
    return OPEN_E_NONE;
  };
  std::string why;
  if (upload) {
    auto data = upload_content(type, why);
    if (!data) return failed(why);
    if (mode == OPEN_TRANSFER_HTTP) {
      const char *name = staged_name(type);
      if (!name) return failed("File type cannot be staged for HTTP");
      bool ok = write_file_atomic(root_path(std::string(kStagingDir) + "/" + name), *data) == 0;
      finish(ok ? OPEN_TRANSFER_STATUS_SUCCESS : OPEN_TRANSFER_STATUS_FAILED,
             ok ? "File transfer operation completed successfully" : "Could not write the staged file");
      return OPEN_E_NONE;
    }
    if (!tftp) return failed("Transfer mode not supported");
    auto job = std::make_shared<TftpJob>();
    job->url = tftp_url();
    job->upload = true;
    job->data = std::move(*data);
    job->abort = &abort_;
    thread_ = std::thread([this, job] {
      std::string error = run_tftp(*job);
      finish(error.empty() ? OPEN_TRANSFER_STATUS_SUCCESS : OPEN_TRANSFER_STATUS_FAILED,
             error.empty() ? "File transfer operation completed successfully" : error);
    });
    return OPEN_E_NONE;
  }

  if (type != OPEN_FILE_TYPE_CONFIG && type != OPEN_FILE_TYPE_CODE)
    return failed("File type cannot be downloaded");
  size_t limit = type == OPEN_FILE_TYPE_CONFIG ? kConfigMaxBytes : kImageMaxBytes;
  if (mode == OPEN_TRANSFER_LOCAL) {
    std::string path = remote_path;
    while (!path.empty() && path.back() == '/') path.pop_back();
    path += "/" + remote_name;
    std::optional<std::string> data;
    if (clean_device_path(path)) data = read_whole(root_path(path), limit);
    if (!data) return failed("File " + path + " not found");
    install(*data);
    return OPEN_E_NONE;
  }
  if (!tftp) return failed("Transfer mode not supported");
  auto job = std::make_shared<TftpJob>();
  job->url = tftp_url();
  job->limit = limit;
  job->abort = &abort_;
  thread_ = std::thread([this, job] {
    std::string error = run_tftp(*job);
    if (!error.empty()) return finish(OPEN_TRANSFER_STATUS_FAILED, error);
    std::lock_guard<std::mutex> lock(mu_);
    fetched_data_ = std::move(job->data);
    fetched_ = true;
    changed_.notify_all();
  });
  return OPEN_E_NONE;
}

void Files::finish(OPEN_TRANSFER_STATUS_t status, const std::string &message) {
  std::lock_guard<std::mutex> lock(mu_);
  status_ = status;
  message_ = message;
  changed_.notify_all();
}

// Installs a downloaded file; under the platform lock.
void Files::install(const std::string &data) {
  if (type_now_ == OPEN_FILE_TYPE_CONFIG) {
    write_file_atomic(root_path(std::string(kStagingDir) + "/startup-config.cfg"), data);
    if (!local_now_.empty() && local_now_ != "startup-config")
      return finish(OPEN_TRANSFER_STATUS_FAILED, "Unknown configuration " + local_now_);
    JsonPtr config(config_of(data));
    if (!config) return finish(OPEN_TRANSFER_STATUS_FAILED, "The file is not a configuration");
    std::string text = json_object_to_json_string_ext(config.get(), JSON_C_TO_STRING_PRETTY |
                                                                         JSON_C_TO_STRING_NOSLASHESCAPE);
    if (write_file_atomic(root_path(SIM_SAVED_CONFIG_PATH), text + "\n") != 0)
      return finish(OPEN_TRANSFER_STATUS_FAILED, "Could not write the startup configuration");
    event("Startup configuration replaced by a download", true);
    return finish(OPEN_TRANSFER_STATUS_SUCCESS, "File transfer operation completed successfully");
  }
  if (!sim_.image_writer()) return finish(OPEN_TRANSFER_STATUS_FAILED, "No image store for firmware files");
  std::string staged = root_path(std::string(kStagingDir) + "/transfer.stk");
  if (write_file_atomic(staged, data) != 0) return finish(OPEN_TRANSFER_STATUS_FAILED, "Could not stage the file");
  open_error_t rc = sim_.image_writer()(sim_, local_now_, staged);
  std::remove(staged.c_str());
  if (rc != OPEN_E_NONE) return finish(OPEN_TRANSFER_STATUS_FAILED, "Invalid firmware file");
  event("Image " + local_now_ + " written by a download", true);
  finish(OPEN_TRANSFER_STATUS_SUCCESS, "File transfer operation completed successfully");
}

// A fetched download is installed by the first transfer call after it.
void Files::settle() {
  std::string data;
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (!fetched_) return;
    fetched_ = false;
    data = std::move(fetched_data_);
  }
  if (thread_.joinable()) thread_.join();
  install(data);
}

open_error_t Files::wait_event(int32_t seconds) {
  seconds = std::clamp(seconds, 0, kEventWaitMaxSecs);
  std::unique_lock<std::mutex> lock(mu_);
  if (!event_pending_) return OPEN_E_EMPTY;
  bool ended = changed_.wait_for(lock, std::chrono::seconds(seconds),
                                 [this] { return status_ != OPEN_TRANSFER_STATUS_RUNNING || fetched_; });
  if (!ended) return OPEN_E_TIMEOUT;
  event_pending_ = false;
  return OPEN_E_NONE;
}

}  // namespace

using namespace calls::files;

VELTRUM_SIM_PART(files, kFamily) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  auto files = std::make_shared<Files>(sim);

  sim.implement<CallId::rpcclt_openapiSystemReload>([&sim, files](openapiClientHandle_t *) {
    files->event("System reload requested", true);
    files->reboot(false);
    sim.reboot_locked(false, kBootTime);
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiResetConfigurationSet>([&sim, files](openapiClientHandle_t *) {
    files->event("Configuration reset to factory defaults", true);
    files->reboot(true);
    sim.reboot_locked(true, kBootTime);
    return OPEN_E_NONE;
  });

  sim.implement<CallId::rpcclt_openapiSystemFileNameMaxLengthGet>([](openapiClientHandle_t *, uint32_t *length) {
    if (!length) return OPEN_E_PARAM;
    *length = OPEN_FILE_NAME_SIZE - 1;
    return OPEN_E_NONE;
  });
  sim.implement<CallId::rpcclt_openapiSupportFileGenerate>(
      [&sim, files](openapiClientHandle_t *, open_buffdesc *fileName) {
        if (!fileName) return OPEN_E_PARAM;
        if (write_file_atomic(sim.options().root + kSupportFile, files->support_file_text()) != 0)
          return OPEN_E_FAIL;
        files->event("Support file generated");
        return fill_text(fileName, kSupportFile);
      });

  sim.implement<CallId::rpcclt_openapiTransferModeSet>([files](openapiClientHandle_t *, OPEN_TRANSFER_MODES_t mode) {
    if (mode < OPEN_TRANSFER_NONE || mode > OPEN_TRANSFER_LOCAL) return OPEN_E_PARAM;
    files->mode = mode;
    return OPEN_E_NONE;
  });
  auto type_setter = [files](bool upload) {
    return [files, upload](openapiClientHandle_t *, OPEN_FILE_TYPES_t type) {
      if (type < 0 || type > OPEN_FILE_TYPE_LAST) return OPEN_E_PARAM;
      (upload ? files->up_type : files->down_type) = type;
      return OPEN_E_NONE;
    };
  };
  sim.implement<CallId::rpcclt_openapiTransferUploadFileTypeSet>(type_setter(true));
  sim.implement<CallId::rpcclt_openapiTransferDownloadFileTypeSet>(type_setter(false));

  sim.implement<CallId::rpcclt_openapiTransferServerAddressSet>(
      [files](openapiClientHandle_t *, const open_buffdesc *address) {
        std::string host = buffer_text(address);
        if (!clean_host(host)) return OPEN_E_PARAM;
        files->server = host;
        return OPEN_E_NONE;
      });
  // Texts of the description: printable, at most a file name's length.
  auto text_setter = [files](std::string Files::*member) {
    return [files, member](openapiClientHandle_t *, const open_buffdesc *text) {
      std::string value = buffer_text(text);
      if (value.size() >= OPEN_FILE_NAME_SIZE) return OPEN_E_PARAM;
      for (unsigned char c : value)
        if (c < 0x20 || c == 0x7f) return OPEN_E_PARAM;
      (*files).*member = value;
      return OPEN_E_NONE;
    };
  };
  sim.implement<CallId::rpcclt_openapiTransferFilePathRemoteSet>(text_setter(&Files::remote_path));
  sim.implement<CallId::rpcclt_openapiTransferFileRemoteSet>(text_setter(&Files::remote_name));
  sim.implement<CallId::rpcclt_openapiTransferFileLocalSet>(text_setter(&Files::local));

  sim.implement<CallId::rpcclt_openapiTransferUpStartSet>(
      [files](openapiClientHandle_t *) { return files->start(true); });
  sim.implement<CallId::rpcclt_openapiTransferDownStartSet>(
      [files](openapiClientHandle_t *) { return files->start(false); });
  sim.implement<CallId::rpcclt_openapiTransferInProgressGet>(
      [files](openapiClientHandle_t *, OPEN_BOOL_t *inProgress) {
        if (!inProgress) return OPEN_E_PARAM;
        *inProgress = files->running() ? OPEN_TRUE : OPEN_FALSE;
        return OPEN_E_NONE;
      });
  sim.implement<CallId::rpcclt_openapiTransferResultGet>(
      [files](openapiClientHandle_t *, OPEN_TRANSFER_STATUS_t *status, open_buffdesc *message) {
        if (!status) return OPEN_E_PARAM;
        std::string text;
        *status = files->status(text);
        if (message && message->pstart && message->size > 0) {
          if (text.size() + 1 > message->size) text.resize(message->size - 1);
          return fill_text(message, text);
        }
        return OPEN_E_NONE;
      });
  sim.implement<CallId::openapiEventWait>(
      [files](openapiClientHandle_t *, int32_t timeoutSecs) { return files->wait_event(timeoutSecs); });
}

}  // namespace veltrum::sim
