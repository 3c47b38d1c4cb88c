# Builds the library alone, as its user does, and installs it twice: shared and static.
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)
if(NOT COMPILER)
  leave_out("no such compiler here")
endif()
# A cache of another compiler would be thrown away half-way, together with the options below.
file(REMOVE ${WORK}/layer/CMakeCache.txt)
foreach(kind shared static)
  file(REMOVE_RECURSE ${WORK}/${kind})
  set(shared ON)
  if(kind STREQUAL static)
    set(shared OFF)
  endif()
  configure(${SOURCE} ${WORK}/layer -DBUILD_SHARED_LIBS=${shared} -DCMAKE_BUILD_TYPE=Release
            -DNERIO_TESTS=OFF -DNERIO_TOOL=OFF -DNERIO_EXAMPLES=OFF)
  step(${CMAKE_COMMAND} --build ${WORK}/layer)
  step(${CMAKE_COMMAND} --install ${WORK}/layer --prefix ${WORK}/${kind})
endforeach()
