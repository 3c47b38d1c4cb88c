# Systems and compilers that Nerio is not for are refused in one line that names them; the others are not.
set(module ${SOURCE}/cmake/NerioSystem.cmake)
set(linux -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SIZEOF_VOID_P=8)
set(gcc -DCMAKE_CXX_COMPILER_ID=GNU -DCMAKE_CXX_COMPILER_VERSION=12.2.0)
set(clang -DCMAKE_CXX_COMPILER_ID=Clang -DCMAKE_CXX_COMPILER_VERSION=14.0.6)

# refuses(WHAT ARGUMENT...), takes(ARGUMENT...): what the module says to these variables of project().
function(refuses what)
  execute_process(COMMAND ${CMAKE_COMMAND} ${ARGN} -P ${module} RESULT_VARIABLE result ERROR_VARIABLE output)
  string(REGEX REPLACE "[ \n]+" " " output "${output}")
  if(result EQUAL 0 OR NOT output MATCHES "Nerio runs on Linux and on 32-bit Windows, .*: ${what} not supported")
    message(SEND_ERROR "not refused as \"${what}\": ${ARGN}: ${output}")
  endif()
endfunction()
function(takes)
  execute_process(COMMAND ${CMAKE_COMMAND} ${ARGN} -P ${module} RESULT_VARIABLE result ERROR_VARIABLE output)
  if(NOT result EQUAL 0 OR NOT output STREQUAL "")
    message(SEND_ERROR "refused: ${ARGN}: ${output}")
  endif()
endfunction()

takes(${linux} ${gcc})
takes(${linux} ${clang})
takes(-DCMAKE_SYSTEM_NAME=Windows -DCMAKE_SIZEOF_VOID_P=4 ${gcc})
refuses("64-bit Windows is" -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_SIZEOF_VOID_P=8 ${gcc})
refuses("the compiler MSVC is" -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_SIZEOF_VOID_P=4 -DMSVC=1 -DCMAKE_CXX_COMPILER_ID=MSVC)
refuses("macOS is" -DCMAKE_SYSTEM_NAME=Darwin -DCMAKE_SIZEOF_VOID_P=8 -DCMAKE_CXX_COMPILER_ID=AppleClang)
refuses("FreeBSD is" -DCMAKE_SYSTEM_NAME=FreeBSD -DCMAKE_SIZEOF_VOID_P=8 ${clang})
refuses("OpenBSD is" -DCMAKE_SYSTEM_NAME=OpenBSD -DCMAKE_SIZEOF_VOID_P=8 ${clang})
refuses("Android is" -DCMAKE_SYSTEM_NAME=Android -DCMAKE_SIZEOF_VOID_P=8 ${clang})
refuses("GNU 11.4.0 is" ${linux} -DCMAKE_CXX_COMPILER_ID=GNU -DCMAKE_CXX_COMPILER_VERSION=11.4.0)
refuses("Clang 13.0.1 is" ${linux} -DCMAKE_CXX_COMPILER_ID=Clang -DCMAKE_CXX_COMPILER_VERSION=13.0.1)
refuses("the compiler Intel is" ${linux} -DCMAKE_CXX_COMPILER_ID=Intel -DCMAKE_CXX_COMPILER_VERSION=2021.1)

# And the whole project asks the module.
execute_process(COMMAND ${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE} -B ${BUILD}/systems_test -DCMAKE_SYSTEM_NAME=FreeBSD
                        -DCMAKE_CXX_COMPILER=${COMPILER}
                RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(result EQUAL 0 OR NOT output MATCHES "FreeBSD is")
  message(SEND_ERROR "FreeBSD configures: ${output}")
endif()
