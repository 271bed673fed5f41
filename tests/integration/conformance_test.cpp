// Every declared resource (VELTRUM_SERVE) through the real agent and the
// real simulator, driven by its own declaration: nothing here names a
// resource. For each one, as its shape allows:
//   - a GET answers an envelope (success unless its query names one entry);
//   - a body that is no array fails with the aggregate code and makes no
//     platform call;
//   - each range at min-1 and max+1 fails with errCode 9 and its label, a
//     port or VLAN 0 with 247 or 412, and leaves the settings unchanged;
//   - two bad elements give the aggregate code;
//   - a valid POST is listed by the next GET, and saves exactly once;
//   - a platform fault on the second element leaves the first applied,
//     is counted, and saves nothing;
//   - a created entry is deleted by DELETE.
// Family tests cover what is particular to a resource.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "core/handler.h"
#include "tests/integration/harness.h"
#include "uri/uri_table.h"

namespace {

using namespace veltrum::handler;
using veltrum::test::HttpResponse;
using veltrum::test::json_at;
using veltrum::test::json_int_at;
using veltrum::test::json_string_at;

// Each registration by a test name: the resource's name, and for a
// resource of several declarations (a read and writes of different
// shapes) the methods each answers for.
std::vector<std::string> declared_names() {
  std::vector<std::string> names;
  for (const Served &s : served()) {
    std::string name = s.name;
    if (s.methods != kServeAll) {
      for (auto [bit, method] : {std::pair{kServeGet, "_get"}, {kServePost, "_post"}, {kServeDelete, "_delete"}})
        if (s.methods & bit) name += method;
    }
    names.push_back(name);
  }
  return names;
}

const Served *registration(const std::string &test_name) {
  std::vector<std::string> names = declared_names();
  auto at = std::find(names.begin(), names.end(), test_name);
  return at == names.end() ? nullptr : &served()[static_cast<size_t>(at - names.begin())];
}

// Whether a key appears by its own name in a GET answer (a merged key's
// getter answers members of other names).
bool appears(const Resource &r, size_t i) { return listed(r, i) && !(r.fields[i].flags & kMerge); }
bool is_list(const Resource &r) { return r.walk.kind != WalkKind::Scalar; }
// Whether GET names one entry by its required query variables (which a
// fresh switch need not have).
bool reads_one_entry(const Resource &r) {
  if (r.walk.kind == WalkKind::Single) return true;
  for (const Query &q : r.query)
    if (q.missing_log && q.index >= 0) return true;
  return false;
}

class Conformance : public veltrum::test::LoggedInSuite, public ::testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override {
    LoggedInSuite::SetUp();
    if (HasFatalFailure()) return;
    ASSERT_EQ(openapiClientRegister("conformance", &g_client_handle), OPEN_E_NONE);
    const Served *s = registration(GetParam());
    ASSERT_NE(s, nullptr);
    res_ = s->resource;
    methods_ = s->methods;
    name_ = s->name;
    ASSERT_NE(find_uri_entry(("/api/v1/" + name_).c_str()), nullptr);
    fresh_switch();
  }
  void TearDown() override { openapiClientTearDown(&g_client_handle); }

  // Factory defaults, a second VLAN for walks over VLANs, counts cleared.
  void fresh_switch() {
    harness().sim().clear_faults();
    harness().sim().factory_reset();
    ASSERT_EQ(harness().sim().set("vlans", R"({"key":[2],"record":{"name":"v2","type":2}})"), OPEN_E_NONE);
    harness().sim().reset_counts();
  }

  // The methods the declaration answers for (code of its own may answer the others).
  bool gets() const { return (methods_ & kServeGet) && serves_get(*res_); }
  bool posts() const { return (methods_ & kServePost) && serves_post(*res_); }
  bool deletes() const { return (methods_ & kServeDelete) && serves_delete(*res_); }

  // ---- requests

