#include "exchange/ExchangeLog.h"

#include <unistd.h>

#include <chrono>

namespace orvo::exchange {
namespace {

int64_t Milliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

ExchangeLog::ExchangeLog(std::FILE* out, std::FILE* err) : fOut(out), fErr(err) {
  // Streams of tests lie in memory and have no file.
  bTerminal = err != nullptr && ::fileno(err) >= 0 && ::isatty(::fileno(err)) == 1;
  nLastShown = Milliseconds();
}

void ExchangeLog::Say(const std::string& line) {
  EndProgress();
  if (fOut != nullptr) std::fprintf(fOut, "%s\n", line.c_str());
}

void ExchangeLog::Tell(const Finding& finding) {
  EndProgress();
  if (fErr != nullptr) std::fprintf(fErr, "%s\n", TextOf(finding).c_str());
}

void ExchangeLog::Progress(const char* what, int64_t done, int64_t of) {
  if (!bTerminal || (++nCalls & 255u) != 0) return;
  const int64_t now = Milliseconds();
  if (now - nLastShown < 100) return;
  nLastShown = now;
  bShown = true;
  const double share = of > 0 ? 100.0 * static_cast<double>(done) / static_cast<double>(of) : 0;
  std::fprintf(fErr, "\r%s: %.0f %%   ", what, share);
  std::fflush(fErr);
}

void ExchangeLog::EndProgress() {
  if (!bShown) return;
  bShown = false;
  std::fprintf(fErr, "\r\x1b[K");
}

}  // namespace orvo::exchange
