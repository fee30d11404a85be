// summary.json: what can be read is written as it was read, and points to nothing that is not there.
#include "base/InputFile.h"
#include "fuzz/Target.h"
#include "report/json/SummaryJson.h"
#include "report/json/SummaryReading.h"

namespace {

using namespace orvo;

std::string Written(const report::RunFigures& figures, const std::string& name) {
  const std::string path = test::Folder().Path() + "/" + name;
  TextWriter file;
  if (!file.Open(path)) std::abort();
  report::WriteSummary(figures, file);
  if (!file.Close()) std::abort();
  std::string text;
  if (!ReadWholeFile(path, kReadAgain, nullptr, text)) std::abort();
  return text;
}

std::string FaultOf(const report::RunFigures& run) {
  for (const report::ImageFigure& image : run.vImages) {
    if (image.nCamera < -1 || image.nCamera >= std::ssize(run.vCameras)) return "a camera that is not there";
  }
  if (!run.Pos) return {};
  for (const report::PosImageFigure& image : run.Pos->vImages) {
    if (image.nImage < 0 || image.nImage >= std::ssize(run.vImages)) return "an image that is not there";
  }
  return {};
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = test::Folder().Write("summary.json", {reinterpret_cast<const char*>(data), size});
  InputFiles inputs;
  const report::SummaryOrFault read = report::ReadSummary(path, inputs);
  if (const auto* fault = std::get_if<std::string>(&read)) {
    if (fault->empty()) test::Require("a fault without a word");
    return 0;
  }
  const auto& run = std::get<report::RunFigures>(read);
  test::Require(FaultOf(run));
  const std::string text = Written(run, "written.json");
  const report::SummaryOrFault again = report::ReadSummary(test::Folder().Path() + "/written.json", inputs);
  if (std::holds_alternative<std::string>(again)) test::Require("a summary that can't be read again");
  if (Written(std::get<report::RunFigures>(again), "again.json") != text)
    test::Require("a summary that changes on its way");
  return 0;
}
