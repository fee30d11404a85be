#include "settings/SettingTexts.h"

#include <fmt/format.h>

#include <algorithm>

#include "settings/SettingValues.h"

namespace orvo {
namespace {

constexpr char kAdjusting[] = "every run that adjusts.";
constexpr char kNever[] = "no run consults it.";
constexpr char kWithGps[] = "runs with a POS file and `Apply_GPS_Data` or `Apply_IMU_Data`.";

const SettingText kTexts[] = {
    {"Direct_Intersection", "", 0, 0, "no adjustment: results and report from the orientations as read",
     "every run; most other settings have no effect then."},
    {"Absolute_Orientation", "", 0, 0,
     "no adjustment: a [similarity transform](method.md#similarity-transform) by control points only. No "
     "effect "
     "with `Direct_Intersection`. On the device path a whole adjustment, with a listing of the tie points",
     "runs with three control points or more."},
    {"Resampling_Points", "", 0, 0, "[thin](method.md#thinning) the tie points first",
     "every run that adjusts. It chooses by the coordinates of the points in the file."},
    {"Apply_PCG_Model", "", 0, 0,
     "sparse form with an [iterative solver](method.md#the-iterative-solver) instead of the dense form with "
     "a "
     "direct one",
     "every run that adjusts; on a device it is always on."},
    {"Set_EOP_Unknown", "", 0, 0, "positions and angles of the images are adjusted", kAdjusting},
    {"Set_IOP_Unknown", "", 0, 0, "f, x0, y0, k1, k2 of the cameras are adjusted", kAdjusting},
    {"Coor_Normalization", "", 0, 0, "shift and scale object coordinates while adjusting",
     "every run that adjusts; on a device it is always on. GPS weights depend on it."},
    {"Output_Image_Point_RMSE", "", 0, 0,
     "residual files on the device path; on the CPU they are always written", "runs on a device."},
    {"Image_Coor_Scale", "1/px", 1e-6, 1, "working image units in one image unit of the files",
     "every run. Damping, thresholds and weights are made for 0.001 with images measured in pixels.", true},
    {"Object_Coor_Scale", "", 1e-3, 1000,
     "working object units in one object unit of the files; see [Units and "
     "scales](formats.md#units-and-scales)",
     "every run.", true},
    {"Damping_Coefficient", "", 1e-14, 1e-2, "damping of the free iterations, relative to the diagonal",
     "every run that adjusts, up to iteration `Free_LM_Iteration_Num`; with 4 and more control points up to "
     "`GCP_LM_Iteration_Num`. Without control only damping holds the frame of a block; with control a large "
     "one holds the block back."},
    {"PCG_Converge_Threshold", "", 1e-9, 1e-3, "not consulted", kNever},
    {"PCG_IGN_Converge_Threshold", "", 0.01, 0.5,
     "forcing value at which the iterative solver stops; **overwritten** with 0.1 in every iteration",
     "no run: it is overwritten."},
    {"LM_Converge_Threshold", "", 1e-9, 1e-3, "the adjustment ends when the largest correction is smaller",
     "every run that adjusts. Corrections of all kinds are compared, whatever their unit."},
    {"Gross_Point_Threshold", "RMSE", 2, 20,
     "a tie point measurement is gross beyond this multiple of the RMSE; on the device path with two "
     "decimals",
     "every run that adjusts. Control and check points are never gross.", true},
    {"Max_PCG_Iteration_Num", "", 1, 1000,
     "limit of the iterative solver; **overwritten** in every iteration, with 300, on the device path with "
     "30 "
     "and from the fourth iteration on with 10",
     "no run: it is overwritten."},
    {"Max_LM_Iteration_Num", "iterations", 1, 100, "limit of the iterations; one always runs", kAdjusting},
    {"Free_LM_Iteration_Num", "iterations", 1, 100,
     "last iteration number with plain damping; see [Damping](method.md#damping). **Without effect with 4 "
     "and "
     "more control points**",
     "runs that adjust with fewer than 4 control points. From the iteration behind it on nothing moves."},
    {"GCP_LM_Iteration_Num", "iterations", 1, 100,
     "the same after a similarity transform by control points, and so with 4 and more of them; without "
     "effect "
     "otherwise",
     "runs that adjust with 4 and more control points."},
    {"Min_Image_Point_Num", "", 0, 100, "not consulted", kNever},
    {"Point_Thinned_Interval", "", 1, 100, "not consulted", kNever},
    {"Point_Resample_Number", "cells", 1, 50, "cells along an image side when points are thinned; at least 1",
     "runs with `Resampling_Points`, which need at least 1.", true},
    {"Apply_GPS_Data", "", 0, 0,
     "positions of the [POS file](formats.md#the-pos-file) are "
     "[observations](method.md#gps-and-imu-observations)",
     "runs that adjust with a POS file. Without control, or with up to three points, the block goes into the "
     "frame of the POS file."},
    {"Apply_IMU_Data", "", 0, 0, "angles of the POS file are observations",
     "runs that adjust with a POS file."},
    {"Correct_Const_Error", "", 0, 0,
     "a constant offset of the POS data for each strip; forced on when both corrections are off", kWithGps},
    {"Correct_LinearError", "", 0, 0,
     "a drift of the POS data along each strip; forced off with fewer than two strips, and without "
     "`Correct_Const_Error` no drift is left then",
     kWithGps},
    {"Aircraft_Speed", "units/s", 0, 10000,
     "speed, for the time along a strip: lengths in the frame of the project a second. With 0 all times are "
     "0",
     "runs with a POS file and `Correct_LinearError`."},
    {"Initial_Weight", "", 1e-3, 1e3, "not consulted; tie points weigh 1", kNever},
    {"Gross_Point_Weight", "", 0, 1, "not consulted; gross measurements weigh 1e-6", kNever},
    {"GPS_WeightXY", "", 1e-12, 1,
     "weight of a GPS position in X and Y; XML: 0.001 / value; forced to 0.001 with fewer than two strips",
     "runs with a POS file and `Apply_GPS_Data`, or with `Apply_IMU_Data` alone, for phi and omega. It "
     "stands "
     "against 1, the weight of a measurement in working image units; a position counts in normalised units, "
     "of which the block has 1000."},
    {"GPS_WeightZ", "", 1e-12, 1,
     "the same in Z; XML: 0.001 / value; forced to 1e-5 with fewer than two strips",
     "runs with a POS file and `Apply_GPS_Data`, or with `Apply_IMU_Data` alone, for kappa."},
    {"IMU_Weight", "", 1e-12, 100,
     "not consulted: angles weigh 1 with GPS data, and as GPS positions without; XML: the value as it stands",
     kNever},
    {"GCP_Weight", "", 1e-6, 1000,
     "weight of a measurement of a control point; XML: 1 / value. On the device path without its decimals: "
     "below 1 it is 0",
     "runs that adjust with control points. Their coordinates are fixed; it is their measurements that count "
     "more or less."},
    {"Apply_GPU", "", 0, 0,
     "adjust on a CUDA device, where there is one, else on the CPU. `--device` of `orvo adjust` overrides it",
     "every run."},
    {"Block_Num", "", 0, 1e6, "not consulted", kNever},
    {"nThreadNum", "", 0, 4096, "not consulted; the number of threads follows from processors and memory",
     kNever},
};

std::string OrDash(const char* text) { return text == nullptr ? "-" : fmt::format("`{}`", text); }

/// What --set refuses.
std::string RefusedValues(const Setting& setting) {
  return DescriptionOf(setting).bAboveZero ? "0 and less, with --set" : "less than 0, with --set";
}

std::string RuleText(XmlRule rule) {
  if (rule == XmlRule::MilliOverValue) return "the field is 0.001 divided by its value";
  return rule == XmlRule::OneOverValue ? "the field is 1 divided by its value" : "the value of the field";
}

}  // namespace

std::string FilledLines(const std::string& head, const std::string& text) {
  constexpr size_t kLength = 100, kIndent = 15;
  std::string lines, line = fmt::format("{:<{}}", head, kIndent);
  bool begins = true;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find(' ', at), text.size());
    if (!begins && line.size() + 1 + (end - at) > kLength) {
      lines += line + "\n";
      line.assign(kIndent, ' ');
      begins = true;
    }
    line += (begins ? "" : " ") + text.substr(at, end - at);
    begins = false;
    at = end + 1;
  }
  return lines + line + "\n";
}

