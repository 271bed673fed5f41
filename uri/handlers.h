// Every resource handler of the agent, by family. The URI table
// (uri/uri_rows.h) names them; each family's file defines them.
#pragma once

#include "core/response.h"

#define VELTRUM_HANDLER(name) void name(MHD_Connection *connection, ResponseHolder *response, json_object *request)

// Built-in probes (uri/builtin.cpp)
VELTRUM_HANDLER(uri_ping);
VELTRUM_HANDLER(uri_hang);
VELTRUM_HANDLER(default_uri_handler);

// Credentials (session/login.cpp)
VELTRUM_HANDLER(user_password_change_handler);

// Dynamic ARP Inspection (uri/dai.cpp)
VELTRUM_HANDLER(dai_global_cfg_get);
VELTRUM_HANDLER(dai_global_cfg_post);
VELTRUM_HANDLER(dai_vlan_cfg_get);
VELTRUM_HANDLER(dai_vlan_cfg_post);
VELTRUM_HANDLER(dai_intf_cfg_get);
VELTRUM_HANDLER(dai_intf_cfg_post);
VELTRUM_HANDLER(dai_acl_cfg_get);
VELTRUM_HANDLER(dai_acl_cfg_post);
VELTRUM_HANDLER(dai_acl_cfg_delete);
VELTRUM_HANDLER(dai_aclrule_cfg_get);
VELTRUM_HANDLER(dai_aclrule_cfg_post);
VELTRUM_HANDLER(dai_aclrule_cfg_delete);
VELTRUM_HANDLER(dai_stats_get);

// Network diagnostics (jobs/diagnostics.cpp, jobs/probe.cpp)
VELTRUM_HANDLER(dnslookup_start_get);
VELTRUM_HANDLER(dnslookup_stop_post);
VELTRUM_HANDLER(dnslookup_results_get);
VELTRUM_HANDLER(ping_test_start_post);
VELTRUM_HANDLER(ping_test_status_get);
VELTRUM_HANDLER(traceroute_status_get);
VELTRUM_HANDLER(traceroute_start_post);
VELTRUM_HANDLER(ping_test_post);
VELTRUM_HANDLER(traceroute_test_post);
