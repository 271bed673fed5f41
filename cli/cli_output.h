// Capture and parsing of CLI output.
//
// Two ways to get what a "show" command prints: a live command through the
// CLI bridge (cli/bridge.h), answered into a memory buffer, or the platform
// call rpcclt_openapiCliShowExecuteToFile, which runs the command inside the
// switch platform and writes its output to a file under /tmp. Values are
// picked from a buffer with a label and an sscanf pattern, and from a file
// with small awk programs run through popen.
//
// Safety: the awk command lines are made from the file name and a program
// text, and run by a shell. Both come only from the fixed catalogue below,
// never from a client: every routine that runs a command (or removes a
// file) first checks that the file is one of kCliFiles and the program one
// of kAwkPrograms, and refuses anything else before any command runs. The
// resolved path (under the device root) must also be made of plain
// characters only.
//
// Routines return 0, or one of the result codes below with the reason in
// last_error_text (core/response.h).
#pragma once

#include <cstddef>

#include <json-c/json.h>

namespace veltrum::cli {

inline constexpr int kCliFailed = -26;      // the CLI or a file failed, or the CLI refused the command
inline constexpr int kCliNotEnabled = -27;  // the feature is not in the expected state
inline constexpr int kCliBadMode = -22;     // a mode argument out of range

// The files of the catalogue (switch paths, resolved under the device root).
#define CLI_FILE_DOT1P_QUEUE "/tmp/dot1p_queue.txt"
#define CLI_FILE_COS_QUEUE "/tmp/cos_queue.txt"
#define CLI_FILE_PTP "/tmp/ptpv2.txt"
#define CLI_FILE_SNOOPING_SSM "/tmp/snooping_ssm.txt"

// The awk programs of the catalogue. Placeholders, in order: column and
// count programs take the line number (where they have one) and the file;
// the snooping programs take "include" or "exclude", the line number, the
// file and, for the list program, the element index.
inline constexpr const char *kAwkLineCount = "awk 'END{print NR}' %s";
inline constexpr const char *kAwkSeparatorLine = "awk '/--------/{print NR}' %s";
inline constexpr const char *kAwkColumn1 = "awk 'FNR == %d {print $1}' %s";
inline constexpr const char *kAwkColumn2 = "awk 'FNR == %d {print $2}' %s";
inline constexpr const char *kAwkColumn3 = "awk 'FNR == %d {print $3}' %s";
inline constexpr const char *kAwkColumn4 = "awk 'FNR == %d {print $4}' %s";
inline constexpr const char *kAwkColumns4And5 = "awk 'FNR == %d {print $4$5}' %s";
inline constexpr const char *kAwkSsmSource = "awk -F %s 'FNR == %d {print $2}' %s | awk -F'/' '{print $3}'";
inline constexpr const char *kAwkSsmSourceList =
    "awk -F %s 'FNR == %d {print $2}' %s | awk -F',' '{print $%d}' | awk -F'/' '{print $3}'";

// The CLI's answer to a line it does not understand.
#define CLI_INVALID_INPUT_MARKER "% Invalid input detected at '^' marker."

// Whether `file` is one of the catalogue's files.
bool is_catalogue_file(const char *file);

// Runs the "show" command into the catalogue file (removed first) through
// rpcclt_openapiCliShowExecuteToFile.
int cli_show_to_file(const char *command, const char *file);

// The first number the count program prints for the file, into `value`
// (0 when it prints nothing, as the separator search for a file without a
// separator line does).
int awk_value(const char *file, const char *awk_format, int *value);
// The first line that the column program prints for line `line` of the
// file, at most out_size - 1 characters, cut at the first newline or
// carriage return.
int awk_field(const char *file, const char *awk_format, int line, char *out, size_t out_size);
// The snooping programs: the source of line `group_line` (element
// `field_index` of its list for kAwkSsmSourceList), with the filter word
// "include" or "exclude" as field separator, at most 99 characters.
int awk_ssm_field(const char *file, const char *awk_format, int field_index, int group_line, bool include, char *out,
                  size_t out_size);

// Cuts trailing blanks and carriage returns (looking at the first 255
// characters at most).
void trim_trailing(char *text);

// Scans the file for CLI_INVALID_INPUT_MARKER: kCliFailed (and one more
// rejected command counted) when present or when the file cannot be read.
int check_invalid_input(const char *file);
// The CLI refused the command whose answer this is: an invalid-input marker,
// or a line that begins with "% ". Counts the rejected command.
bool answer_rejected(const char *answer);
// Commands the CLI rejected since the agent started.
unsigned long cli_rejected_commands();

// Finds `label` in the CLI's answer and reads one text field from there
// with the sscanf `pattern` (which must hold one conversion with a width
// below `out_size`). kCliFailed with "sscanf failed for %s (%d)" (`what`
// and the match count) when it does not match.
int parse_answer(const char *answer, const char *label, const char *pattern, char *out, size_t out_size,
                 const char *what);

// One column of a table walk.
enum class CellKind { Integer, Text, EnabledFlag };
struct TableColumn {
  const char *key;         // member name in each row object
  const char *awk_format;  // column program of the catalogue
  size_t width;            // characters read (4 to 8)
  CellKind kind;
};

// Walks the table of a "show" file: from the line below the dashed
// separator (line 1 when there is none) to the last line, one object per
// non-blank line with one member per column (an integer, a text, or 1/0
// for "Enabled"/"Disabled"), plus `index_key` (when given) counting the
// rows from 0. A cell wider than its column, or not of its kind, fails the
// walk (kCliFailed). Rows are appended to `rows` as they are read, so a walk that
// fails on a malformed row leaves the rows before it.
int table_walk(const char *file, const TableColumn *columns, size_t count, const char *index_key, json_object *rows);

}  // namespace veltrum::cli
