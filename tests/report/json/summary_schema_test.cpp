#include <gtest/gtest.h>

#include <set>

#include "report/SampleFigures.h"
#include "report/json/SchemaCheck.h"
#include "report/json/SummaryFile.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

using nlohmann::json;

json Schema() { return json::parse(ReadFile(SourceFolder() + "/docs/summary.schema.json")); }
json Sample() { return json::parse(SummaryOf(MakeSampleFigures(12))); }

TEST(SchemaCheck, HoldsValuesToTheirSchema) {
  const struct {
    const char* szSchema;
    const char* szValue;
    const char* szMisfit;  ///< empty where it fits
  } cases[] = {
      {R"({"type":"integer"})", "5", ""},
      {R"({"type":"integer"})", "5.5", ": is not of the type \"integer\""},
      {R"({"type":["number","null"]})", "null", ""},
      {R"({"type":["number","null"]})", "true", ": is not of the type [\"number\",\"null\"]"},
      {R"({"minimum":0})", "-1", ": is below 0"},
      {R"({"const":"a"})", R"("b")", ": is not \"a\""},
      {R"({"enum":["a","b"]})", R"("c")", ": is none of [\"a\",\"b\"]"},
      {R"({"pattern":"^1\\.[0-9]+$"})", R"("2.0")", ": is not like \"^1\\\\.[0-9]+$\""},
      {R"({"pattern":"^1\\.[0-9]+$"})", R"("1.12")", ""},
      {R"({"minItems":2})", "[1]", ": is too short"},
      {R"({"maxItems":2})", "[1,2,3]", ": is too long"},
      {R"({"items":{"type":"null"}})", "[null,1]", "/1: is not of the type \"null\""},
      {R"({"prefixItems":[{"type":"null"}],"items":false})", "[null,1]", "/1: is one too many"},
      {R"({"prefixItems":[{"type":"null"}],"items":false})", "[1]", "/0: is not of the type \"null\""},
      {R"({"required":["a"]})", "{}", ": has no \"a\""},
      {R"({"properties":{"a":{"type":"null"}}})", R"({"a":1})", "/a: is not of the type \"null\""},
      {R"({"properties":{"a":{}},"additionalProperties":false})", R"({"b":1})", ": has the unknown key b"},
      {R"({"anyOf":[{"type":"null"},{"type":"array"}]})", "[]", ""},
      {R"({"anyOf":[{"const":1}]})", "2", ": fits nothing; : is not 1"},
      {R"({"$ref":"#/$defs/a","$defs":{"a":{"type":"null"}}})", "1", ": is not of the type \"null\""},
      {R"({"$ref":"#/$defs/b","$defs":{}})", "1", ": the schema has no #/$defs/b"},
      {R"({"oneOf":[]})", "1", ": the schema has the unknown keyword oneOf"}};
  for (const auto& each : cases)
    EXPECT_EQ(FirstMisfit(json::parse(each.szSchema), json::parse(each.szValue)), each.szMisfit)
        << each.szSchema;
}

TEST(SummarySchema, FitsWhatIsWritten) {
  report::RunFigures nasty = MakeSampleFigures(12);
  nasty.szProject = nasty.vImages[0].szName = nasty.vFindings[0].szWhat = NastyName();
  nasty.vIterations[0].fLargest = std::numeric_limits<double>::quiet_NaN();
  nasty.Pos.reset();
  nasty.Precision.reset();
  for (const auto& figures : {MakeSampleFigures(), MakeFailedFigures(), nasty, report::RunFigures()})
    EXPECT_EQ(FirstMisfit(Schema(), json::parse(SummaryOf(figures))), "");
}

TEST(SummarySchema, WantsEveryKey) {
  const json schema = Schema(), summary = Sample();
  for (const auto& place : PlacesOf(summary)) {
    json without = summary;
    json& parent = without[place.parent_pointer()];
    if (!parent.is_object()) continue;
    parent.erase(place.back());
    EXPECT_NE(FirstMisfit(schema, without), "") << place;
    parent[place.back()] = summary[place];
    parent["surely_unknown"] = 1;
    EXPECT_NE(FirstMisfit(schema, without), "") << place;
  }
}

TEST(SummarySchema, RefusesEveryOtherKind) {
  const json schema = Schema(), summary = Sample();
  size_t changed = 0;
  for (const auto& place : PlacesOf(summary)) {
    json other = summary;
    other[place] = summary[place].is_string() ? json(false) : json("text");
    EXPECT_NE(FirstMisfit(schema, other), "") << place;
    if (summary[place].is_number_integer()) {
      other[place] = summary[place].get<double>() + 0.5;
      EXPECT_NE(FirstMisfit(schema, other), "") << place;
    }
    ++changed;
  }
  EXPECT_GT(changed, 250u);
}

/// Calls `take` for every object of the schema that describes something.
template <class Take>
void ForEachPart(const json& schema, const std::string& at, const Take& take) {
  if (schema.contains("properties")) take(schema, at);
  for (const char* folder : {"properties", "$defs"}) {
    if (!schema.contains(folder)) continue;
    for (const auto& [key, part] : schema[folder].items()) ForEachPart(part, at + "/" + key, take);
  }
}

TEST(SummarySchema, DescribesEveryKeyAndTakesNoOther) {
  ForEachPart(Schema(), "", [](const json& part, const std::string& at) {
    EXPECT_EQ(part.value("additionalProperties", true), false) << at;
    std::set<std::string> keys, required;
    for (const auto& [key, value] : part["properties"].items()) {
      keys.insert(key);
      EXPECT_TRUE(value.contains("description") || value.contains("$ref") || value.contains("const"))
          << at << "/" << key;
    }
    for (const json& key : part["required"]) required.insert(key.get<std::string>());
    EXPECT_EQ(keys, required) << at;
  });
}

TEST(SummarySchema, IsOfTheVersionThatIsWritten) {
  const json schema = Schema();
  const std::string title = schema["title"];
  EXPECT_NE(title.find(std::string("version ") + report::kSummaryVersion), std::string::npos);
  json summary = Sample();
  summary["version"] = "2.0";
  EXPECT_NE(FirstMisfit(schema, summary), "");
}

}  // namespace
}  // namespace orvo::test
