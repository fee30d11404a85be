// The registers of the instruction set that a kernel is being compiled for.
#pragma once

namespace orvo {
namespace {

#if defined(__AVX512F__)
constexpr int kRegisterBytes = 64, kRegisterNum = 32;
#elif defined(__AVX2__)
constexpr int kRegisterBytes = 32, kRegisterNum = 16;
#else
constexpr int kRegisterBytes = 16, kRegisterNum = 16;
#endif

}  // namespace
}  // namespace orvo
