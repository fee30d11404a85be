#include "block/SettingsText.h"

#include <algorithm>

#include "base/InputFile.h"

namespace orvo {

bool ReadXmlText(const std::string& path, InputFiles& run, std::string& text) {
  if (!ReadWholeFile(path, kReadAsSettings, &run, text)) return false;
  for (const char mark : {'<', '='}) {
    if (std::ranges::count(text, mark) <= kMostXmlMarks) continue;
    run.Report({path, "read", "it has more than " + std::to_string(kMostXmlMarks) + " XML marks"});
    text = {};
    return false;
  }
  return true;
}

}  // namespace orvo
