// The codes of all that `orvo check` finds, with what stands about each in the manual.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "check/Finding.h"

namespace orvo {

/// One kind of finding. Codes are a letter for the subject and three digits, and never change their meaning:
/// S syntax, R references, C conventions, G geometry of the block, K control, P positions and angles, A
/// settings, M memory.
struct CodeEntry {
  const char* szCode;
  Severity Weight;
  const char* szTitle;   ///< a few words
  const char* szCause;   ///< sentences
  const char* szRemedy;  ///< sentences
};

/// Codes of what files hold: S, R, A, M.
std::span<const CodeEntry> FileCodes();
/// Codes of what a block is: C, G, K, P.
std::span<const CodeEntry> BlockCodes();

/// Null where there is no such code; letters of either case.
const CodeEntry* FindCode(std::string_view code);

/// Its row in the table of codes of the manual.
std::string MarkdownRowOf(const CodeEntry& entry);

}  // namespace orvo
