#include "report/console/ProgressBar.h"

#include <fmt/format.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cmath>

namespace orvo::report {
namespace {

constexpr double kLeastPause = 0.1;  ///< seconds from one drawing to the next
constexpr int kUsualWidth = 80;
constexpr int kLongestBar = 30, kShortestBar = 10;
constexpr const char *kErase = "\r\033[K", *kBegin = "\r";

std::string BarOf(double share, int length) {
  const int inner = length - 2;
  const int full = std::clamp(static_cast<int>(share * inner), 0, inner);
  return "[" + std::string(static_cast<size_t>(full), '#') +
         std::string(static_cast<size_t>(inner - full), '-') + "]";
}

std::string WhereText(const ProgressState& state) {
  std::string text = NameOf(state.Phase);
  if (state.Phase != RunPhase::Iterating || state.nIteration < 1) return text;
  text += fmt::format(" {}", state.nIteration);
  if (state.nMost > 0) text += fmt::format(" of at most {}", state.nMost);
  return text;
}

}  // namespace

std::string DurationText(double seconds) {
  // Above a hundred years nothing is told but that.
  const auto whole = static_cast<int64_t>(std::clamp(std::round(seconds), 0.0, 3.2e9));
  if (whole < 60) return fmt::format("{} s", whole);
  if (whole < 3600) return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  return fmt::format("{} h {:02} min", whole / 3600, whole % 3600 / 60);
}

std::string ProgressText(const ProgressState& state, int width) {
  const int room = std::max(width - 1, 0);
  const std::string where = WhereText(state);
  const double share = std::clamp(state.fShare, 0.0, 1.0);
  const std::string percent = fmt::format("{:3.0f} %", std::floor(100 * share));
  const std::string left = state.fSecondsLeft ? "  " + DurationText(*state.fSecondsLeft) + " left" : "";
  const int taken = static_cast<int>(where.size() + percent.size() + left.size()) + 4;
  std::string text = where;
  if (room - taken >= kShortestBar) {
    text += "  " + BarOf(share, std::min(room - taken, kLongestBar)) + "  " + percent + left;
  } else if (room >= taken - 2) {
    text += "  " + percent + left;
  } else if (room >= static_cast<int>(where.size() + percent.size()) + 2) {
    text += "  " + percent;
  }
  return text.substr(0, static_cast<size_t>(room));
}

int TerminalWidth(std::FILE* terminal) {
  winsize size{};
  if (::ioctl(::fileno(terminal), TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualWidth;
  return size.ws_col;
}

ProgressBar::ProgressBar(std::FILE* terminal, std::function<double()> seconds, std::function<int()> width)
    : fTerminal(terminal), Seconds(std::move(seconds)), Width(std::move(width)) {}

ProgressBar::~ProgressBar() { Close(); }

void ProgressBar::OnPhase(RunPhase phase) {
  const std::lock_guard lock(Mutex);
  Left.OnPhase(phase, Seconds());
  State.Phase = phase;
  State.nIteration = phase == RunPhase::Iterating ? 1 : 0;
  Draw(true);
}

void ProgressBar::OnCounts(const BlockCounts& counts, const RunPlan& plan) {
  const std::lock_guard lock(Mutex);
  Left.OnCounts(counts, plan);
  State.nMost = plan.nMost;
  Draw(false);
}

void ProgressBar::OnAdvance(int32_t iteration, double share) {
  const std::lock_guard lock(Mutex);
  Left.OnAdvance(iteration, share, Seconds());
  State.nIteration = iteration;
  Draw(false);
}

void ProgressBar::OnIteration(const IterationFigure& figure) {
  const std::lock_guard lock(Mutex);
  Left.OnIteration(figure, Seconds());
  State.nIteration = State.nMost > 0 ? std::min(figure.nNumber + 1, State.nMost) : figure.nNumber + 1;
  Draw(false);
}

void ProgressBar::OnEnd(const RunFigures& /*figures*/) {
  const std::lock_guard lock(Mutex);
  Left.OnEnd();
  Draw(false);
}

void ProgressBar::Draw(bool now) {
  const double time = Seconds();
  State.fShare = Left.Share(time);
  State.fSecondsLeft = Left.Seconds(time);
  if (bHidden || bClosed || (!now && fLastDrawn >= 0 && time - fLastDrawn < kLeastPause)) return;
  fLastDrawn = time;
  bDrawn = true;
  // In one write: a line is never half there.
  const std::string text = kBegin + ProgressText(State, Width()) + "\033[K";
  std::fwrite(text.data(), 1, text.size(), fTerminal);
  std::fflush(fTerminal);
}

void ProgressBar::Erase() {
  if (!bDrawn) return;
  bDrawn = false;
  std::fputs(kErase, fTerminal);
  std::fflush(fTerminal);
}

void ProgressBar::Hide() {
  const std::lock_guard lock(Mutex);
  bHidden = true;
  Erase();
}

void ProgressBar::Show() {
  const std::lock_guard lock(Mutex);
  bHidden = false;
  // Not before a phase has begun.
  if (fLastDrawn >= 0) Draw(true);
}

void ProgressBar::Close() {
  const std::lock_guard lock(Mutex);
  Erase();
  bClosed = true;
}

}  // namespace orvo::report
