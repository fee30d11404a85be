// Runs a fuzz target without a fuzzer: on every file of a corpus folder, and on random changes of each that
// are the same in every run. Usage: PROGRAM CORPUS_FOLDER CHANGES_PER_FILE
#include <algorithm>
#include <random>
#include <sstream>
#include <vector>

#include "fuzz/Target.h"

namespace {

using Random = std::mt19937;

size_t Below(Random& random, size_t end) { return end == 0 ? 0 : random() % end; }

void FlipByte(std::string& text, Random& random) {
  if (!text.empty()) text[Below(random, text.size())] ^= static_cast<char>(1u << (random() % 8));
}

void SetByte(std::string& text, Random& random) {
  static const std::string bytes = std::string("\0\xff\x80\x7f\n\r -.0139", 13);
  if (!text.empty()) text[Below(random, text.size())] = bytes[Below(random, bytes.size())];
}

void Truncate(std::string& text, Random& random) { text.resize(Below(random, text.size() + 1)); }

void DuplicatePart(std::string& text, Random& random) {
  const size_t begin = Below(random, text.size() + 1);
  const std::string part = text.substr(begin, Below(random, 200));
  text.insert(Below(random, text.size() + 1), part);
}

void RemovePart(std::string& text, Random& random) {
  const size_t begin = Below(random, text.size() + 1);
  text.erase(begin, Below(random, 40));
}

void InsertToken(std::string& text, Random& random) {
  static const char* const kTokens[] = {
      "7",    "99999999", "-1",     "2147483647", "-2147483648", "4294967296",
      "nan",  "-inf",     "1e999",  "1e9",        "0",           "\n",
      "\r\n", " ",        "\n\n\n", "0x1p3",      "x",           "18446744073709551616"};
  text.insert(Below(random, text.size() + 1), kTokens[Below(random, std::size(kTokens))]);
}

void InsertLongLine(std::string& text, Random& random) {
  text.insert(Below(random, text.size() + 1),
              std::string(400 + Below(random, 300), random() % 2 == 0 ? '1' : ' '));
}

std::string Changed(std::string text, Random& random) {
  using Change = void (*)(std::string&, Random&);
  static constexpr Change kChanges[] = {FlipByte,   SetByte,     Truncate,    DuplicatePart,
                                        RemovePart, InsertToken, InsertToken, InsertLongLine};
  for (size_t left = 1 + Below(random, 4); left > 0; --left)
    kChanges[Below(random, std::size(kChanges))](text, random);
  return text;
}

void Run(const std::string& input) {
  // A copy of exactly this size, so that a sanitizer sees the first byte read behind it.
  const std::vector<uint8_t> bytes(input.begin(), input.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "Usage: %s CORPUS_FOLDER CHANGES_PER_FILE\n", argv[0]);
    return 2;
  }
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  const int changes = std::atoi(argv[2]);
  size_t runs = 0;
  for (const auto& file : files) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    Run(content.str());
    ++runs;
    Random random(1);
    for (int change = 0; change < changes; ++change, ++runs) Run(Changed(content.str(), random));
  }
  Run("");
  std::printf("%zu inputs from %zu files\n", runs + 1, files.size());
  return files.empty() ? 1 : 0;
}
