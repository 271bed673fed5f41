// The simulator's state layer: scoped settings with range checks, keyed
// tables with first/next walks, and the persistent/dynamic split.
#include <gtest/gtest.h>

#include "sim/store.h"
#include "support/json_ptr.h"

namespace {

using namespace veltrum::sim;

struct FakeOracle : IndexOracle {
  bool intf_exists(uint32_t ifNum, uint32_t mask) const override {
    OPEN_INTF_TYPE_t type = ifNum <= 4 ? OPEN_INTF_TYPE_PHY : ifNum <= 6 ? OPEN_INTF_TYPE_LAG : OPEN_INTF_TYPE_CPU;
    return ifNum >= 1 && ifNum <= 7 && (mask & intf_bit(type));
  }
  bool vlan_exists(uint32_t vlanId) const override { return vlanId == 1 || vlanId == 10; }
};

const SettingSpec kSpecs[] = {
    {"g.mode", Scope::Global, int64_t{0}, 0, 1},
    {"g.name", Scope::Global, std::string("sw"), 1, 8},
    {"g.counter", Scope::Global, int64_t{0}, 0, 1000, false},
    {"i.rate", Scope::Intf, int64_t{15}, -1, 300},
    {"i.phy_only", Scope::Intf, int64_t{0}, 0, 1, true, intf_bit(OPEN_INTF_TYPE_PHY)},
    {"v.acl", Scope::Vlan, std::string(), 0, 31},
};
const TableSpec kAcls{"acls", 3, true};
const TableSpec kLearned{"learned", 10, false};

class StoreTest : public ::testing::Test {
 protected:
  StoreTest() : store(oracle) {
    store.define(kSpecs);
    store.define_table(kAcls);
    store.define_table(kLearned);
  }
  FakeOracle oracle;
  Store store;
};

TEST_F(StoreTest, SettingsAreRangeCheckedPerScope) {
  EXPECT_EQ(store.set("g.mode", Value{int64_t{1}}), OPEN_E_NONE);
  EXPECT_EQ(store.set("g.mode", Value{int64_t{2}}), OPEN_E_PARAM);
  EXPECT_EQ(store.set("g.mode", Value{std::string("1")}), OPEN_E_PARAM);  // wrong kind
  EXPECT_EQ(store.integer("g.mode"), 1);

  EXPECT_EQ(store.set("g.name", Value{std::string("")}), OPEN_E_PARAM);  // text length 1..8
  EXPECT_EQ(store.set("g.name", Value{std::string("123456789")}), OPEN_E_PARAM);
  EXPECT_EQ(store.text("g.name"), "sw");

  EXPECT_EQ(store.set("i.rate", 3, Value{int64_t{-1}}), OPEN_E_NONE);
  EXPECT_EQ(store.set("i.rate", 3, Value{int64_t{301}}), OPEN_E_PARAM);
  EXPECT_EQ(store.set("i.rate", 99, Value{int64_t{1}}), OPEN_E_PARAM);  // no such interface
  EXPECT_EQ(store.integer("i.rate", 3), -1);
  EXPECT_EQ(store.integer("i.rate", 5), 15);  // the default where nothing was set

  EXPECT_EQ(store.set("i.phy_only", 5, Value{int64_t{1}}), OPEN_E_PARAM);  // a LAG
  EXPECT_EQ(store.set("i.phy_only", 2, Value{int64_t{1}}), OPEN_E_NONE);

  Value v;
  EXPECT_EQ(store.get("v.acl", 7, v), OPEN_E_NOT_FOUND);  // absent VLAN
  EXPECT_EQ(store.set("v.acl", 10, Value{std::string("a1")}), OPEN_E_NONE);
  store.forget_index(Scope::Vlan, 10);
  EXPECT_EQ(store.text("v.acl", 10), "");
}

TEST_F(StoreTest, TablesWalkInKeyOrderAndKnowTheirLimits) {
  Table &t = store.table("acls");
  EXPECT_EQ(t.insert({std::string("b")}, {}), OPEN_E_NONE);
  EXPECT_EQ(t.insert({std::string("a")}, {}), OPEN_E_NONE);
  EXPECT_EQ(t.insert({std::string("a")}, {}), OPEN_E_EXISTS);
  EXPECT_EQ(t.insert({std::string("c")}, {}), OPEN_E_NONE);
  EXPECT_EQ(t.insert({std::string("d")}, {}), OPEN_E_FULL);
  EXPECT_EQ(t.upsert({std::string("c")}, {{"x", int64_t{1}}}), OPEN_E_NONE);  // replacing is not growing

  std::vector<std::string> walk;
  for (auto *row = t.next({}); row; row = t.next(row->first)) walk.push_back(std::get<std::string>(row->first[0]));
  EXPECT_EQ(walk, (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(t.erase({std::string("zz")}), OPEN_E_NOT_FOUND);

  // Integer keys order numerically; composite keys by their parts.
  Table &l = store.table("learned");
  for (int64_t v : {10, 9, 100}) l.upsert({v, int64_t{2}}, {});
  l.upsert({int64_t{9}, int64_t{1}}, {});
  std::vector<std::pair<int64_t, int64_t>> keys;
  for (auto *row = l.next({}); row; row = l.next(row->first))
    keys.emplace_back(std::get<int64_t>(row->first[0]), std::get<int64_t>(row->first[1]));
  EXPECT_EQ(keys, (std::vector<std::pair<int64_t, int64_t>>{{9, 1}, {9, 2}, {10, 2}, {100, 2}}));
  EXPECT_EQ(l.with_prefix({int64_t{9}}).size(), 2u);
  l.erase_prefix({int64_t{9}});
  EXPECT_EQ(l.size(), 2u);
}

TEST_F(StoreTest, OnlyPersistentStateIsSavedAndResetDynamicKeepsIt) {
  store.set("g.mode", Value{int64_t{1}});
  store.set("g.counter", Value{int64_t{7}});
  store.set("i.rate", 2, Value{int64_t{100}});
  store.table("acls").insert({std::string("web")}, {{"rules", int64_t{3}}});
  store.table("learned").insert({int64_t{1}}, {});

  JsonPtr saved(store.save_json());
  std::string text = json_text(saved.get());
  EXPECT_EQ(text.find("g.counter"), std::string::npos);
  EXPECT_EQ(text.find("learned"), std::string::npos);
  EXPECT_EQ(text.find("g.name"), std::string::npos);  // defaults are not written

  store.reset_dynamic();
  EXPECT_EQ(store.integer("g.counter"), 0);
  EXPECT_EQ(store.table("learned").size(), 0u);
  EXPECT_EQ(store.integer("g.mode"), 1);

  store.reset();
  EXPECT_EQ(store.integer("g.mode"), 0);
  EXPECT_EQ(store.table("acls").size(), 0u);

  ASSERT_TRUE(store.load_json(saved.get()));
  EXPECT_EQ(store.integer("g.mode"), 1);
  EXPECT_EQ(store.integer("i.rate", 2), 100);
  const Record *web = store.table("acls").find({std::string("web")});
  ASSERT_NE(web, nullptr);
  EXPECT_EQ(std::get<int64_t>(web->at("rules")), 3);
}

TEST_F(StoreTest, LoadSkipsWhatItDoesNotRecognise) {
  JsonPtr doc(json_tokener_parse(
      R"({"settings":{"g.mode":5,"unknown":1,"i.rate":{"2":50,"x":1,"3":999}},"tables":{"acls":[{"key":["a"],"record":{}},{"bad":1}],"nope":[]}})"));
  ASSERT_TRUE(store.load_json(doc.get()));
  EXPECT_EQ(store.integer("g.mode"), 0);  // out of range: skipped
  EXPECT_EQ(store.integer("i.rate", 2), 50);
  EXPECT_EQ(store.integer("i.rate", 3), 15);
  EXPECT_EQ(store.table("acls").size(), 1u);
  JsonPtr not_object(json_object_new_int(3));
  EXPECT_FALSE(store.load_json(not_object.get()));

  // Indexes are 32-bit numbers, with 32- and 64-bit `long` alike.
  store.reset();
  JsonPtr wide(json_tokener_parse(R"({"settings":{"i.rate":{"4":40,"4294967297":1,"4294967295":2,"-1":3}}})"));
  ASSERT_TRUE(store.load_json(wide.get()));
  JsonPtr saved(store.save_json());
  json_object *settings = nullptr;
  json_object *rates = nullptr;
  ASSERT_TRUE(json_object_object_get_ex(saved.get(), "settings", &settings) &&
              json_object_object_get_ex(settings, "i.rate", &rates));
  EXPECT_STREQ(json_object_to_json_string_ext(rates, JSON_C_TO_STRING_PLAIN), R"({"4":40,"4294967295":2})");
}

TEST_F(StoreTest, PokeWritesSettingsAndRows) {
  JsonPtr set(json_tokener_parse(R"({"index":4,"value":9})"));
  EXPECT_EQ(store.poke("i.rate", set.get()), OPEN_E_NONE);
  EXPECT_EQ(store.integer("i.rate", 4), 9);
  JsonPtr row(json_tokener_parse(R"({"key":[3],"record":{"mac":"00:11:22:33:44:55"}})"));
  EXPECT_EQ(store.poke("learned", row.get()), OPEN_E_NONE);
  EXPECT_EQ(store.table("learned").size(), 1u);
  JsonPtr del(json_tokener_parse(R"({"key":[3],"record":null})"));
  EXPECT_EQ(store.poke("learned", del.get()), OPEN_E_NONE);
  EXPECT_EQ(store.table("learned").size(), 0u);
  JsonPtr bad(json_tokener_parse(R"({"value":[1]})"));
  EXPECT_EQ(store.poke("g.mode", bad.get()), OPEN_E_PARAM);
  EXPECT_EQ(store.poke("missing", row.get()), OPEN_E_NOT_FOUND);
}

}  // namespace

namespace {

// Text syntaxes, selectors and references between settings and tables.
TEST_F(StoreTest, TextSettingsKeepTheirSyntax) {
  store.define(SettingSpec{.key = "g.host", .initial = std::string(), .min = 0, .max = 64, .syntax = TextSyntax::HOST});
  store.define(SettingSpec{.key = "g.mac", .initial = std::string(), .min = 0, .max = 17, .syntax = TextSyntax::MAC});
  store.define(SettingSpec{.key = "g.v6", .initial = std::string(), .min = 0, .max = 64, .syntax = TextSyntax::IPV6});
  for (const char *ok : {"switch-1.example.net", "10.1.2.3", "fe80::1", ""})
    EXPECT_EQ(store.set("g.host", Value{std::string(ok)}), OPEN_E_NONE) << ok;
  for (const char *bad : {"-switch", "a..b", "with space", "x_y.net"})
    EXPECT_EQ(store.set("g.host", Value{std::string(bad)}), OPEN_E_PARAM) << bad;
  EXPECT_EQ(store.set("g.mac", Value{std::string("00:11:22:33:44:5G")}), OPEN_E_PARAM);
  EXPECT_EQ(store.set("g.mac", Value{std::string("00:11:22:33:44:5f")}), OPEN_E_NONE);
  EXPECT_EQ(store.set("g.v6", Value{std::string("10.0.0.1")}), OPEN_E_PARAM);
}

TEST_F(StoreTest, SelectorsKeepAValueEach) {
  store.define(SettingSpec{.key = "i.storm", .scope = Scope::Intf, .initial = int64_t{5}, .min = 0, .max = 100,
                           .selectors = 3});
  EXPECT_EQ(store.set("i.storm", 2, 1, Value{int64_t{40}}), OPEN_E_NONE);
  Value v;
  ASSERT_EQ(store.get("i.storm", 2, 1, v), OPEN_E_NONE);
  EXPECT_EQ(std::get<int64_t>(v), 40);
  ASSERT_EQ(store.get("i.storm", 2, 0, v), OPEN_E_NONE);
  EXPECT_EQ(std::get<int64_t>(v), 5);
  EXPECT_EQ(store.set("i.storm", 2, 3, Value{int64_t{40}}), OPEN_E_PARAM);  // no such selector
  EXPECT_EQ(store.get("i.storm", 9, 0, v), OPEN_E_PARAM);                   // no such port

  // Saved and loaded with their selector.
  JsonPtr saved(store.save_json());
  store.reset();
  ASSERT_TRUE(store.load_json(saved.get()));
  ASSERT_EQ(store.get("i.storm", 2, 1, v), OPEN_E_NONE);
  EXPECT_EQ(std::get<int64_t>(v), 40);
}

TEST_F(StoreTest, ANamedRowMustExistAndCannotBeRemovedWhileNamed) {
  store.refer("v.acl", "acls");
  EXPECT_EQ(store.set("v.acl", 10, Value{std::string("web")}), OPEN_E_NOT_FOUND);
  ASSERT_EQ(store.table("acls").insert({std::string("web")}, {}), OPEN_E_NONE);
  EXPECT_EQ(store.set("v.acl", 10, Value{std::string("web")}), OPEN_E_NONE);
  EXPECT_EQ(store.remove_row("acls", {std::string("web")}), OPEN_E_INUSE);
  EXPECT_EQ(store.set("v.acl", 10, Value{std::string("")}), OPEN_E_NONE);  // no longer named
  EXPECT_EQ(store.remove_row("acls", {std::string("web")}), OPEN_E_NONE);
  EXPECT_THROW(store.refer("i.rate", "acls"), std::logic_error);  // a number names no row
}

}  // namespace

namespace {

// Handles: resolved once, read and written without a lookup by name.
TEST_F(StoreTest, AHandleReadsAndWritesAsTheKeyDoes) {
  SettingRef rate = store.setting("i.rate");
  EXPECT_EQ(rate.key(), "i.rate");
  EXPECT_EQ(rate.spec().scope, Scope::Intf);
  EXPECT_EQ(rate.set(3, Value{int64_t{-1}}), OPEN_E_NONE);
  EXPECT_EQ(store.integer("i.rate", 3), -1);  // the string API sees the handle's write
  EXPECT_EQ(rate.set(3, Value{int64_t{301}}), OPEN_E_PARAM);
  EXPECT_EQ(rate.set(99, Value{int64_t{1}}), OPEN_E_PARAM);        // no such interface
  EXPECT_EQ(rate.set(3, Value{std::string("1")}), OPEN_E_PARAM);   // wrong kind
  EXPECT_EQ(rate.set(3, 1, Value{int64_t{1}}), OPEN_E_PARAM);      // no selectors
  ASSERT_EQ(store.set("i.rate", 4, Value{int64_t{200}}), OPEN_E_NONE);
  EXPECT_EQ(rate.integer(4), 200);  // and the handle the string API's
  EXPECT_EQ(rate.integer(5), 15);   // the default
  Value v;
  EXPECT_EQ(rate.get(99, v), OPEN_E_PARAM);
  EXPECT_EQ(rate.check_index(6), OPEN_E_NONE);

  SettingRef acl = store.setting("v.acl");
  EXPECT_EQ(acl.get(7, v), OPEN_E_NOT_FOUND);  // absent VLAN, as by key
  EXPECT_EQ(acl.set(10, Value{std::string("a1")}), OPEN_E_NONE);
  EXPECT_EQ(acl.text(10), "a1");
  EXPECT_EQ(store.text("v.acl", 10), "a1");

  SettingRef defined = store.define(SettingSpec{.key = "i.sel", .scope = Scope::Intf, .initial = int64_t{5},
                                                .min = 0, .max = 100, .selectors = 2});
  EXPECT_EQ(defined.set(2, 1, Value{int64_t{40}}), OPEN_E_NONE);
  ASSERT_EQ(store.get("i.sel", 2, 1, v), OPEN_E_NONE);
  EXPECT_EQ(std::get<int64_t>(v), 40);
  EXPECT_EQ(defined.set(2, 2, Value{int64_t{40}}), OPEN_E_PARAM);  // no such selector
}

TEST_F(StoreTest, AnUnknownKeyOrTableStopsAtLookup) {
  EXPECT_THROW(store.setting("i.rates"), std::logic_error);
  EXPECT_THROW(store.table("acl"), std::logic_error);
  EXPECT_THROW(store.define_table(kAcls), std::logic_error);  // twice
  EXPECT_THROW(store.define(kSpecs[0]), std::logic_error);
}

TEST_F(StoreTest, HandlesStayValidAcrossResetAndLoad) {
  SettingRef mode = store.setting("g.mode");
  SettingRef rate = store.setting("i.rate");
  Table &acls = store.table("acls");
  Table &learned = store.table("learned");
  ASSERT_EQ(mode.set(Value{int64_t{1}}), OPEN_E_NONE);
  ASSERT_EQ(rate.set(2, Value{int64_t{100}}), OPEN_E_NONE);
  ASSERT_EQ(acls.insert({std::string("web")}, {}), OPEN_E_NONE);
  ASSERT_EQ(learned.insert({int64_t{1}}, {}), OPEN_E_NONE);
  JsonPtr saved(store.save_json());

  store.reset_dynamic();
  EXPECT_EQ(learned.size(), 0u);
  EXPECT_EQ(&learned, &store.table("learned"));

  store.reset();
  EXPECT_EQ(mode.integer(), 0);
  EXPECT_EQ(acls.size(), 0u);
  EXPECT_EQ(&acls, &store.table("acls"));

  ASSERT_TRUE(store.load_json(saved.get()));
  EXPECT_EQ(mode.integer(), 1);
  EXPECT_EQ(rate.integer(2), 100);
  EXPECT_NE(acls.find({std::string("web")}), nullptr);
  EXPECT_EQ(&acls, &store.table("acls"));
  // Writes through the handles still land in the store.
  ASSERT_EQ(mode.set(Value{int64_t{0}}), OPEN_E_NONE);
  EXPECT_EQ(store.integer("g.mode"), 0);
}

TEST_F(StoreTest, AReferenceByHandleGuardsItsRows) {
  SettingRef acl = store.setting("v.acl");
  Table &acls = store.table("acls");
  store.refer(acl, acls);
  EXPECT_EQ(acl.set(10, Value{std::string("web")}), OPEN_E_NOT_FOUND);
  ASSERT_EQ(acls.insert({std::string("web")}, {}), OPEN_E_NONE);
  EXPECT_EQ(acl.set(10, Value{std::string("web")}), OPEN_E_NONE);
  EXPECT_TRUE(store.referenced(acls, {std::string("web")}));
  EXPECT_EQ(store.remove_row(acls, {std::string("web")}), OPEN_E_INUSE);
  EXPECT_EQ(acl.set(10, Value{std::string("")}), OPEN_E_NONE);
  EXPECT_EQ(store.remove_row(acls, {std::string("web")}), OPEN_E_NONE);
  EXPECT_THROW(store.refer(store.setting("i.rate"), acls), std::logic_error);
}

}  // namespace
