// What the request log keeps of a body: secret members masked, the rest
// as it came, also for partial and malformed bodies.
#include <string>

#include <gtest/gtest.h>

#include "core/log_mask.h"

namespace {

TEST(MaskSecrets, MasksTheValuesOfSecretMembersAnywhere) {
  EXPECT_EQ(mask_secrets(R"({"login":{"username":"admin","password":"pa\"ss"}})"),
            R"({"login":{"username":"admin","password":"****"}})");
  EXPECT_EQ(mask_secrets(R"({"user_password_change": {"current" : "a", "new":"b", "confirm":	"c"}})"),
            R"({"user_password_change": {"current" : "****", "new":"****", "confirm":	"****"}})");
  EXPECT_EQ(mask_secrets(R"([{"secret": 12345, "key": true}, {"authKey": "x", "encryKey": null}])"),
            R"([{"secret": ****, "key": ****}, {"authKey": "****", "encryKey": ****}])");
  // Names are compared without regard to case.
  EXPECT_EQ(mask_secrets(R"({"Password": "x", "AUTHKEY": "y"})"), R"({"Password": "****", "AUTHKEY": "****"})");
}

TEST(MaskSecrets, LeavesEverythingElseAlone) {
  const std::string plain = R"({"name": "password", "keys": "new", "note": "\"key\": \"x\"", "n": [1, 2]})";
  EXPECT_EQ(mask_secrets(plain), plain);
  EXPECT_EQ(mask_secrets(""), "");
  EXPECT_EQ(mask_secrets("not json at all"), "not json at all");
  // An object or array under a secret name is walked, not swallowed.
  EXPECT_EQ(mask_secrets(R"({"key": {"id": 1, "secret": "s"}})"), R"({"key": {"id": 1, "secret": "****"}})");
}

TEST(MaskSecrets, PartialBodiesNeverLeakTheSecret) {
  EXPECT_EQ(mask_secrets(R"({"password": "abc)"), R"({"password": "****)");
  EXPECT_EQ(mask_secrets(R"({"password": )"), R"({"password": )");
  EXPECT_EQ(mask_secrets(R"({"password)"), R"({"password)");
  EXPECT_EQ(mask_secrets(R"({"password": 12)"), R"({"password": ****)");
}

}  // namespace
