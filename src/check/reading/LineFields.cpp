#include "check/reading/LineFields.h"

#include <algorithm>

#include "base/Scan.h"
#include "check/StrictLines.h"

namespace orvo {
namespace {

constexpr std::string_view kWhite = " \t\n\v\f\r";

/// The next field behind `begin`, empty where there is none; `begin` becomes its place.
std::string_view FieldFrom(std::string_view line, size_t& begin) {
  begin = std::min(line.find_first_not_of(kWhite, begin), line.size());
  return line.substr(begin, std::min(line.find_first_of(kWhite, begin), line.size()) - begin);
}

bool IsWhole(std::string_view field, FieldKind kind) {
  FieldScanner fields(field);
  int32_t integer = 0;
  double real = 0;
  const bool read = kind == FieldKind::Integer ? fields.Int(integer) : fields.Real(real);
  return read && fields.NumbersAreWhole();
}

/// The longest number that the field begins with, empty where there is none. No number that somebody wrote is
/// longer than what is tried.
std::string_view NumberAtHead(std::string_view field, FieldKind kind) {
  constexpr size_t kLongest = 40;
  for (size_t length = std::min(field.size(), kLongest); length > 0; --length) {
    if (IsWhole(field.substr(0, length), kind)) return field.substr(0, length);
  }
  return {};
}

void Keep(std::vector<FieldFault>& faults, FieldFault fault) {
  const std::string_view code = fault.szCode;
  if (std::ranges::none_of(faults, [&](const FieldFault& one) { return code == one.szCode; }))
    faults.push_back(std::move(fault));
}

const char* KindName(FieldKind kind) { return kind == FieldKind::Integer ? "whole number" : "number"; }

/// A field that is no number of its kind: its fault, and the number that was meant, empty where none can be
/// told.
std::string LookAtNumber(std::string_view field, const FieldSpec& spec, int64_t column,
                         std::vector<FieldFault>& faults) {
  const std::string told = std::string(spec.szName) + " is " + Quoted(field);
  std::string meant(NumberAtHead(field, spec.Kind));
  if (meant.empty()) {
    const char* remedy = field.find_first_of(",;") == std::string_view::npos
                             ? "Write a plain number there; look for a missing or doubled field before it"
                             : kSeparateFields;
    Keep(faults, {"S007", column, told + ", which is no " + KindName(spec.Kind), remedy});
    return meant;
  }
  if (spec.Kind == FieldKind::Real && field[meant.size()] == ',') {
    const bool once = std::ranges::count(field, ',') == 1 && field.back() != ',';
    Keep(faults, {"S006", column, told + ", with a comma in it",
                  once ? "Write numbers with a decimal point" : kSeparateFields});
    std::string pointed(field);
    pointed[meant.size()] = '.';
    return std::string(NumberAtHead(pointed, spec.Kind));
  }
  Keep(faults, {"S008", column, told + ", where " + meant + " is read and the rest passed over",
                spec.Kind == FieldKind::Integer ? "Write a whole number there, with a blank behind it"
                                                : "Write a plain number there, with a blank behind it"});
  return meant;
}

}  // namespace

LineFields LookAtFields(std::string_view line, std::span<const FieldSpec> specs, size_t needed) {
  LineFields looked;
  looked.nFieldNum = CountFields(line, static_cast<int64_t>(line.size()));
  looked.bUsable = true;
  size_t at = 0;
  for (size_t i = 0; i < specs.size(); ++i) {
    const FieldSpec& spec = specs[i];
    const std::string_view field = FieldFrom(line, at);
    if (field.empty()) {
      if (i >= needed) break;
      const bool separated = line.find_first_of(",;") != std::string_view::npos;
      Keep(looked.Faults,
           {"S009", static_cast<int64_t>(Trimmed(line).empty() ? 1 : line.find_last_not_of(kWhite) + 2),
            "the line has " + std::to_string(looked.nFieldNum) + " of " + std::to_string(needed) +
                " fields: " + spec.szName + " is missing",
            separated ? kSeparateFields
                      : "Complete the line; look for a missing or broken line before it, too"});
      looked.bUsable = false;
      break;
    }
    std::string meant(field);
    if (spec.Kind != FieldKind::Word && !IsWhole(field, spec.Kind))
      meant = LookAtNumber(field, spec, static_cast<int64_t>(at) + 1, looked.Faults);
    if (meant.empty()) {
      looked.bUsable = false;
      meant = "0";
    }
    looked.szRepaired += (i == 0 ? "" : " ") + meant;
    at += field.size();
  }
  return looked;
}

int64_t CountFields(std::string_view line, int64_t atMost) {
  int64_t count = 0;
  size_t at = 0;
  for (std::string_view field = FieldFrom(line, at); !field.empty() && count < atMost;
       field = FieldFrom(line, at)) {
    ++count;
    at += field.size();
  }
  return count;
}

}  // namespace orvo