  std::string query_string() {
    std::string q;
    for (const Query &v : res_->query) {
      if (!v.missing_log) continue;
      q += (q.empty() ? "?" : "&") + std::string(v.name) + "=" + text(sample(v.check, 1));
    }
    return q;
  }
  HttpResponse get() { return harness().get("/api/v1/" + name_ + query_string(), auth()); }
  HttpResponse post(json_object *body) { return harness().post("/api/v1/" + name_, json_text(body), auth()); }
  HttpResponse del(json_object *body) { return harness().del("/api/v1/" + name_, json_text(body), auth()); }
  unsigned saves() { return harness().sim().count("rpcclt_openapiSaveConfig"); }

  // {name: elements} for lists, {name: element} for scalars; owned.
  JsonPtr body(json_object *elements) {
    JsonPtr doc(json_object_new_object());
    json_object *inner = elements;
    if (res_->wrapper) {
      inner = json_object_new_object();
      json_object_object_add(inner, res_->wrapper, elements);
    }
    json_object_object_add(doc.get(), res_->body_name(), inner);
    return doc;
  }

  // ---- values

  static std::string text(json_object *v) {
    std::string t = json_object_get_string(v);
    json_object_put(v);
    return t;
  }

  // A valid value of a check: the n-th of its kind (n counts from 1), or
  // null when the check says nothing of the value's form.
  json_object *sample(const Check &c, int n) {
    int64_t min = c.min, max = c.max;
    switch (c.kind) {
      case CheckKind::Range:
      case CheckKind::Flag:
      case CheckKind::Choice:
        return json_object_new_int64(std::min(max, min + n - 1));
      case CheckKind::Limits:
        EXPECT_EQ(c.limits(min, max), OPEN_E_NONE);
        return json_object_new_int64(std::min(max, min + n - 1));
      case CheckKind::OneOf:
        return json_object_new_int64(c.values[(n - 1) % c.value_count]);
      case CheckKind::NonZero:
        return json_object_new_int64(n);
      case CheckKind::Port:
        return json_object_new_int64(c.port_kind == 2 ? 32 + n : n);
      case CheckKind::Vlan:
        return json_object_new_int64(n);
      case CheckKind::Mac:
        return json_object_new_string(("00:11:22:33:44:0" + std::to_string(n)).c_str());
      case CheckKind::Text:
        return json_object_new_string(std::string(static_cast<size_t>(std::max<int64_t>(c.min, 1)), 'a' + n).c_str());
      case CheckKind::String:
        return json_object_new_string(("conf" + std::to_string(n)).c_str());
      case CheckKind::Number:
        return json_object_new_int64(n);
      case CheckKind::Ipv4:
      case CheckKind::Ip:
        return json_object_new_string(("10.0.0." + std::to_string(n)).c_str());
      case CheckKind::Ipv6:
        return json_object_new_string(("2001:db8::" + std::to_string(n)).c_str());
      case CheckKind::Mask:
        return json_object_new_string("255.255.255.0");
      case CheckKind::Host:
        return json_object_new_string(("host" + std::to_string(n)).c_str());
      default:
        return nullptr;
    }
  }

  // A valid value other than `current` where the check allows one.
  json_object *changed(const Check &c, json_object *current) {
    int64_t min = c.min, max = c.max;
    if (c.kind == CheckKind::Limits) {
      EXPECT_EQ(c.limits(min, max), OPEN_E_NONE);
    }
    int64_t now = current ? json_object_get_int64(current) : min;
    switch (c.kind) {
      case CheckKind::Range:
      case CheckKind::Limits:
      case CheckKind::Flag:
      case CheckKind::Choice:
        return json_object_new_int64(now == min ? max : min);
      default:
        return current ? json_object_get(current) : sample(c, 1);
    }
  }

  // The GET element with this index (null if none is listed).
  json_object *listed_element(json_object *doc, json_object *index_values) {
    json_object *data = json_at(doc, {name_.c_str()});
    if (res_->wrapper) data = json_at(data, {res_->wrapper});
    if (!is_list(*res_)) return data;
    if (!json_object_is_type(data, json_type_array)) return nullptr;
    for (size_t e = 0; e < json_object_array_length(data); ++e) {
      json_object *el = json_object_array_get_idx(data, e);
      bool same = true;
      json_object_object_foreach(index_values, key, value) {
        json_object *v = nullptr;
        same = same && json_object_object_get_ex(el, key, &v) && json_object_equal(v, value);
      }
      if (same) return el;
    }
    return nullptr;
  }

