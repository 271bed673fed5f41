// The response builder and the error record: envelope member order, the
// error record's carry-over and bounds, the save a successful write makes,
// what reaches the log, and the field extraction.
#include <string>

#include <gtest/gtest.h>

#include "core/response.h"
#include "support/json_ptr.h"
#include "tests/core/validate_test_util.h"

namespace {

// The error record is process-wide and never cleared: this test must run
// before any other test of this program sets it.
TEST(ErrorRecordBeforeFirstError, FailureEnvelopeHasNoErrCode) {
  ASSERT_EQ(rest_err(), nullptr) << "an earlier test set the error record";
  ResponseHolder holder{};
  JsonPtr envelope(json_object_new_object());
  JsonPtr resp(json_object_new_object());
  uri_response(&holder, envelope.get(), resp.get(), nullptr, "vlan", -1);
  EXPECT_STREQ(holder.body, R"({"resp":{"status":"failure","respCode":-1}})");
  EXPECT_EQ(holder.status, 200);
  std::free(holder.body);
}

class ResponseTest : public SimulatedSwitchTest {
 protected:
  // Builds an answer the way handlers do and returns its text.
  std::string answer(json_object *data, const char *name, int rc, json_object *envelope = nullptr) {
    ResponseHolder holder{};
    JsonPtr env(envelope ? envelope : json_object_new_object());
    JsonPtr resp(json_object_new_object());
    uri_response(&holder, env.get(), resp.get(), data, name, rc);
    EXPECT_EQ(holder.status, 200);
    std::string text = holder.body ? holder.body : "(no body)";
    EXPECT_EQ(holder.length, holder.body ? std::strlen(holder.body) : 0u);
    std::free(holder.body);
    return text;
  }

  std::string program_log() { return read_text(sim_.root() + "/var/log/device-programs.log"); }

  static std::string read_text(const std::string &path) {
    std::ifstream in(path);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
  }
};

TEST_F(ResponseTest, EnvelopeMembersKeepTheirOrder) {
  JsonPtr data(json_tokener_parse(R"({"id": 5, "name": "v/5"})"));
  EXPECT_EQ(answer(data.get(), "vlan", 0),
            R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"vlan":{"id":5,"name":"v/5"}})");

  // Members the handler put first stay first.
  json_object *envelope = json_object_new_object();
  json_object_object_add(envelope, "total", json_object_new_int(2));
  EXPECT_EQ(answer(data.get(), "vlan", 0, envelope),
            R"({"total":2,"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"vlan":{"id":5,"name":"v/5"}})");

  // A failure keeps the data after "resp"; respCode is the handler's value.
  set_rest_err(7, nullptr);
  EXPECT_EQ(answer(data.get(), "vlan", -5),
            R"({"resp":{"status":"failure","respCode":-5,"errCode":7},"vlan":{"id":5,"name":"v/5"}})");
  // No data: the envelope has "resp" only.
  EXPECT_EQ(answer(nullptr, nullptr, 0), R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"}})");
}

TEST_F(ResponseTest, ErrorRecordCarriesOverUntilReplaced) {
  JsonPtr args(json_tokener_parse(R"({"vlan_id": 5})"));
  set_rest_err(412, args.get());
  args.reset();  // the record keeps its own reference
  const std::string failure_412 = R"({"resp":{"status":"failure","respCode":-1,"errCode":412,"errMsgArgs":{"vlan_id":5}}})";
  EXPECT_EQ(answer(nullptr, "vlan", -1), failure_412);
  // A later failure that sets nothing repeats code and arguments.
  EXPECT_EQ(answer(nullptr, "vlan", -1), failure_412);
  // A new code without arguments keeps the old arguments.
  set_rest_err(413, nullptr);
  EXPECT_EQ(answer(nullptr, "vlan", -1),
            R"({"resp":{"status":"failure","respCode":-1,"errCode":413,"errMsgArgs":{"vlan_id":5}}})");
  // New arguments replace the old ones.
  JsonPtr range(json_tokener_parse(R"({"value": 9, "params": "id", "min": 1, "max": 4})"));
  set_rest_err(414, range.get());
  EXPECT_EQ(answer(nullptr, "vlan", -1),
            R"({"resp":{"status":"failure","respCode":-1,"errCode":414,"errMsgArgs":{"value":9,"params":"id","min":1,"max":4}}})");
  // Success never shows the record.
  JsonPtr empty(json_object_new_object());
  EXPECT_EQ(answer(empty.get(), "vlan", 0),
            R"({"resp":{"status":"success","respCode":0,"respMsg":"Operation success"},"vlan":{}})");
}

