// The CLI-backed reads and writes: switch settings that only the switch's
// CLI shows or changes, read through the CLI bridge (cli/bridge.h) or from
// "show" files (cli/cli_output.h).
//
// Each returns 0, or with the reason in last_error_text (core/response.h):
//   -26 (kCliFailed)      the CLI or a file failed, or the CLI refused the command
//   -27 (kCliNotEnabled)  the feature is not in the expected state
//   -22 (kCliBadMode)     a mode (or other) argument is out of range
// Reads that produce rows append them to a JSON array the caller owns; a
// read that fails part-way leaves the rows it had.
//
// Interfaces are given to the CLI as "0/N", N the interface number (ports
// and LAGs alike); LAGs for the trust mode as "lag K", K the LAG's number.
#pragma once

#include <cstddef>

#include <json-c/json.h>

namespace veltrum::cli {

// Which trust mode, dot1p map or queue settings to read.
enum CosScope { kCosGlobal = 0, kCosPort = 1, kCosLag = 2 };

// The spanning tree runs the version `expected` ("IEEE 802.1s", "IEEE
// 802.1w", "IEEE 802.1D"; the first 11 characters are compared). -27 with
// "<expected> is not enabled" otherwise.
int stp_version_check(const char *expected);

// The class-of-service trust mode as the CLI shows it ("Dot1P", "IP DSCP",
// ... for kCosGlobal and kCosPort; "dot1p", "ip-dscp", ... for kCosLag, whose
// `index` is the LAG's number), and whether it is IP DSCP.
int cos_trust_mode_get(int mode, int index, char *trust, size_t trust_size, int *ip_dscp);

// Maps IP DSCP value `dscp` (0-63) to traffic class `queue` (0-6).
int cos_ip_dscp_queue_map_set(int dscp, int queue);

// The 802.1p priority to traffic class map, global (kCosGlobal) or of
// interface `index` (kCosPort, kCosLag): rows {"priority", "queuemap"}.
int cos_dot1p_queue_map_get(int mode, int index, json_object *rows);

// The queue settings, global (kCosGlobal) or of interface `index`
// (kCosPort): rows {"id", "min_bw", "schedule_type" ("Weighted", "Strict"),
// "mgmt_type" ("TailDrop", "WRED")}.
int cos_queue_get(int mode, int index, json_object *rows);

// The end-to-end transparent clock of each port: rows {"portid",
// "adminMode", "operaMode"} (1 enabled, 0 disabled).
int ptp_transparent_clock_get(json_object *rows);

// Writes the snooping source-specific groups to the snooping file.
int snooping_ssm_groups_to_file();
// The sources of the group on line `group_line` of the snooping file,
// filtered in `include` or exclude mode, joined with ",": one awk run for a
// single source (source_count <= 1), else one per source. At most 200
// characters, and at most out_size - 1.
int snooping_ssm_sources_get(bool include, int group_line, int source_count, char *out, size_t out_size);

// Adds or removes a RADIUS accounting server (an IPv4 address or a host
// name; -22 for anything else). Adding turns RADIUS accounting on.
int radius_acct_server_add(const char *server);
int radius_acct_server_delete(const char *server);

// Periodic 802.1X re-authentication every `period` seconds on ports 1 to
// `last_port`.
int dot1x_reauth_set(int last_port, int period);

}  // namespace veltrum::cli
