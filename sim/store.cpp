#include "sim/store.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <stdexcept>

namespace veltrum::sim {

// ---- tables ----

const Record *Table::find(const Key &key) const {
  auto it = rows_.find(key);
  return it == rows_.end() ? nullptr : &it->second;
}

Record *Table::find(const Key &key) {
  auto it = rows_.find(key);
  return it == rows_.end() ? nullptr : &it->second;
}

open_error_t Table::insert(const Key &key, Record record) {
  if (rows_.count(key)) return OPEN_E_EXISTS;
  if (rows_.size() >= spec_.capacity) return OPEN_E_FULL;
  rows_.emplace(key, std::move(record));
  return OPEN_E_NONE;
}

open_error_t Table::upsert(const Key &key, Record record) {
  auto it = rows_.find(key);
  if (it != rows_.end()) {
    it->second = std::move(record);
    return OPEN_E_NONE;
  }
  return insert(key, std::move(record));
}

open_error_t Table::erase(const Key &key) { return rows_.erase(key) ? OPEN_E_NONE : OPEN_E_NOT_FOUND; }

const std::pair<const Key, Record> *Table::next(const Key &after) const {
  auto it = after.empty() ? rows_.begin() : rows_.upper_bound(after);
  return it == rows_.end() ? nullptr : &*it;
}

static bool starts_with(const Key &key, const Key &prefix) {
  if (key.size() < prefix.size()) return false;
  for (size_t i = 0; i < prefix.size(); ++i)
    if (key[i] != prefix[i]) return false;
  return true;
}

std::vector<const std::pair<const Key, Record> *> Table::with_prefix(const Key &prefix) const {
  std::vector<const std::pair<const Key, Record> *> out;
  for (auto it = rows_.lower_bound(prefix); it != rows_.end() && starts_with(it->first, prefix); ++it)
    out.push_back(&*it);
  return out;
}

void Table::erase_prefix(const Key &prefix) {
  auto it = rows_.lower_bound(prefix);
  while (it != rows_.end() && starts_with(it->first, prefix)) it = rows_.erase(it);
}

// ---- settings ----

bool text_matches(TextSyntax syntax, const std::string &text) {
  auto all = [&](auto pred) {
    for (unsigned char c : text)
      if (!pred(c)) return false;
    return true;
  };
  in6_addr a6{};
  in_addr a4{};
  switch (syntax) {
    case TextSyntax::ANY:
      return all([](unsigned char c) { return c >= 0x20 && c < 0x7f; });
    case TextSyntax::NAME:
      return all([](unsigned char c) { return isalnum(c) || c == '-' || c == '_' || c == '.'; });
    case TextSyntax::IPV4:
      return inet_pton(AF_INET, text.c_str(), &a4) == 1;
    case TextSyntax::IPV6:
      return inet_pton(AF_INET6, text.c_str(), &a6) == 1;
    case TextSyntax::IP:
      return inet_pton(AF_INET, text.c_str(), &a4) == 1 || inet_pton(AF_INET6, text.c_str(), &a6) == 1;
    case TextSyntax::HOST: {
      if (text_matches(TextSyntax::IP, text)) return true;
      // Dot-separated labels of 1 to 63 letters, digits and inner hyphens.
      if (text.empty() || text.size() > 253) return false;
      size_t start = 0;
      while (start <= text.size()) {
        size_t end = text.find('.', start);
        if (end == std::string::npos) end = text.size();
        size_t n = end - start;
        if (n == 0 || n > 63 || text[start] == '-' || text[end - 1] == '-') return false;
        for (size_t i = start; i < end; ++i)
          if (!isalnum(static_cast<unsigned char>(text[i])) && text[i] != '-') return false;
        start = end + 1;
      }
      return true;
    }
    case TextSyntax::MAC:
      if (text.size() != 17) return false;
      for (size_t i = 0; i < text.size(); ++i)
        if (i % 3 == 2 ? text[i] != ':' : !isxdigit(static_cast<unsigned char>(text[i]))) return false;
      return true;
  }
  return false;
}

SettingRef Store::define(const SettingSpec &spec) {
  if (settings_.count(spec.key)) throw std::logic_error("setting defined twice: " + spec.key);
  if (spec.initial.index() == 0 && (std::get<int64_t>(spec.initial) < spec.min || std::get<int64_t>(spec.initial) > spec.max))
    throw std::logic_error("default of " + spec.key + " lies outside its range");
  return SettingRef(*this, settings_.emplace(spec.key, Setting{spec, {}, nullptr}).first->second);
}

Table &Store::define_table(const TableSpec &spec) {
  if (tables_.count(spec.name)) throw std::logic_error(std::string("table defined twice: ") + spec.name);
  return tables_.emplace(spec.name, Table(spec)).first->second;
}

SettingRef Store::setting(const std::string &key) {
  auto it = settings_.find(key);
  if (it == settings_.end()) throw std::logic_error("unknown setting: " + key);
  return SettingRef(*this, it->second);
}

void Store::refer(const std::string &key, const std::string &table) {
  auto it = settings_.find(key);
  if (it == settings_.end() || it->second.spec.initial.index() != 1)
    throw std::logic_error("a reference needs a text setting: " + key);
  if (!tables_.count(table)) throw std::logic_error("a reference to an unknown table: " + table);
  refer(SettingRef(*this, it->second), this->table(table));
}

void Store::refer(SettingRef setting, Table &table) {
  if (setting.slot_->spec.initial.index() != 1)
    throw std::logic_error("a reference needs a text setting: " + setting.key());
  setting.slot_->refers_to = &table;
}

bool Store::referenced(const std::string &table, const Key &key) const {
  return referenced(this->table(table), key);
}

bool Store::referenced(const Table &table, const Key &key) const {
  if (key.size() != 1 || key[0].index() != 1) return false;
  for (const auto &[name, s] : settings_) {
    if (s.refers_to != &table) continue;
    for (const auto &[slot_, v] : s.values)
      if (v == key[0]) return true;
  }
  return false;
}

open_error_t Store::remove_row(const std::string &table, const Key &key) { return remove_row(this->table(table), key); }

open_error_t Store::remove_row(Table &table, const Key &key) {
  if (referenced(table, key)) return OPEN_E_INUSE;
  return table.erase(key);
}

const Store::Setting *Store::find(const std::string &key) const {
  auto it = settings_.find(key);
  return it == settings_.end() ? nullptr : &it->second;
}

const SettingSpec &Store::spec(const std::string &key) const {
  const Setting *s = find(key);
  if (!s) throw std::logic_error("unknown setting: " + key);
  return s->spec;
}

open_error_t Store::check(const Setting &s, const Value &v) const {
  const SettingSpec &spec = s.spec;
  if (v.index() != spec.initial.index()) return OPEN_E_PARAM;
  if (auto *i = std::get_if<int64_t>(&v)) return (*i < spec.min || *i > spec.max) ? OPEN_E_PARAM : OPEN_E_NONE;
  const auto &text = std::get<std::string>(v);
  auto n = static_cast<int64_t>(text.size());
  if (n < spec.min || n > spec.max) return OPEN_E_PARAM;
  if (!text.empty() && !text_matches(spec.syntax, text)) return OPEN_E_PARAM;
  if (!text.empty() && s.refers_to && !s.refers_to->find({text})) return OPEN_E_NOT_FOUND;
  return OPEN_E_NONE;
}

open_error_t Store::check_index(const std::string &key, uint32_t index) const { return check_index(spec(key), index); }

open_error_t Store::check_index(const SettingSpec &s, uint32_t index) const {
  switch (s.scope) {
    case Scope::Global:
      return index == 0 ? OPEN_E_NONE : OPEN_E_PARAM;
    case Scope::Intf:
      return oracle_.intf_exists(index, s.intf_types) ? OPEN_E_NONE : OPEN_E_PARAM;
    case Scope::Vlan:
      return oracle_.vlan_exists(index) ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
  }
  return OPEN_E_INTERNAL;
}

open_error_t Store::get(const std::string &key, uint32_t index, uint32_t selector, Value &out) const {
  const Setting *s = find(key);
  if (!s) return OPEN_E_INTERNAL;
  return get(*s, index, selector, out);
}

open_error_t Store::get(const Setting &s, uint32_t index, uint32_t selector, Value &out) const {
  if (open_error_t rc = check_index(s.spec, index)) return rc;
  if (selector >= std::max<uint32_t>(s.spec.selectors, 1)) return OPEN_E_PARAM;
  auto it = s.values.find(slot(index, selector));
  out = it == s.values.end() ? s.spec.initial : it->second;
  return OPEN_E_NONE;
}

open_error_t Store::set(const std::string &key, uint32_t index, uint32_t selector, const Value &v) {
  auto it = settings_.find(key);
  if (it == settings_.end()) return OPEN_E_INTERNAL;
  return set(it->second, index, selector, v);
}

open_error_t Store::set(Setting &s, uint32_t index, uint32_t selector, const Value &v) {
  if (open_error_t rc = check_index(s.spec, index)) return rc;
  if (selector >= std::max<uint32_t>(s.spec.selectors, 1)) return OPEN_E_PARAM;
  if (open_error_t rc = check(s, v)) return rc;
  if (v == s.spec.initial)
    s.values.erase(slot(index, selector));
  else
    s.values[slot(index, selector)] = v;
  return OPEN_E_NONE;
}

int64_t Store::integer(const std::string &key) const { return integer(key, 0); }

int64_t Store::integer(const std::string &key, uint32_t index) const {
  Value v;
  if (get(key, index, v) != OPEN_E_NONE) return 0;
  auto *i = std::get_if<int64_t>(&v);
  return i ? *i : 0;
}

std::string Store::text(const std::string &key) const { return text(key, 0); }

std::string Store::text(const std::string &key, uint32_t index) const {
  Value v;
  if (get(key, index, v) != OPEN_E_NONE) return {};
  auto *t = std::get_if<std::string>(&v);
  return t ? *t : std::string();
}

// ---- handles ----

const SettingSpec &SettingRef::spec() const { return slot_->spec; }

open_error_t SettingRef::get(uint32_t index, uint32_t selector, Value &out) const {
  return store_->get(*slot_, index, selector, out);
}

open_error_t SettingRef::set(uint32_t index, uint32_t selector, const Value &v) const {
  return store_->set(*slot_, index, selector, v);
}

int64_t SettingRef::integer(uint32_t index) const {
  Value v;
  if (get(index, v) != OPEN_E_NONE) return 0;
  auto *i = std::get_if<int64_t>(&v);
  return i ? *i : 0;
}

std::string SettingRef::text(uint32_t index) const {
  Value v;
  if (get(index, v) != OPEN_E_NONE) return {};
  auto *t = std::get_if<std::string>(&v);
  return t ? *t : std::string();
}

open_error_t SettingRef::check_index(uint32_t index) const { return store_->check_index(slot_->spec, index); }

void Store::forget_index(Scope scope, uint32_t index) {
  for (auto &[key, s] : settings_) {
    if (s.spec.scope != scope) continue;
    s.values.erase(s.values.lower_bound(slot(index, 0)), s.values.lower_bound(slot(index + 1, 0)));
  }
}

Table &Store::table(const std::string &name) {
  auto it = tables_.find(name);
  if (it == tables_.end()) throw std::logic_error("unknown table: " + name);
  return it->second;
}

const Table &Store::table(const std::string &name) const {
  auto it = tables_.find(name);
  if (it == tables_.end()) throw std::logic_error("unknown table: " + name);
  return it->second;
}

// reset() and load_json() empty and refill settings and tables in place:
// neither erases an element of settings_ or tables_, so handles stay valid.
void Store::reset() {
  for (auto &[key, s] : settings_) s.values.clear();
  for (auto &[name, t] : tables_) t.clear();
}

void Store::reset_dynamic() {
  for (auto &[key, s] : settings_)
    if (!s.spec.persist) s.values.clear();
  for (auto &[name, t] : tables_)
    if (!t.spec().persist) t.clear();
}

// ---- JSON ----

json_object *to_json(const Value &v) {
  if (auto *i = std::get_if<int64_t>(&v)) return json_object_new_int64(*i);
  const auto &s = std::get<std::string>(v);
  return json_object_new_string_len(s.data(), static_cast<int>(s.size()));
}

bool from_json(json_object *o, Value &out) {
  switch (json_object_get_type(o)) {
    case json_type_int:
    case json_type_boolean:
      out = static_cast<int64_t>(json_object_get_int64(o));
      return true;
    case json_type_string:
      out = std::string(json_object_get_string(o), json_object_get_string_len(o));
      return true;
    default:
      return false;
  }
}

json_object *to_json(const Key &k) {
  json_object *a = json_object_new_array();
  for (const auto &v : k) json_object_array_add(a, to_json(v));
  return a;
}

bool from_json(json_object *o, Key &out) {
  if (!json_object_is_type(o, json_type_array)) return false;
  out.clear();
  for (size_t i = 0; i < json_object_array_length(o); ++i) {
    Value v;
    if (!from_json(json_object_array_get_idx(o, i), v)) return false;
    out.push_back(std::move(v));
  }
  return true;
}

json_object *to_json(const Record &r) {
  json_object *o = json_object_new_object();
  for (const auto &[name, v] : r) json_object_object_add(o, name.c_str(), to_json(v));
  return o;
}

bool from_json(json_object *o, Record &out) {
  if (!json_object_is_type(o, json_type_object)) return false;
  out.clear();
  json_object_object_foreach(o, name, val) {
    Value v;
    if (!from_json(val, v)) return false;
    out.emplace(name, std::move(v));
  }
  return true;
}

// A setting's values as JSON: the value for a global setting without
// selectors; otherwise an object keyed "index" or "index/selector".
json_object *Store::values_json(const Setting &s) const {
  if (s.spec.scope == Scope::Global && s.spec.selectors == 0) {
    auto it = s.values.find(0);
    return to_json(it == s.values.end() ? s.spec.initial : it->second);
  }
  json_object *o = json_object_new_object();
  for (const auto &[where, v] : s.values) {
    std::string name = std::to_string(where >> 16);
    if (s.spec.selectors) name += "/" + std::to_string(where & 0xffff);
    json_object_object_add(o, name.c_str(), to_json(v));
  }
  return o;
}

void Store::load_values(Setting &s, json_object *val) {
  if (s.spec.scope == Scope::Global && s.spec.selectors == 0) {
    Value v;
    if (from_json(val, v) && check(s, v) == OPEN_E_NONE && v != s.spec.initial) s.values[0] = v;
    return;
  }
  if (!json_object_is_type(val, json_type_object)) return;
  json_object_object_foreach(val, where, item) {
    // "index" or "index/selector", each a 32-bit number written in digits
    // alone: a sign or a number past 32 bits is a damaged file's, whatever
    // the width of `long` (strtoul wraps "-1" and saturates on 32 bits).
    const char *end = where + std::strlen(where);
    uint32_t index = 0;
    uint32_t selector = 0;
    std::from_chars_result r = std::from_chars(where, end, index);
    if (r.ec == std::errc() && r.ptr != end && *r.ptr == '/') r = std::from_chars(r.ptr + 1, end, selector);
    Value v;
    if (r.ec != std::errc() || r.ptr != end || selector > 0xffff || !from_json(item, v) || check(s, v) != OPEN_E_NONE)
      continue;
    s.values[slot(index, selector)] = v;
  }
}

json_object *Store::save_json() const {
  json_object *root = json_object_new_object();
  json_object *settings = json_object_new_object();
  for (const auto &[key, s] : settings_) {
    // Only what differs from the factory default is written.
    if (!s.spec.persist || s.values.empty()) continue;
    json_object_object_add(settings, key.c_str(), values_json(s));
  }
  json_object *tables = json_object_new_object();
  for (const auto &[name, t] : tables_) {
    if (!t.spec().persist) continue;
    json_object *rows = json_object_new_array();
    for (const auto &[key, record] : t.rows()) {
      json_object *row = json_object_new_object();
      json_object_object_add(row, "key", to_json(key));
      json_object_object_add(row, "record", to_json(record));
      json_object_array_add(rows, row);
    }
    json_object_object_add(tables, name.c_str(), rows);
  }
  json_object_object_add(root, "settings", settings);
  json_object_object_add(root, "tables", tables);
  return root;
}

bool Store::load_json(json_object *root) {
  if (!json_object_is_type(root, json_type_object)) return false;
  json_object *settings = nullptr;
  json_object *tables = nullptr;
  if (json_object_object_get_ex(root, "settings", &settings) && json_object_is_type(settings, json_type_object)) {
    json_object_object_foreach(settings, key, val) {
      auto it = settings_.find(key);
      if (it == settings_.end() || !it->second.spec.persist) continue;
      load_values(it->second, val);
    }
  }
  if (json_object_object_get_ex(root, "tables", &tables) && json_object_is_type(tables, json_type_object)) {
    json_object_object_foreach(tables, name, rows) {
      auto it = tables_.find(name);
      if (it == tables_.end() || !it->second.spec().persist || !json_object_is_type(rows, json_type_array)) continue;
      it->second.clear();
      for (size_t i = 0; i < json_object_array_length(rows); ++i) {
        json_object *row = json_object_array_get_idx(rows, i);
        json_object *k = nullptr;
        json_object *r = nullptr;
        Key key;
        Record record;
        if (json_object_object_get_ex(row, "key", &k) && json_object_object_get_ex(row, "record", &r) &&
            from_json(k, key) && from_json(r, record))
          it->second.upsert(key, std::move(record));
      }
    }
  }
  return true;
}

json_object *Store::dump(const std::string &name) const {
  if (const Setting *s = find(name)) {
    json_object *o = json_object_new_object();
    json_object_object_add(o, "default", to_json(s->spec.initial));
    json_object_object_add(o, "value", values_json(*s));
    return o;
  }
  auto it = tables_.find(name);
  if (it == tables_.end()) return nullptr;
  json_object *rows = json_object_new_array();
  for (const auto &[key, record] : it->second.rows()) {
    json_object *row = json_object_new_object();
    json_object_object_add(row, "key", to_json(key));
    json_object_object_add(row, "record", to_json(record));
    json_object_array_add(rows, row);
  }
  return rows;
}

open_error_t Store::poke(const std::string &name, json_object *body) {
  if (!json_object_is_type(body, json_type_object)) return OPEN_E_PARAM;
  json_object *val = nullptr;
  json_object *index = nullptr;
  if (auto it = settings_.find(name); it != settings_.end()) {
    Value v;
    if (!json_object_object_get_ex(body, "value", &val) || !from_json(val, v)) return OPEN_E_PARAM;
    json_object *selector = nullptr;
    uint32_t i = 0, sel = 0;
    if (json_object_object_get_ex(body, "index", &index)) i = static_cast<uint32_t>(json_object_get_int64(index));
    if (json_object_object_get_ex(body, "selector", &selector))
      sel = static_cast<uint32_t>(json_object_get_int64(selector));
    return set(name, i, sel, v);
  }
  auto it = tables_.find(name);
  if (it == tables_.end()) return OPEN_E_NOT_FOUND;
  json_object *k = nullptr;
  json_object *r = nullptr;
  Key key;
  Record record;
  if (!json_object_object_get_ex(body, "key", &k) || !from_json(k, key)) return OPEN_E_PARAM;
  if (!json_object_object_get_ex(body, "record", &r) || json_object_is_type(r, json_type_null))
    return it->second.erase(key);
  if (!from_json(r, record)) return OPEN_E_PARAM;
  return it->second.upsert(key, std::move(record));
}

}  // namespace veltrum::sim
