// Image ordinals of measurements, held to the images of their project.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "records/SurveyBlock.h"

namespace orvo {

struct OrdinalFault {
  std::string szWhat, szRemedy;
};

class OrdinalCheck {
 public:
  explicit OrdinalCheck(const std::vector<SurveyImage>& images)
      : Images(&images), LastPoint(images.size(), -1) {}

  /// Where the project is not at hand: any image may be there.
  OrdinalCheck() = default;

  bool Exists(int32_t ordinal) const {
    return ordinal >= 0 && (Images == nullptr || ordinal < std::ssize(*Images));
  }
  /// 0 without a project.
  int64_t ImageNum() const { return Images == nullptr ? 0 : std::ssize(*Images); }
  /// What to say of an ordinal that does not exist.
  OrdinalFault Missing(int32_t ordinal);
  /// True where the point has been measured in that image already. Points come one after the other, each with
  /// a number of its own.
  bool IsSecond(int32_t ordinal, int64_t point) {
    int64_t& last = Images == nullptr ? LastOfAny.try_emplace(ordinal, -1).first->second
                                      : LastPoint[static_cast<size_t>(ordinal)];
    if (last == point) return true;
    last = point;
    return false;
  }
  OrdinalFault Second(int32_t ordinal, const char* point) const;

 private:
  const std::vector<SurveyImage>* Images = nullptr;
  std::vector<int64_t> LastPoint;                    ///< by image
  std::unordered_map<int32_t, int64_t> LastOfAny;    ///< the same without a project
  std::unordered_map<int32_t, int32_t> OrdinalOfId;  ///< made when it is needed
};

/// The same for the camera ordinal of an image.
OrdinalFault MissingCamera(int32_t ordinal, const std::vector<SurveyCamera>& cameras);

/// The name of an image in quotes, or its ordinal where it has no name.
std::string NameOfImage(const std::vector<SurveyImage>& images, int32_t ordinal);

}  // namespace orvo