TEST_F(ResponseTest, ErrorCodesOutside0To99999AreRefused) {
  JsonPtr kept(json_tokener_parse(R"({"k": 1})"));
  set_rest_err(500, kept.get());
  LogCapture log;
  JsonPtr other(json_tokener_parse(R"({"other": 2})"));
  set_rest_err(100000, other.get());
  set_rest_err(-1, other.get());
  ASSERT_NE(rest_err(), nullptr);
  EXPECT_EQ(rest_err()->code, 500);
  EXPECT_EQ(json_text(rest_err()->args), R"({"k":1})");
  EXPECT_NE(log.text().find("Invalid error code 100000."), std::string::npos) << log.text();
  EXPECT_NE(log.text().find("Invalid error code -1."), std::string::npos) << log.text();

  set_rest_err(0, nullptr);
  EXPECT_EQ(rest_err()->code, 0);
  set_rest_err(99999, nullptr);
  EXPECT_EQ(rest_err()->code, 99999);
}

TEST_F(ResponseTest, AnsweringSavesNothingTheSaveIsTheWritersOwn) {
  sim_.reset_counts();
  JsonPtr data(json_object_new_object());
  answer(data.get(), "vlan", 0);  // a read
  answer(nullptr, "vlan", -1);    // a failed write
  answer(nullptr, "vlan", 0);     // a successful write: its writer saves, not the answer
  EXPECT_EQ(sim_.count("rpcclt_openapiSaveConfig"), 0u);
  EXPECT_EQ(program_log(), "");

  save_running_config();
  EXPECT_EQ(sim_.count("rpcclt_openapiSaveConfig"), 1u);
  EXPECT_EQ(program_log(), "PellmarCli instant_monitoring\n");
}

TEST_F(ResponseTest, AFailedSaveIsLoggedAndTheCompanionToolStillRuns) {
  sim_.fail("rpcclt_openapiSaveConfig", 1, OPEN_E_FAIL);
  LogCapture log;
  save_running_config();
  EXPECT_NE(log.text().find("func=uri_response openapiSaveConfig Failed."), std::string::npos) << log.text();
  EXPECT_EQ(program_log(), "PellmarCli instant_monitoring\n");
}

