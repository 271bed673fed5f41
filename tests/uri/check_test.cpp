// Checks whose failures must not say more than they should: a secret never
// appears in the log or in the error arguments, and a range message that
// takes the value and its bounds gets all three.
#include <gtest/gtest.h>

#include <string>

#include "core/handler.h"
#include "support/json_ptr.h"

namespace {

using namespace veltrum::handler;

int limits_1_to_4(int64_t &min, int64_t &max) {
  min = 1;
  max = 4;
  return OPEN_E_NONE;
}

TEST(Checks, ARefusedSecretIsNeitherLoggedNorAnswered) {
  for (const Check &check :
       {secret_length(0, 4, "Key longer than %d"), secret_length(0, 0, "Key longer than %d", limits_1_to_4)}) {
    Outcome out;
    JsonPtr value(json_object_new_string("hunter2-secret"));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(check_value(out, "key", check, value.get()));
    std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(log.find("hunter2"), std::string::npos) << log;
    EXPECT_NE(log.find("Key longer than 4"), std::string::npos) << log;
    EXPECT_EQ(out.failures, 1u);
    EXPECT_EQ(out.err_code, 0);
    EXPECT_EQ(json_text(out.err_args), "{}");
  }
  Outcome out;
  JsonPtr fits(json_object_new_string("abcd"));
  EXPECT_TRUE(check_value(out, "key", secret_length(0, 0, "Key longer than %d", limits_1_to_4), fits.get()));
  JsonPtr empty(json_object_new_string(""));
  EXPECT_FALSE(check_value(out, "key", secret_length(0, 0, "Key longer than %d", limits_1_to_4), empty.get()));
}

TEST(Checks, TextBoundsFromThePlatformAnswerTheValue) {
  Outcome out;
  JsonPtr value(json_object_new_string("server-name"));
  testing::internal::CaptureStderr();
  EXPECT_FALSE(
      check_value(out, "name", platform_text_length(limits_1_to_4, "Name", "Name is upto %d characters"), value.get()));
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Name is upto 4 characters"), std::string::npos);
  EXPECT_EQ(json_text(out.err_args), R"({"value":"server-name","params":"Name"})");
}

TEST(Checks, ARangeMessageMayTakeTheValueAndItsBounds) {
  Check timeout =
      range(1, 30, "Connection Timeout", "Error. timeout %d out of range (%d - %d)", 9, LogArgs::ValueMinMax);
  Outcome out;
  JsonPtr value(json_object_new_int64(31));
  testing::internal::CaptureStderr();
  EXPECT_FALSE(check_value(out, "timeout", timeout, value.get()));
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Error. timeout 31 out of range (1 - 30)"), std::string::npos);
  EXPECT_EQ(out.err_code, 9);
}

}  // namespace
