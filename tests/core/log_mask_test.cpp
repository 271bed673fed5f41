// What leaves the agent of a secret: "****" in the log, an empty text in an
// error detail, four characters of a token. Member names are judged as
// json-c decodes them, at any depth.
#include <string>

#include <gtest/gtest.h>

#include "core/log_mask.h"
#include "support/json_ptr.h"

namespace {

JsonPtr parse(const char *text) {
  JsonPtr doc(json_tokener_parse(text));
  EXPECT_TRUE(doc) << text;
  return doc;
}

TEST(MaskedJsonText, MasksEverySpellingOfASecretAtAnyDepth) {
  struct Case {
    const char *body;
    const char *logged;
  } cases[] = {
      {R"({"login": {"username": "admin", "password": "pa\"ss"}})",
       R"({"login":{"username":"admin","password":"****"}})"},
      // Escapes in the name decode to the secret name.
      {R"({"user_password_change": {"current": "a", "n\u0065w": "b", "\u0063onfirm": "c"}})",
       R"({"user_password_change":{"current":"****","new":"****","confirm":"****"}})"},
      // Any case; any type of value, objects and arrays included, whole.
      {R"([{"Secret": 12345, "KEY": true}, {"authKey": {"x": "y"}, "encryKey": [1, "z"], "token": null}])",
       R"([{"Secret":"****","KEY":"****"},{"authKey":"****","encryKey":"****","token":"****"}])"},
      {R"({"a": [{"b": {"c": {"password": "deep"}}}]})", R"({"a":[{"b":{"c":{"password":"****"}}}]})"},
      // Names and values that only look like secrets stay.
      {R"({"name": "password", "keys": "new", "note": "\"key\": \"x\"", "n": [1, 2]})",
       R"({"name":"password","keys":"new","note":"\"key\": \"x\"","n":[1,2]})"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.body);
    JsonPtr doc = parse(c.body);
    std::string before = json_text(doc.get());
    EXPECT_EQ(masked_json_text(doc.get()), c.logged);
    EXPECT_EQ(json_text(doc.get()), before);  // the document itself is unchanged
    // An answer is logged as it is only when nothing in it would be masked.
    EXPECT_EQ(has_secret_member(doc.get()), c.logged != before);
  }
  EXPECT_FALSE(has_secret_member(nullptr));
  EXPECT_EQ(masked_json_text(nullptr), "null");
}

TEST(BlankSecretMembers, EmptiesSecretsInPlaceAndKeepsTheRest) {
  JsonPtr details = parse(R"({"password": "short", "params": "Password", "value": 5, "inner": {"Key": 7}})");
  blank_secret_members(details.get());
  EXPECT_EQ(json_text(details.get()), R"({"password":"","params":"Password","value":5,"inner":{"Key":""}})");
  blank_secret_members(nullptr);
}

TEST(TokenForLog, ShowsTheFirstFourCharactersOnly) {
  EXPECT_EQ(token_for_log("1A2B3C4D5E6F"), "1A2B...");
  EXPECT_EQ(token_for_log("1A"), "1A...");
  EXPECT_EQ(token_for_log(""), "...");
  EXPECT_EQ(token_for_log(nullptr), "");
}

}  // namespace
