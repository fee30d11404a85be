// A table of positions: what is written can be read strictly.
#include <filesystem>

#include "check/PosCheck.h"
#include "exchange/ExchangeFault.h"
#include "exchange/survey/PosSource.h"
#include "exchange/survey/Survey.h"
#include "fuzz/Target.h"

namespace {

const char kProject[] =
    "2 1 0\n0 4000 3000 0 5000 0 0 0 0 0\n"
    "0 0\nd/a.tif\n1 0 0 0 1 0 0 0 1\n1 2 3\n"
    "1 0\nd/b.tif\n1 0 0 0 1 0 0 0 1\n1 2 3\n";

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo;
  using namespace orvo::test;
  exchange::ImportOptions options;
  static const std::string project = Folder().Write("block.prj", kProject);
  options.szProject = project;
  options.szSource = Folder().Write("places.csv", {reinterpret_cast<const char*>(data), size});
  options.szOut = Folder().Path() + "/POS.txt";
  options.szHeight = "none";
  std::filesystem::remove(options.szOut);
  try {
    const exchange::PosSource source = exchange::ReadPosSource(options.szSource);
    // Systems that a file names are the affair of their library.
    if (!source.szCrs.empty()) return 0;
    const bool turns = source.Angles == exchange::AngleWords::OmegaPhiKappa;
    options.szAngles = turns ? "standard" : "gimbal";
    exchange::ExchangeLog log;
    exchange::ImportPos(options, log);
  } catch (const exchange::ExchangeFault&) {
    return 0;
  }
  ProjectHead head;
  CheckProjectHead(project, true, head);
  for (const Finding& finding : CheckPos(options.szOut, head, {true, true})) {
    if (finding.Weight == Severity::Error) Require(TextOf(finding));
  }
  return 0;
}
