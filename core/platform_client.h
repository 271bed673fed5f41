// The agent's registered platform clients.
#pragma once

#include "platform/openapi.h"

// The handle every platform call of the agent goes through.
extern openapiClientHandle_t g_client_handle;
// The second registration made at start-up; no request path uses it.
extern openapiClientHandle_t g_client_handle2;
