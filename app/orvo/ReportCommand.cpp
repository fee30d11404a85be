// orvo report: the page of a run, made of its summary.
#include <filesystem>
#include <fstream>
#include <memory>

#include "base/OutputNames.h"
#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/WholeFiles.h"
#include "orvo/Command.h"
#include "orvo/ExchangeArguments.h"
#include "report/html/ReportPage.h"
#include "report/json/SummaryJson.h"
#include "report/json/SummaryReading.h"

namespace orvo {
namespace {

struct ReportArguments {
  std::string szSource, szOut;
  bool bForce = false;
};

/// The summary that is named, or that of the folder.
std::string PathOfSummary(const std::string& source) {
  std::error_code ignored;
  if (!std::filesystem::is_directory(source, ignored)) return source;
  std::string path = JoinPath(source, kSummaryName);
  if (std::filesystem::exists(path, ignored)) return path;
  std::string remedy = "orvo adjust writes one from version 0.4.0 on: adjust the block again";
  for (const char* name : {kUnusableFolder, kFailedFolder}) {
    const std::string folder = JoinPath(source, name);
    if (std::filesystem::exists(JoinPath(folder, kSummaryName), ignored))
      remedy = "That of a run that gave no result is in " + folder;
  }
  exchange::Refuse(source, 0, "it has no " + std::string(kSummaryName), remedy);
}

bool IsOwnPage(const std::string& path) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) return false;
  constexpr size_t kHead = 1024;
  std::string head(kHead, '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(head.data(), static_cast<std::streamsize>(kHead));
  return head.find(report::kPageMark) != std::string::npos;
}

/// What is named by hand may be something else.
void RefuseOtherFile(const std::string& path, bool force) {
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) return;
  const std::string extension = std::filesystem::path(path).extension().string();
  if (extension != ".html" && extension != ".htm")
    exchange::Refuse(path, 0, "a file is there already that is no page", "Name another place with --out");
  if (!force && !IsOwnPage(path)) {
    exchange::Refuse(path, 0, "a file is there already that orvo did not write",
                     "Name another place with --out, or add --force");
  }
}

/// A pipe has one pass, and nothing beside it.
void RefuseStream(const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::exists(path, ignored) && !std::filesystem::is_regular_file(path, ignored))
    exchange::Refuse(path, 0, "it is no file on a disk", "Write the summary to a file first, and give that");
}

void MakeReport(const ReportArguments& arguments, exchange::ExchangeLog& log) {
  const std::string summary = PathOfSummary(arguments.szSource);
  RefuseStream(summary);
  InputFiles inputs;
  const report::SummaryOrFault read = report::ReadSummary(summary, inputs);
  if (const auto* fault = std::get_if<std::string>(&read)) {
    exchange::Refuse(summary, 0, *fault,
                     "Give the folder of a run, or the summary.json that orvo adjust wrote in it");
  }
  const std::string beside = exchange::WholeFiles::FolderOf(summary);
  const std::string path = arguments.szOut.empty() ? JoinPath(beside, kReportPageName) : arguments.szOut;
  if (!arguments.szOut.empty()) RefuseOtherFile(path, arguments.bForce);
  exchange::WholeFiles files(exchange::WholeFiles::FolderOf(path), {summary});
  files.Write(std::filesystem::path(path).filename().string(),
              [&](TextWriter& file) { report::WriteReportPage(std::get<report::RunFigures>(read), file); });
  files.Commit();
  log.Say("Report: " + PrintableName(path));
}

}  // namespace

std::function<int()> AddReport(CLI::App& app, const FrontEnd& frontEnd) {
  const auto arguments = std::make_shared<ReportArguments>();
  app.add_option("RUN", arguments->szSource, "output folder of orvo adjust, or its summary.json")->required();
  CLI::Option* out =
      app.add_option("--out", arguments->szOut, "the page to write [report.html beside the summary]")
          ->type_name("FILE");
  app.add_flag("--force", arguments->bForce, "write over a page that orvo did not write, too")->needs(out);
  return [arguments, &frontEnd] {
    return RunExchange("report", frontEnd, [&](exchange::ExchangeLog& log) { MakeReport(*arguments, log); });
  };
}

}  // namespace orvo
