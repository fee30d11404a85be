# cmake -DGIT=... -DSOURCES=... -DHEADER=... -P Commit.cmake: writes the commit of the sources into a header, nothing
# where they are no repository of their own.
set(commit "")
if(GIT AND EXISTS ${SOURCES}/.git)
  execute_process(COMMAND ${GIT} -C ${SOURCES} describe --always --dirty=+ --exclude *
    OUTPUT_VARIABLE commit RESULT_VARIABLE status ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT status EQUAL 0)
    set(commit "")
  endif()
endif()
file(CONFIGURE OUTPUT ${HEADER} CONTENT "#pragma once\n\n#define ORVO_BUILD_COMMIT \"${commit}\"\n")
