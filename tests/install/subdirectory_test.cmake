# add_subdirectory(): a project that takes Nerio in keeps its own settings, and has nothing of Nerio but the library.
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)
if(NOT COMPILER)
  leave_out("no such compiler here")
endif()
set(build ${WORK}/subdirectory)
file(REMOVE_RECURSE ${build})

# cache_of(BUILD RESULT): the entries of a cache that are neither Nerio's nor what CMake notes for itself, without the name of
# the build folder.
function(cache_of folder result)
  file(STRINGS ${folder}/CMakeCache.txt entries REGEX "^[A-Za-z_]")
  list(FILTER entries EXCLUDE REGEX "^(NERIO|Nerio)_|:(INTERNAL|STATIC)=")
  string(REPLACE ${folder} "" entries "${entries}")
  list(SORT entries)
  set(${result} "${entries}" PARENT_SCOPE)
endfunction()

# keeps_cache(NAME TYPE ARGUMENT...): the parent's cache is the same with Nerio in it as without; Nerio is a TYPE there.
function(keeps_cache name type)
  configure(${CMAKE_CURRENT_LIST_DIR}/parent ${build}/${name}_alone ${ARGN} --no-warn-unused-cli)
  configure(${CMAKE_CURRENT_LIST_DIR}/parent ${build}/${name} ${ARGN} -DNERIO_SOURCE=${SOURCE} -DNERIO_EXPECTED_TYPE=${type})
  cache_of(${build}/${name}_alone alone)
  cache_of(${build}/${name} with_nerio)
  if(NOT alone STREQUAL with_nerio)
    list(REMOVE_ITEM with_nerio ${alone})
    message(FATAL_ERROR "${name}: the parent's cache has changed: ${with_nerio}")
  endif()
endfunction()

keeps_cache(plain STATIC_LIBRARY)
keeps_cache(chosen SHARED_LIBRARY -DCMAKE_BUILD_TYPE=MinSizeRel -DBUILD_SHARED_LIBS=ON)

step(${CMAKE_COMMAND} --build ${build}/plain)
run(${build}/plain/parent)
step(${CMAKE_COMMAND} --install ${build}/plain --prefix ${build}/installed)
file(GLOB_RECURSE installed ${build}/installed/*)
if(installed)
  message(FATAL_ERROR "The parent installs ${installed}")
endif()
