#include "orvo/AdjustTalk.h"

#include <cstdlib>
#include <string_view>

#include "base/PrintableName.h"

namespace orvo {
namespace {

constexpr size_t kLastMessages = 8;

/// Whether a message of the system tells of trouble.
bool IsTrouble(const std::string& line) { return line.starts_with("Error!") || line.starts_with("Warning!"); }

/// The messages on a GCP file that can't be opened, as the system writes them.
bool TellsOfNoControl(const std::string& line) {
  return line == "Warning!Open gcp file failed!" || line == "Error!Open gcp file falied!";
}

bool WantsBar(const TalkManner& manner, std::FILE* terminal) {
  if (manner.szProgress == "bar") return true;
  if (manner.szProgress != "auto" || manner.bLog || manner.bQuiet) return false;
  const char* term = std::getenv("TERM");
  return report::IsTerminal(terminal) && (term == nullptr || std::string_view(term) != "dumb");
}

}  // namespace

AdjustTalk::AdjustTalk(const TalkManner& manner, const FrontEnd& frontEnd) : Manner(manner), Front(frontEnd) {
  const auto seconds = [this] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - Begin).count();
  };
  std::FILE* const err = Front.fErr;
  if (WantsBar(Manner, err)) {
    pBar = std::make_unique<report::ProgressBar>(err, seconds, [err] { return report::TerminalWidth(err); });
    pBarCloser = std::make_unique<Interruptible>([bar = pBar.get()](const char*) { bar->Close(); });
  }
  if (Manner.szProgress == "json") pEvents = std::make_unique<report::ProgressJson>(err, seconds);
  Streams = {Front.fOut, err, pBar.get()};
  if (!Manner.bLog) {
    pView = std::make_unique<report::ConsoleView>(Streams, Manner.bQuiet, pEvents == nullptr);
    All.Add(*pView);
  }
  if (pBar) All.Add(*pBar);
  if (pEvents) {
    All.Add(*pEvents);
    pEvents->OnBegin();
  }
  if (!Manner.bLog || pBar)
    pMessages = std::make_unique<LineStream>([this](const std::string& line) { TakeMessage(line); });
}

AdjustTalk::~AdjustTalk() {
  pMessages.reset();
  // A signal has nothing to tidy up in a bar that is gone.
  pBarCloser.reset();
}

std::FILE* AdjustTalk::Console() { return pMessages ? pMessages->Stream() : Front.fOut; }

void AdjustTalk::TakeMessage(const std::string& line) {
  if (Manner.bLog) return report::Tell(Streams, Front.fOut, line);
  const std::string text = line.substr(0, line.find('\n'));
  if (IsTrouble(text) && (Manner.bControl || !TellsOfNoControl(text))) return TellTrouble(text);
  if (text.empty()) return;
  if (LastMessages.size() == kLastMessages) LastMessages.pop_front();
  LastMessages.push_back(text);
}

void AdjustTalk::Say(const std::string& text) {
  if (!Manner.bQuiet) report::Tell(Streams, Front.fOut, text);
}

void AdjustTalk::TellFinding(const Finding& finding) {
  if (pEvents) return pEvents->OnFinding(finding);
  report::Tell(Streams, Front.fErr, report::InkOf(Front.fErr).FindingText(finding) + "\n");
}

void AdjustTalk::TellTrouble(const std::string& line) {
  if (pEvents) return pEvents->OnMessage(line);
  report::Tell(Streams, Front.fErr, line + "\n");
}

int AdjustTalk::Fail(const std::string& message) {
  if (pEvents) {
    pEvents->OnFailure(message);
  } else {
    report::Tell(Streams, Front.fErr, "orvo adjust: " + PrintableName(message) + "\n");
  }
  return ExitFailed;
}

void AdjustTalk::TellLastMessages() {
  for (const std::string& line : LastMessages) TellTrouble(line);
  LastMessages.clear();
}

void AdjustTalk::TellReasons(const Verdict& verdict) {
  Judgement = verdict;
  if (!pEvents) report::Tell(Streams, Front.fErr, report::InkOf(Front.fErr).ReasonLines(verdict));
}

void AdjustTalk::TellResult(const Verdict& verdict, const std::string& report, const std::string& besides) {
  if (pBar) pBar->Close();
  if (pView) pView->TellSummary();
  Say("Report: " + PrintableName(report) + "\n");
  if (!besides.empty()) Say("Beside it: " + besides + "\n");
  if (!verdict.bJudged) return;
  if (Manner.bQuiet) return TellReasons(verdict);
  Judgement = verdict;
  Say(report::InkOf(Front.fOut).VerdictLines(verdict));
}

int AdjustTalk::End(int code) {
  if (pBar) pBar->Close();
  if (pEvents) pEvents->OnExit(Judgement.bJudged ? &Judgement : nullptr, code);
  return code;
}

}  // namespace orvo
