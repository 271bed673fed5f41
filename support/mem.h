// Small allocation and text helpers of the support library.
#pragma once

#include <cstddef>
#include <pthread.h>

// calloc that never returns null: aborts the process on exhaustion.
void *xcalloc(size_t count, size_t size);

// asprintf that aborts on exhaustion; the caller frees the result.
char *xasprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));

// asprintf that returns null (instead of aborting) when memory or the
// formatting fails; the caller frees the result.
char *safe_asprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Bounded copy: copies at most `maximum` characters of `source` into
// `destination` and always terminates it, so `destination` must hold
// maximum + 1 bytes. A null source gives an empty text. Returns destination.
char *strncpyt(char *destination, const char *source, size_t maximum);

// Initialises a read/write lock that prefers readers. 0 or the pthread error.
int rwlock_prefer_reader_init(pthread_rwlock_t *lock);
