#include "support/mem.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

[[noreturn]] void out_of_memory(const char *what) {
  // No allocation here: the heap is what just failed.
  static const char prefix[] = "veltrum: out of memory in ";
  ssize_t ignored = ::write(STDERR_FILENO, prefix, sizeof prefix - 1);
  ignored = ::write(STDERR_FILENO, what, std::strlen(what));
  ignored = ::write(STDERR_FILENO, "\n", 1);
  (void)ignored;
  std::abort();
}

}  // namespace

void *xcalloc(size_t count, size_t size) {
  // calloc(0, n) may legitimately give null; callers expect a pointer.
  void *p = std::calloc(count == 0 ? 1 : count, size == 0 ? 1 : size);
  if (p == nullptr) out_of_memory("xcalloc");
  return p;
}

char *xasprintf(const char *format, ...) {
  va_list args;
  va_start(args, format);
  char *text = nullptr;
  int rc = vasprintf(&text, format, args);
  va_end(args);
  if (rc < 0 || text == nullptr) out_of_memory("xasprintf");
  return text;
}

char *safe_asprintf(const char *format, ...) {
  va_list args;
  va_start(args, format);
  char *text = nullptr;
  int rc = vasprintf(&text, format, args);
  va_end(args);
  if (rc < 0) return nullptr;
  return text;
}

char *strncpyt(char *destination, const char *source, size_t maximum) {
  size_t length = source != nullptr ? strnlen(source, maximum) : 0;
  if (length > 0) std::memcpy(destination, source, length);
  destination[length] = '\0';
  return destination;
}

int rwlock_prefer_reader_init(pthread_rwlock_t *lock) {
  pthread_rwlockattr_t attr;
  int rc = pthread_rwlockattr_init(&attr);
  if (rc != 0) return rc;
  rc = pthread_rwlockattr_setkind_np(&attr, PTHREAD_RWLOCK_PREFER_READER_NP);
  if (rc == 0) rc = pthread_rwlock_init(lock, &attr);
  pthread_rwlockattr_destroy(&attr);
  return rc;
}
