#include "support/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// Reads up to `size` bytes; 0 at end of file, -1 on error.
ssize_t read_retry(int fd, char *buffer, size_t size) {
  ssize_t n;
  do {
    n = ::read(fd, buffer, size);
  } while (n < 0 && errno == EINTR);
  return n;
}

int write_all(int fd, const char *data, size_t size) {
  while (size > 0) {
    ssize_t n = ::write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
  return 0;
}

int is_directory(const char *path) {
  struct stat st;
  return ::stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

std::string parent_of(const std::string &path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

}  // namespace

int open_retry(const char *path, int flags, mode_t mode) {
  int fd;
  do {
    fd = ::open(path, flags, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

int exists(const char *path) {
  if (path == nullptr || *path == '\0') return 0;
  struct stat st;
  return ::stat(path, &st) == 0 ? 1 : 0;
}

char *load_file(const char *path) {
  if (path == nullptr) return nullptr;
  int fd = open_retry(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;

  // The size is only a hint: files under /proc and /sys report 0.
  struct stat st;
  size_t capacity = 4096;
  if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0)
    capacity = static_cast<size_t>(st.st_size) + 1;

  char *data = static_cast<char *>(std::malloc(capacity));
  size_t used = 0;
  while (data != nullptr) {
    if (used + 1 >= capacity) {
      capacity *= 2;
      char *grown = static_cast<char *>(std::realloc(data, capacity));
      if (grown == nullptr) {
        std::free(data);
        data = nullptr;
        break;
      }
      data = grown;
    }
    ssize_t n = read_retry(fd, data + used, capacity - used - 1);
    if (n == 0) break;
    if (n < 0) {
      std::free(data);
      data = nullptr;
      break;
    }
    used += static_cast<size_t>(n);
  }
  ::close(fd);
  if (data != nullptr) data[used] = '\0';
  return data;
}

int copy_file(const char *from, const char *to) {
  if (from == nullptr || to == nullptr) return -1;
  int in = open_retry(from, O_RDONLY | O_CLOEXEC);
  if (in < 0) return -1;
  int out = open_retry(to, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (out < 0) {
    ::close(in);
    return -1;
  }
  int rc = 0;
  std::vector<char> buffer(64 * 1024);
  for (;;) {
    ssize_t n = read_retry(in, buffer.data(), buffer.size());
    if (n == 0) break;
    if (n < 0 || write_all(out, buffer.data(), static_cast<size_t>(n)) != 0) {
      rc = -1;
      break;
    }
  }
  ::close(in);
  if (::close(out) != 0) rc = -1;
  return rc;
}

int make_dirs(const std::string &path) {
  if (path.empty()) return -1;
  std::string prefix;
  prefix.reserve(path.size());
  size_t pos = 0;
  while (pos <= path.size()) {
    size_t slash = path.find('/', pos);
    if (slash == std::string::npos) slash = path.size();
    prefix.assign(path, 0, slash);
    pos = slash + 1;
    // Skip the leading "/" and repeated slashes ("a//b").
    if (prefix.empty() || prefix.back() == '/') continue;
    if (::mkdir(prefix.c_str(), 0755) != 0) {
      if (errno != EEXIST || !is_directory(prefix.c_str())) return -1;
    }
  }
  return 0;
}

int write_file_atomic(const std::string &path, std::string_view content, mode_t mode) {
  if (path.empty() || path.back() == '/') return -1;
  std::string dir = parent_of(path);
  if (!is_directory(dir.c_str()) && make_dirs(dir) != 0) return -1;

  // mkostemp makes the file 0600, so the content is never readable by others
  // before the mode is set.
  std::string tmp = path + ".tmp-XXXXXX";
  int fd = ::mkostemp(tmp.data(), O_CLOEXEC);
  if (fd < 0) return -1;

  bool ok = ::fchmod(fd, mode) == 0 && write_all(fd, content.data(), content.size()) == 0 &&
            ::fsync(fd) == 0;
  if (::close(fd) != 0) ok = false;
  if (!ok || ::rename(tmp.c_str(), path.c_str()) != 0) {
    ::unlink(tmp.c_str());
    return -1;
  }

  // Make the rename itself durable.
  int dir_fd = open_retry(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir_fd >= 0) {
    ::fsync(dir_fd);
    ::close(dir_fd);
  }
  return 0;
}
