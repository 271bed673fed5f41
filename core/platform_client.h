// The agent's registered platform clients, and the platform families the
// core itself calls (the service, interfaces, VLANs, addresses, users).
// Handler code includes its own family's file besides.
#pragma once

#include "platform/calls/00_system.h"
#include "platform/calls/01_interfaces.h"
#include "platform/calls/02_vlans.h"
#include "platform/calls/03_network.h"
#include "platform/calls/04_users.h"

// The handle every platform call of the agent goes through.
extern openapiClientHandle_t g_client_handle;
// The second registration made at start-up; no request path uses it.
extern openapiClientHandle_t g_client_handle2;
