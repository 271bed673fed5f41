// The agent's two registrations with the platform service. agent_init
// registers both under the application name before anything else runs.
#include "core/platform_client.h"

openapiClientHandle_t g_client_handle;
openapiClientHandle_t g_client_handle2;
