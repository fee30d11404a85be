#include "faults/Fault.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <set>
#include <sstream>

namespace orvo::faults {
namespace {

constexpr Mode kModes[] = {
    {"memory", Kind::Memory, Manner::Error, ENOMEM, false},
    {"memory-gone", Kind::Memory, Manner::Error, ENOMEM, true},
    {"thread", Kind::Thread, Manner::Error, EAGAIN, false},
    {"threads-gone", Kind::Thread, Manner::Error, EAGAIN, true},
    {"open", Kind::OpenRead, Manner::Error, EIO, false},
    {"open-denied", Kind::OpenRead, Manner::Error, EACCES, false},
    {"open-no-handles", Kind::OpenRead, Manner::Error, EMFILE, true},
    {"create", Kind::OpenWrite, Manner::Error, EACCES, false},
    {"create-no-space", Kind::OpenWrite, Manner::Error, ENOSPC, true},
    {"read", Kind::Read, Manner::Error, EIO, false},
    {"read-short", Kind::Read, Manner::Short, EIO, false},
    {"read-interrupted", Kind::Read, Manner::Interrupted, EINTR, false},
    {"reads-gone", Kind::Read, Manner::Error, EIO, true},
    {"seek", Kind::Seek, Manner::Error, EIO, false},
    {"write", Kind::Write, Manner::Error, EIO, false},
    {"write-short", Kind::Write, Manner::Short, ENOSPC, false},
    {"write-interrupted", Kind::Write, Manner::Interrupted, EINTR, false},
    {"disk-full", Kind::Write, Manner::Error, ENOSPC, true},
    {"flush", Kind::Flush, Manner::Error, ENOSPC, false},
    {"close", Kind::Close, Manner::Error, EIO, false},
    {"sync", Kind::Sync, Manner::Error, EIO, false},
    {"rename", Kind::Rename, Manner::Error, EIO, false},
    {"renames-denied", Kind::Rename, Manner::Error, EACCES, true},
    {"mkdir", Kind::MakeFolder, Manner::Error, EACCES, false},
    {"remove", Kind::Remove, Manner::Error, EACCES, false},
    {"removes-denied", Kind::Remove, Manner::Error, EACCES, true},
    {"status", Kind::Status, Manner::Error, EIO, false},
    {"list", Kind::List, Manner::Error, EIO, false},
    {"fork", Kind::Fork, Manner::Error, EAGAIN, false},
    {"lock", Kind::Lock, Manner::Error, ENOLCK, false},
};

/// The counts of a run, shared with it.
class SharedCounts {
 public:
  explicit SharedCounts(const std::string& path) {
    WriteWhole(path, std::string(sizeof(Counts), '\0'));
    const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    void* const memory = ::mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    if (memory == MAP_FAILED) Stop("can't map " + path);
    pCounts = static_cast<Counts*>(memory);
  }
  ~SharedCounts() { ::munmap(pCounts, sizeof(Counts)); }
  SharedCounts(const SharedCounts&) = delete;
  SharedCounts& operator=(const SharedCounts&) = delete;
  const Counts* operator->() const { return pCounts; }