std::string PlainNumber(double value) {
  std::string text = fmt::format("{:g}", value);
  for (const char* zero : {"e-0", "e+0"}) {
    if (const size_t at = text.find(zero); at != std::string::npos) text.erase(at + 2, 1);
  }
  std::erase(text, '+');
  return text;
}

const SettingText& DescriptionOf(const Setting& setting) {
  const std::string_view name = setting.szName;
  const auto text = std::ranges::find_if(kTexts, [&](const SettingText& one) { return name == one.szName; });
  static constexpr SettingText kNone = {"", "", 0, 0, "", ""};
  return text == std::end(kTexts) ? kNone : *text;
}

const char* NameOf(SettingKind kind) {
  constexpr const char* kNames[] = {"switch", "integer", "real"};
  return kNames[static_cast<size_t>(kind)];
}

std::string PlainText(std::string_view markdown) {
  std::string plain;
  for (size_t i = 0; i < markdown.size(); ++i) {
    const char c = markdown[i];
    if (c == '`' || c == '*' || c == '[') continue;
    if (c == ']' && i + 1 < markdown.size() && markdown[i + 1] == '(') {
      const size_t end = markdown.find(')', i);
      if (end == std::string_view::npos) break;
      i = end;
      continue;
    }
    plain += c;
  }
  return plain;
}

