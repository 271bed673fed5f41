// The start-up check of the declarations: what the walkers cannot serve is
// refused before the agent answers anyone.
#include <gtest/gtest.h>

#include "core/platform_call.h"
#include "uri/uri_table.h"

namespace {

using namespace veltrum::handler;

TEST(Declarations, EveryServedDeclarationMatchesItsRow) { EXPECT_TRUE(check_uri_table()); }

int no_call(const Element &, json_object **) { return OPEN_E_NONE; }

TEST(Declarations, WhatTheWalkersCannotServeIsRefused) {
  // A key GET must list, without a getter.
  static const Field kNoGetter[] = {{"mode", flag("Invalid %d"), nullptr, nullptr, nullptr, nullptr, SetLog::Rc, kGet}};
  EXPECT_FALSE(check_declaration("no_getter", Resource{.name = "x", .walk = scalar(), .fields = kNoGetter}));

  // A log format that reads a text where the walker gives a number, or more
  // arguments than it gives.
  static const Field kText[] = {{"port", port_check(3, "Port validation failed")},
                                {"mode", flag("Invalid %d"), no_call, nullptr, nullptr, "Failed on port %s: %d",
                                 SetLog::IndexRc}};
  EXPECT_FALSE(check_declaration("text_for_number", Resource{.name = "x", .walk = ports(), .fields = kText}));
  static const Field kTooMany[] = {
      {"mode", no_check(), no_call, nullptr, "Failed %d of %d", nullptr, SetLog::Rc}};
  EXPECT_FALSE(check_declaration("too_many", Resource{.name = "x", .walk = scalar(), .fields = kTooMany}));
  // A missing member's log is written as it stands: it takes no arguments.
  static const Field kMissing[] = {
      {"mode", flag("Invalid %d"), no_call, nullptr, nullptr, nullptr, SetLog::Rc, 0, "Parsing Error: '%s' invalid.\n"}};
  EXPECT_FALSE(check_declaration("missing_log", Resource{.name = "x", .walk = scalar(), .fields = kMissing}));
  // A length modifier: the walkers give an int, whatever the target's long.
  static const Field kIntmax[] = {{"mode", no_check(), no_call, nullptr, "Failed %jd", nullptr, SetLog::Rc}};
  EXPECT_FALSE(check_declaration("intmax", Resource{.name = "x", .walk = scalar(), .fields = kIntmax}));
  static const Field kPtrdiff[] = {{"mode", no_check(), no_call, nullptr, "Failed %td", nullptr, SetLog::Rc}};
  EXPECT_FALSE(check_declaration("ptrdiff", Resource{.name = "x", .walk = scalar(), .fields = kPtrdiff}));

  // A port walk whose first key is no number; a list walk without cursor.
  static const Field kName[] = {{"name", any_text()}};
  EXPECT_FALSE(check_declaration("port_walk", Resource{.name = "x", .walk = ports(), .fields = kName}));
  EXPECT_FALSE(check_declaration("list_walk", Resource{.name = "x", .walk = list(nullptr), .fields = kName}));

  // More keys than an element holds.
  static Field many[65];
  for (auto &f : many) f = Field{"k", no_check(), no_call};
  EXPECT_FALSE(check_declaration("too_many_keys", Resource{.name = "x", .walk = scalar(), .fields = many}));

  // And one that is fine.
  static const Field kFine[] = {{"mode", flag("Invalid mode %d"), no_call, nullptr, "Failed to get %d"}};
  EXPECT_TRUE(check_declaration("fine", Resource{.name = "x", .walk = scalar(), .fields = kFine}));
}

}  // namespace
