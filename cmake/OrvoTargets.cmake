# The three storeys of the system as build targets:
#   orvo_<folder>_core   pure computation, a library that cannot see CBundleAdjustment
#   orvo                 CBundleAdjustment, its members (from every folder) and the flows
#   programs and tests   on top
include(GoogleTest OPTIONAL)
include(OrvoRooms)

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

# All of src/ in sight: for what stands on top of the rooms, the programs and tests.
add_library(orvo_sources INTERFACE)
target_include_directories(orvo_sources INTERFACE ${PROJECT_SOURCE_DIR}/src)

# A pure library of one room, which sees only the rooms below it:
#   orvo_core(block SOURCES a.cpp DEPENDS orvo_geometry_core fmt::fmt)
#   orvo_core(gpu/kernels SOURCES a.cpp)         is orvo_gpu_kernels_core
function(orvo_core room)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  string(REPLACE / _ name ${room})
  add_library(orvo_${name}_core STATIC ${ARG_SOURCES})
  target_link_libraries(orvo_${name}_core PUBLIC orvo_options ${ARG_DEPENDS})
  orvo_see_rooms(orvo_${name}_core ${room})
endfunction()

# Members of CBundleAdjustment that this folder defines: orvo_members(block SOURCES a.cpp DEPENDS orvo_block_core)
function(orvo_members folder)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  list(TRANSFORM ARG_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(orvo PRIVATE ${ARG_SOURCES})
  target_link_libraries(orvo PUBLIC ${ARG_DEPENDS})
endfunction()

# Sanitizers take most of a test's compilation. What they look for lies in the libraries; of the tests only the
# memory and the threads are watched.
add_library(orvo_test_sanitizing INTERFACE)
if(ORVO_SANITIZERS)
  target_compile_options(orvo_test_sanitizing INTERFACE -O0)
  if(ORVO_SANITIZERS MATCHES "undefined")
    target_compile_options(orvo_test_sanitizing INTERFACE -fno-sanitize=undefined)
  endif()
  if(ORVO_SANITIZERS MATCHES "fuzzer-no-link")
    target_compile_options(orvo_test_sanitizing INTERFACE -fno-sanitize=fuzzer-no-link)
  endif()
endif()

# Tests are compiled more often than they are run, so they are optimised less than what they test; no sum depends on it.
# The other options let a compiler cache keep what was compiled with a precompiled header.
function(orvo_test_options target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1>)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -fpch-preprocess)
  elseif(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(${target} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
  endif()
  # Behind whatever it is linked with, so that its options have the last word.
  target_link_libraries(${target} PRIVATE orvo_test_sanitizing)
endfunction()

# With sanitizers a process takes longer to begin than most tests do.
option(ORVO_TESTS_BY_PROGRAM "Run the tests of a program in a few processes instead of one for each" OFF)

# One test program of a folder of tests/: orvo_test(block SOURCES a_test.cpp)
function(orvo_test folder)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(orvo_test_${folder} ${ARG_SOURCES})
  target_link_libraries(orvo_test_${folder} PRIVATE orvo_test_support orvo ${ARG_DEPENDS} GTest::gtest_main)
  orvo_test_options(orvo_test_${folder})
  target_precompile_headers(orvo_test_${folder} REUSE_FROM orvo_test_support)
  if(ORVO_TESTS_BY_PROGRAM)
    foreach(shard RANGE 3)
      add_test(NAME ${folder}.${shard} COMMAND orvo_test_${folder} --gtest_brief=1)
      set_tests_properties(${folder}.${shard} PROPERTIES TIMEOUT 1800
        ENVIRONMENT "GTEST_TOTAL_SHARDS=4;GTEST_SHARD_INDEX=${shard}")
    endforeach()
  else()
    gtest_discover_tests(orvo_test_${folder} TEST_PREFIX "${folder}." DISCOVERY_MODE PRE_TEST
      PROPERTIES TIMEOUT 600)
  endif()
endfunction()
