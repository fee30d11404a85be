# The three storeys of the system as build targets:
#   orvo_<folder>_core   pure computation, a library that cannot see CBundleAdjustment
#   orvo                 CBundleAdjustment, its members (from every folder) and the flows
#   programs and tests   on top
include(GoogleTest OPTIONAL)

add_library(orvo_options INTERFACE)
# Options of the C++ compiler, which nvcc would not know.
function(orvo_cxx_options)
  foreach(option IN LISTS ARGN)
    target_compile_options(orvo_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:${option}>)
  endforeach()
endfunction()
orvo_cxx_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-qual -Wformat=2
  -fno-math-errno
  # Sums must not depend on which multiply-adds the compiler fuses, but in kernels that say so (InstructionSets.cmake).
  -ffp-contract=$<IF:$<BOOL:$<TARGET_PROPERTY:ORVO_FP_CONTRACT>>,$<TARGET_PROPERTY:ORVO_FP_CONTRACT>,off>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 sees overlaps in std::string that are not there.
  orvo_cxx_options(-Wno-restrict)
endif()
if(ORVO_WARNINGS_AS_ERRORS)
  orvo_cxx_options(-Werror)
endif()
if(ORVO_SANITIZERS)
  orvo_cxx_options(-fsanitize=${ORVO_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(orvo_options INTERFACE -fsanitize=${ORVO_SANITIZERS})
endif()
target_include_directories(orvo_options INTERFACE ${PROJECT_SOURCE_DIR}/src)

# A pure library of one folder: orvo_core(block SOURCES a.cpp DEPENDS orvo_geometry_core fmt::fmt)
function(orvo_core folder)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(orvo_${folder}_core STATIC ${ARG_SOURCES})
  target_link_libraries(orvo_${folder}_core PUBLIC orvo_options ${ARG_DEPENDS})
endfunction()

# Members of CBundleAdjustment that this folder defines: orvo_members(block SOURCES a.cpp DEPENDS orvo_block_core)
function(orvo_members folder)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  list(TRANSFORM ARG_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(orvo PRIVATE ${ARG_SOURCES})
  target_link_libraries(orvo PUBLIC ${ARG_DEPENDS})
endfunction()

# One test program of a folder of tests/: orvo_test(block SOURCES a_test.cpp)
function(orvo_test folder)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;PROPERTIES" ${ARGN})
  add_executable(orvo_test_${folder} ${ARG_SOURCES})
  target_link_libraries(orvo_test_${folder} PRIVATE orvo_test_support orvo ${ARG_DEPENDS} GTest::gtest_main)
  target_precompile_headers(orvo_test_${folder} PRIVATE <gtest/gtest.h>)
  gtest_discover_tests(orvo_test_${folder} TEST_PREFIX "${folder}." DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT 600 ${ARG_PROPERTIES})
endfunction()