  // The index members of the n-th element.
  JsonPtr index_of(int n) {
    JsonPtr idx(json_object_new_object());
    for (size_t i = 0; i < res_->fields.size(); ++i)
      if (is_index(*res_, i)) json_object_object_add(idx.get(), res_->fields[i].key, sample(res_->fields[i].check, n));
    return idx;
  }

  // A valid element for index n: its current values where the switch
  // lists them, changed where the check knows another valid value; null
  // when some posted member has no value to give. A key declared by
  // several fields (one value, several checks or calls) takes its value
  // from the first.
  JsonPtr element(int n, json_object *current_doc, bool change) {
    JsonPtr idx = index_of(n);
    json_object *current = current_doc ? listed_element(current_doc, idx.get()) : nullptr;
    JsonPtr el(json_object_new_object());
    for (size_t i = 0; i < res_->fields.size(); ++i) {
      const Field &f = res_->fields[i];
      if (!posted(*res_, i) || json_object_object_get_ex(el.get(), f.key, nullptr)) continue;
      json_object *v = nullptr;
      if (is_index(*res_, i)) {
        v = json_object_get(json_at(idx.get(), {f.key}));
      } else {
        json_object *now = current ? json_at(current, {f.key}) : nullptr;
        if (change && appears(*res_, i) && f.set) v = changed(f.check, now);
        if (!v && now) v = json_object_get(now);
        if (!v) v = sample(f.check, 1);
      }
      if (!v) return JsonPtr(nullptr);
      json_object_object_add(el.get(), f.key, v);
    }
    return el;
  }

  JsonPtr array_of(std::initializer_list<json_object *> elements) {
    JsonPtr a(json_object_new_array());
    for (json_object *e : elements) json_object_array_add(a.get(), json_object_get(e));
    return a;
  }
  JsonPtr request_of(json_object *el) {
    if (!is_list(*res_)) return body(json_object_get(el));
    return body(json_object_get(array_of({el}).get()));
  }

  void expect_failure(const HttpResponse &r, int code, const std::string &what) {
    JsonPtr doc = r.json();
    EXPECT_EQ(json_int_at(doc.get(), {"resp", "respCode"}), -1) << what << ": " << r.body;
    if (code >= 0) {
      EXPECT_EQ(json_int_at(doc.get(), {"resp", "errCode"}), code) << what << ": " << r.body;
    }
  }
  bool succeeded(const HttpResponse &r) { return json_string_at(r.json().get(), {"resp", "status"}) == "success"; }

  bool writes_generically() const {
    for (size_t i = 0; i < res_->fields.size(); ++i)
      if (posted(*res_, i) && (res_->fields[i].flags & kRefers)) return false;  // names an entry of elsewhere
    return posts() && res_->nested.empty() && res_->walk.kind != WalkKind::Single &&
           !(res_->walk.kind == WalkKind::Scalar && res_->create);
  }

  const Resource *res_ = nullptr;
  uint8_t methods_ = kServeAll;
  std::string name_;
};

TEST_P(Conformance, ReadsAnswerAnEnvelope) {
  if (!find_uri_entry(("/api/v1/" + name_).c_str())->get) GTEST_SKIP() << "no GET";
  HttpResponse r = get();
  JsonPtr doc = r.json();
  ASSERT_NE(json_at(doc.get(), {"resp"}), nullptr) << r.body;
  if (gets() && !reads_one_entry(*res_)) {
    EXPECT_TRUE(succeeded(r)) << r.body;
  }
  EXPECT_EQ(saves(), 0u);
}

TEST_P(Conformance, BodiesThatAreNoArrayFailWithoutPlatformCalls) {
  if (!is_list(*res_) || !(posts() || deletes())) GTEST_SKIP() << "no array writes";
  JsonPtr doc = body(json_object_new_object());
  harness().sim().reset_counts();
  HttpResponse r = posts() ? post(doc.get()) : del(doc.get());
  expect_failure(r, res_->aggregate, "object instead of array");
  EXPECT_TRUE(harness().sim().journal().empty()) << r.body;
  EXPECT_EQ(saves(), 0u);
}

