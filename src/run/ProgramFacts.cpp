#include "run/ProgramFacts.h"

#include <fmt/format.h>
#include <generated/BuildFacts.h>  // made by the build, as the next
#include <generated/Commit.h>

#include "base/simd/InstructionSet.h"

namespace orvo {
namespace {

std::string Compiler() {
#if defined(__clang__)
  return fmt::format("Clang {}.{}.{}", __clang_major__, __clang_minor__, __clang_patchlevel__);
#else
  return fmt::format("GCC {}.{}.{}", __GNUC__, __GNUC_MINOR__, __GNUC_PATCHLEVEL__);
#endif
}

std::string CompiledSets() {
  std::string sets = NameOf(InstructionSet::Baseline);
#ifdef ORVO_X86_KERNELS
  for (const InstructionSet set : {InstructionSet::Avx2, InstructionSet::Avx512})
    sets += std::string(", ") + NameOf(set);
#endif
  return sets;
}

std::string OrElse(const char* text, const char* otherwise) { return text[0] == '\0' ? otherwise : text; }

}  // namespace

const char* ProgramVersion() { return ORVO_BUILD_VERSION; }

std::string BuildText() {
  const std::string commit = ORVO_BUILD_COMMIT;
  return fmt::format("{}, {}{}", Compiler(), OrElse(ORVO_BUILD_TYPE, "no build type"),
                     commit.empty() ? "" : ", commit " + commit);
}

std::string VersionText() {
  return fmt::format(
      "orvo {}\nBuild: {}\nInstruction sets: {}; chosen on this machine: {}\nCUDA: {}\nPROJ: {}",
      ProgramVersion(), BuildText(), CompiledSets(), NameOf(BestInstructionSet()),
      OrElse(ORVO_BUILD_CUDA, "none"), OrElse(ORVO_BUILD_PROJ, "none"));
}

report::ProgramFigure ProgramFigureOf(const Platform& platform, std::string_view device) {
  return {ProgramVersion(), BuildText(), NameOf(BestInstructionSet()), std::string(device),
          platform.ProcessorCount()};
}

}  // namespace orvo
