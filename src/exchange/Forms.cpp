#include "exchange/Forms.h"

#include "exchange/bundler/BundlerForms.h"
#include "exchange/colmap/ColmapForm.h"
#include "exchange/opensfm/OpenSfm.h"
#include "exchange/survey/Survey.h"
#include "exchange/views/Views.h"

namespace orvo::exchange {
namespace {

/// In the order of the help. A form's functions are declared in a header of its folder.
constexpr Form kForms[] = {
    {"colmap", "folder of a COLMAP model: cameras, images, points3D, .bin or .txt",
     "folder for cameras, images, points3D; binary, or with --text as text", ReadColmap, WriteColmap},
    {"opensfm", "reconstruction.json, or the folder that holds it, with tracks.csv",
     "folder: reconstruction.json and tracks.csv", ReadOpenSfm, WriteOpenSfm},
    {"bundler", "bundle.out of Bundler, with list.txt beside it or --images", nullptr, ReadBundler},
    {"bal", "a problem of Bundle Adjustment in the Large, as text", "the same", ReadBal, WriteBal},
    {"gcp", "control points: CSV with headings, or gcp_list.txt", nullptr, nullptr, nullptr, ImportGcp},
    {"pos", "positions of images: CSV with headings, also of exiftool, or geo.txt", nullptr, nullptr, nullptr,
     ImportPos},
    {"geojson", nullptr, "FILE: projection centres, footprints and control on the map", nullptr, nullptr,
     nullptr, ExportGeoJson},
    {"csv", nullptr, "FOLDER: tables of orientations, cameras, points, control and residuals", nullptr,
     nullptr, nullptr, ExportTables},
    {"ply", nullptr, "FILE: points with RMS and rays; beside it FILE_cameras.ply", nullptr, nullptr, nullptr,
     ExportPly},
    {"las", nullptr, "FILE: points as LAS 1.4, in another coordinate system with --to-crs", nullptr, nullptr,
     nullptr, ExportLas},
    {"cameras", nullptr, "FILE: the cameras with their conventions, as JSON", nullptr, nullptr, nullptr,
     ExportCameras},
};

}  // namespace

std::span<const Form> Forms() { return kForms; }

const Form* FindForm(std::string_view name) {
  for (const Form& form : Forms()) {
    if (name == form.szName) return &form;
  }
  return nullptr;
}

}  // namespace orvo::exchange
