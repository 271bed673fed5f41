// The simulated switch's state layer.
//
// Settings are named values with a scope: one value for the switch
// (Global), one per interface (Intf) or one per VLAN (Vlan), optionally
// per selector as well (an address family, a storm type), each with a
// default and the platform's range (for text: a length range and a
// syntax). A text setting may name rows of a table (an ACL, say): then it
// only names rows that exist, and such rows cannot be removed while named. Tables are keyed rows
// of named values, walked in key order by the first/next calls. Both carry
// a `persist` mark: persistent state is part of the running configuration
// and is saved and loaded; the rest (link states, counters, learned entries)
// is dynamic state that a reload or restart clears.
//
// The store knows nothing of RPC; sim/bind.h ties platform calls to it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include <json-c/json.h>

#include "platform/family.h"

namespace veltrum::sim {

using Value = std::variant<int64_t, std::string>;

enum class Scope { Global, Intf, Vlan };

// Interface types an Intf setting exists on (bit per OPEN_INTF_TYPE_t).
inline constexpr uint32_t intf_bit(OPEN_INTF_TYPE_t t) { return 1u << static_cast<unsigned>(t); }
inline constexpr uint32_t kPhyAndLag = intf_bit(OPEN_INTF_TYPE_PHY) | intf_bit(OPEN_INTF_TYPE_LAG);

// What a text setting accepts besides its length (the empty text is
// accepted whenever the shortest length is 0):
//   ANY   printable ASCII            NAME  letters, digits, "-", "_", "."
//   HOST  a host name or an address  IPV4, IPV6, IP  an address text
//   MAC   "hh:hh:hh:hh:hh:hh"
using TextSyntax = rpc::TextSyntax;
bool text_matches(TextSyntax syntax, const std::string &text);

struct SettingSpec {
  std::string key;
  Scope scope = Scope::Global;
  Value initial = int64_t{0};  // the factory default
  int64_t min = 0;             // integers: the accepted range; text: min and max length
  int64_t max = 1;
  bool persist = true;
  uint32_t intf_types = kPhyAndLag;
  uint32_t selectors = 0;      // a selector 0..selectors-1 after the index (0: none)
  TextSyntax syntax = TextSyntax::ANY;
};

struct TableSpec {
  const char *name;
  size_t capacity;  // most rows; a further insert answers OPEN_E_FULL
  bool persist = true;
};

using Key = std::vector<Value>;
using Record = std::map<std::string, Value>;

class Table {
 public:
  explicit Table(const TableSpec &spec) : spec_(spec) {}
  const TableSpec &spec() const { return spec_; }

  const Record *find(const Key &key) const;
  Record *find(const Key &key);
  // OPEN_E_EXISTS, OPEN_E_FULL or OPEN_E_NONE.
  open_error_t insert(const Key &key, Record record);
  // Inserts or replaces; OPEN_E_FULL only for a new key past capacity.
  open_error_t upsert(const Key &key, Record record);
  open_error_t erase(const Key &key);
  void clear() { rows_.clear(); }

  // The first row whose key is greater than `after` (the first row when
  // `after` is empty); null at the end.
  const std::pair<const Key, Record> *next(const Key &after) const;
  // Rows whose key starts with `prefix`.
  std::vector<const std::pair<const Key, Record> *> with_prefix(const Key &prefix) const;
  // Removes the rows whose key starts with `prefix`.
  void erase_prefix(const Key &prefix);
  size_t size() const { return rows_.size(); }
  const std::map<Key, Record> &rows() const { return rows_; }

 private:
  TableSpec spec_;
  std::map<Key, Record> rows_;
};

// Tells the store which indexes exist for the scoped settings.
class IndexOracle {
 public:
  virtual ~IndexOracle() = default;
  virtual bool intf_exists(uint32_t ifNum, uint32_t type_mask) const = 0;
  virtual bool vlan_exists(uint32_t vlanId) const = 0;
};

class Store;

// A typed handle to one setting of a store: obtained once when a part is
// installed (Store::define or Store::setting, which throw for an unknown
// key), then used at every call without looking anything up by name. It
// reads and writes with the same checks and result codes as the string
// API. Settings never move in the store (a node-based map that reset() and
// load_json() only empty and refill), so a handle stays valid for the
// store's life.
class SettingRef {
 public:
  const SettingSpec &spec() const;
  const std::string &key() const { return spec().key; }

  open_error_t get(Value &out) const { return get(0, 0, out); }
  open_error_t get(uint32_t index, Value &out) const { return get(index, 0, out); }
  open_error_t get(uint32_t index, uint32_t selector, Value &out) const;
  open_error_t set(const Value &v) const { return set(0, 0, v); }
  open_error_t set(uint32_t index, const Value &v) const { return set(index, 0, v); }
  open_error_t set(uint32_t index, uint32_t selector, const Value &v) const;
  // The value or its default (0 or "" where the index does not exist).
  int64_t integer(uint32_t index = 0) const;
  std::string text(uint32_t index = 0) const;
  // OPEN_E_PARAM for an unknown interface, OPEN_E_NOT_FOUND for an absent VLAN.
  open_error_t check_index(uint32_t index) const;

