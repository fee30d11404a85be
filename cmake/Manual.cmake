# cmake -DPROGRAM=... -DMANUAL=... -DGZIP=... -P Manual.cmake: man pages, compressed where GZIP names a program, and
# completions below the folder MANUAL, and in the end the file `done` there.
file(REMOVE_RECURSE ${MANUAL})
file(MAKE_DIRECTORY ${MANUAL})
execute_process(COMMAND ${PROGRAM} man --out ${MANUAL}/man1 COMMAND_ERROR_IS_FATAL ANY)
foreach(shell bash zsh fish)
  execute_process(COMMAND ${PROGRAM} completion ${shell} OUTPUT_FILE ${MANUAL}/orvo.${shell} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
if(GZIP)
  file(GLOB pages ${MANUAL}/man1/*.1)
  execute_process(COMMAND ${GZIP} -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
endif()
file(TOUCH ${MANUAL}/done)