TEST_P(Conformance, RefusedValuesGiveTheirCodesAndChangeNothing) {
  if (!posts()) GTEST_SKIP() << "no POST";
  JsonPtr before_doc = get().json();
  JsonPtr valid = element(1, before_doc.get(), false);
  if (!valid) GTEST_SKIP() << "no valid element to start from";
  std::string before = json_text(before_doc.get());
  int cases = 0;
  for (size_t i = 0; i < res_->fields.size(); ++i) {
    const Field &f = res_->fields[i];
    if (!posted(*res_, i)) continue;
    int64_t min = f.check.min, max = f.check.max;
    std::vector<std::pair<int64_t, int>> refused;  // value, errCode
    if (f.check.kind == CheckKind::Range || f.check.kind == CheckKind::Limits) {
      if (f.check.kind == CheckKind::Limits) {
        ASSERT_EQ(f.check.limits(min, max), OPEN_E_NONE);
      }
      refused = {{min - 1, f.check.code}, {max + 1, f.check.code}};
    } else if (f.check.kind == CheckKind::Port) {
      refused = {{0, 247}};
    } else if (f.check.kind == CheckKind::Vlan) {
      refused = {{0, 412}};
    }
    for (auto [value, code] : refused) {
      ++cases;
      std::string what = std::string(f.key) + " = " + std::to_string(value);
      JsonPtr bad(json_tokener_parse(json_text(valid.get()).c_str()));
      json_object_object_add(bad.get(), f.key, json_object_new_int64(value));
      harness().sim().reset_counts();
      HttpResponse r = post(request_of(bad.get()).get());
      expect_failure(r, res_->walk.kind == WalkKind::Scalar && code < 0 ? -1 : code, what);
      JsonPtr doc = r.json();
      if (f.check.kind == CheckKind::Port) {
        EXPECT_EQ(json_int_at(doc.get(), {"resp", "errMsgArgs", "port_id"}), 0) << what;
      }
      if (f.check.kind == CheckKind::Vlan) {
        EXPECT_EQ(json_int_at(doc.get(), {"resp", "errMsgArgs", "vlan_id"}), 0) << what;
      }
      if (f.check.kind == CheckKind::Range || f.check.kind == CheckKind::Limits) {
        EXPECT_EQ(json_int_at(doc.get(), {"resp", "errMsgArgs", "value"}), value) << what;
        EXPECT_EQ(json_string_at(doc.get(), {"resp", "errMsgArgs", "params"}), f.check.label) << what;
        EXPECT_EQ(json_int_at(doc.get(), {"resp", "errMsgArgs", "min"}), min) << what;
        EXPECT_EQ(json_int_at(doc.get(), {"resp", "errMsgArgs", "max"}), max) << what;
      }
      EXPECT_EQ(saves(), 0u) << what;
      EXPECT_EQ(json_text(get().json().get()), before) << what << " changed the switch";
    }
    // A text where a number belongs is refused too.
    if (numeric_check(f.check) && f.check.kind != CheckKind::Custom) {
      JsonPtr bad(json_tokener_parse(json_text(valid.get()).c_str()));
      json_object_object_add(bad.get(), f.key, json_object_new_string("abc"));
      HttpResponse r = post(request_of(bad.get()).get());
      expect_failure(r, -1, std::string(f.key) + " = \"abc\"");
      EXPECT_EQ(json_text(get().json().get()), before) << f.key << " = \"abc\" changed the switch";
    }
  }
  if (cases == 0 && !is_list(*res_)) return;
  if (is_list(*res_) && cases > 0) {
    // Two bad elements: the aggregate code.
    JsonPtr bad(json_tokener_parse(json_text(valid.get()).c_str()));
    for (size_t i = 0; i < res_->fields.size(); ++i)
      if (posted(*res_, i) && numeric_check(res_->fields[i].check) && res_->fields[i].check.kind != CheckKind::Custom)
        json_object_object_add(bad.get(), res_->fields[i].key, json_object_new_int64(-999999));
    HttpResponse r = post(body(json_object_get(array_of({bad.get(), bad.get()}).get())).get());
    expect_failure(r, res_->aggregate, "two bad elements");
    EXPECT_EQ(saves(), 0u);
  }
}

