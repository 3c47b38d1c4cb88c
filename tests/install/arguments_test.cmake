# The cases of arguments.cpp: all that may stand for a parameter compiles, and each that must not is refused.
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)
if(NOT COMPILER)
  leave_out("no such compiler here")
endif()

set(source ${CMAKE_CURRENT_LIST_DIR}/arguments/arguments.cpp)
set(compile ${COMPILER} -std=c++20 -fsyntax-only -I${SOURCE} ${source})
step(${compile})

file(STRINGS ${source} cases REGEX "^#define ")
foreach(case IN LISTS cases)
  string(REGEX REPLACE "^#define ([A-Z_]+) .*" "\\1" case "${case}")
  execute_process(COMMAND ${compile} -DCASE=${case} RESULT_VARIABLE result ERROR_VARIABLE errors)
  # The one error is in that case, not before it.
  if(result EQUAL 0 OR NOT errors MATCHES "arguments.cpp:[0-9:]+ +error: " OR errors MATCHES "In file included[^\n]*\n[^\n]* error: ")
    message(SEND_ERROR "${case} compiles, or is refused for another reason: ${errors}")
  endif()
endforeach()
