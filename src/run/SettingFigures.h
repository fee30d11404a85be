// The settings of a run as it took them, for its figures.
#pragma once

#include <vector>

#include "records/RunLimits.h"
#include "report/RunFigures.h"
#include "run/EntryPoint.h"
#include "settings/SettingSources.h"

namespace orvo {

/// Every setting that a run consults, in the order of the table, with the value in force at its end. What no
/// run consults is left out; where tie points and gross measurements have a fixed weight, that is told. `at`:
/// what the command line says of the device.
std::vector<report::SettingFigure> SettingFiguresOf(const AdjustmentSettings& settings,
                                                    const RunLimits& limits, const SettingSources& sources,
                                                    DeviceChoice at);

}  // namespace orvo
