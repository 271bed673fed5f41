// mhd_minimal: the smallest server that answers like the agent's ping, as
// the baseline of bench/run_http_bench.sh. libmicrohttpd in the same
// external-select mode as the agent (one thread, MHD_USE_ERROR_LOG only),
// with none of the agent's limits (connection limit, strict parsing, short
// idle time-out), answering every GET with the ping body and content type.
//
//   mhd_minimal [PORT]        (default 8446, bound on 127.0.0.1)
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <microhttpd.h>

namespace {

const char kBody[] = "{\"ping\": \"\"}";
int g_marker;

MHD_Result answer(void *, MHD_Connection *connection, const char *, const char *method, const char *,
                  const char *, size_t *upload_data_size, void **request_pointer) {
  if (!*request_pointer) {  // headers in: answer on the next call, as the agent does
    *request_pointer = &g_marker;
    return MHD_YES;
  }
  if (*upload_data_size != 0) {
    *upload_data_size = 0;
    return MHD_YES;
  }
  MHD_Response *response = MHD_create_response_from_buffer(sizeof kBody - 1, const_cast<char *>(kBody),
                                                           MHD_RESPMEM_MUST_COPY);
  if (!response) return MHD_NO;
  MHD_add_response_header(response, "Content-Type", "application/json");
  MHD_Result rc = MHD_queue_response(connection, std::strcmp(method, "GET") == 0 ? 200 : 406, response);
  MHD_destroy_response(response);
  return rc;
}

void completed(void *, MHD_Connection *, void **request_pointer, MHD_RequestTerminationCode) {
  *request_pointer = nullptr;
}

}  // namespace

int main(int argc, char **argv) {
  int port = argc > 1 ? std::atoi(argv[1]) : 8446;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  MHD_Daemon *daemon = MHD_start_daemon(MHD_USE_ERROR_LOG, static_cast<uint16_t>(port), nullptr, nullptr, &answer,
                                        nullptr, MHD_OPTION_SOCK_ADDR, &address, MHD_OPTION_CONNECTION_TIMEOUT,
                                        600u, MHD_OPTION_NOTIFY_COMPLETED, &completed, nullptr, MHD_OPTION_END);
  if (!daemon) {
    std::fprintf(stderr, "mhd_minimal: cannot listen on 127.0.0.1:%d\n", port);
    return 1;
  }
  for (;;) {
    fd_set read_set;
    fd_set write_set;
    fd_set error_set;
    FD_ZERO(&read_set);
    FD_ZERO(&write_set);
    FD_ZERO(&error_set);
    MHD_socket highest = 0;
    if (MHD_get_fdset(daemon, &read_set, &write_set, &error_set, &highest) != MHD_YES) {
      sleep(1);
      continue;
    }
    MHD_UNSIGNED_LONG_LONG timeout_ms = 0;
    timeval timeout{};
    timeval *wait = nullptr;
    if (MHD_get_timeout(daemon, &timeout_ms) == MHD_YES) {
      timeout.tv_sec = static_cast<time_t>(timeout_ms / 1000);
      timeout.tv_usec = static_cast<suseconds_t>((timeout_ms % 1000) * 1000);
      wait = &timeout;
    }
    if (select(highest + 1, &read_set, &write_set, &error_set, wait) == -1 && errno != EINTR) break;
    if (MHD_run_from_select(daemon, &read_set, &write_set, &error_set) != MHD_YES) break;
  }
  MHD_stop_daemon(daemon);
  return 1;
}
