#include "report/Json.h"

#include <gtest/gtest.h>

#include <limits>

namespace orvo::bench {
namespace {

TEST(Json, WritesEachKind) {
  const std::pair<Json, const char*> cases[] = {
      {Json(), "null\n"},
      {Json(true), "true\n"},
      {Json(3), "3\n"},
      {Json(int64_t{5221000000}), "5221000000\n"},
      {Json(-0.25), "-0.25\n"},
      {Json(0.41606987), "0.41607\n"},
      {Json(1.5e-9), "1.5e-09\n"},
      {Json(std::numeric_limits<double>::infinity()), "null\n"},
      {Json("d\"\\\n"), "\"d\\\"\\\\\\u000a\"\n"},
      {Json(Json::List{}), "[]\n"},
      {Json(Json::Object{{"a", 1}, {"b", Json::List{0.5, Json()}}}), "{\"a\": 1, \"b\": [0.5, null]}\n"},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(value.Text(), text);
}

TEST(Json, PutsAsMuchOnALineAsFits) {
  const std::string thirtyEight(36, 'x');
  const Json::List three = {thirtyEight, thirtyEight, thirtyEight};
  EXPECT_EQ(Json(three).Text(),
            "[\"" + thirtyEight + "\", \"" + thirtyEight + "\", \"" + thirtyEight + "\"]\n");
  const Json five(Json::List{thirtyEight, thirtyEight, thirtyEight, thirtyEight, Json(Json::List{1, 2})});
  EXPECT_EQ(five.Text(), "[\n \"" + thirtyEight + "\", \"" + thirtyEight + "\", \"" + thirtyEight +
                             "\",\n \"" + thirtyEight + "\", [1, 2]\n]\n");
  const Json nested(Json::Object{{"a", 1}, {"b", three}, {"c", five}, {"d", 2}});
  EXPECT_EQ(nested.Text(), "{\n \"a\": 1,\n \"b\": [\"" + thirtyEight + "\", \"" + thirtyEight + "\", \"" +
                               thirtyEight + "\"],\n \"c\": [\n  \"" + thirtyEight + "\", \"" + thirtyEight +
                               "\", \"" + thirtyEight + "\",\n  \"" + thirtyEight +
                               "\", [1, 2]\n ],\n \"d\": 2\n}\n");
}

TEST(Json, ReadsWhatItWrites) {
  const std::pair<const char*, const char*> cases[] = {
      {" { \"a\" : [ 1 , -2.5e3 , true , false , null ] }\r\n", "{\"a\": [1, -2500, true, false, null]}\n"},
      {"[[], {}, \"\"]", "[[], {}, \"\"]\n"},
      {R"("\u0041\u00e9\u20ac\ud83d\ude00\/\t")", "\"A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80/\\u0009\"\n"},
      {"0.1", "0.1\n"},
      {"-0", "0\n"},
  };
  for (const auto& [given, expected] : cases) {
    Json value;
    std::string error;
    EXPECT_TRUE(ParseJson(given, value, error)) << given << error;
    EXPECT_EQ(value.Text(), expected);
  }
}

TEST(Json, RefusesWhatIsBroken) {
  const std::string deep(100000, '['), closed = std::string(64, '[') + std::string(64, ']');
  const std::pair<std::string, const char*> cases[] = {
      {"", "line 1: no value"},
      {"{", "line 1: a text in quotes is missing"},
      {"{\"a\" 1}", "line 1: a colon is missing"},
      {"{\"a\": 1,\n \"b\": 2,\n}", "line 3: a text in quotes is missing"},
      {"[1 2]", "line 1: a comma or ] is missing"},
      {"{\"a\": 1 \"b\": 2}", "line 1: a comma or } is missing"},
      {"[1,]", "line 1: no value"},
      {"[", "line 1: no value"},
      {"1 2", "line 1: more text behind the end"},
      {"\"abc", "line 1: a text does not end"},
      {"\"a\nb\"", "line 2: a text does not end"},
      {"\"\\x\"", "line 1: an unknown escape"},
      {"\"\\", "line 1: an unknown escape"},
      {"\"\\u00g0\"", "line 1: an unknown escape"},
      {"\"\\ud83d\"", "line 1: an unknown escape"},
      {"\"\\u12", "line 1: an unknown escape"},
      {"01", "line 1: no value"},
      {".5", "line 1: no value"},
      {"1.", "line 1: no digit behind the point"},
      {"1e+", "line 1: no digit in the exponent"},
      {"1e999", "line 1: a number beyond all bounds"},
      {"nan", "line 1: no value"},
      {"nul", "line 1: no value"},
      {deep, "line 1: too many brackets"},
  };
  for (const auto& [text, expected] : cases) {
    Json value;
    std::string error;
    EXPECT_FALSE(ParseJson(text, value, error)) << text.substr(0, 40);
    EXPECT_EQ(error, expected) << text.substr(0, 40);
  }
  Json value;
  std::string error;
  EXPECT_TRUE(ParseJson(closed, value, error)) << error;
}

TEST(Json, GivesNullForWhatIsNotThere) {
  Json value;
  std::string error;
  ASSERT_TRUE(ParseJson(R"({"a": {"b": "text"}, "a": 2})", value, error));
  EXPECT_EQ(*value["a"]["b"].AsText(), "text");
  EXPECT_TRUE(value["c"]["d"].IsNull());
  EXPECT_EQ(value["a"].AsNumber(), nullptr);
  EXPECT_TRUE(value["a"]["b"].AsList().empty());
}

}  // namespace
}  // namespace orvo::bench
