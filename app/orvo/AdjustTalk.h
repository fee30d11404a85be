// What orvo adjust tells while it works: to people, to other programs, or as the system's messages.
#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <string>

#include "base/Interruption.h"
#include "orvo/LineStream.h"
#include "orvo/OrvoMain.h"
#include "report/console/ConsoleView.h"
#include "report/console/ObserverList.h"
#include "report/console/ProgressJson.h"

namespace orvo {

/// How a run is talked about.
struct TalkManner {
  bool bLog = false;                ///< the system's messages on standard output
  bool bQuiet = false;              ///< nothing on standard output
  bool bControl = true;             ///< a GCP file is named; without one none is missed
  std::string szProgress = "auto";  ///< auto, bar, json or none
};

/// Standard output has what was asked for, standard error the progress and whatever is wrong. With the
/// progress as JSON all of standard error are events.
class AdjustTalk {
 public:
  AdjustTalk(const TalkManner& manner, const FrontEnd& frontEnd);
  ~AdjustTalk();
  AdjustTalk(const AdjustTalk&) = delete;
  AdjustTalk& operator=(const AdjustTalk&) = delete;

  /// For the messages of the run.
  std::FILE* Console();
  report::RunObserver* Observer() { return &All; }

  /// A text for people on standard output.
  void Say(const std::string& text);
  /// What is wrong, on standard error: a finding, and a line that is one already.
  void TellFinding(const Finding& finding);
  void TellTrouble(const std::string& line);
  /// "orvo adjust: " and the message; ExitFailed.
  int Fail(const std::string& message);
  /// The last messages of a run that failed, where they are not on standard output already.
  void TellLastMessages();
  /// The reasons of a verdict alone, where something is wrong.
  void TellReasons(const Verdict& verdict);
  /// Summary and verdict of a run that came to its end, between them the path of its report and the names of
  /// the files that lie beside it; empty where there are none.
  void TellResult(const Verdict& verdict, const std::string& report, const std::string& besides);
  /// The last word; the exit code as it came.
  int End(int code);

 private:
  void TakeMessage(const std::string& line);

  TalkManner Manner;
  const FrontEnd& Front;
  std::chrono::steady_clock::time_point Begin = std::chrono::steady_clock::now();
  std::unique_ptr<report::ProgressBar> pBar;
  std::unique_ptr<Interruptible> pBarCloser;  ///< leaves a terminal clean where a signal ends the program
  std::unique_ptr<report::ProgressJson> pEvents;
  report::ConsoleStreams Streams;
  std::unique_ptr<report::ConsoleView> pView;
  report::ObserverList All;
  std::unique_ptr<LineStream> pMessages;
  std::deque<std::string> LastMessages;
  Verdict Judgement;
};

}  // namespace orvo
