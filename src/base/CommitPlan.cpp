#include "base/CommitPlan.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace orvo {
namespace {

constexpr std::string_view kHead = "orvo commit 1";

bool IsPlainName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

bool Take(const CommitStep& step, const CommitFolders& folders) noexcept {
  const char* name = step.szName.c_str();
  const int from = step.bAway ? folders.nTarget : folders.nStaging;
  const int to = step.bAway ? folders.nOld : folders.nTarget;
  return ::renameat(from, name, to, name) == 0;
}

bool TakeBack(const CommitStep& step, const CommitFolders& folders) noexcept {
  const char* name = step.szName.c_str();
  const int from = step.bAway ? folders.nOld : folders.nTarget;
  const int to = step.bAway ? folders.nTarget : folders.nStaging;
  return ::renameat(from, name, to, name) == 0;
}

/// The first `count` steps. Each is tried twice: a fault of the moment must not leave half of two runs.
bool TakeBackFirst(size_t count, const CommitPlan& plan, const CommitFolders& folders) noexcept {
  bool done = true;
  while (count-- > 0) {
    done = (TakeBack(plan.Steps[count], folders) || TakeBack(plan.Steps[count], folders)) && done;
  }
  return done;
}

bool Exists(int folder, const std::string& name) noexcept {
  struct stat status {};
  return ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

// Fields end with a zero byte, which no name holds.
std::string CommitPlan::Text() const {
  std::string text(kHead);
  text += '\0';
  text += static_cast<char>(Target);
  text += '\0';
  for (const CommitStep& step : Steps) {
    text += step.bAway ? '-' : '+';
    text += step.szName;
    text += '\0';
  }
  text += "end " + std::to_string(Steps.size());
  text += '\0';
  return text;
}

std::optional<CommitPlan> CommitPlan::Parse(std::string_view text) {
  std::vector<std::string_view> fields;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\0', at);
    if (end == std::string_view::npos) return std::nullopt;
    fields.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  if (fields.size() < 3 || fields[0] != kHead) return std::nullopt;
  const std::string_view target = fields[1];
  if (target != "r" && target != "u" && target != "f") return std::nullopt;
  CommitPlan plan;
  plan.Target = static_cast<CommitTarget>(target[0]);
  for (size_t i = 2; i + 1 < fields.size(); ++i) {
    const std::string_view field = fields[i];
    if (field.empty() || (field[0] != '-' && field[0] != '+') || !IsPlainName(field.substr(1))) {
      return std::nullopt;
    }
    plan.Steps.push_back({field[0] == '-', std::string(field.substr(1))});
  }
  if (fields.back() != "end " + std::to_string(plan.Steps.size())) return std::nullopt;
  return plan;
}

CommitResult ApplyPlan(const CommitPlan& plan, const CommitFolders& folders) noexcept {
  for (size_t i = 0; i < plan.Steps.size(); ++i) {
    if (Take(plan.Steps[i], folders)) continue;
    const int error = errno;
    return {error, static_cast<int>(i), TakeBackFirst(i, plan, folders)};
  }
  return {};
}

bool TakeBackPlan(const CommitPlan& plan, const CommitFolders& folders) noexcept {
  return TakeBackFirst(plan.Steps.size(), plan, folders);
}

bool FinishPlan(const CommitPlan& plan, const CommitFolders& folders) noexcept {
  for (const CommitStep& step : plan.Steps) {
    // A file that is away already has left its name to the new one.
    const bool toDo = step.bAway ? !Exists(folders.nOld, step.szName) && Exists(folders.nTarget, step.szName)
                                 : Exists(folders.nStaging, step.szName);
    if (toDo && !Take(step, folders)) return false;
  }
  return true;
}

}  // namespace orvo
