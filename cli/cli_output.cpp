#include "cli/cli_output.h"

#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>

#include "core/platform_client.h"
#include "platform/calls/09_cli.h"
#include "core/response.h"
#include "support/device.h"
#include "support/json_ptr.h"
#include "support/log.h"
#include "support/mem.h"

namespace veltrum::cli {

namespace {

constexpr size_t kShowCommandSize = 255;  // 254 characters and the NUL
constexpr size_t kShowFileSize = 96;      // 95 characters and the NUL
constexpr size_t kFileLineSize = 2048;    // a line read from an output file
constexpr size_t kValueWidth = 8;         // characters of a count or line number

const char *const kCliFiles[] = {CLI_FILE_DOT1P_QUEUE, CLI_FILE_COS_QUEUE, CLI_FILE_PTP, CLI_FILE_SNOOPING_SSM};
const char *const kAwkPrograms[] = {kAwkLineCount, kAwkSeparatorLine, kAwkColumn1,   kAwkColumn2,      kAwkColumn3,
                                    kAwkColumn4,   kAwkColumns4And5,  kAwkSsmSource, kAwkSsmSourceList};

std::atomic<unsigned long> rejected_commands{0};

struct PipeClose {
  void operator()(FILE *pipe) const { pclose(pipe); }
};
using Pipe = std::unique_ptr<FILE, PipeClose>;
struct FileClose {
  void operator()(FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileClose>;

bool is_catalogue_program(const char *program) {
  if (!program) return false;
  for (const char *p : kAwkPrograms)
    if (std::strcmp(program, p) == 0) return true;
  return false;
}

// The file under the device root, or "" when the path holds anything but
// letters, digits and "/._-" (it goes to a shell).
std::string plain_path(const char *file) {
  std::string path = device_path(file);
  for (unsigned char c : path)
    if (!std::isalnum(c) && !std::strchr("/._-", c)) return {};
  return path;
}

// One placeholder value of a program: a number, a fixed word, or the file.
struct Arg {
  enum Kind { Number, Word, Path } kind;
  long number = 0;
  const char *word = nullptr;
};
Arg number(long n) { return {Arg::Number, n, nullptr}; }
Arg word(const char *w) { return {Arg::Word, 0, w}; }
Arg path() { return {Arg::Path, 0, nullptr}; }

// Fills the "%d" and "%s" placeholders of a program in order; false when
// they do not match the values.
bool fill_program(const char *format, std::initializer_list<Arg> args, const std::string &file, std::string &out) {
  auto it = args.begin();
  for (const char *p = format; *p; ++p) {
    if (*p != '%') {
      out += *p;
      continue;
    }
    ++p;
    if (it == args.end()) return false;
    if (*p == 'd' && it->kind == Arg::Number)
      out += std::to_string(it->number);
    else if (*p == 's' && it->kind == Arg::Word)
      out += it->word;
    else if (*p == 's' && it->kind == Arg::Path)
      out += file;
    else
      return false;
    ++it;
  }
  return it == args.end();
}

// Runs a catalogue program on a catalogue file and reads the first line it
// prints (at most out_size - 1 characters, cut at a line break). Anything
// outside the catalogue is refused before a command runs.
int run_program(const char *file, const char *program, std::initializer_list<Arg> args, char *out, size_t out_size) {
  if (!out || out_size == 0) return kCliFailed;
  out[0] = '\0';
  std::string resolved = is_catalogue_file(file) ? plain_path(file) : std::string();
  std::string command;
  if (resolved.empty() || !is_catalogue_program(program) || !fill_program(program, args, resolved, command)) {
    agent_log(4, "Refused to run awk on %s: not a file and program of the CLI catalogue", file ? file : "(null)");
    format_last_error("Refused to run awk on %s", file ? file : "(null)");
    return kCliFailed;
  }
  Pipe pipe(popen(command.c_str(), "r"));
  if (!pipe) {
    format_last_error("Failed to run awk on %s", file);
    return kCliFailed;
  }
  if (!std::fgets(out, static_cast<int>(out_size), pipe.get())) out[0] = '\0';
  out[std::strcspn(out, "\r\n")] = '\0';
  return 0;
}

// A whole decimal integer (an optional sign, then digits only).
bool to_integer(const char *text, long *value) {
  if (!*text) return false;
  char *end = nullptr;
  errno = 0;
  *value = std::strtol(text, &end, 10);
  return errno == 0 && *end == '\0' && (std::isdigit(static_cast<unsigned char>(text[0])) || text[0] == '-');
}

int scan_one(const char *text, const char *pattern, ...) {
  va_list args;
  va_start(args, pattern);
  int n = std::vsscanf(text, pattern, args);
  va_end(args);
  return n;
}

}  // namespace

bool is_catalogue_file(const char *file) {
  if (!file) return false;
  for (const char *f : kCliFiles)
    if (std::strcmp(file, f) == 0) return true;
  return false;
}

int cli_show_to_file(const char *command, const char *file) {
  if (!is_catalogue_file(file) || !command || std::strlen(command) >= kShowCommandSize) {
    agent_log(4, "Refused to write %s: not a file of the CLI catalogue", file ? file : "(null)");
    format_last_error("Failed to generate output %s file via openAPI", file ? file : "(null)");
    return kCliFailed;
  }
  ::unlink(device_path(file).c_str());
  char command_text[kShowCommandSize] = {};
  char file_name[kShowFileSize] = {};
  strncpyt(command_text, command, kShowCommandSize - 1);
  strncpyt(file_name, file, kShowFileSize - 1);
  open_buffdesc command_buffer{kShowCommandSize, command_text};
  open_buffdesc file_buffer{kShowFileSize, file_name};
  open_error_t rc = rpcclt_openapiCliShowExecuteToFile(&g_client_handle, &command_buffer, &file_buffer);
  if (rc != OPEN_E_NONE) {
    agent_log(7, "Failed to generate output %s file via openAPI (%d)", file, rc);
    format_last_error("Failed to generate output %s file via openAPI", file);
    return kCliFailed;
  }
  return 0;
}

int awk_value(const char *file, const char *awk_format, int *value) {
  char text[kValueWidth + 1];
  if (int rc = run_program(file, awk_format, {path()}, text, sizeof text)) return rc;
  long v = 0;
  if (text[0] && (!to_integer(text, &v) || v < 0 || v > 99999999)) {
    format_last_error("Unexpected count \"%s\" from %s", text, file);
    return kCliFailed;
  }
  if (value) *value = static_cast<int>(v);
  return 0;
}

int awk_field(const char *file, const char *awk_format, int line, char *out, size_t out_size) {
  return run_program(file, awk_format, {number(line), path()}, out, out_size);
}

int awk_ssm_field(const char *file, const char *awk_format, int field_index, int group_line, bool include, char *out,
                  size_t out_size) {
  const char *separator = include ? "include" : "exclude";
  if (awk_format && std::strcmp(awk_format, kAwkSsmSourceList) == 0)
    return run_program(file, awk_format, {word(separator), number(group_line), path(), number(field_index)}, out,
                       out_size);
  return run_program(file, awk_format, {word(separator), number(group_line), path()}, out, out_size);
}

void trim_trailing(char *text) {
  if (!text) return;
  size_t n = strnlen(text, 255);
  while (n > 0 && (text[n - 1] == ' ' || text[n - 1] == '\r')) text[--n] = '\0';
}

int check_invalid_input(const char *file) {
  File f(std::fopen(device_path(file ? file : "").c_str(), "r"));
  if (!f) {
    format_last_error("Failed to open %s", file ? file : "(null)");
    return kCliFailed;
  }
  char line[kFileLineSize];
  while (std::fgets(line, sizeof line, f.get())) {
    if (std::strstr(line, CLI_INVALID_INPUT_MARKER)) {
      ++rejected_commands;
      format_last_error("The CLI rejected the command of %s", file);
      return kCliFailed;
    }
  }
  return 0;
}

bool answer_rejected(const char *answer) {
  if (!answer) return false;
  bool rejected = std::strstr(answer, CLI_INVALID_INPUT_MARKER) != nullptr;
  for (const char *p = answer; !rejected && p; p = std::strchr(p, '\n')) {
    if (*p == '\n') ++p;
    rejected = std::strncmp(p, "% ", 2) == 0;
  }
  if (rejected) ++rejected_commands;
  return rejected;
}

unsigned long cli_rejected_commands() { return rejected_commands.load(); }

int parse_answer(const char *answer, const char *label, const char *pattern, char *out, size_t out_size,
                 const char *what) {
  if (!out || out_size == 0) return kCliFailed;
  out[0] = '\0';
  const char *at = answer && label ? std::strstr(answer, label) : nullptr;
  int matched = at ? scan_one(at, pattern, out) : 0;
  if (matched != 1) {
    out[0] = '\0';
    format_last_error("sscanf failed for %s (%d)", what, matched);
    return kCliFailed;
  }
  return 0;
}

int table_walk(const char *file, const TableColumn *columns, size_t count, const char *index_key, json_object *rows) {
  int lines = 0;
  int separator = 0;
  if (int rc = awk_value(file, kAwkLineCount, &lines)) return rc;
  if (int rc = awk_value(file, kAwkSeparatorLine, &separator)) return rc;
  int index = 0;
  for (int line = separator + 1; line <= lines; ++line) {
    JsonPtr row(json_object_new_object());
    bool blank = false;
    for (size_t c = 0; c < count && !blank; ++c) {
      const TableColumn &column = columns[c];
      // One character more than the column holds, so a longer cell is
      // seen instead of being cut.
      char cell[kValueWidth + 2];
      size_t width = column.width < kValueWidth ? column.width : kValueWidth;
      if (int rc = awk_field(file, column.awk_format, line, cell, width + 2)) return rc;
      if (c == 0 && cell[0] == '\0') {
        blank = true;
        continue;
      }
      long value = 0;
      bool ok = std::strlen(cell) <= width;
      switch (column.kind) {
        case CellKind::Integer:
          ok = ok && to_integer(cell, &value);
          json_object_object_add(row.get(), column.key, json_object_new_int64(value));
          break;
        case CellKind::EnabledFlag:
          ok = ok && (std::strcmp(cell, "Enabled") == 0 || std::strcmp(cell, "Disabled") == 0);
          json_object_object_add(row.get(), column.key, json_object_new_int(cell[0] == 'E'));
          break;
        case CellKind::Text:
          json_object_object_add(row.get(), column.key, json_object_new_string(cell));
          break;
      }
      if (!ok) {
        format_last_error("Unexpected %s \"%s\" in line %d of %s", column.key, cell, line, file);
        return kCliFailed;
      }
    }
    if (blank) continue;
    if (index_key) json_object_object_add(row.get(), index_key, json_object_new_int(index));
    json_object_array_add(rows, row.release());
    ++index;
  }
  return 0;
}

}  // namespace veltrum::cli
