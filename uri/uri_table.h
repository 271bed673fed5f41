// The URI table: one read-only row per resource, in a fixed order, looked
// up by exact path. Rows are listed in uri/uri_rows.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/response.h"

struct UriEntry {
  char uri[256];
  uri_handler_t get;
  uri_handler_t post;
  uri_handler_t put;  // present in every row, always empty, never called
  uri_handler_t del;
  int32_t flag;       // carried with each row; dispatch does not read it
};

extern const UriEntry UriTable[];
extern const size_t UriTableCount;

// Which methods each row offers (GET, POST, DELETE), whether or not the
// handler has landed yet; parallel to UriTable.
struct UriMethods {
  bool get, post, del;
};
extern const UriMethods UriTableMethods[];

// The first row whose path equals `url` over 256 characters, or null.
const UriEntry *find_uri_entry(const char *url);

// Checks the declarations served from core/handler.h against the table:
// each is one the walkers can hold, has its row, and serves every method
// its row names. Logs each fault at level 1; false when there is one (the
// agent then refuses to start).
bool check_uri_table();
