// Imports, exports and conversions of any form.
#include <filesystem>

#include "base/PrintableName.h"
#include "check/Finding.h"
#include "exchange/ExchangeFault.h"
#include "exchange/FilesRead.h"
#include "exchange/Forms.h"
#include "exchange/ImportSource.h"
#include "exchange/ProjectWriting.h"
#include "exchange/ResultModel.h"

namespace orvo::exchange {

namespace {

void RefuseNoName(const std::string& out, bool file) {
  if (out.empty()) Refuse("", 0, "--out names nothing", "Name a file or a folder with --out");
  const std::string name = std::filesystem::path(out).filename().string();
  if (file && (name.empty() || name == "." || name == "..")) {
    Refuse(out, 0, "--out names a folder", "Name a file in it with --out");
  }
}

bool WritesFolder(const std::string& form) { return form == "colmap" || form == "opensfm" || form == "csv"; }

}  // namespace

void ImportForm(const ImportOptions& options, ExchangeLog& log) {
  RefuseNoName(options.szOut, true);
  const Form* form = FindForm(options.szForm);
  if (form != nullptr && form->Import != nullptr) return form->Import(options, log);
  if (form != nullptr && form->ReadModel != nullptr) {
    ForeignModel model = form->ReadModel(options, log);
    WriteBlock(model, options, log);
    return;
  }
  Refuse("", 0, "there is no import from " + PrintableName(options.szForm), "See orvo import --help");
}

void ExportForm(const ExportOptions& options, ExchangeLog& log) {
  const Form* form = FindForm(options.szForm);
  if (form == nullptr || (form->Export == nullptr && form->WriteModel == nullptr)) {
    Refuse("", 0, "there is no export into " + PrintableName(options.szForm), "See orvo export --help");
  }
  RefuseNoName(options.szOut, !WritesFolder(options.szForm));
  ResultBlock result = ReadResult(options.szResult, options.szProject, options.szGcp, options.szPos);
  for (const Finding& finding : FindingsOf(result.Left, result.Files.szProject)) log.Tell(finding);
  if (result.Block.Images.empty() && !result.Left.IsEmpty()) {
    Refuse(result.Files.szProject, 0, "no image of it has an orientation", "Run orvo check on the block");
  }
  RefuseSource(SidecarsOfImages(result, options), options);
  if (form->Export != nullptr) return form->Export(result, options, log);
  const auto sidecar = SidecarOf(result, options, log);
  // A model that was imported comes back as it was; other projects may have any coordinates.
  if (!sidecar && !result.bResult) {
    if (const int64_t count = IntersectStale(result); count > 0) {
      log.Say("Intersected anew: " + CountOf(count, "point", {}) +
              " whose coordinates do not fit their measurements");
    }
  }
  ForeignModel model = ModelOfResult(result, sidecar, options, log);
  form->WriteModel(model, options, log);
}

void ConvertForm(const ImportOptions& from, const ExportOptions& to, ExchangeLog& log) {
  const Form* source = FindForm(from.szForm);
  const Form* target = FindForm(to.szForm);
  if (source == nullptr || target == nullptr || source->ReadModel == nullptr) {
    Refuse("", 0, "there is no way from " + PrintableName(from.szForm) + " to " + PrintableName(to.szForm),
           "See orvo convert --help");
  }
  RefuseNoName(to.szOut, !WritesFolder(to.szForm));
  ForeignModel model = source->ReadModel(from, log);
  if (target->WriteModel != nullptr && from.Distortion) {
    Refuse("", 0, "--distortion has no use on the way into " + PrintableName(to.szForm), "Leave it away");
  }
  const std::vector<std::string> inputs = FilesRead(from);
  model.Files.insert(model.Files.end(), inputs.begin(), inputs.end());
  if (target->WriteModel != nullptr) return target->WriteModel(model, to, log);
  if (target->Export != nullptr) return target->Export(ResultOfModel(model, from, log), to, log);
  Refuse("", 0, "there is no way from " + PrintableName(from.szForm) + " to " + PrintableName(to.szForm),
         "See orvo convert --help");
}

}  // namespace orvo::exchange
