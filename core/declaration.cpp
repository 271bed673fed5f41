// What a declaration is: the roles of its keys, the methods it serves, the
// registry of every served declaration, and the start-up check that refuses
// a declaration the walkers cannot serve.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/handler_detail.h"
#include "support/log.h"

namespace veltrum::handler {

using namespace detail;

// ---------------------------------------------------------------- roles of keys

namespace {
bool indexed_by_first_field(const Resource &r) {
  switch (r.walk.kind) {
    case WalkKind::Ports:
    case WalkKind::PhysicalPorts:
    case WalkKind::Lags:
    case WalkKind::Vlans:
    case WalkKind::Numbers:
      return true;
    default:
      return false;
  }
}

}  // namespace

bool is_index(const Resource &r, size_t i) {
  if (indexed_by_first_field(r)) return i == 0 || (r.walk.inner && i == 1);
  return (r.fields[i].flags & kIndex) != 0;
}

bool listed(const Resource &r, size_t i) {
  const Field &f = r.fields[i];
  if (is_index(r, i)) return true;
  return f.flags ? (f.flags & kGet) != 0 : static_cast<bool>(f.get);
}

bool posted(const Resource &r, size_t i) {
  const Field &f = r.fields[i];
  if (is_index(r, i)) return true;
  return f.flags ? (f.flags & kPost) != 0 : (static_cast<bool>(f.set) || f.check.kind != CheckKind::None);
}

bool deleted(const Resource &r, size_t i) { return is_index(r, i) || (r.fields[i].flags & kDelete) != 0; }

namespace detail {

// The parts of the index the element's own index fields take, after its
// parent's.
void index_from_values(const Resource &r, Element &e, json_object *const *values) {
  for (size_t i = 0; i < r.fields.size(); ++i) {
    if (!is_index(r, i) || !values[i]) continue;
    if (numeric_check(r.fields[i].check)) {
      if (e.index.nums < Index::kParts) e.index.num[e.index.nums++] = static_cast<uint32_t>(int_of(values[i]));
    } else if (e.index.texts < Index::kTexts) {
      read_text(values[i], e.index.text[e.index.texts++]);
    }
  }
}

}  // namespace detail

// ---------------------------------------------------------------- what a declaration serves

bool serves_get(const Resource &r) { return r.walk.kind != WalkKind::None; }

bool serves_post(const Resource &r) {
  if (r.create) return true;
  for (const Nested &n : r.nested)
    if (serves_post(*n.child)) return true;
  for (const Field &f : r.fields)
    if (f.set) return true;
  return false;
}

bool serves_delete(const Resource &r) {
  if (r.remove) return true;
  for (const Nested &n : r.nested)
    if (serves_delete(*n.child)) return true;
  return false;
}

// ---------------------------------------------------------------- registry

namespace {
std::vector<Served> &registry() {
  static std::vector<Served> all;
  return all;
}
}  // namespace

std::span<const Served> served() { return registry(); }

void register_served(const char *name, const Resource *resource, uint8_t methods) {
  registry().push_back({name, resource, methods});
}

namespace {

// Whether a log format takes the arguments a walker gives it: its
// conversions, in order, are at most those `given` lists ('d' a number,
// 's' a text, 'v' either). A format asking for more, or for another type,
// would read what is not there.
bool format_fits(const char *format, const char *given) {
  if (!format) return true;
  size_t n = 0;
  for (const char *p = format; (p = std::strchr(p, '%'));) {
    ++p;
    if (*p == '%') {
      ++p;
      continue;
    }
    while (*p && std::strchr("-+ #0123456789.", *p)) ++p;
    // The walkers pass int and char *: a length modifier would read another
    // width (%ld, %jd and %td read 64 bits on x86-64 by chance, not on 32-bit ARM).
    if (*p && std::strchr("hlLqjzt", *p)) return false;
    char want = given[n++];
    if (!want) return false;
    bool number = std::strchr("diuxXc", *p) != nullptr;
    if (want == 'd' ? !number : want == 's' ? *p != 's' : !(number || *p == 's')) return false;
  }
  return true;
}

const char *given_by(SetLog how) {
  switch (how) {
    case SetLog::Rc: return "d";
    case SetLog::ValueRc: return "vd";
    case SetLog::IndexRc: return "dd";
    case SetLog::Value: return "v";
    case SetLog::None: return "";
  }
  return "";
}

const char *given_by(ActionLog how) {
  switch (how) {
    case ActionLog::Rc: return "d";
    case ActionLog::IndexRc: return "dd";
    case ActionLog::TextRc: return "sd";
    case ActionLog::Index: return "d";
    case ActionLog::Text: return "s";
    case ActionLog::None: return "";
  }
  return "";
}

const char *given_by(LogArgs how) {
  switch (how) {
    case LogArgs::Value: return "v";
    case LogArgs::MinMax: return "dd";
    case LogArgs::Max: return "d";
    case LogArgs::None: return "";
    case LogArgs::ValueMinMax: return "ddd";
  }
  return "";
}

// The index of a resource's elements as its walk and its parents build it:
// the name of each number and each text, in position order.
struct Layout {
  const char *num[Index::kParts] = {};
  const char *text[Index::kTexts] = {};
  uint8_t nums = 0;
  uint8_t texts = 0;
  bool overflow = false;

