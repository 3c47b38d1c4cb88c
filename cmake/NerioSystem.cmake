# Which host this build gets, by its system and its compiler; any other system or compiler is refused in one line. Sets
# NERIO_HOST, the folder below nerio/hosts/.
#
# It reads what project() has found out, so that its test can set the same variables in a script.

function(nerio_refuse_system why)
  message(FATAL_ERROR "Nerio runs on Linux and on 32-bit Windows, built by GCC 12 or Clang 14 and later: ${why} not supported")
endfunction()

if(MSVC)
  nerio_refuse_system("the compiler MSVC is")
elseif(CMAKE_SYSTEM_NAME STREQUAL "Windows")
  if(NOT CMAKE_SIZEOF_VOID_P EQUAL 4)
    nerio_refuse_system("64-bit Windows is")
  endif()
  set(NERIO_HOST windows)
elseif(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(NERIO_HOST linux)
elseif(CMAKE_SYSTEM_NAME STREQUAL "Darwin")
  nerio_refuse_system("macOS is")
else()
  nerio_refuse_system("${CMAKE_SYSTEM_NAME} is")
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(oldest_compiler 12)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  set(oldest_compiler 14)
else()
  nerio_refuse_system("the compiler ${CMAKE_CXX_COMPILER_ID} is")
endif()
if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS oldest_compiler)
  nerio_refuse_system("${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION} is")
endif()
