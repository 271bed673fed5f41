// Time, text, base64 and digest helpers, small file helpers, command output,
// the version check and the companion notification.
#include <fcntl.h>
#include <unistd.h>

#include <openssl/bio.h>
#include <openssl/buffer.h>
#include <openssl/evp.h>

#include <cctype>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "core/validate.h"
#include "support/device.h"
#include "support/files.h"
#include "support/mem.h"
#include "support/process.h"

namespace {

struct BioChainFree {
  void operator()(BIO *bio) const { BIO_free_all(bio); }
};
// A BIO and everything pushed behind it.
using BioChain = std::unique_ptr<BIO, BioChainFree>;

// A base64 filter without line breaks in front of `end` (a memory sink or
// source), or null when either cannot be made. The chain owns `end`.
BioChain base64_chain(BIO *end) {
  BioChain tail(end);
  if (!tail) return nullptr;
  BioChain filter(BIO_new(BIO_f_base64()));
  if (!filter) return nullptr;
  BIO_set_flags(filter.get(), BIO_FLAGS_BASE64_NO_NL);
  BIO_push(filter.get(), tail.release());
  return filter;
}

struct FileClose {
  void operator()(FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileClose>;

struct PipeClose {
  void operator()(FILE *pipe) const { pclose(pipe); }
};
using Pipe = std::unique_ptr<FILE, PipeClose>;

// Runs the command and reads the first line of its output, at most
// `line_size` - 1 characters, cut at its line break. An empty line when the
// command cannot be started or prints nothing.
void first_output_line(const char *format, va_list args, char *line, size_t line_size) {
  char command[256] = {};
  std::vsnprintf(command, sizeof command, format, args);
  line[0] = '\0';
  Pipe pipe(popen(command, "r"));
  if (!pipe) return;
  if (!std::fgets(line, static_cast<int>(line_size), pipe.get())) {
    line[0] = '\0';
    return;
  }
  line[std::strcspn(line, "\n")] = '\0';
}

}  // namespace

// ---- time and text -------------------------------------------------------------

char *time_text(time_t when) {
  constexpr size_t kSize = 128;
  char *text = static_cast<char *>(std::calloc(kSize, 1));
  if (!text) return nullptr;
  struct tm local;
  if (!localtime_r(&when, &local) || std::strftime(text, kSize, "%a %Y-%m-%d %H:%M:%S %Z", &local) == 0) {
    std::free(text);
    return nullptr;
  }
  return text;
}

void str_to_upper(char *text) {
  if (!text) return;
  for (; *text; ++text) *text = static_cast<char>(std::toupper(static_cast<unsigned char>(*text)));
}

// ---- base64 and digest -------------------------------------------------------------

char *base64_encode(const void *data, size_t length) {
  if ((!data && length > 0) || length > INT_MAX) return nullptr;
  BioChain chain = base64_chain(BIO_new(BIO_s_mem()));
  if (!chain) return nullptr;
  if (length > 0 && BIO_write(chain.get(), data, static_cast<int>(length)) != static_cast<int>(length))
    return nullptr;
  if (BIO_flush(chain.get()) != 1) return nullptr;
  BUF_MEM *encoded = nullptr;
  BIO_get_mem_ptr(BIO_next(chain.get()), &encoded);
  if (!encoded) return nullptr;
  char *text = static_cast<char *>(std::malloc(encoded->length + 1));
  if (!text) return nullptr;
  if (encoded->length > 0) std::memcpy(text, encoded->data, encoded->length);
  text[encoded->length] = '\0';
  return text;
}

unsigned char *base64_decode(const char *text, size_t length, size_t *decoded_length) {
  if (!text || length > INT_MAX - 1) return nullptr;
  // Decoding never yields more bytes than the text has characters.
  auto *bytes = static_cast<unsigned char *>(std::calloc(length + 1, 1));
  if (!bytes) return nullptr;
  BioChain chain = base64_chain(BIO_new_mem_buf(text, static_cast<int>(length)));
  if (!chain) {
    std::free(bytes);
    return nullptr;
  }
  size_t total = 0;
  while (total < length) {
    int n = BIO_read(chain.get(), bytes + total, static_cast<int>(length - total));
    if (n <= 0) break;
    total += static_cast<size_t>(n);
  }
  if (decoded_length) *decoded_length = total;
  return bytes;
}

// MD5, since the routine's answer is exactly 16 bytes (32 hexadecimal digits)
// and MD5 is the standard digest of that size. It serves as a fingerprint of
// the data, not as a protection against forgery.
int digest_to_hex(const void *data, size_t length, char *out, size_t out_size) {
  constexpr unsigned kDigestSize = 16;
  if (!out || out_size <= 2 * kDigestSize) return -1;
  if (!data && length > 0) return -1;
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digest_size = 0;
  if (EVP_Digest(data, length, digest, &digest_size, EVP_md5(), nullptr) != 1 || digest_size != kDigestSize)
    return -1;
  for (unsigned i = 0; i < kDigestSize; ++i) std::snprintf(out + 2 * i, 3, "%02x", digest[i]);
  return 0;
}

// ---- files -----------------------------------------------------------------------

long file_size(const char *path) {
  if (!path) return -1;
  File file(std::fopen(path, "rb"));
  if (!file) return -1;
  if (std::fseek(file.get(), 0, SEEK_END) != 0) return -1;
  long position = std::ftell(file.get());
  return position < 0 ? 0 : position;
}

// The new file is the agent's own: readable by its owner only.
void write_text_file(const char *path, const char *text) {
  if (!path || !text) return;
  std::remove(path);
  int fd = open_retry(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return;
  File file(fdopen(fd, "w"));
  if (!file) {
    ::close(fd);
    return;
  }
  std::fputs(text, file.get());
}

// ---- command output ------------------------------------------------------------------

int command_output_text(char *out, size_t out_size, const char *format, ...) {
  if (!out || out_size == 0) return -1;
  char line[9];  // at most 8 characters of the first line
  va_list args;
  va_start(args, format);
  first_output_line(format, args, line, sizeof line);
  va_end(args);
  strncpyt(out, line, out_size - 1);
  return 0;
}

int command_output_number(const char *format, ...) {
  char line[5];  // at most 4 characters of the first line
  va_list args;
  va_start(args, format);
  first_output_line(format, args, line, sizeof line);
  va_end(args);
  return std::atoi(line);
}

// ---- version and companion ------------------------------------------------------------

int version_check(const char *version) {
  // The oldest platform version the agent supports: 7.8.11.19.
  static constexpr int kMinimum[4] = {7, 8, 11, 19};
  if (!version) return -2;
  int parts[4];
  if (std::sscanf(version, "%d.%d.%d.%d", &parts[0], &parts[1], &parts[2], &parts[3]) != 4) return -2;
  for (int i = 0; i < 4; ++i) {
    if (kMinimum[i] > parts[i]) return 1;
    if (kMinimum[i] < parts[i]) return -1;
  }
  return 0;
}

int notify_companion() {
  std::string program = device_path("/bin/PellmarCli");
  char argument[] = "instant_monitoring";
  char *argv[] = {program.data(), argument, nullptr};
  char output[512] = {};
  return execvp_cmd(program.c_str(), argv, output, sizeof output);
}