 private:
  Counts* pCounts;
};

ChildRun Watched(const Scenario& scenario, const Place& place) {
  ChildRun run = MakeRun(scenario, place.szFolder, place.szConsole);
  run.Environment = {std::string("LD_PRELOAD=") + ORVO_FAULT_LIBRARY, "ORVO_FAULT_ROOT=" + place.szFolder,
                     "ORVO_FAULT_COUNTS=" + place.szCounts};
  return run;
}

std::string PlanOf(const Mode& mode, uint64_t at) {
  std::ostringstream text;
  text << "ORVO_FAULT=" << static_cast<int>(mode.Which) << ' ' << static_cast<int>(mode.How) << ' '
       << mode.nError << ' ' << at << ' ' << mode.bStays;
  return text.str();
}

bool IsUnhurt(const ChildEnd& end) { return !end.bHung && end.nSignal == 0; }

std::string Lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

/// Whether the console has a line that a run without faults does not, and that tells of trouble.
bool HasMessage(const std::string& console, const std::string& usual) {
  std::set<std::string> known;
  std::string line;
  for (std::istringstream lines(usual); std::getline(lines, line);) known.insert(line);
  for (std::istringstream lines(console); std::getline(lines, line);) {
    if (known.count(line) != 0) continue;
    line = Lowered(line);
    for (const char* word : {"fail", "error", "not enough", "can't", "can not", "could not", "cannot",
                             "no space", "changed", "missing"}) {
      if (line.find(word) != std::string::npos) return true;
    }
  }
  return false;
}

/// The generator makes each of its files whole, but not all of them or none.
std::string MixedFile(const FolderState& earlier, const FolderState& expected, const FolderState& actual) {
  for (const auto& [name, content] : actual) {
    const auto before = earlier.find(name), after = expected.find(name);
    const bool whole = (before != earlier.end() && before->second == content) ||
                       (after != expected.end() && after->second == content);
    if (!whole) return name + " is neither the earlier nor the new one";
  }
  return {};
}

/// Where renames are denied for good, those done before can't be taken back: then every earlier file still
/// lies in the run's own folder, for the next run to finish.
std::string LostFile(const FolderState& earlier, const FolderState& out) {
  for (const auto& entry : ResultsOf(earlier)) {
    const std::string& name = entry.first;
    const std::string& content = earlier.at(name);
    bool found = false;
    for (const auto& [path, kept] : out) {
      found |= kept == content &&
               (path == name || (path.rfind(".orvo", 0) == 0 && path.size() > name.size() &&
                                 path.compare(path.size() - name.size(), name.size(), name) == 0));
    }
    if (!found) return name + " is lost";
  }
  return {};
}

/// A check that can't read a file must not find it sound, or find something else in it.
Outcome JudgeCheck(const Truth& truth, const ChildEnd& end, const std::string& console) {
  if (end.nExit == 0 && console == truth.szConsole) return {Ending::Unaffected, {}};
  if (end.nExit == 0) return {Ending::Bad, "exit code 0, but another outcome:\n" + console};
  if (end.nExit != 1) return {Ending::Bad, end.Text()};
  if (!HasMessage(console, truth.szConsole)) return {Ending::Bad, "exit code 1 without a message"};
  return {Ending::Failed, {}};
}

Outcome Judge(const Scenario& scenario, const Truth& truth, const Mode& mode, const ChildEnd& end,
              const FolderState& out, const std::string& console) {
  if (!IsUnhurt(end)) return {Ending::Bad, end.Text()};
  if (scenario.Which == Program::Check) return JudgeCheck(truth, end, console);
  const FolderState results = WithoutTimes(ResultsOf(out));
  const std::string off = Difference(WithoutTimes(truth.Results), results);
  if (end.nExit == 0 && off.empty()) return {Ending::Unaffected, {}};
  std::string touched = Difference(ResultsOf(truth.Earlier), ResultsOf(out));
  const bool denied = mode.Which == Kind::Rename && mode.bStays;
  if (!touched.empty() && denied && !LeftoversOf(out).empty()) touched = LostFile(truth.Earlier, out);
  if (scenario.Which == Program::OrvoAdjust) {
    if (end.nExit != 0) return {Ending::Bad, end.Text()};
    if (!touched.empty()) return {Ending::Bad, off + "; beside the earlier results, " + touched};
    if (!HasMessage(console, truth.szConsole)) return {Ending::Bad, "no results, and no message"};
    return {Ending::Failed, {}};
  }
  if (end.nExit == 0) return {Ending::Bad, "exit code 0, but " + off};
  if (end.nExit != 1) return {Ending::Bad, end.Text()};
  if (!HasMessage(console, truth.szConsole)) return {Ending::Bad, "exit code 1 without a message"};
  if (scenario.Which == Program::Generate) {
    const std::string mixed = MixedFile(ResultsOf(truth.Earlier), truth.Results, ResultsOf(out));
    return {mixed.empty() ? Ending::Failed : Ending::Bad, mixed};
  }
  if (!touched.empty()) return {Ending::Bad, "exit code 1, but of the earlier results " + touched};
  return {Ending::Failed, {}};
}

/// What a run leaves of its own has to be gone after the next run, and that one has to be right.
std::string TroubleOfNextRun(const Scenario& scenario, const Truth& truth, const Place& place) {
  const ChildEnd end = RunChild(MakeRun(scenario, place.szFolder, place.szConsole));
  const FolderState out = ReadFolder(place.Out());
  if (!IsUnhurt(end) || end.nExit != 0) return "the next run ends with " + end.Text();
  const FolderState left = LeftoversOf(out);
  if (!left.empty()) return "the next run leaves " + left.begin()->first;
  const std::string off = Difference(WithoutTimes(truth.Results), WithoutTimes(ResultsOf(out)));
  return off.empty() ? off : "after the next run " + off;
}

}  // namespace

const std::vector<Mode>& Modes() {
  static const std::vector<Mode> modes(std::begin(kModes), std::end(kModes));
  return modes;
}

Truth FindTruth(const Scenario& scenario, const Place& place, const FolderState& inputs) {
  Truth truth;
  truth.Inputs = inputs;
  truth.Earlier = MakeEarlierResults(scenario, place);
  for (int pass = 0; pass < 2; ++pass) {
    RestoreFolder(place.Out(), truth.Earlier, ReadFolder(place.Out()));
    const SharedCounts counts(place.szCounts);
    const ChildEnd end = RunChild(Watched(scenario, place));
    truth.szConsole = ReadWhole(place.szConsole);
    if (!IsUnhurt(end) || end.nExit != 0) {
      Stop(scenario.szName + ": " + end.Text() + " without a fault:\n" + truth.szConsole);
    }
    const FolderState results = ResultsOf(ReadFolder(place.Out()));
    const std::string off = Difference(WithoutTimes(truth.Results), WithoutTimes(results));
    if (pass == 1 && !off.empty()) Stop(scenario.szName + ": two runs without a fault: " + off);
    truth.Results = results;
    for (size_t kind = 0; kind < std::size(truth.nCalls); ++kind) truth.nCalls[kind] = counts->nCalls[kind];
  }
  const bool writes = scenario.Which != Program::Check;
  if (writes && Difference(ResultsOf(truth.Earlier), truth.Results).empty()) {
    Stop(scenario.szName + ": the run changes nothing over the earlier results:\n" + truth.szConsole);
  }
  return truth;
}

Outcome TryFault(const Scenario& scenario, const Truth& truth, const Mode& mode, uint64_t at,
                 const Place& place) {
  RestoreFolder(place.Out(), truth.Earlier, ReadFolder(place.Out()));
  const SharedCounts counts(place.szCounts);
  ChildRun run = Watched(scenario, place);
  run.Environment.push_back(PlanOf(mode, at));
  const ChildEnd end = RunChild(run);
  const FolderState out = ReadFolder(place.Out());
  Outcome outcome = Judge(scenario, truth, mode, end, out, ReadWhole(place.szConsole));
  const FolderState inputs = ReadFolder(place.In());
  if (const std::string changed = Difference(truth.Inputs, inputs); !changed.empty()) {
    RestoreFolder(place.In(), truth.Inputs, inputs);
    return {Ending::Bad, "of the inputs " + changed};
  }
  if (outcome.How != Ending::Bad && !LeftoversOf(out).empty()) {
    const std::string trouble = TroubleOfNextRun(scenario, truth, place);
    if (!trouble.empty()) return {Ending::Bad, "left " + LeftoversOf(out).begin()->first + "; " + trouble};
  }
  if (outcome.How == Ending::Unaffected && counts->nStruck == 0) outcome.How = Ending::NotStruck;
  return outcome;
}

}  // namespace orvo::faults