  void add(const char *name, bool numeric) {
    if (numeric) {
      if (nums < Index::kParts) num[nums++] = name; else overflow = true;
    } else {
      if (texts < Index::kTexts) text[texts++] = name; else overflow = true;
    }
  }
};

Layout layout_of(const Resource &r, const Layout &parent) {
  Layout l = parent;
  if (r.walk.kind == WalkKind::Single) {
    for (const Query &q : r.query)
      if (q.index >= 0) {
        bool numeric = numeric_check(q.check);
        uint8_t &count = numeric ? l.nums : l.texts;
        const char **names = numeric ? l.num : l.text;
        size_t cap = numeric ? Index::kParts : Index::kTexts;
        if (static_cast<size_t>(q.index) >= cap) {
          l.overflow = true;
          continue;
        }
        names[q.index] = q.name;
        count = std::max<uint8_t>(count, static_cast<uint8_t>(q.index + 1));
      }
  }
  for (size_t i = 0; i < r.fields.size(); ++i)
    if (is_index(r, i) && r.walk.kind != WalkKind::Single) l.add(r.fields[i].key, numeric_check(r.fields[i].check));
  for (const char *extra : r.walk.parts) l.add(extra, true);
  for (const char *extra : r.walk.text_parts) l.add(extra, false);
  return l;
}

// The resources from the root to `r`, for names a nested element finds in
// its parents.
struct Chain {
  const Resource *r;
  const Chain *parent;
};

bool has_member(const Chain *c, const char *key) {
  for (; c; c = c->parent)
    for (const Field &f : c->r->fields)
      if (std::strcmp(f.key, key) == 0) return true;
  return false;
}

bool has_query(const Chain *c, const char *key) {
  for (; c; c = c->parent)
    for (const Query &q : c->r->query)
      if (std::strcmp(q.name, key) == 0) return true;
  return false;
}

bool check_resource(const char *name, const Resource &r, const Chain *parent, const Layout &parent_layout) {
  bool ok = true;
  auto fault = [&](const char *what, const char *key) {
    agent_log(1, "The declaration of %s cannot be served: %s%s%s", name, what, key ? " " : "", key ? key : "");
    ok = false;
  };
  auto format = [&](const char *text, const char *given, const char *key) {
    if (!format_fits(text, given)) fault("a log format does not take what it is given:", key ? key : text);
  };
  const Chain chain{&r, parent};
  const Layout layout = layout_of(r, parent_layout);
  // Each source of a binding must name what the element has: a member of
  // the element (or of a parent), a query variable, an index part of the
  // walk. `reading` is a getter's: a GET has no members to read.
  auto sources = [&](const Binding &b, const char *role, const char *key, bool reading) {
    char what[160];
    for (uint8_t i = 0; i < b.source_count; ++i) {
      const SourceRef &s = b.sources[i];
      const char *fault_text = nullptr;
      switch (s.kind) {
        case SourceKind::Member:
          if (reading) fault_text = "a getter reads the member";
          else if (!has_member(&chain, s.name)) fault_text = "names no key of the element:";
          break;
        case SourceKind::Query:
          if (!has_query(&chain, s.name)) fault_text = "names no query variable:";
          break;
        case SourceKind::Index:
          if (s.position < 0 || s.position >= layout.nums) fault_text = "reads an index number past the walk's:";
          break;
        case SourceKind::IndexText:
          if (s.position < 0 || s.position >= layout.texts) fault_text = "reads an index text past the walk's:";
          break;
        default:
          break;
      }
      if (!fault_text) continue;
      if (s.kind == SourceKind::Index || s.kind == SourceKind::IndexText) {
        std::snprintf(what, sizeof what, "the %s of %s %s position %d (the walk has %u)", role, key, fault_text,
                      s.position, s.kind == SourceKind::Index ? layout.nums : layout.texts);
        fault(what, nullptr);
      } else {
        std::snprintf(what, sizeof what, "the %s of %s %s", role, key, fault_text);
        fault(what, s.name);
      }
    }
  };
  format(r.walk.first_error, "d", nullptr);
  format(r.missing_key_log, "s", nullptr);
  format(r.create_error, given_by(r.create_log), nullptr);
  format(r.remove_error, given_by(r.remove_log), nullptr);
  for (const Query &q : r.query) format(q.check.log, given_by(q.check.log_args), q.name);
  if (r.fields.size() > kMaxFields) fault("it has more keys than an element may hold", nullptr);
  if (r.query.size() > kMaxQuery) fault("it has more query variables than a request may hold", nullptr);
  if (layout.overflow) fault("its index has more parts than an element may hold", nullptr);
  if (indexed_by_first_field(r) && (r.fields.empty() || !numeric_check(r.fields[0].check)))
    fault("its walk needs a numeric index key first", nullptr);
  if (r.walk.kind == WalkKind::List && !r.walk.next) fault("its list walk has no cursor", nullptr);
  if (r.walk.inner) {
    const WalkKind in = r.walk.inner->kind;
    bool numbered = in == WalkKind::Ports || in == WalkKind::PhysicalPorts || in == WalkKind::Lags ||
                    in == WalkKind::Vlans || in == WalkKind::Numbers;
    if (!indexed_by_first_field(r) || !numbered || r.walk.inner->inner)
      fault("an outer walk times an inner one needs two walks of numbers", nullptr);
    else if (r.fields.size() < 2 || !numeric_check(r.fields[1].check))
      fault("its inner walk needs a numeric index key second", nullptr);
  }
  for (const Nested &n : r.nested)
    if (r.walk.kind == WalkKind::Scalar && serves_post(*n.child)) fault("a scalar write cannot hold the nested list", n.key);
  if (r.create) sources(r.create, "create action", r.name, false);
  if (r.remove) sources(r.remove, "delete action", r.name, false);
  for (size_t i = 0; i < r.fields.size() && i < kMaxFields; ++i) {
    const Field &f = r.fields[i];
    format(f.check.log, given_by(f.check.log_args), f.key);
    if (f.delete_check) format(f.delete_check->log, given_by(f.delete_check->log_args), f.key);
    format(f.get_error, "d", f.key);
    format(f.set_error, given_by(f.set_log), f.key);
    format(f.missing_log, "", f.key);
    format(f.delete_missing_log, "", f.key);
    if (f.get) sources(f.get, "getter", f.key, true);
    if (f.set) sources(f.set, "setter", f.key, false);
    if (serves_get(r) && !is_index(r, i) && (f.flags & kGet) && !f.get) fault("GET lists a key without getter:", f.key);
    if ((f.flags & kPost) && !f.set && f.check.kind == CheckKind::None && !r.create && r.nested.empty())
      fault("POST reads a key that nothing uses:", f.key);
  }
  for (const Nested &n : r.nested) ok = check_resource(name, *n.child, &chain, layout) && ok;
  return ok;
}

}  // namespace

bool check_declaration(const char *name, const Resource &resource) { return check_resource(name, resource, nullptr, {}); }

bool check_declarations() {
  bool ok = true;
  for (const Served &s : registry()) ok = check_declaration(s.name, *s.resource) && ok;
  return ok;
}

}  // namespace veltrum::handler
