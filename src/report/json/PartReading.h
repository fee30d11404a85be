// Values of summary.json back into the parts that SummaryForm.h describes.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "base/PrintableName.h"
#include "report/json/SummaryEvents.h"
#include "report/json/SummaryForm.h"

namespace orvo::report {

/// Where a value stands: "images[12].mean.x".
struct JsonPlace {
  const JsonPlace* pOuter = nullptr;
  std::string szKey = {};
  int64_t nIndex = -1;  ///< in an array; -1 for a member of an object

  std::string Text() const {
    if (nIndex >= 0) return (pOuter == nullptr ? szKey : pOuter->Text()) + "[" + std::to_string(nIndex) + "]";
    const std::string outer = pOuter == nullptr ? std::string() : pOuter->Text();
    return outer.empty() ? szKey : outer + "." + szKey;
  }
  [[noreturn]] void Fail(const std::string& what) const { throw SummaryFault(Text() + " " + what); }
};

template <class Part>
void ReadPart(const nlohmann::json& from, Part& part, const JsonPlace& at, int64_t least);

inline void ReadWhole(const nlohmann::json& from, int64_t least, int64_t most, int64_t& value,
                      const JsonPlace& at) {
  const bool fits = from.is_number_unsigned()
                        ? from.get<uint64_t>() <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max())
                        : from.is_number_integer();
  value = fits ? from.get<int64_t>() : 0;
  if (!fits || value < least || value > most)
    at.Fail("has to be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
}

/// Reads the members of one part, of which each has to be there.
class PartReader {
 public:
  PartReader(const nlohmann::json& from, const JsonPlace& at, bool row) : From(from), At(at), bRow(row) {
    if (row ? !from.is_array() : !from.is_object())
      at.Fail(row ? "has to be an array" : "has to be an object");
  }

  template <class Part>
  void operator()(const char* key, Part& part, int64_t least = 0) {
    const JsonPlace at = PlaceOf(key);
    ReadPart(Member(at), part, at, least);
  }
  template <class Part>
  void If(const char* key, bool& has, Part& part) {
    const JsonPlace at = PlaceOf(key);
    const nlohmann::json& member = Member(at);
    has = !member.is_null();
    if (has) ReadPart(member, part, at, 0);
  }
  void Count(const char* key, int64_t& count) {
    const JsonPlace at = PlaceOf(key);
    const nlohmann::json& member = Member(at);
    count = kUnknownCount;
    if (!member.is_null()) ReadPart(member, count, at, 0);
  }
  template <class Value, class Values>
  void EnumIf(const char* key, bool has, Value& value, const Values& all) {
    if (has || !Member(PlaceOf(key)).is_null()) Enum(key, value, all);
  }
  template <class Value, class Values>
  void Enum(const char* key, Value& value, const Values& all) {
    const JsonPlace at = PlaceOf(key);
    const nlohmann::json& member = Member(at);
    for (const Value each : all) {
      if (member.is_string() && member.get_ref<const std::string&>() == NameOf(each)) {
        value = each;
        return;
      }
    }
    std::string names;
    for (const Value each : all) names += std::string(names.empty() ? "\"" : ", \"") + NameOf(each) + "\"";
    at.Fail("has to be one of " + names);
  }
  template <class Part>
  void Group(const char* key, Part& part) {
    const JsonPlace at = PlaceOf(key);
    PartReader group(Member(at), at, false);
    Describe(group, part);
  }
  template <class Part>
  void Maybe(const char* key, std::optional<Part>& part) {
    if (Member(PlaceOf(key)).is_null()) {
      part.reset();
    } else {
      Group(key, *part);
    }
  }
  template <class Part>
  void Later(const char* key, std::optional<Part>& part) {
    if (From.contains(key)) {
      Maybe(key, part);
    } else {
      part.reset();
    }
  }
  /// Its elements have been taken already.
  template <class Part>
  void List(const char* key, std::vector<Part>& /*parts*/) {
    const JsonPlace at = PlaceOf(key);
    if (!Member(at).is_array()) at.Fail("has to be an array");
  }
  /// Of a row: that it ends here.
  void End() const {
    if (bRow && From.size() != nNext) At.Fail("has to be " + std::to_string(nNext) + " values");
  }

 private:
  JsonPlace PlaceOf(const char* key) const {
    return {At.szKey.empty() && At.nIndex < 0 ? nullptr : &At, key};
  }
  const nlohmann::json& Member(const JsonPlace& at) {
    if (bRow) {
      if (nNext == From.size()) at.Fail("is missing");
      return From[nNext++];
    }
    const auto found = From.find(at.szKey);
    if (found == From.end()) at.Fail("is missing");
    return *found;
  }

  const nlohmann::json& From;
  const JsonPlace& At;
  bool bRow;
  size_t nNext = 0;
};

template <class Part>
struct IsVector : std::false_type {};
template <class Part>
struct IsVector<std::vector<Part>> : std::true_type {};
template <class Part>
struct IsArray : std::false_type {};
template <class Part, size_t kNum>
struct IsArray<std::array<Part, kNum>> : std::true_type {};

template <class Parts>
void ReadElements(const nlohmann::json& from, Parts& parts, const JsonPlace& at) {
  if (!from.is_array()) at.Fail("has to be an array");
  if constexpr (IsVector<Parts>::value) {
    parts.resize(from.size());
  } else if (from.size() != parts.size()) {
    at.Fail("has to have " + std::to_string(parts.size()) + " elements");
  }
  for (size_t k = 0; k < parts.size(); ++k)
    ReadPart(from[k], parts[k], {&at, {}, static_cast<int64_t>(k)}, 0);
}

/// Throws SummaryFault where the value is of another kind than the part, or a whole number below `least`.
/// Null is a number that is none.
template <class Part>
void ReadPart(const nlohmann::json& from, Part& part, const JsonPlace& at, int64_t least) {
  if constexpr (std::same_as<Part, bool>) {
    if (!from.is_boolean()) at.Fail("has to be true or false");
    part = from.get<bool>();
  } else if constexpr (std::integral<Part>) {
    int64_t value = 0;
    ReadWhole(from, least, std::numeric_limits<Part>::max(), value, at);
    part = static_cast<Part>(value);
  } else if constexpr (std::same_as<Part, double>) {
    if (!from.is_number() && !from.is_null()) at.Fail("has to be a number or null");
    part = from.is_null() ? std::numeric_limits<double>::quiet_NaN() : from.get<double>();
  } else if constexpr (std::same_as<Part, std::optional<double>>) {
    if (from.is_null()) {
      part.reset();
    } else {
      ReadPart(from, part.emplace(), at, least);
    }
  } else if constexpr (std::same_as<Part, std::string>) {
    if (!from.is_string()) at.Fail("has to be a text");
    part = from.get_ref<const std::string&>();
  } else if constexpr (IsVector<Part>::value || IsArray<Part>::value) {
    ReadElements(from, part, at);
  } else {
    PartReader reader(from, at, kIsRow<Part>);
    Describe(reader, part);
    reader.End();
  }
}

}  // namespace orvo::report
