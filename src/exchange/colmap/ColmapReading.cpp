#include <filesystem>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/UnusedOptions.h"
#include "exchange/colmap/ColmapForm.h"
#include "exchange/colmap/ColmapTables.h"

namespace orvo::exchange {
namespace {

constexpr const char* kParts[] = {"cameras", "images", "points3D"};

bool HasAll(const std::string& folder, const char* extension) {
  std::error_code error;
  for (const char* part : kParts) {
    if (!std::filesystem::exists(folder + "/" + part + extension, error)) return false;
  }
  return true;
}

[[noreturn]] void RefuseFolder(const std::string& folder) {
  for (const char* below : {"0", "sparse", "sparse/0"}) {
    const std::string deeper = folder + "/" + below;
    if (HasAll(deeper, ".bin") || HasAll(deeper, ".txt")) {
      Refuse(folder, 0, "the folder itself holds no model", "Name " + PrintableName(deeper));
    }
  }
  Refuse(folder, 0, "the folder has neither cameras.bin, images.bin, points3D.bin nor the same as .txt",
         "Name the folder of a COLMAP model, such as PROJECT/sparse/0");
}

}  // namespace

ForeignModel ReadColmap(const ImportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {"distortion"});
  std::string folder = options.szSource;
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  const bool binary = HasAll(folder, ".bin"), text = HasAll(folder, ".txt");
  if (!binary && !text) RefuseFolder(folder);
  if (binary && text) log.Say("The folder holds a binary and a text model: the binary one is read");

  ForeignModel model;
  model.szForm = "colmap";
  model.szPixelOrigin = "the centre of the first pixel is 0.5, 0.5; y down";
  for (const char* part : kParts) model.Files.push_back(folder + "/" + part + (binary ? ".bin" : ".txt"));
  auto tables = std::make_shared<ColmapTables>(binary ? ReadColmapBinaryTables(folder, log)
                                                      : ReadColmapTextTables(folder, log));
  model.Cameras = tables->Cameras;
  model.Images = tables->Images;
  model.ImageIds = tables->ImageIds;
  model.Points = binary ? OpenColmapBinaryPoints(folder, std::move(tables), log)
                        : OpenColmapTextPoints(folder, std::move(tables), log);
  return model;
}

}  // namespace orvo::exchange
