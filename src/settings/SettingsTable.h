// Every setting, stated once: the readers, the documentation and the tests walk this table.
#pragma once

#include <span>
#include <variant>

#include "records/AdjustmentSettings.h"

namespace orvo {

/// How the XML form turns the value of an element into the field.
enum class XmlRule {
  Plain,
  MilliOverValue,  ///< 0.001 / value: an accuracy becomes a weight
  OneOverValue     ///< 1.0 / value
};

enum class SettingKind { Switch, Integer, Real };

struct Setting {
  std::variant<bool AdjustmentSettings::*, int32_t AdjustmentSettings::*, double AdjustmentSettings::*> field;
  const char* szName;        ///< of the field
  const char* szColonKey;    ///< null: the colon form can't set it
  const char* szXmlElement;  ///< null: the XML form can't set it
  const char* szXmlParent;
  XmlRule rule = XmlRule::Plain;

  SettingKind Kind() const { return static_cast<SettingKind>(field.index()); }
};

/// In the order in which the XML form assigns.
std::span<const Setting> SettingsTable();

}  // namespace orvo