 private:
  friend class Store;
  struct Slot;
  SettingRef(Store &store, Slot &slot) : store_(&store), slot_(&slot) {}
  Store *store_;
  Slot *slot_;
};

struct SettingRef::Slot {
  SettingSpec spec;
  std::map<uint64_t, Value> values;
  Table *refers_to = nullptr;  // the table its values name, or null
};

class Store {
 public:
  explicit Store(const IndexOracle &oracle) : oracle_(oracle) {}

  // Defining a setting or a table twice is a programming error
  // (std::logic_error, which stops the service at start).
  SettingRef define(const SettingSpec &spec);
  template <size_t N>
  void define(const SettingSpec (&specs)[N]) {
    define(specs, N);
  }
  void define(const SettingSpec *specs, size_t count) {
    for (size_t i = 0; i < count; ++i) define(specs[i]);
  }
  // The table stays where it is for the store's life (see SettingRef).
  Table &define_table(const TableSpec &spec);
  // The handle of a defined setting: std::logic_error for an unknown key.
  // Parts call it when they are installed, so a misspelled key stops the
  // service at start; calls then use the handle.
  SettingRef setting(const std::string &key);
  // The non-empty values of text setting `key` name rows of `table` (keyed
  // by that one text): a value naming no row is refused (OPEN_E_NOT_FOUND),
  // and a row still named cannot be removed (OPEN_E_INUSE).
  void refer(const std::string &key, const std::string &table);
  void refer(SettingRef setting, Table &table);
  // Removes a row after checking that no setting refers to it.
  open_error_t remove_row(const std::string &table, const Key &key);
  open_error_t remove_row(Table &table, const Key &key);
  // Whether a setting's value names row `key` of `table`.
  bool referenced(const std::string &table, const Key &key) const;
  bool referenced(const Table &table, const Key &key) const;

  // Checks the key's index for its scope: OPEN_E_PARAM for an unknown
  // interface, OPEN_E_NOT_FOUND for an absent VLAN.
  open_error_t check_index(const std::string &key, uint32_t index) const;

  // Reads and writes. A write is checked against its SettingSpec (OPEN_E_PARAM).
  // Global settings take index 0; `selector` counts from 0.
  open_error_t get(const std::string &key, Value &out) const { return get(key, 0, out); }
  open_error_t get(const std::string &key, uint32_t index, Value &out) const { return get(key, index, 0, out); }
  open_error_t get(const std::string &key, uint32_t index, uint32_t selector, Value &out) const;
  open_error_t set(const std::string &key, const Value &v) { return set(key, 0, v); }
  open_error_t set(const std::string &key, uint32_t index, const Value &v) { return set(key, index, 0, v); }
  open_error_t set(const std::string &key, uint32_t index, uint32_t selector, const Value &v);
  // Convenience for the implementation code: the value or its default.
  int64_t integer(const std::string &key) const;
  int64_t integer(const std::string &key, uint32_t index) const;
  std::string text(const std::string &key) const;
  std::string text(const std::string &key, uint32_t index) const;

  // Forgets every per-index value of a scope for one index (a VLAN deleted).
  void forget_index(Scope scope, uint32_t index);

  Table &table(const std::string &name);
  const Table &table(const std::string &name) const;
  bool has_table(const std::string &name) const { return tables_.count(name) != 0; }
  bool has_setting(const std::string &key) const { return settings_.count(key) != 0; }
  const SettingSpec &spec(const std::string &key) const;

  // Back to factory defaults: every setting to its default, every table
  // emptied (the seeds of the model refill them).
  void reset();
  // Only the dynamic state: what a reload or restart clears.
  void reset_dynamic();

  // The persistent part as JSON, and back. load() applies what it
  // recognises and skips the rest; it returns false for malformed text.
  json_object *save_json() const;
  bool load_json(json_object *root);

  // The state for the control tool: one setting (all indexes) or one table.
  json_object *dump(const std::string &name) const;
  // Writes a setting from JSON ({"value": v} or {"index": i, "value": v})
  // or a table row ({"key": [...], "record": {...}}); null record deletes.
  open_error_t poke(const std::string &name, json_object *body);

 private:
  friend class SettingRef;
  // Values that differ from the default, by (index << 16 | selector).
  using Setting = SettingRef::Slot;
  open_error_t get(const Setting &s, uint32_t index, uint32_t selector, Value &out) const;
  open_error_t set(Setting &s, uint32_t index, uint32_t selector, const Value &v);
  open_error_t check_index(const SettingSpec &spec, uint32_t index) const;
  static uint64_t slot(uint32_t index, uint32_t selector) { return uint64_t{index} << 16 | selector; }
  open_error_t check(const Setting &s, const Value &v) const;
  const Setting *find(const std::string &key) const;
  json_object *values_json(const Setting &s) const;
  void load_values(Setting &s, json_object *val);

  const IndexOracle &oracle_;
  // Node-based maps: an element never moves while the store lives (nothing
  // erases one; reset() and load_json() clear values and rows in place), so
  // SettingRef and Table & handles stay valid.
  std::map<std::string, Setting> settings_;
  std::map<std::string, Table> tables_;
};


// JSON conversions of values, keys and records.
json_object *to_json(const Value &v);
bool from_json(json_object *o, Value &out);
json_object *to_json(const Key &k);
bool from_json(json_object *o, Key &out);
json_object *to_json(const Record &r);
bool from_json(json_object *o, Record &out);

}  // namespace veltrum::sim
