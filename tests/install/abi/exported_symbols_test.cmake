# The shared library shows what nerio/component/exported_symbols.txt lists and nothing else of namespace nerio, whichever
# compiler built it.
include(${CMAKE_CURRENT_LIST_DIR}/../steps.cmake)
if(NOT COMPILER)
  leave_out("no such compiler here")
endif()
find_program(NM nm REQUIRED)
file(GLOB_RECURSE library ${WORK}/shared/libnerio.so)

# The last column of nm, demangled; two constructors that differ in their mangled name only are one line. Square brackets are
# written as angle ones: in a list of CMake they would hide the separators.
step(${NM} --dynamic --defined-only --demangle ${library})
string(REGEX REPLACE "\n$" "" output "${output}")
string(REPLACE ";" "," output "${output}")
string(REPLACE "[" "<" output "${output}")
string(REPLACE "]" ">" output "${output}")
string(REPLACE "\n" ";" lines "${output}")
list(FILTER lines INCLUDE REGEX "nerio::")
list(TRANSFORM lines REPLACE "^[0-9a-f]* +[A-Za-z] " "")
list(SORT lines)
list(REMOVE_DUPLICATES lines)

list(JOIN lines "\n" exported)
set(exported "${exported}\n")
file(WRITE ${WORK}/exported_symbols.txt "${exported}")
file(READ ${SOURCE}/nerio/component/exported_symbols.txt listed)
if(NOT exported STREQUAL listed)
  execute_process(COMMAND diff ${SOURCE}/nerio/component/exported_symbols.txt ${WORK}/exported_symbols.txt OUTPUT_VARIABLE difference)
  message(FATAL_ERROR "${difference}\nIf the change is meant: cp ${WORK}/exported_symbols.txt "
                      "${SOURCE}/nerio/component/exported_symbols.txt")
endif()
