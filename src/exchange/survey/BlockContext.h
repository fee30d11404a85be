// The block that control points and positions belong to: its images by name, its cameras, its frame.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/Sidecar.h"
#include "exchange/crs/FrameTransform.h"
#include "records/SurveyBlock.h"

namespace orvo::exchange {

class BlockContext {
 public:
  /// `project` may be empty: a block without images. Throws ExchangeFault.
  explicit BlockContext(const std::string& project);

  bool HasProject() const { return !szProject.empty(); }
  const std::string& ProjectPath() const { return szProject; }
  const SurveyBlock& Block() const { return Survey; }
  const std::optional<Sidecar>& Original() const { return Kept; }

  /// The image of a name: as the program wrote it, as the project has it, without folder, without extension,
  /// whichever of these is the first that fits. -1 where none does, -2 where several do.
  int32_t FindImage(const std::string& name) const;
  /// The name that a POS line needs.
  std::string PosName(int32_t image) const;

  /// Pixels from the upper left corner of the image (the centre of the first one at 0.5, y down) as a
  /// measurement of the project, treated as those of its tie points were. Nothing outside the image, and
  /// where no ray of the camera leads there.
  std::optional<std::array<double, 2>> Measurement(int32_t image, double px, double py) const;

 private:
  void AddName(size_t stage, const std::string& name, int32_t image);

  std::string szProject;
  SurveyBlock Survey;
  std::optional<Sidecar> Kept;
  std::array<std::map<std::string, int32_t, std::less<>>, 4> Names;  ///< by the ways of FindImage
};

/// The way of coordinates of a source into the frame of a block.
struct FrameWay {
  BlockFrame Frame;
  bool bNew = false;  ///< the block had none before
  FrameTransform Transform;
};

/// The frame that a sidecar keeps.
BlockFrame FrameOf(const ModelFrame& kept);

/// Source system and frame by the options, the block and the places; tells of them. Throws ExchangeFault.
FrameWay ChooseFrame(const ImportOptions& options, const SourceSystem& source, bool heights,
                     const BlockContext& block, const std::vector<std::array<double, 3>>& places,
                     ExchangeLog& log);

/// Keeps a new frame in the sidecar of the block, where it has one.
void KeepFrame(const FrameWay& way, const SourceSystem& source, const BlockContext& block, ExchangeLog& log);

}  // namespace orvo::exchange
