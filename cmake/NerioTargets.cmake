# What every target of the tree shares: language level, warnings as errors, sanitizers, the include root.

include(GNUInstallDirs)

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

# The folder below nerio/hosts/ that this build takes its host from.
if(WIN32)
  set(NERIO_HOST windows)
  # For sources that include the system's headers: wide-character functions of Windows 7 and later, strict handle types, no
  # macros called min and max.
  set(NERIO_WINDOWS_DEFINITIONS UNICODE _UNICODE STRICT NOMINMAX WIN32_LEAN_AND_MEAN WINVER=0x0601 _WIN32_WINNT=0x0601)
else()
  set(NERIO_HOST linux)
endif()

add_library(nerio_options INTERFACE)
target_compile_features(nerio_options INTERFACE cxx_std_20)
target_compile_options(nerio_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Werror)
if(NOT NERIO_HOST STREQUAL windows)
  # COM interfaces have no virtual destructor, by their binary layout.
  target_compile_options(nerio_options INTERFACE -Wnon-virtual-dtor)
endif()
if(NERIO_SANITIZE)
  target_compile_options(nerio_options INTERFACE -fsanitize=${NERIO_SANITIZE} -fno-omit-frame-pointer
                                                 -fno-sanitize-recover=all)
  target_link_options(nerio_options INTERFACE -fsanitize=${NERIO_SANITIZE})
endif()

# nerio_library(NAME FOLDER SOURCE... [DEPENDS TARGET...]): one folder of the layer as a static library.
function(nerio_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "DEPENDS")
  add_library(${name} STATIC ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                                            $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_link_libraries(${name} PUBLIC ${arg_DEPENDS} PRIVATE $<BUILD_INTERFACE:nerio_options>)
  string(REPLACE nerio_ "" export_name ${name})
  set_target_properties(${name} PROPERTIES CXX_EXTENSIONS OFF EXPORT_NAME ${export_name})
  add_library(Nerio::${export_name} ALIAS ${name})
  set_property(GLOBAL APPEND PROPERTY NERIO_ROOMS ${name})
endfunction()

# nerio_program(NAME SOURCE... [DEPENDS TARGET...]): a program of the tree.
function(nerio_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "DEPENDS")
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${arg_DEPENDS} nerio_options)
  set_target_properties(${name} PROPERTIES CXX_EXTENSIONS OFF)
endfunction()