TEST_P(Conformance, ValidPostsAreListedAndSavedOnce) {
  if (!writes_generically()) GTEST_SKIP() << "writes need entries of their own; see the family's tests";
  JsonPtr before = get().json();
  JsonPtr el = element(1, before.get(), true);
  if (!el) GTEST_SKIP() << "no valid element";
  HttpResponse r = post(request_of(el.get()).get());
  ASSERT_TRUE(succeeded(r)) << json_text(el.get()) << " -> " << r.body;
  EXPECT_EQ(saves(), 1u);
  if (!gets()) return;
  JsonPtr after = get().json();
  json_object *listed_el = listed_element(after.get(), index_of(1).get());
  ASSERT_NE(listed_el, nullptr) << "not listed after the POST: " << json_text(after.get());
  for (size_t i = 0; i < res_->fields.size(); ++i) {
    const Field &f = res_->fields[i];
    if (!posted(*res_, i) || !appears(*res_, i)) continue;
    EXPECT_TRUE(json_object_equal(json_at(listed_el, {f.key}), json_at(el.get(), {f.key})))
        << f.key << ": posted " << json_text(el.get()) << ", listed " << json_text(listed_el);
  }

  if (deletes()) {
    harness().sim().reset_counts();
    r = del(request_of(el.get()).get());
    ASSERT_TRUE(succeeded(r)) << r.body;
    EXPECT_EQ(saves(), 1u);
    EXPECT_EQ(listed_element(get().json().get(), index_of(1).get()), nullptr) << "still listed after DELETE";
  }
}

// Scalars: a fault on the last setter leaves the earlier ones applied.
TEST_P(Conformance, PlatformFaultOnTheLastElementKeepsTheFirst) {
  if (!writes_generically() || !gets()) GTEST_SKIP() << "no generic writes";
  JsonPtr before = get().json();
  JsonPtr first = element(1, before.get(), true);
  JsonPtr second = is_list(*res_) ? element(2, before.get(), true) : nullptr;
  if (!first || (is_list(*res_) && !second)) GTEST_SKIP() << "no valid elements";
  JsonPtr request = is_list(*res_) ? body(json_object_get(array_of({first.get(), second.get()}).get()))
                                   : request_of(first.get());
  // For a scalar, the member of the faulted setter is the last one set.
  const char *faulted = nullptr;
  if (!is_list(*res_))
    for (const Field &f : res_->fields)
      if (f.set) faulted = f.key;

  // Which call the second element makes last, from a run without faults
  // (the journal then holds the POST's calls only).
  harness().sim().reset_counts();
  HttpResponse r = post(request.get());
  ASSERT_TRUE(succeeded(r)) << r.body;
  std::vector<std::string> journal = harness().sim().journal();
  journal.erase(std::remove(journal.begin(), journal.end(), "rpcclt_openapiSaveConfig"), journal.end());
  ASSERT_FALSE(journal.empty());
  const std::string last = journal.back();
  auto made = static_cast<uint32_t>(std::count(journal.begin(), journal.end(), last));

  fresh_switch();
  harness().sim().fail_after(last, made - 1, 1, OPEN_E_FAIL);
  r = post(request.get());
  expect_failure(r, is_list(*res_) ? res_->aggregate : -1, "fault on " + last);
  EXPECT_EQ(saves(), 0u);
  harness().sim().clear_faults();
  JsonPtr after = get().json();
  json_object *listed_el = listed_element(after.get(), index_of(1).get());
  ASSERT_NE(listed_el, nullptr) << json_text(after.get());
  for (size_t i = 0; i < res_->fields.size(); ++i) {
    if (!posted(*res_, i) || !appears(*res_, i) || (faulted && !std::strcmp(faulted, res_->fields[i].key))) continue;
    EXPECT_TRUE(json_object_equal(json_at(listed_el, {res_->fields[i].key}), json_at(first.get(), {res_->fields[i].key})))
        << res_->fields[i].key << " of the first element was not kept";
  }
}

INSTANTIATE_TEST_SUITE_P(Declared, Conformance, ::testing::ValuesIn(declared_names()),
                         [](const ::testing::TestParamInfo<std::string> &p) { return p.param; });

}  // namespace
