#include "exchange/UnusedOptions.h"

#include <algorithm>
#include <utility>

#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

using GivenOption = std::pair<std::string_view, bool>;

void RefuseGiven(const std::string& form, std::initializer_list<GivenOption> options,
                 std::initializer_list<std::string_view> used) {
  for (const auto& [name, given] : options) {
    if (given && std::ranges::find(used, name) == used.end()) {
      Refuse("", 0, "--" + std::string(name) + " has no use with " + form, "Leave it away");
    }
  }
}

}  // namespace

void RefuseUnused(const ImportOptions& options, std::initializer_list<std::string_view> used) {
  RefuseGiven(options.szForm,
              {{"images", !options.szImages.empty()},
               {"tracks", !options.szTracks.empty()},
               {"project", !options.szProject.empty()},
               {"crs", !options.szCrs.empty()},
               {"frame", options.Frame.value_or(FrameKind::AsIs) != FrameKind::AsIs},
               {"height", !options.szHeight.empty()},
               {"origin", !options.szOrigin.empty()},
               {"check", !options.CheckPoints.empty()},
               {"check-prefix", !options.szCheckPrefix.empty()},
               {"angles", !options.szAngles.empty()},
               {"distortion", options.Distortion.has_value()}},
              used);
}

void RefuseUnused(const ExportOptions& options, std::initializer_list<std::string_view> used) {
  RefuseGiven(options.szForm,
              {{"text", options.bText},
               {"to-crs", !options.szCrs.empty()},
               {"camera", options.Camera != CameraChoice::Automatic},
               {"block-crs", !options.szBlockCrs.empty()},
               {"pixel-size", options.dPixelSize != 0}},
              used);
}

}  // namespace orvo::exchange
