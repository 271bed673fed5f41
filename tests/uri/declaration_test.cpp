// The start-up check of the declarations: what the walkers cannot serve is
// refused before the agent answers anyone.
#include <gtest/gtest.h>

#include "core/platform_call.h"
#include "platform/calls/17_storm_control.h"
#include "tests/core/validate_test_util.h"
#include "uri/uri_table.h"

namespace {

using namespace veltrum::handler;

TEST(Declarations, EveryServedDeclarationMatchesItsRow) { EXPECT_TRUE(check_uri_table()); }

int no_call(const Element &, json_object **) { return OPEN_E_NONE; }

TEST(Declarations, WhatTheWalkersCannotServeIsRefused) {
  // A key GET must list, without a getter.
  static const Field kNoGetter[] = {{.key = "mode", .check = flag("Invalid %d"), .flags = kGet}};
  EXPECT_FALSE(check_declaration("no_getter", Resource{.name = "x", .walk = scalar(), .fields = kNoGetter}));

  // A log format that reads a text where the walker gives a number, or more
  // arguments than it gives.
  static const Field kText[] = {{.key = "port", .check = port_check(3, "Port validation failed")},
                                {.key = "mode", .check = flag("Invalid %d"), .get = no_call, .set_error = "Failed on port %s: %d", .set_log = SetLog::IndexRc}};
  EXPECT_FALSE(check_declaration("text_for_number", Resource{.name = "x", .walk = ports(), .fields = kText}));
  static const Field kTooMany[] = {
      {.key = "mode", .get = no_call, .get_error = "Failed %d of %d"}};
  EXPECT_FALSE(check_declaration("too_many", Resource{.name = "x", .walk = scalar(), .fields = kTooMany}));
  // A missing member's log is written as it stands: it takes no arguments.
  static const Field kMissing[] = {
      {.key = "mode", .check = flag("Invalid %d"), .get = no_call, .missing_log = "Parsing Error: '%s' invalid.\n"}};
  EXPECT_FALSE(check_declaration("missing_log", Resource{.name = "x", .walk = scalar(), .fields = kMissing}));
  // A length modifier: the walkers give an int, whatever the target's long.
  static const Field kIntmax[] = {{.key = "mode", .get = no_call, .get_error = "Failed %jd"}};
  EXPECT_FALSE(check_declaration("intmax", Resource{.name = "x", .walk = scalar(), .fields = kIntmax}));
  static const Field kPtrdiff[] = {{.key = "mode", .get = no_call, .get_error = "Failed %td"}};
  EXPECT_FALSE(check_declaration("ptrdiff", Resource{.name = "x", .walk = scalar(), .fields = kPtrdiff}));

  // A port walk whose first key is no number; a list walk without cursor.
  static const Field kName[] = {{.key = "name", .check = any_text()}};
  EXPECT_FALSE(check_declaration("port_walk", Resource{.name = "x", .walk = ports(), .fields = kName}));
  EXPECT_FALSE(check_declaration("list_walk", Resource{.name = "x", .walk = list(nullptr), .fields = kName}));

  // More keys than an element holds.
  static Field many[129];
  for (auto &f : many) f = Field{"k", no_check(), no_call};
  EXPECT_FALSE(check_declaration("too_many_keys", Resource{.name = "x", .walk = scalar(), .fields = many}));

  // And one that is fine.
  static const Field kFine[] = {{.key = "mode", .check = flag("Invalid mode %d"), .get = no_call, .get_error = "Failed to get %d"}};
  EXPECT_TRUE(check_declaration("fine", Resource{.name = "x", .walk = scalar(), .fields = kFine}));
}

// A binding that names what its element does not have is refused at start,
// with the resource and the binding named: found when the agent starts, not
// as a platform error at request time.
TEST(Declarations, BindingsThatNameWhatTheElementLacksAreRefusedByName) {
  using namespace veltrum::calls::storm_control;
  auto refused = [](const char *name, const Resource &r, const char *expected) {
    LogCapture log;
    EXPECT_FALSE(check_declaration(name, r)) << name;
    const std::string text = log.text();
    EXPECT_NE(text.find(std::string("The declaration of ") + name + " cannot be served"), std::string::npos) << text;
    EXPECT_NE(text.find(expected), std::string::npos) << text;
  };
  // A misspelled member.
  static const Field kMember[] = {
      {.key = "port", .check = port_check(3, "Port validation failed")},
      {.key = "mode", .check = choice(0, 2, "Invalid mode %d"), .flags = kPost},
      {.key = "state",
       .check = flag("Invalid state %d"),
       .set = set<&rpcclt_openapiStormControlIntfModeSet, Idx<0>, Key<"mdoe">, Val>}};
  refused("misspelled_key", Resource{.name = "misspelled_key", .walk = ports(), .fields = kMember},
          "the setter of state names no key of the element: mdoe");
  // A misspelled query variable.
  static const Query kModeQuery[] = {{.name = "mode", .check = choice(0, 2, "Invalid mode %d")}};
  static const Field kQuery[] = {
      {.key = "port", .check = port_check(3, "Port validation failed")},
      {.key = "state", .get = get<&rpcclt_openapiStormControlIntfModeGet, Idx<0>, Q<"mod">, Val>}};
  refused("misspelled_query",
          Resource{.name = "misspelled_query", .walk = ports(), .fields = kQuery, .query = kModeQuery},
          "the getter of state names no query variable: mod");
  // An index position past the walk's: a port walk has one number.
  static const Field kDeep[] = {
      {.key = "port", .check = port_check(3, "Port validation failed")},
      {.key = "state", .get = get<&rpcclt_openapiStormControlIntfModeGet, Idx<1>, Lit<0>, Val>}};
  refused("index_past_walk", Resource{.name = "index_past_walk", .walk = ports(), .fields = kDeep},
          "the getter of state reads an index number past the walk's: position 1 (the walk has 1)");
  // A nested list under a scalar write: the scalar write cannot hold it.
  static const Field kChildFields[] = {{.key = "port", .check = port_check(3, "Port validation failed")},
                                       {.key = "state", .check = flag("Invalid %d"),
                                        .set = set<&rpcclt_openapiStormControlIntfModeSet, Idx<0>, Lit<0>, Val>}};
  static const Resource kChild{.name = "child", .walk = ports(), .fields = kChildFields};
  static const Nested kNested{.key = "ports", .child = &kChild};
  static const Field kParent[] = {{.key = "mode", .check = flag("Invalid %d"), .flags = kPost}};
  refused("nested_under_scalar",
          Resource{.name = "nested_under_scalar", .walk = scalar(), .fields = kParent, .nested = {&kNested, 1}},
          "a scalar write cannot hold the nested list ports");
}

}  // namespace
