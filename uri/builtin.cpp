// The built-in probes: ping answers a fixed body; hang never returns.
#include <unistd.h>

#include "core/response.h"
#include "support/log.h"

VELTRUM_HANDLER(uri_ping) { set_response(response, "{\"ping\": \"\"}", 200); }

// Blocks the server thread for good: whatever watches the agent must notice
// that it stopped answering.
VELTRUM_HANDLER(uri_hang) {
  if (!response) return;
  for (;;) {
    agent_log(7, "%s: Stuck in URI_HANG call infinitely!", "uri_hang");
    sleep(2);
  }
}
