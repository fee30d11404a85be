# What the programs say of their build: headers below generated/, of which the commit's is looked after in every build.
# The headers change only where what they say does.
set(orvo_build_cuda "")
if(ORVO_WITH_CUDA)
  set(orvo_build_cuda ${CMAKE_CUDA_COMPILER_VERSION})
endif()
set(orvo_build_proj "")
if(ORVO_PROJ AND PROJ_FOUND)
  set(orvo_build_proj ${PROJ_VERSION})
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/BuildFacts.h.in ${PROJECT_BINARY_DIR}/facts/generated/BuildFacts.h @ONLY)
find_package(Git QUIET)
set(orvo_write_commit ${CMAKE_COMMAND} -DGIT=${GIT_EXECUTABLE} -DSOURCES=${PROJECT_SOURCE_DIR}
  -DHEADER=${PROJECT_BINARY_DIR}/facts/generated/Commit.h -P ${PROJECT_SOURCE_DIR}/cmake/Commit.cmake)
# Here, too: who only looks at the sources builds nothing.
execute_process(COMMAND ${orvo_write_commit})
add_custom_target(orvo_commit
  COMMAND ${orvo_write_commit}
  BYPRODUCTS ${PROJECT_BINARY_DIR}/facts/generated/Commit.h
  COMMENT "")
