# What every target of the tree shares: language level, warnings, sanitizers, the include root.

# What the layer needs of the system.
set(NERIO_SYSTEM_LIBRARIES)
if(NERIO_HOST STREQUAL windows)
  set(NERIO_SYSTEM_LIBRARIES advapi32 ole32 oleaut32 uuid)
  # For sources that include the system's headers: wide-character functions of Windows 7 and later, strict handle types, no
  # macros called min and max.
  set(NERIO_WINDOWS_DEFINITIONS UNICODE _UNICODE STRICT NOMINMAX WIN32_LEAN_AND_MEAN WINVER=0x0601 _WIN32_WINNT=0x0601)
endif()

add_library(nerio_options INTERFACE)
target_compile_features(nerio_options INTERFACE cxx_std_20)
target_compile_options(nerio_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion)
if(NERIO_WERROR)
  target_compile_options(nerio_options INTERFACE -Werror)
endif()
if(NERIO_HOST STREQUAL windows)
  # The system that the files ask for is the one whose functions the definitions above let them use. No time of linking is
  # in them, so that the same sources give the same bytes.
  target_link_options(nerio_options INTERFACE
    -Wl,--major-subsystem-version,6 -Wl,--minor-subsystem-version,1 -Wl,--major-os-version,6 -Wl,--minor-os-version,1
    -Wl,--no-insert-timestamp)
else()
  # COM interfaces have no virtual destructor, by their binary layout.
  target_compile_options(nerio_options INTERFACE -Wnon-virtual-dtor)
endif()
if(NERIO_SANITIZE)
  target_compile_options(nerio_options INTERFACE -fsanitize=${NERIO_SANITIZE} -fno-omit-frame-pointer
                                                 -fno-sanitize-recover=all)
  target_link_options(nerio_options INTERFACE -fsanitize=${NERIO_SANITIZE})
elseif(NERIO_HOST STREQUAL linux)
  # What makes an attack harder costs next to nothing. The sanitizers find more.
  target_compile_options(nerio_options INTERFACE -fstack-protector-strong)
  target_compile_definitions(nerio_options INTERFACE $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:_FORTIFY_SOURCE=2>)
  target_link_options(nerio_options INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()

# nerio_library(NAME SOURCE... [DEPENDS TARGET...]): one room of the layer as a static library of the build's own. The library
# `nerio` is made of all rooms; the tests link the rooms themselves, and so reach what is not public.
function(nerio_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "DEPENDS")
  add_library(${name} STATIC ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_link_libraries(${name} PUBLIC ${arg_DEPENDS} PRIVATE nerio_options)
  nerio_set_properties(${name})
  set_property(GLOBAL APPEND PROPERTY NERIO_ROOMS ${name})
endfunction()

# nerio_set_properties(TARGET): how the layer's code is compiled: fit for a shared library, only what says NERIO_PUBLIC
# is seen outside of one, and file by file, as it is shipped, also where the presets of developers join files to save time.
function(nerio_set_properties target)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    UNITY_BUILD OFF)
endfunction()

# nerio_split_symbols(TARGET): moves what a debugger needs out of a file for Windows into FILE.debug beside it, where gdb finds
# it by the name that stays inside. The time of linking stays as it is in the file, zero.
function(nerio_split_symbols target)
  set(file $<TARGET_FILE:${target}>)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --preserve-dates --only-keep-debug ${file} ${file}.debug
    COMMAND ${CMAKE_OBJCOPY} --preserve-dates --strip-all --add-gnu-debuglink=${file}.debug ${file} VERBATIM)
endfunction()

# nerio_program(NAME SOURCE... [DEPENDS TARGET...]): a program of the tree.
function(nerio_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "DEPENDS")
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${arg_DEPENDS} nerio_options)
  set_target_properties(${name} PROPERTIES CXX_EXTENSIONS OFF)
endfunction()
