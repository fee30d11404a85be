#include "report/console/ProgressJson.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace orvo::report {
namespace {

using Json = nlohmann::ordered_json;

constexpr double kLeastPause = 0.1;   ///< seconds from one advance to the next
constexpr double kLeastShare = 0.01;  ///< of an iteration

void Write(std::FILE* stream, const Json& event) {
  const std::string line = event.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
  std::fwrite(line.data(), 1, line.size(), stream);
  std::fflush(stream);
}

/// To a thousandth.
double Rounded(double value) { return std::isfinite(value) ? std::round(value * 1000) / 1000 : value; }

Json CountOf(int64_t count) { return count == kUnknownCount ? Json(nullptr) : Json(count); }

Json EventOf(const char* name, double seconds) {
  return Json{{"event", name}, {"seconds", Rounded(seconds)}};
}

void AddProgress(Json& event, TimeLeft& left, double now) {
  event["done"] = Rounded(left.Share(now));
  const std::optional<double> seconds = left.Seconds(now);
  event["left"] = seconds ? Json(Rounded(*seconds)) : Json(nullptr);
}

}  // namespace

ProgressJson::ProgressJson(std::FILE* stream, std::function<double()> seconds)
    : fStream(stream), Seconds(std::move(seconds)) {}

void ProgressJson::OnBegin() {
  Json event = EventOf("begin", Seconds());
  event["version"] = kProgressVersion;
  Write(fStream, event);
}

void ProgressJson::OnPhase(RunPhase phase) {
  const double now = Seconds();
  Left.OnPhase(phase, now);
  Json event = EventOf("phase", now);
  event["phase"] = NameOf(phase);
  AddProgress(event, Left, now);
  Write(fStream, event);
}

void ProgressJson::OnCounts(const BlockCounts& counts, const RunPlan& plan) {
  Left.OnCounts(counts, plan);
  Json event = EventOf("counts", Seconds());
  event.update({{"images", counts.nImages},
                {"images_in_file", counts.nImagesInFile},
                {"cameras", counts.nCameras},
                {"cameras_in_file", counts.nCamerasInFile},
                {"strips", counts.nStrips},
                {"tie_points", counts.nTiePoints},
                {"tie_points_in_file", counts.nTiePointsInFile},
                {"measurements", counts.nMeasurements},
                {"control", counts.nControl},
                {"check", counts.nCheck},
                {"pos_images", counts.nPosImages},
                {"unknowns", counts.nUnknowns},
                {"redundancy", counts.nRedundancy},
                {"sections", counts.nSections},
                {"iterations_at_most", plan.nMost},
                {"threshold", plan.fThreshold}});
  Write(fStream, event);
}

void ProgressJson::OnAdvance(int32_t iteration, double share) {
  const double now = Seconds();
  Left.OnAdvance(iteration, share, now);
  const bool further = iteration != nLastIteration || !(std::fabs(share - fLastShare) < kLeastShare);
  if (!further || (fLastAdvance >= 0 && now - fLastAdvance < kLeastPause)) return;
  fLastAdvance = now;
  nLastIteration = iteration;
  fLastShare = share;
  Json event = EventOf("advance", now);
  event["iteration"] = iteration;
  event["share"] = Rounded(share);
  AddProgress(event, Left, now);
  Write(fStream, event);
}

void ProgressJson::OnIteration(const IterationFigure& figure) {
  const double now = Seconds();
  Left.OnIteration(figure, now);
  Json event = EventOf("iteration", now);
  event.update({{"iteration", figure.nNumber},
                {"rmse", {{"x", figure.Rmse.x}, {"y", figure.Rmse.y}}},
                {"largest", figure.fLargest},
                {"used", CountOf(figure.nUsed)},
                {"gross", CountOf(figure.nGross)},
                {"solver_steps", figure.nSolverSteps},
                {"damping", figure.fDamping},
                {"took", Rounded(figure.fSeconds)}});
  AddProgress(event, Left, now);
  Write(fStream, event);
}

void ProgressJson::OnFinding(const Finding& finding) {
  Json event = EventOf("finding", Seconds());
  event.update({{"weight", orvo::NameOf(finding.Weight)},
                {"code", finding.szCode},
                {"file", finding.szFile},
                {"line", finding.nLine},
                {"column", finding.nColumn},
                {"byte", finding.nByte},
                {"what", finding.szWhat},
                {"remedy", finding.szRemedy}});
  Write(fStream, event);
}

void ProgressJson::OnEnd(const RunFigures& /*figures*/) { Left.OnEnd(); }

void ProgressJson::OnMessage(const std::string& text) {
  Json event = EventOf("message", Seconds());
  event["text"] = text;
  Write(fStream, event);
}

void ProgressJson::OnFailure(const std::string& message) {
  Json event = EventOf("failure", Seconds());
  event["message"] = message;
  Write(fStream, event);
}

void ProgressJson::OnExit(const Verdict* verdict, int code) {
  Json event = EventOf("end", Seconds());
  event["verdict"] = nullptr;
  event["reasons"] = Json::array();
  if (verdict != nullptr) {
    event["verdict"] = GradeName(verdict->Result);
    for (const VerdictReason& reason : verdict->vReasons) {
      event["reasons"].push_back({{"grade", GradeName(reason.Weight)},
                                  {"what", reason.szWhat},
                                  {"limit", reason.szLimit},
                                  {"remedy", reason.szRemedy}});
    }
  }
  event["exit"] = code;
  Write(fStream, event);
}

}  // namespace orvo::report
