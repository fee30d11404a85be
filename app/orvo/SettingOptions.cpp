#include "orvo/SettingOptions.h"

#include "settings/SettingRanges.h"

namespace orvo {
namespace {

std::string CheckOverride(const std::string& text) {
  SettingOverride one;
  RigorousOverride ofRigorous;
  return NamesRigorousSetting(text) ? ParseOverride(text, ofRigorous) : ParseOverride(text, one);
}

}  // namespace

void AddSettingOverrides(CLI::App& app, std::vector<std::string>& texts) {
  app.add_option(
         "--set", texts,
         "a setting that counts more than the file's, such as Max_LM_Iteration_Num=30; may be repeated, the "
         "last one of a "
         "setting counts. "
         "A weight is given as it is under its own name (GPS_WeightXY), and as the accuracy of the XML "
         "form under the name of the element (GPS_Accuracy_XY); see orvo settings --list")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false)
      ->check(CLI::Validator(CheckOverride, "", "setting"));
}

std::vector<SettingOverride> OverridesOf(const std::vector<std::string>& texts) {
  std::vector<SettingOverride> overrides;
  for (const std::string& text : texts) {
    SettingOverride one;
    if (ParseOverride(text, one).empty()) overrides.push_back(one);
  }
  return InForce(overrides);
}

}  // namespace orvo
