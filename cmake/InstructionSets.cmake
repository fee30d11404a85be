# Kernels that are compiled once for each instruction set and chosen at run time (base/simd/InstructionSet.h).
set(ORVO_INSTRUCTION_SETS Baseline)
set(ORVO_FLAGS_Baseline -Wno-psabi)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  list(APPEND ORVO_INSTRUCTION_SETS Avx2 Avx512)
  set(ORVO_FLAGS_Avx2 -mavx2 -mpopcnt -mfma -mtune=haswell)
  set(ORVO_FLAGS_Avx512 -mavx512f -mavx512vl -mavx512dq -mavx512bw -mpopcnt -mfma -mtune=skylake-avx512)
  target_compile_definitions(orvo_options INTERFACE ORVO_X86_KERNELS)
endif()

# orvo_kernels(orvo_normal_core FUSE ON SOURCES AssemblyKernelBody.cpp), behind the target itself.
# The sources stand for themselves: everything but the function named by ORVO_SET is in unnamed namespaces, and nothing
# that another file may share is compiled into them, as the linker could then choose the copy of a wider set for all.
# FUSE: with the wider sets the compiler may fuse multiply-adds; sums then differ between the sets by rounding, and are
# the same whenever one of them runs. Without it all sets give the same numbers.
function(orvo_kernels target)
  cmake_parse_arguments(ARG "" "FUSE" "SOURCES" ${ARGN})
  get_target_property(links ${target} LINK_LIBRARIES)
  foreach(set IN LISTS ORVO_INSTRUCTION_SETS)
    set(objects ${target}_${set})
    add_library(${objects} OBJECT ${ARG_SOURCES})
    target_link_libraries(${objects} PRIVATE ${links})
    target_include_directories(${objects} PRIVATE $<TARGET_PROPERTY:${target},INCLUDE_DIRECTORIES>)
    target_compile_definitions(${objects} PRIVATE ORVO_SET=${set})
    target_compile_options(${objects} PRIVATE ${ORVO_FLAGS_${set}})
    if(ARG_FUSE AND NOT set STREQUAL "Baseline")
      set_target_properties(${objects} PROPERTIES ORVO_FP_CONTRACT fast)
    endif()
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${objects}>)
  endforeach()
endfunction()
