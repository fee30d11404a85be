// The settings of the rigorous method, from a settings file and a command line, and all that is wrong with
// them.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "check/Finding.h"
#include "settings/RigorousOverrides.h"

namespace orvo {

/// Rows of RigorousTable.
using RigorousList = std::vector<const RigorousSetting*>;

enum class SettingOrigin { Default, File, CommandLine };

/// What a run by the rigorous method was asked for.
struct RigorousReading {
  RigorousSettings Settings;
  RigorousList InFile, OnCommandLine;  ///< each at most once
  /// Codes A, and S for the lines of the colon form. With an error among them, what it is about has its
  /// default, and the run must not begin.
  std::vector<Finding> Findings;

  SettingOrigin OriginOf(const RigorousSetting& setting) const;
};

/// Reads the file, ".xml" and ".XML" in the XML form: there the element Rigorous beside the others, with an
/// element for each setting. In the colon form each has a line as the others. What is missing keeps its
/// default; an empty path leaves everything so. Nothing wrong is taken: a value that is none, a name that is
/// near one of these or stands in Rigorous, and a file that can't be read, are errors. Of two of a name the
/// first counts in the XML form, the last in the colon form, and a note says so.
RigorousReading ReadRigorousSettings(const std::string& path,
                                     std::span<const RigorousOverride> overrides = {});

/// Whether a name that is none of a colon key stands for one of these settings: it is one, or is nearest to
/// one.
bool IsMeantForRigorous(std::string_view name);

}  // namespace orvo
