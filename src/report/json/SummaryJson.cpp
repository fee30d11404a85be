#include "report/json/SummaryJson.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "base/ValidUtf8.h"
#include "report/json/SummaryForm.h"

namespace orvo::report {
namespace {

using Json = nlohmann::ordered_json;

Json JsonOf(bool value) { return value; }
Json JsonOf(int32_t value) { return value; }
Json JsonOf(int64_t value) { return value; }
Json JsonOf(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }
Json JsonOf(const std::optional<double>& value) { return value ? JsonOf(*value) : Json(nullptr); }
Json JsonOf(const std::string& text) { return ValidUtf8(text); }
template <class Part>
Json JsonOf(const std::vector<Part>& parts);
template <class Part, size_t kNum>
Json JsonOf(const std::array<Part, kNum>& parts);
template <class Part>
Json JsonOf(const Part& part);

/// Gathers one part, as an object or as a row of values.
class PartWriter {
 public:
  explicit PartWriter(bool row) : bRow(row), Made(row ? Json::array() : Json::object()) {}

  template <class Part>
  void operator()(const char* key, const Part& part, int64_t /*least*/ = 0) {
    Put(key, JsonOf(part));
  }
  template <class Part>
  void If(const char* key, bool has, const Part& part) {
    Put(key, has ? JsonOf(part) : Json(nullptr));
  }
  void Count(const char* key, int64_t count) {
    Put(key, count == kUnknownCount ? Json(nullptr) : Json(count));
  }
  template <class Value, class Values>
  void Enum(const char* key, Value value, const Values& /*all*/) {
    Put(key, NameOf(value));
  }
  Json Take() { return std::move(Made); }

 private:
  void Put(const char* key, Json value) {
    if (bRow) {
      Made.push_back(std::move(value));
    } else {
      Made[key] = std::move(value);
    }
  }

  bool bRow;
  Json Made;
};

template <class Parts>
Json ArrayOf(const Parts& parts) {
  Json array = Json::array();
  for (const auto& part : parts) array.push_back(JsonOf(part));
  return array;
}

template <class Part>
Json JsonOf(const std::vector<Part>& parts) {
  return ArrayOf(parts);
}

template <class Part, size_t kNum>
Json JsonOf(const std::array<Part, kNum>& parts) {
  return ArrayOf(parts);
}

template <class Part>
Json JsonOf(const Part& part) {
  PartWriter writer(kIsRow<Part>);
  Describe(writer, part);
  return writer.Take();
}

/// Writes an object that holds lists: a line a member, and a line an element of a list.
class GroupWriter {
 public:
  GroupWriter(TextWriter& file, size_t depth) : File(file), szIndent(2 * depth, ' ') { File.Write("{"); }

  template <class Part>
  void operator()(const char* key, const Part& part, int64_t /*least*/ = 0) {
    Key(key);
    File.Write(JsonOf(part).dump());
  }
  template <class Value, class Values>
  void Enum(const char* key, Value value, const Values& /*all*/) {
    Key(key);
    File.Write(Json(NameOf(value)).dump());
  }
  template <class Value, class Values>
  void EnumIf(const char* key, bool has, Value value, const Values& /*all*/) {
    Key(key);
    File.Write((has ? Json(NameOf(value)) : Json(nullptr)).dump());
  }
  template <class Part>
  void Group(const char* key, const Part& part) {
    Key(key);
    GroupWriter group(File, szIndent.size() / 2 + 1);
    Describe(group, part);
    group.End();
  }
  template <class Part>
  void Maybe(const char* key, const std::optional<Part>& part) {
    if (part) {
      Group(key, *part);
    } else {
      Key(key);
      File.Write("null");
    }
  }
  template <class Part>
  void Later(const char* key, const std::optional<Part>& part) {
    Maybe(key, part);
  }
  template <class Part>
  void List(const char* key, const std::vector<Part>& parts) {
    Key(key);
    File.Write("[");
    const char* joint = "\n  ";
    for (const Part& part : parts) {
      File.Write(joint + szIndent);
      File.Write(JsonOf(part).dump());
      joint = ",\n  ";
    }
    File.Write(parts.empty() ? "]" : "\n" + szIndent + "]");
  }
  void End() { File.Write("\n" + szIndent.substr(2) + "}"); }

 private:
  void Key(const char* key) {
    File.Write((bFirst ? "\n" : ",\n") + szIndent + "\"" + key + "\": ");
    bFirst = false;
  }

  TextWriter& File;
  std::string szIndent;
  bool bFirst = true;
};

}  // namespace

void WriteSummary(const RunFigures& figures, TextWriter& file) {
  GroupWriter summary(file, 1);
  summary("form", std::string(kSummaryForm));
  summary("version", std::string(kSummaryVersion));
  Describe(summary, figures);
  summary.End();
  file.Write("\n");
}

}  // namespace orvo::report
