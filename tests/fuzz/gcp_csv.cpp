// A table of control points beside a small project: what is written can be read strictly.
#include <filesystem>

#include "check/GcpCheck.h"
#include "exchange/ExchangeFault.h"
#include "exchange/survey/GcpSource.h"
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
  options.szSource = Folder().Write("points.csv", {reinterpret_cast<const char*>(data), size});
  options.szOut = Folder().Path() + "/GCP.txt";
  std::filesystem::remove(options.szOut);
  try {
    // Systems that a file names are the affair of their library.
    if (!exchange::ReadGcpSource(options.szSource).szCrs.empty()) return 0;
    exchange::ExchangeLog log;
    exchange::ImportGcp(options, log);
  } catch (const exchange::ExchangeFault&) {
    return 0;
  }
  for (const Finding& finding : CheckGcp(options.szOut, {false, false})) {
    if (finding.Weight == Severity::Error) Require(TextOf(finding));
  }
  return 0;
}