TEST_F(ResponseTest, AnswersMentioningLoginAreNotLogged) {
  LogCapture log;
  JsonPtr token(json_tokener_parse(R"({"token": "ABCDEF0123"})"));
  answer(token.get(), "login", 0);
  JsonPtr data(json_tokener_parse(R"({"note": "relogin needed"})"));
  answer(data.get(), "vlan", 0);
  JsonPtr plain(json_tokener_parse(R"({"id": 77})"));
  answer(plain.get(), "vlan", 0);
  std::string text = log.text();
  EXPECT_EQ(text.find("ABCDEF0123"), std::string::npos) << text;
  EXPECT_EQ(text.find("relogin"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("vlan":{"id":77})"), std::string::npos) << text;
}

TEST_F(ResponseTest, MissingPartsMakeNoAnswerAndNoSave) {
  sim_.reset_counts();
  ResponseHolder holder{};
  JsonPtr envelope(json_object_new_object());
  JsonPtr resp(json_object_new_object());
  uri_response(nullptr, envelope.get(), resp.get(), nullptr, "vlan", 0);
  uri_response(&holder, nullptr, resp.get(), nullptr, "vlan", 0);
  uri_response(&holder, envelope.get(), nullptr, nullptr, "vlan", 0);
  EXPECT_EQ(holder.body, nullptr);
  EXPECT_EQ(holder.status, 0);
  EXPECT_EQ(json_object_object_length(resp.get()), 0);
  EXPECT_EQ(sim_.count("rpcclt_openapiSaveConfig"), 0u);
}

TEST(SetResponse, StoresACopyAndReplacesAnEarlierBody) {
  ResponseHolder holder{};
  char text[] = "first";
  set_response(&holder, text, 404);
  text[0] = 'X';
  EXPECT_STREQ(holder.body, "first");
  EXPECT_EQ(holder.length, 5u);
  EXPECT_EQ(holder.status, 404);
  // The holder's own body may be handed back in.
  set_response(&holder, holder.body, 201);
  EXPECT_STREQ(holder.body, "first");
  set_response(&holder, nullptr, 400);
  EXPECT_EQ(holder.body, nullptr);
  EXPECT_EQ(holder.length, 0u);
  EXPECT_EQ(holder.status, 400);
  set_response(nullptr, "ignored", 200);
}

TEST(ParseJsonFields, StrictStopsAtTheFirstMissingMember) {
  JsonPtr body(json_tokener_parse(R"({"user_password_change": {"current": "a", "confirm": "c"}})"));
  JsonField fields[] = {{"current", nullptr}, {"new", nullptr}, {"confirm", nullptr}};
  EXPECT_EQ(parse_json_fields("user_password_change", body.get(), fields, 3, false), -1);
  EXPECT_STREQ(last_error_text, "Parsing error (new)");
  EXPECT_STREQ(json_object_get_string(fields[0].value), "a");
  EXPECT_EQ(fields[1].value, nullptr);
  EXPECT_EQ(fields[2].value, nullptr);  // not reached
}

TEST(ParseJsonFields, LenientLeavesMissingMembersNull) {
  JsonPtr body(json_tokener_parse(R"({"x": {"a": 1, "c": 3}})"));
  JsonField fields[] = {{"a", nullptr}, {"b", nullptr}, {"c", nullptr}, {"d", nullptr}};
  EXPECT_EQ(parse_json_fields("x", body.get(), fields, 4, true), 0);
  EXPECT_EQ(json_object_get_int(fields[0].value), 1);
  EXPECT_EQ(fields[1].value, nullptr);
  EXPECT_EQ(json_object_get_int(fields[2].value), 3);
  EXPECT_EQ(fields[3].value, nullptr);
  EXPECT_STREQ(last_error_text, "Parsing error (d)");
  // The values belong to the request object.
  EXPECT_EQ(json_object_get(fields[0].value), fields[0].value);
  json_object_put(fields[0].value);
}

TEST(ParseJsonFields, AMissingKeyFailsBothForms) {
  JsonPtr body(json_tokener_parse(R"({"a": 1})"));
  JsonField fields[] = {{"a", nullptr}};
  EXPECT_EQ(parse_json_fields("login", body.get(), fields, 1, true), -1);
  EXPECT_STREQ(last_error_text, "Parsing error (login)");
  EXPECT_EQ(parse_json_fields("login", nullptr, fields, 1, false), -1);
  // Without a key the object itself is searched.
  EXPECT_EQ(parse_json_fields(nullptr, body.get(), fields, 1, false), 0);
  EXPECT_EQ(json_object_get_int(fields[0].value), 1);
}

TEST(LastErrorText, IsClearedAndBounded) {
  format_last_error("%s", std::string(5000, 'y').c_str());
  EXPECT_EQ(std::strlen(last_error_text), kLastErrorSize - 1);
  format_last_error("short %d", 7);
  EXPECT_STREQ(last_error_text, "short 7");
  EXPECT_TRUE(is_str_empty(nullptr));
  EXPECT_TRUE(is_str_empty(""));
  EXPECT_FALSE(is_str_empty(" "));
}

}  // namespace
