// The built-in probes: ping answers a fixed body; hang never returns.
#include <unistd.h>

#include "support/log.h"
#include "uri/handlers.h"

void uri_ping(MHD_Connection *connection, ResponseHolder *response, json_object *request) {
  set_response(response, "{\"ping\": \"\"}", 200);
}

// Blocks the server thread for good: whatever watches the agent must notice
// that it stopped answering.
void uri_hang(MHD_Connection *connection, ResponseHolder *response, json_object *request) {
  if (!response) return;
  for (;;) {
    agent_log(7, "%s: Stuck in URI_HANG call infinitely!", "uri_hang");
    sleep(2);
  }
}

void default_uri_handler(MHD_Connection *connection, ResponseHolder *response, json_object *request) {
  agent_log(7, "%s: Default URI handler called!", "default_uri_handler");
}
