#include "uri/uri_table.h"

#include <cstring>
#include <string>

#include "core/handler.h"
#include "support/log.h"

#include "uri/uri_rows.h"

// The rows name every handler, so the rows declare them: a family's file
// defines its handlers (VELTRUM_HANDLER, or VELTRUM_SERVE from a
// declaration, core/handler.h) and no separate list of prototypes exists.
// A row naming a handler that no file defines fails the link.
//
// The two markers of uri_rows.h are handlers too, declared and defined
// here and never called: the table holds an empty slot for both.
#define NONE veltrum_uri_no_method
#define PENDING veltrum_uri_pending_method
VELTRUM_HANDLER(veltrum_uri_no_method) {}
VELTRUM_HANDLER(veltrum_uri_pending_method) {}

#define VELTRUM_URI_DECLARE(name, get, post, del, flag) \
  VELTRUM_HANDLER(get);                                 \
  VELTRUM_HANDLER(post);                                \
  VELTRUM_HANDLER(del);
VELTRUM_URI_ROWS(VELTRUM_URI_DECLARE)
#undef VELTRUM_URI_DECLARE

namespace {

uri_handler_t slot(uri_handler_t handler) {
  return handler == &veltrum_uri_no_method || handler == &veltrum_uri_pending_method ? nullptr : handler;
}
bool offered(uri_handler_t handler) { return handler != &veltrum_uri_no_method; }

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

bool check_uri_table() {
  using veltrum::handler::served;
  bool ok = veltrum::handler::check_declarations();
  for (const auto &s : served()) {
    std::string path = std::string("/api/v1/") + s.name;
    const UriEntry *row = find_uri_entry(path.c_str());
    if (!row) {
      agent_log(1, "The declaration of %s has no row in the URI table", s.name);
      ok = false;
      continue;
    }
    const veltrum::handler::Resource &r = *s.resource;
    struct {
      const char *method;
      bool in_row, declared;
      uint8_t bit;
    } methods[] = {{"GET", row->get != nullptr, veltrum::handler::serves_get(r), veltrum::handler::kServeGet},
                   {"POST", row->post != nullptr, veltrum::handler::serves_post(r), veltrum::handler::kServePost},
                   {"DELETE", row->del != nullptr, veltrum::handler::serves_delete(r), veltrum::handler::kServeDelete}};
    for (const auto &m : methods)
      if ((s.methods & m.bit) && m.in_row && !m.declared) {
        agent_log(1, "The URI table serves %s %s, which its declaration does not", m.method, s.name);
        ok = false;
      }
  }
  return ok;
}
