#include "sim/store.h"

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

void Store::define(const SettingSpec *specs, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (settings_.count(specs[i].key)) throw std::logic_error(std::string("setting defined twice: ") + specs[i].key);
    settings_.emplace(specs[i].key, Setting{&specs[i], specs[i].initial, {}});
  }
}

void Store::define_table(const TableSpec &spec) {
  if (tables_.count(spec.name)) throw std::logic_error(std::string("table defined twice: ") + spec.name);
  tables_.emplace(spec.name, Table(spec));
}

const Store::Setting *Store::find(const std::string &key) const {
  auto it = settings_.find(key);
  return it == settings_.end() ? nullptr : &it->second;
}

const SettingSpec &Store::spec(const std::string &key) const {
  const Setting *s = find(key);
  if (!s) throw std::logic_error("unknown setting: " + key);
  return *s->spec;
}

open_error_t Store::check(const SettingSpec &spec, const Value &v) const {
  if (v.index() != spec.initial.index()) return OPEN_E_PARAM;
  if (auto *i = std::get_if<int64_t>(&v)) return (*i < spec.min || *i > spec.max) ? OPEN_E_PARAM : OPEN_E_NONE;
  auto n = static_cast<int64_t>(std::get<std::string>(v).size());
  return (n < spec.min || n > spec.max) ? OPEN_E_PARAM : OPEN_E_NONE;
}

open_error_t Store::check_index(const std::string &key, uint32_t index) const {
  const SettingSpec &s = spec(key);
  switch (s.scope) {
    case Scope::Global:
      return OPEN_E_NONE;
    case Scope::Intf:
      return oracle_.intf_exists(index, s.intf_types) ? OPEN_E_NONE : OPEN_E_PARAM;
    case Scope::Vlan:
      return oracle_.vlan_exists(index) ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
  }
  return OPEN_E_INTERNAL;
}

open_error_t Store::get(const std::string &key, Value &out) const {
  const Setting *s = find(key);
  if (!s || s->spec->scope != Scope::Global) return OPEN_E_INTERNAL;
  out = s->global;
  return OPEN_E_NONE;
}

open_error_t Store::get(const std::string &key, uint32_t index, Value &out) const {
  const Setting *s = find(key);
  if (!s || s->spec->scope == Scope::Global) return OPEN_E_INTERNAL;
  if (open_error_t rc = check_index(key, index)) return rc;
  auto it = s->per_index.find(index);
  out = it == s->per_index.end() ? s->spec->initial : it->second;
  return OPEN_E_NONE;
}

open_error_t Store::set(const std::string &key, const Value &v) {
  auto it = settings_.find(key);
  if (it == settings_.end() || it->second.spec->scope != Scope::Global) return OPEN_E_INTERNAL;
  if (open_error_t rc = check(*it->second.spec, v)) return rc;
  it->second.global = v;
  return OPEN_E_NONE;
}

open_error_t Store::set(const std::string &key, uint32_t index, const Value &v) {
  auto it = settings_.find(key);
  if (it == settings_.end() || it->second.spec->scope == Scope::Global) return OPEN_E_INTERNAL;
  if (open_error_t rc = check_index(key, index)) return rc;
  if (open_error_t rc = check(*it->second.spec, v)) return rc;
  if (v == it->second.spec->initial)
    it->second.per_index.erase(index);
  else
    it->second.per_index[index] = v;
  return OPEN_E_NONE;
}

int64_t Store::integer(const std::string &key) const {
  Value v;
  get(key, v);
  auto *i = std::get_if<int64_t>(&v);
  return i ? *i : 0;
}

int64_t Store::integer(const std::string &key, uint32_t index) const {
  Value v;
  if (get(key, index, v) != OPEN_E_NONE) return 0;
  auto *i = std::get_if<int64_t>(&v);
  return i ? *i : 0;
}

std::string Store::text(const std::string &key) const {
  Value v;
  get(key, v);
  auto *t = std::get_if<std::string>(&v);
  return t ? *t : std::string();
}

std::string Store::text(const std::string &key, uint32_t index) const {
  Value v;
  if (get(key, index, v) != OPEN_E_NONE) return {};
  auto *t = std::get_if<std::string>(&v);
  return t ? *t : std::string();
}

void Store::forget_index(Scope scope, uint32_t index) {
  for (auto &[key, s] : settings_)
    if (s.spec->scope == scope) s.per_index.erase(index);
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

void Store::reset() {
  for (auto &[key, s] : settings_) {
    s.global = s.spec->initial;
    s.per_index.clear();
  }
  for (auto &[name, t] : tables_) t.clear();
}

void Store::reset_dynamic() {
  for (auto &[key, s] : settings_) {
    if (s.spec->persist) continue;
    s.global = s.spec->initial;
    s.per_index.clear();
  }
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

static json_object *setting_json(const SettingSpec &spec, const Value &global,
                                 const std::map<uint32_t, Value> &per_index) {
  if (spec.scope == Scope::Global) return to_json(global);
  json_object *o = json_object_new_object();
  for (const auto &[index, v] : per_index) json_object_object_add(o, std::to_string(index).c_str(), to_json(v));
  return o;
}

json_object *Store::save_json() const {
  json_object *root = json_object_new_object();
  json_object *settings = json_object_new_object();
  for (const auto &[key, s] : settings_) {
    if (!s.spec->persist) continue;
    // Only what differs from the factory default is written.
    if (s.spec->scope == Scope::Global ? s.global == s.spec->initial : s.per_index.empty()) continue;
    json_object_object_add(settings, key.c_str(), setting_json(*s.spec, s.global, s.per_index));
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
      if (it == settings_.end() || !it->second.spec->persist) continue;
      Setting &s = it->second;
      if (s.spec->scope == Scope::Global) {
        Value v;
        if (from_json(val, v) && check(*s.spec, v) == OPEN_E_NONE) s.global = v;
        continue;
      }
      if (!json_object_is_type(val, json_type_object)) continue;
      json_object_object_foreach(val, index_text, item) {
        Value v;
        char *end = nullptr;
        unsigned long index = strtoul(index_text, &end, 10);
        if (*end || !from_json(item, v) || check(*s.spec, v) != OPEN_E_NONE) continue;
        s.per_index[static_cast<uint32_t>(index)] = v;
      }
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
    json_object_object_add(o, "default", to_json(s->spec->initial));
    json_object_object_add(o, "value", setting_json(*s->spec, s->global, s->per_index));
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
    if (json_object_object_get_ex(body, "index", &index))
      return set(name, static_cast<uint32_t>(json_object_get_int64(index)), v);
    return set(name, v);
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
