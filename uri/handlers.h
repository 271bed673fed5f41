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

// HTTP and HTTPS server settings and certificates (session/web_config.cpp)
VELTRUM_HANDLER(http_config_get);
VELTRUM_HANDLER(http_config_post);
VELTRUM_HANDLER(https_cert_mgmt_get);
VELTRUM_HANDLER(https_cert_mgmt_post);
VELTRUM_HANDLER(https_cert_upld_post);
VELTRUM_HANDLER(global_states_get);
VELTRUM_HANDLER(global_states_post);

// Configuration files, export, download, reboot and factory reset
// (jobs/device_ops.cpp, jobs/file_export.cpp, jobs/download.cpp)
VELTRUM_HANDLER(device_factory_reset_post);
VELTRUM_HANDLER(device_reboot_post);
VELTRUM_HANDLER(download_post);
VELTRUM_HANDLER(download_status_get);
VELTRUM_HANDLER(mgmt_http_file_export_post);
VELTRUM_HANDLER(mgmt_file_export_post);

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
