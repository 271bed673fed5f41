#include "cli/catalogue.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "cli/bridge.h"
#include "cli/cli_output.h"
#include "core/response.h"
#include "core/validate.h"
#include "support/device.h"
#include "support/files.h"

namespace veltrum::cli {

namespace {

constexpr size_t kSsmSourceWidth = 99;
constexpr size_t kSsmListMax = 200;

// A bridge command; kCliFailed with `failure` as the reason when the bridge
// fails or the CLI refuses it.
int bridge_command(const char *command, char *answer, size_t answer_size, const char *failure) {
  if (fastpath_cli_cmd(command, answer, answer_size) != 0 || answer_rejected(answer)) {
    format_last_error("%s", failure);
    return kCliFailed;
  }
  return 0;
}

int bridge_submode_command(const char *mode, const char *command, const char *failure) {
  char answer[kCliAnswerSize];
  if (fastpath_cli_splmode_cmd(mode, command, answer, sizeof answer) != 0 || answer_rejected(answer)) {
    format_last_error("%s", failure);
    return kCliFailed;
  }
  return 0;
}

// Keeps the CLI's answer to `command` in the catalogue file: from the echo
// of the command on (what an earlier command printed late stays out), up
// to the prompt that follows the output, with "\n" line ends.
int keep_answer(const char *answer, const char *command, const char *file) {
  const char *from = answer;
  for (const char *at = std::strstr(answer, command); at; at = std::strstr(at + 1, command)) from = at;
  std::string text;
  for (const char *p = from; *p; ++p)
    if (*p != '\r') text += *p;
  size_t last_newline = text.rfind('\n');
  text.erase(last_newline == std::string::npos ? 0 : last_newline + 1);
  if (write_file_atomic(device_path(file), text) != 0) {
    format_last_error("Failed to open file (%s)", file);
    return kCliFailed;
  }
  return 0;
}

// An accounting server: an IPv4 address or a host name, nothing that could
// carry a second command line.
bool valid_server(const char *server) {
  if (server && (validate_ipv4_text(server) == 0 || validate_host_name(server) == 0)) return true;
  format_last_error("Invalid accounting server address.");
  return false;
}

}  // namespace

int stp_version_check(const char *expected) {
  if (!expected) return kCliBadMode;
  char answer[kCliAnswerSize];
  char failure[128];
  std::snprintf(failure, sizeof failure, "Fastpath CLI error for %s", expected);
  if (int rc = bridge_command("show spanning-tree summary", answer, sizeof answer, failure)) return rc;
  char version[64];
  if (int rc =
          parse_answer(answer, "Spanning Tree Version............. ", "Spanning Tree Version............. %63[^\t\n]s",
                       version, sizeof version, "Spanning Tree Version"))
    return rc;
  if (std::strncmp(version, expected, 11) != 0) {
    format_last_error("%s is not enabled", expected);
    return kCliNotEnabled;
  }
  return 0;
}

int cos_trust_mode_get(int mode, int index, char *trust, size_t trust_size, int *ip_dscp) {
  if (!trust || trust_size < 2) return kCliFailed;
  trust[0] = '\0';
  char command[kCliCommandMax + 1];
  char failure[128];
  const char *label = "Class of Service Trust Mode: ";
  const char *pattern = "Class of Service Trust Mode: %63[^\r]s";
  switch (mode) {
    case kCosGlobal:
      std::snprintf(command, sizeof command, "show classofservice trust | include Mode:");
      std::snprintf(failure, sizeof failure, "Fastpath CLI error for global cos trust.");
      break;
    case kCosPort:
      std::snprintf(command, sizeof command, "show classofservice trust 0/%d", index);
      std::snprintf(failure, sizeof failure, "Fastpath CLI error for interface cos trust.");
      break;
    case kCosLag:
      std::snprintf(command, sizeof command, "show running-config interface lag %d | include trust", index);
      std::snprintf(failure, sizeof failure, "Fastpath CLI error for lag %d interface cos trust.", index);
      label = "classofservice trust ";
      pattern = "classofservice trust %63[^\r]s";
      break;
    default:
      format_last_error("Invalid trust mode type.");
      return kCliBadMode;
  }
  char answer[kCliAnswerSize];
  if (int rc = bridge_command(command, answer, sizeof answer, failure)) return rc;
  char text[64];
  if (int rc = parse_answer(answer, label, pattern, text, sizeof text, "cos trust")) return rc;
  std::snprintf(trust, trust_size, "%s", text);
  if (ip_dscp) *ip_dscp = std::strcmp(text, "IP DSCP") == 0 || std::strcmp(text, "ip-dscp") == 0;
  return 0;
}

int cos_ip_dscp_queue_map_set(int dscp, int queue) {
  char command[kCliCommandMax + 1];
  std::snprintf(command, sizeof command, "classofservice ip-dscp-mapping %d %d", dscp, queue);
  char answer[kCliAnswerSize];
  return bridge_command(command, answer, sizeof answer, "Fastpath CLI error for ipdscp queue map.");
}

int cos_dot1p_queue_map_get(int mode, int index, json_object *rows) {
  char command[kCliCommandMax + 1];
  if (mode == kCosGlobal) {
    std::snprintf(command, sizeof command, "show classofservice dot1p-mapping");
  } else if (mode == kCosPort || mode == kCosLag) {
    std::snprintf(command, sizeof command, "show classofservice dot1p-mapping 0/%d", index);
  } else {
    format_last_error("Invalid dot1p queue mode type.");
    return kCliBadMode;
  }
  if (int rc = cli_show_to_file(command, CLI_FILE_DOT1P_QUEUE)) return rc;
  if (int rc = check_invalid_input(CLI_FILE_DOT1P_QUEUE)) return rc;
  static const TableColumn kColumns[] = {{"queuemap", kAwkColumn2, 4, CellKind::Integer}};
  return table_walk(CLI_FILE_DOT1P_QUEUE, kColumns, std::size(kColumns), "priority", rows);
}

int cos_queue_get(int mode, int index, json_object *rows) {
  char command[kCliCommandMax + 1];
  const char *failure = nullptr;
  if (mode == kCosGlobal) {
    std::snprintf(command, sizeof command, "show interfaces cos-queue");
    failure = "Fastpath CLI error for global cos queue.";
  } else if (mode == kCosPort) {
    std::snprintf(command, sizeof command, "show interfaces cos-queue 0/%d", index);
    failure = "Fastpath CLI error for interface cos queue.";
  } else {
    format_last_error("Invalid cos queue mode type.");
    return kCliBadMode;
  }
  char answer[kCliAnswerSize];
  if (fastpath_cli_cmd(command, answer, sizeof answer) != 0) {
    format_last_error("%s", failure);
    return kCliFailed;
  }
  if (int rc = keep_answer(answer, command, CLI_FILE_COS_QUEUE)) return rc;
  if (int rc = check_invalid_input(CLI_FILE_COS_QUEUE)) return rc;
  static const TableColumn kColumns[] = {
      {"id", kAwkColumn1, 8, CellKind::Integer},
      {"min_bw", kAwkColumn2, 8, CellKind::Integer},
      {"schedule_type", kAwkColumn3, 8, CellKind::Text},
      {"mgmt_type", kAwkColumns4And5, 8, CellKind::Text},
  };
  return table_walk(CLI_FILE_COS_QUEUE, kColumns, std::size(kColumns), nullptr, rows);
}

int ptp_transparent_clock_get(json_object *rows) {
  if (int rc = cli_show_to_file("show ptp clock e2e-transparent", CLI_FILE_PTP)) return rc;
  if (int rc = check_invalid_input(CLI_FILE_PTP)) return rc;
  static const TableColumn kColumns[] = {
      {"portid", kAwkColumn2, 8, CellKind::Integer},
      {"adminMode", kAwkColumn3, 8, CellKind::EnabledFlag},
      {"operaMode", kAwkColumn4, 8, CellKind::EnabledFlag},
  };
  return table_walk(CLI_FILE_PTP, kColumns, std::size(kColumns), nullptr, rows);
}

int snooping_ssm_groups_to_file() {
  if (int rc = cli_show_to_file("show igmpsnooping ssm groups", CLI_FILE_SNOOPING_SSM)) return rc;
  return check_invalid_input(CLI_FILE_SNOOPING_SSM);
}

int snooping_ssm_sources_get(bool include, int group_line, int source_count, char *out, size_t out_size) {
  if (!out || out_size == 0) return kCliFailed;
  out[0] = '\0';
  if (int rc = check_invalid_input(CLI_FILE_SNOOPING_SSM)) return rc;
  std::string joined;
  int runs = source_count <= 1 ? 1 : source_count;
  for (int i = 1; i <= runs; ++i) {
    char source[kSsmSourceWidth + 1];
    int rc =
        source_count <= 1
            ? awk_ssm_field(CLI_FILE_SNOOPING_SSM, kAwkSsmSource, 0, group_line, include, source, sizeof source)
            : awk_ssm_field(CLI_FILE_SNOOPING_SSM, kAwkSsmSourceList, i, group_line, include, source, sizeof source);
    if (rc != 0) return rc;
    trim_trailing(source);
    if (source[0] == '\0') continue;
    std::string next = joined.empty() ? std::string(source) : joined + "," + source;
    if (next.size() > kSsmListMax) break;
    joined = std::move(next);
  }
  std::snprintf(out, out_size, "%s", joined.c_str());
  trim_trailing(out);
  return 0;
}

int radius_acct_server_add(const char *server) {
  if (!valid_server(server)) return kCliBadMode;
  char command[kCliCommandMax + 1];
  std::snprintf(command, sizeof command, "radius server host acct %s port 1813", server);
  return bridge_submode_command("radius accounting mode", command, "Fastpath CLI error: Configure Accounting Server");
}

int radius_acct_server_delete(const char *server) {
  if (!valid_server(server)) return kCliBadMode;
  char command[kCliCommandMax + 1];
  std::snprintf(command, sizeof command, "no radius server host acct %s", server);
  char answer[kCliAnswerSize];
  return bridge_command(command, answer, sizeof answer, "Fastpath CLI error: Delete Accounting Server");
}

int dot1x_reauth_set(int last_port, int period) {
  char mode[kCliCommandMax + 1];
  char command[kCliCommandMax + 1];
  char failure[64];
  std::snprintf(mode, sizeof mode, "interface g1-g%d", last_port);
  std::snprintf(command, sizeof command, "dot1x timeout reauth-period %d", period);
  std::snprintf(failure, sizeof failure, "Failed to set reauth period : %d", period);
  if (int rc = bridge_submode_command(mode, command, failure)) return rc;
  return bridge_submode_command(mode, "dot1x re-authentication", "Failed to enable re-auth period");
}

}  // namespace veltrum::cli
