#include "jobs/transfer.h"

#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "core/validate.h"
#include "support/log.h"

namespace {

constexpr int32_t kEventWaitSeconds = 2;

open_buffdesc input_text(const std::string &text) {
  return open_buffdesc{static_cast<uint32_t>(text.size() + 1), const_cast<char *>(text.c_str())};
}

bool has_control(const char *text) {
  for (const unsigned char *p = reinterpret_cast<const unsigned char *>(text); *p; ++p)
    if (*p < 0x20 || *p == 0x7f) return true;
  return false;
}

}  // namespace

int wait_transfer(openapiClientHandle_t *client, int pause_ms, int limit_ms, std::string &message) {
  openapiEventWait(client, kEventWaitSeconds);
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit_ms);
  for (;;) {
    OPEN_BOOL_t busy = OPEN_FALSE;
    open_error_t rc = rpcclt_openapiTransferInProgressGet(client, &busy);
    if (rc != OPEN_E_NONE) {
      agent_log(4, "Transfer Progress Get Failed (%d).\n", rc);
      return -1;
    }
    if (busy != OPEN_TRUE) break;
    if (pause_ms > 0) {
      if (std::chrono::steady_clock::now() >= deadline) {
        agent_log(4, "Transfer did not end within %d ms", limit_ms);
        return -1;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(pause_ms));
    }
  }
  OPEN_TRANSFER_STATUS_t status = OPEN_TRANSFER_STATUS_NONE;
  char text[OPEN_TRANSFER_MESSAGE_SIZE] = {};
  open_buffdesc desc{sizeof text, text};
  open_error_t rc = rpcclt_openapiTransferResultGet(client, &status, &desc);
  if (rc != OPEN_E_NONE) {
    agent_log(4, "Trasfer result failed to get with error %d", rc);
    return -1;
  }
  message = text;
  return status == OPEN_TRANSFER_STATUS_SUCCESS ? 0 : 1;
}

int run_tftp_transfer(openapiClientHandle_t *client, const TftpTransfer &t, std::string &message) {
  constexpr int kPauseMs = 50;
  constexpr int kLimitMs = 120 * 1000;
  open_buffdesc host = input_text(t.host);
  open_buffdesc path = input_text(t.path);
  open_buffdesc name = input_text(t.name);
  open_buffdesc local = input_text(t.local);
  auto type = static_cast<OPEN_FILE_TYPES_t>(t.type);
  struct Step {
    const char *what;
    open_error_t rc;
  };
  const Step steps[] = {
      {"Transfer mode set failed", rpcclt_openapiTransferModeSet(client, OPEN_TRANSFER_TFTP)},
      {"Transfer file type set failed",
       t.upload ? rpcclt_openapiTransferUploadFileTypeSet(client, type)
                : rpcclt_openapiTransferDownloadFileTypeSet(client, type)},
      {"Transfer server address set failed", rpcclt_openapiTransferServerAddressSet(client, &host)},
      {"Transfer remote path set failed", rpcclt_openapiTransferFilePathRemoteSet(client, &path)},
      {"Transfer remote file name set failed", rpcclt_openapiTransferFileRemoteSet(client, &name)},
      {"Local file set failed", rpcclt_openapiTransferFileLocalSet(client, &local)},
  };
  for (const Step &step : steps) {
    if (step.rc == OPEN_E_NONE) continue;
    agent_log(4, "%s. Error %d", step.what, step.rc);
    message = "The platform refused the transfer";
    return -1;
  }
  open_error_t rc = t.upload ? rpcclt_openapiTransferUpStartSet(client) : rpcclt_openapiTransferDownStartSet(client);
  if (rc != OPEN_E_NONE) {
    agent_log(4, "TFTP Transfer failed. Error %d", rc);
    message = "The platform refused the transfer";
    return -1;
  }
  return wait_transfer(client, kPauseMs, kLimitMs, message) == 0 ? 0 : -1;
}

int check_transfer_host(const char *text) {
  if (!text) return -1;
  switch (ip_addr_kind(text)) {
    case 0: return validate_ipv4_text(text);
    case 1: return validate_ipv6_text(text);
    case 2: return validate_host_name(text);
    default: return -1;
  }
}

int check_transfer_name(const char *text) {
  if (!text) return -1;
  size_t n = std::strlen(text);
  if (n == 0 || n > 63 || std::strchr(text, '/') || has_control(text)) return -1;
  return std::strcmp(text, ".") == 0 || std::strcmp(text, "..") == 0 ? -1 : 0;
}

int check_transfer_path(const char *text) {
  if (!text) return -1;
  return std::strlen(text) > 127 || has_control(text) ? -1 : 0;
}
