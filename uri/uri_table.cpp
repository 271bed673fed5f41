#include "uri/uri_table.h"

#include <cstring>

#include "uri/handlers.h"
#include "uri/uri_rows.h"

namespace {

// The two markers of uri_rows.h, as types, so one list gives both the
// handler slots and the methods each row offers.
struct NoMethod {};
struct Pending {};
constexpr NoMethod NONE{};
constexpr Pending PENDING{};

constexpr uri_handler_t slot(NoMethod) { return nullptr; }
constexpr uri_handler_t slot(Pending) { return nullptr; }
constexpr uri_handler_t slot(uri_handler_t handler) { return handler; }
constexpr bool offered(NoMethod) { return false; }
constexpr bool offered(Pending) { return true; }
constexpr bool offered(uri_handler_t) { return true; }

}  // namespace

#define VELTRUM_URI_ENTRY(name, get, post, del, flag) \
  {"/api/v1/" #name, slot(get), slot(post), nullptr, slot(del), flag},
const UriEntry UriTable[] = {VELTRUM_URI_ROWS(VELTRUM_URI_ENTRY)};
#undef VELTRUM_URI_ENTRY

#define VELTRUM_URI_METHODS(name, get, post, del, flag) {offered(get), offered(post), offered(del)},
const UriMethods UriTableMethods[] = {VELTRUM_URI_ROWS(VELTRUM_URI_METHODS)};
#undef VELTRUM_URI_METHODS

const size_t UriTableCount = sizeof UriTable / sizeof UriTable[0];

const UriEntry *find_uri_entry(const char *url) {
  if (!url || !*url) return nullptr;
  for (size_t i = 0; i < UriTableCount; ++i)
    if (std::strncmp(UriTable[i].uri, url, sizeof UriTable[i].uri) == 0) return &UriTable[i];
  return nullptr;
}