std::string DefaultOf(const Setting& setting) {
  const AdjustmentSettings defaults;
  if (setting.Kind() != SettingKind::Real) return ValueText(setting, defaults);
  const std::string text = PlainNumber(defaults.*std::get<double AdjustmentSettings::*>(setting.field));
  return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

std::string SensibleValues(const Setting& setting) {
  if (setting.Kind() == SettingKind::Switch) return "true or false";
  const SettingText& text = DescriptionOf(setting);
  return PlainNumber(text.fLow) + " to " + PlainNumber(text.fHigh);
}

bool TakesEffect(const Setting& setting) {
  return !std::string_view(DescriptionOf(setting).szEffect).starts_with("no run");
}

std::string FormsOf(const Setting& setting) {
  if (setting.szXmlElement == nullptr) return "The colon form alone can set it.";
  return setting.szColonKey == nullptr ? "The XML form alone can set it." : "Both forms can set it.";
}

std::string MarkdownRowOf(const Setting& setting) {
  const SettingText& text = DescriptionOf(setting);
  const bool isSwitch = setting.Kind() == SettingKind::Switch;
  return fmt::format("| `{}` | {} | {} | {} | {} | {} | {} | {} | {} |", setting.szName,
                     OrDash(setting.szColonKey), OrDash(setting.szXmlElement), OrDash(setting.szXmlParent),
                     NameOf(setting.Kind()), DefaultOf(setting), text.szUnit,
                     isSwitch ? "" : SensibleValues(setting), text.szMeaning);
}

std::string ExplanationOf(const Setting& setting) {
  const SettingText& text = DescriptionOf(setting);
  std::string lines = fmt::format("{}: {}\n\n", setting.szName, PlainText(text.szMeaning));
  const auto add = [&](const char* what, const std::string& value) {
    if (!value.empty()) lines += FilledLines(what, value);
  };
  add("Type", NameOf(setting.Kind()));
  add("Default", DefaultOf(setting));
  add("Unit", text.szUnit);
  add("Sensible", SensibleValues(setting));
  if (setting.Kind() != SettingKind::Switch) add("Refused", RefusedValues(setting));
  add("Takes effect", PlainText(text.szEffect));
  add("Forms", FormsOf(setting));
  if (setting.szColonKey != nullptr) add("Colon form", fmt::format("{}:VALUE", setting.szColonKey));
  if (setting.szXmlElement != nullptr) {
    add("XML form", fmt::format("<{0}>VALUE</{0}> in <{1}>; {2}", setting.szXmlElement, setting.szXmlParent,
                                RuleText(setting.rule)));
    add("Missing in XML", setting.Kind() == SettingKind::Switch ? "false"
                          : setting.rule == XmlRule::Plain      ? "0"
                                                                : "0, a weight without end");
  }
  add("Command line", fmt::format("orvo adjust --set {}={}", setting.szName, DefaultOf(setting)));
  if (setting.rule != XmlRule::Plain)
    add("", fmt::format("--set {}=VALUE takes the accuracy of the XML form", setting.szXmlElement));
  return lines;
}

}  // namespace orvo
