// truth.json of a generated block.
#include "synthetic/FixedText.h"
#include "synthetic/SyntheticFiles.h"

namespace orvo {
namespace {

/// Writes the elements of a JSON array, one a line.
template <typename Range, typename Write>
void WriteArray(FixedText& out, const char* name, const Range& range, const Write& write) {
  out.Format("  \"{}\": [", name);
  const char* separator = "\n    ";
  for (const auto& element : range) {
    out.Text(separator);
    write(element);
    separator = ",\n    ";
  }
  out.Text("\n  ]");
}

void WriteOptions(FixedText& out, const SyntheticOptions& options) {
  out.Text("  \"options\": {");
  const char* separator = "\n    ";
  for (const SyntheticOption& option : SyntheticOptionTable()) {
    out.Format("{}\"{}\": ", separator, option.szName);
    std::visit([&](auto field) { out.Format("{}", options.*field); }, option.field);
    separator = ",\n    ";
  }
  out.Text("\n  }");
}

void WriteCamera(FixedText& out, const SyntheticCamera& camera) {
  out.Format("{{\"focal\": {}, \"x0\": {}, \"y0\": {}, \"k1\": {}, \"k2\": {}", camera.fFocal,
             camera.fPrincipalX, camera.fPrincipalY, camera.fK1, camera.fK2);
  if (camera.HasFurtherTerms())
    out.Format(", \"k3\": {}, \"p1\": {}, \"p2\": {}, \"b1\": {}, \"b2\": {}", camera.fK3, camera.fP1,
               camera.fP2, camera.fB1, camera.fB2);
  out.Text("}");
}

void WriteImage(FixedText& out, const SyntheticImage& image) {
  out.Format(
      "{{\"id\": {}, \"name\": \"{}\", \"camera\": {}, \"strip\": {}, \"time\": {}, \"position\": [{}, {}, "
      "{}], "
      "\"phi\": {}, \"omega\": {}, \"kappa\": {}}}",
      image.nId, ImageName(image), image.nCamera, image.nStrip + 1, image.fTime, image.X, image.Y, image.Z,
      image.fPhi, image.fOmega, image.fKappa);
}

void WriteSix(FixedText& out, const char* name, const double* values) {
  out.Format("\"{}\": [{}, {}, {}, {}, {}, {}]", name, values[0], values[1], values[2], values[3], values[4],
             values[5]);
}

void WriteCounts(FixedText& out, const SyntheticCounts& counts) {
  out.Format(
      "  \"counts\": {{\"images\": {}, \"cameras\": {}, \"strips\": {}, \"tie_points\": {}, "
      "\"tie_measurements\": {}, \"outliers\": {}, \"mean_rays\": {}, \"max_rays\": {}, \"control_points\": "
      "{}, "
      "\"check_points\": {}, \"ground_measurements\": {}}}",
      counts.nImages, counts.nCameras, counts.nStrips, counts.nTiePoints, counts.nTieMeasurements,
      counts.nOutliers, counts.fMeanRays, counts.nMaxRays, counts.nControlPoints, counts.nCheckPoints,
      counts.nGroundMeasurements);
}

}  // namespace

bool WriteSyntheticTruth(const std::string& path, const SyntheticTruth& truth) {
  TextWriter file;
  if (!file.Open(path)) return false;
  {
    FixedText out(file);
    out.Text(
        "{\n  \"units\": \"metres, pixels, radians, seconds; options as on the command line; strip drifts in "
        "the "
        "order X, Y, Z, phi, omega, kappa\",\n");
    WriteOptions(out, truth.Options);
    out.Text(",\n");
    WriteCounts(out, truth.Counts);
    const SyntheticOptions& options = truth.Options;
    out.Format(",\n  \"start_frame\": {{\"scale\": {}, \"kappa\": {}, \"shift\": [{}, {}, {}]}},\n",
               options.fFrameScale, options.fFrameKappa * kRadiansPerDegree, options.fFrameShiftX,
               options.fFrameShiftY, options.fFrameShiftZ);
    WriteArray(out, "cameras", truth.pCameras, [&](const auto& camera) { WriteCamera(out, camera); });
    out.Text(",\n");
    WriteArray(out, "images", truth.pImages, [&](const auto& image) { WriteImage(out, image); });
    out.Text(",\n");
    WriteArray(out, "strips", truth.pStripErrors, [&](const SyntheticStripError& error) {
      out.Text("{");
      WriteSix(out, "offset", error.fOffset);
      out.Text(", ");
      WriteSix(out, "drift", error.fDrift);
      out.Text("}");
    });
    out.Text(",\n");
    WriteArray(out, "ground_points", truth.pGroundPoints, [&](const SyntheticGroundPoint& point) {
      out.Format("{{\"name\": \"{}\", \"type\": {}, \"position\": [{}, {}, {}], \"rays\": {}}}", point.szName,
                 point.nType, point.X, point.Y, point.Z, point.pMeasurements.size());
    });
    out.Text(",\n");
    WriteArray(out, "tie_points", truth.pTiePoints, [&](const SyntheticTrueTiePoint& point) {
      out.Format("{{\"name\": \"{}\", \"position\": [{}, {}, {}]}}", point.szName, point.X, point.Y, point.Z);
    });
    out.Text("\n}\n");
  }
  return file.Close();
}

}  // namespace orvo
