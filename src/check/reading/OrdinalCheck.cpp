#include "check/reading/OrdinalCheck.h"

#include <algorithm>

#include "check/StrictLines.h"

namespace orvo {
namespace {

std::string RemedyOf(const char* kind, const char* upper, int32_t ordinal, int64_t count, int64_t ofId) {
  if (ofId >= 0)
    return "Ordinals are places in the file counted from 0; " + std::to_string(ordinal) + " is the ID of " +
           kind + " " + std::to_string(ofId);
  return std::string(upper) + "s are referred to by their place in the project, from 0 to " +
         std::to_string(count - 1);
}

}  // namespace

OrdinalFault OrdinalCheck::Missing(int32_t ordinal) {
  if (Images == nullptr)
    return {"image " + std::to_string(ordinal) + " can't be", "Images are counted from 0 in their project"};
  if (OrdinalOfId.empty()) {
    for (size_t i = 0; i < Images->size(); ++i)
      OrdinalOfId.try_emplace((*Images)[i].nId, static_cast<int32_t>(i));
  }
  const auto known = OrdinalOfId.find(ordinal);
  return {"there is no image " + std::to_string(ordinal),
          RemedyOf("image", "Image", ordinal, std::ssize(*Images),
                   known == OrdinalOfId.end() ? -1 : int64_t{known->second})};
}

OrdinalFault OrdinalCheck::Second(int32_t ordinal, const char* point) const {
  return {"point " + Quoted(point) + " is measured a second time in image " +
              (Images == nullptr ? std::to_string(ordinal) : NameOfImage(*Images, ordinal)),
          "A point has one place in an image: leave one of the two out"};
}

OrdinalFault MissingCamera(int32_t ordinal, const std::vector<SurveyCamera>& cameras) {
  const auto known =
      std::ranges::find_if(cameras, [&](const SurveyCamera& camera) { return camera.nId == ordinal; });
  return {"there is no camera " + std::to_string(ordinal),
          RemedyOf("camera", "Camera", ordinal, std::ssize(cameras),
                   known == cameras.end() ? -1 : known - cameras.begin())};
}

std::string NameOfImage(const std::vector<SurveyImage>& images, int32_t ordinal) {
  const std::string& name = images[static_cast<size_t>(ordinal)].szName;
  return name.empty() ? std::to_string(ordinal) : Quoted(name);
}

}  // namespace orvo
