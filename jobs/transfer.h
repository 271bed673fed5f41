// Running one platform file transfer and checking the texts a client gives
// for one (the export and download resources).
#pragma once

#include <string>

#include "platform/calls/08_files.h"

// Waits for the transfer just started through `client` to end: one wait for
// the platform's event (2 seconds), then InProgressGet until it reports no
// transfer in progress. `pause_ms` 0 polls without pause and without limit;
// otherwise the poll pauses that long between calls and gives up after
// `limit_ms`. Then ResultGet: `message` receives the platform's text.
// 0 when the platform reports success, 1 when it reports a failure, -1 when
// a call failed or the limit passed (logged).
int wait_transfer(openapiClientHandle_t *client, int pause_ms, int limit_ms, std::string &message);

// A TFTP upload or download described in one go and run to its end, with
// pauses between polls. `local` is the platform's local file name.
struct TftpTransfer {
  bool upload;
  int type;
  std::string host, path, name, local;
};
int run_tftp_transfer(openapiClientHandle_t *client, const TftpTransfer &t, std::string &message);

// Checks of client texts. 0 when acceptable, -1 otherwise.
// A server: an IPv4 or IPv6 address text, or a host name.
int check_transfer_host(const char *text);
// A file name on the server: 1 to 63 characters, no "/", no control
// character, not "." or "..".
int check_transfer_name(const char *text);
// A directory on the server: at most 127 characters, no control character.
int check_transfer_path(const char *text);
