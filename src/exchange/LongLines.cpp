#include "exchange/LongLines.h"

#include <charconv>
#include <cmath>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

constexpr std::string_view kBlank = " \t\r\v\f";
constexpr int64_t kPiece = int64_t{1} << 20;

template <class T>
bool Whole(std::string_view word, T& value) {
  if (word.starts_with('+')) word.remove_prefix(1);
  T parsed{};
  const char* const end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, parsed);
  if (error != std::errc() || stop != end) return false;
  value = parsed;
  return true;
}

}  // namespace

std::string_view StrictFields::Peek() {
  const size_t begin = szRest.find_first_not_of(kBlank);
  if (begin == std::string_view::npos) return {};
  return szRest.substr(begin, szRest.find_first_of(kBlank, begin) - begin);
}

void StrictFields::Pass(std::string_view word) {
  szRest.remove_prefix(static_cast<size_t>(word.data() - szRest.data()) + word.size());
}

bool StrictFields::Real(double& value) {
  const std::string_view word = Peek();
  double parsed = 0;
  if (word.empty() || !Whole(word, parsed) || !std::isfinite(parsed)) return false;
  value = parsed;
  Pass(word);
  return true;
}

bool StrictFields::Int(int64_t& value) {
  const std::string_view word = Peek();
  if (word.empty() || !Whole(word, value)) return false;
  Pass(word);
  return true;
}

bool StrictFields::Word(std::string_view& word) {
  const std::string_view next = Peek();
  if (next.empty()) return false;
  word = next;
  Pass(word);
  return true;
}

std::string_view StrictFields::Rest() {
  const size_t begin = szRest.find_first_not_of(kBlank);
  if (begin == std::string_view::npos) return {};
  return szRest.substr(begin, szRest.find_last_not_of(kBlank) + 1 - begin);
}

bool StrictFields::AtEnd() { return Peek().empty(); }

std::string StrictFields::Shown() {
  constexpr size_t kMost = 40;
  const std::string_view word = Peek();
  if (word.empty()) return "the end of the line";
  return "\"" + PrintableName(word.substr(0, kMost)) + (word.size() > kMost ? "...\"" : "\"");
}

LongLines::LongLines(const std::string& path) {
  if (!File.Open(path)) {
    const std::string reason = FindReadingObstacle(path, kReadAgain);
    exchange::Refuse(path, 0,
                     "the file can't be read: " + (reason.empty() ? "there is no such file" : reason),
                     "Check its path and permissions");
  }
  Rewind();
}

void LongLines::Rewind() {
  Buffer.clear();
  nBegin = 0;
  nOffset = 0;
  nLine = 0;
  Fill();
  if (Buffer.starts_with("\xef\xbb\xbf")) nBegin = 3;
}

bool LongLines::Fill() {
  Buffer.erase(0, nBegin);
  nBegin = 0;
  const size_t before = Buffer.size();
  // A long line is taken in ever larger pieces, so that it is not moved about too often.
  const int64_t wanted = std::max(kPiece, static_cast<int64_t>(before));
  const int64_t piece = std::min(wanted, File.Size() - nOffset);
  if (piece <= 0) return false;
  Buffer.resize(before + static_cast<size_t>(piece));
  const int64_t got = File.ReadAt(nOffset, Buffer.data() + before, piece);
  if (File.Failed() || got < piece) {
    exchange::Refuse(Path(), 0, "the file can't be read on: " + File.Fault().szReason, "Check the disk");
  }
  nOffset += got;
  return true;
}

bool LongLines::Next(std::string_view& line) {
  size_t searched = nBegin;
  size_t end;
  while ((end = Buffer.find('\n', searched)) == std::string::npos) {
    searched = Buffer.size() - nBegin;
    if (!Fill()) break;
  }
  if (end == std::string::npos && nBegin == Buffer.size()) return false;
  const size_t stop = end == std::string::npos ? Buffer.size() : end;
  line = std::string_view(Buffer).substr(nBegin, stop - nBegin);
  if (line.ends_with('\r')) line.remove_suffix(1);
  nBegin = end == std::string::npos ? Buffer.size() : end + 1;
  ++nLine;
  return true;
}

bool LongLines::NextMeant(std::string_view& line, char comment) {
  while (Next(line)) {
    const size_t begin = line.find_first_not_of(kBlank);
    if (begin != std::string_view::npos && line[begin] != comment) return true;
  }
  return false;
}

void LongLines::Refuse(std::string what, std::string remedy) const {
  exchange::Refuse(Path(), nLine, std::move(what), std::move(remedy));
}

}  // namespace orvo::exchange
