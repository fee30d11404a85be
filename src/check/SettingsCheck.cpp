#include "check/SettingsCheck.h"

#include <cmath>

#include "base/Platform.h"
#include "base/Scan.h"

namespace orvo {

std::string FaultOfValue(std::string_view text, SettingKind kind, bool xml) {
  if (kind == SettingKind::Switch && xml)
    return text == "true" || text == "false" ? std::string() : "neither true nor false";
  FieldScanner fields(text);
  std::string_view more;
  if (kind == SettingKind::Real) {
    double value = 0;
    fields.Real(value);
    return fields.NumbersAreWhole() && std::isfinite(value) && !fields.Word(more) ? std::string()
                                                                                  : "no number";
  }
  int32_t value = 0;
  fields.Int(value);
  if (fields.NumbersAreWhole() && !fields.Word(more)) return {};
  return kind == SettingKind::Switch ? "no switch, which is 0 or 1 in this form" : "no whole number";
}

std::vector<Finding> CheckSettings(const std::string& path, std::span<const KnownSetting> known) {
  const std::string extension = TextFromLastDot(path);
  return extension == ".xml" || extension == ".XML" ? CheckXmlSettings(path, known)
                                                    : CheckColonSettings(path, known);
}

}  // namespace orvo
