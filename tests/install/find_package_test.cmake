# find_package(Nerio) of what was installed, KIND shared or static: the whole, by components, and a component that is not there.
include(${CMAKE_CURRENT_LIST_DIR}/steps.cmake)
if(NOT COMPILER)
  leave_out("no such compiler here")
endif()
set(build ${WORK}/find_package_${KIND})
file(REMOVE_RECURSE ${build})
set(package -DCMAKE_PREFIX_PATH=${WORK}/${KIND})

# Each header is compiled once per compiler: both kinds install the same.
set(headers)
if(KIND STREQUAL shared)
  set(headers -DHEADERS=${WORK}/${KIND}/include)
endif()
configure(${CMAKE_CURRENT_LIST_DIR}/consumer ${build}/whole ${package} ${headers})
configure(${CMAKE_CURRENT_LIST_DIR}/consumer ${build}/components ${package} -DCOMPONENTS=registry\;support)
foreach(project whole components)
  step(${CMAKE_COMMAND} --build ${build}/${project})
  run(${build}/${project}/consumer)
endforeach()

execute_process(COMMAND ${CMAKE_COMMAND} -G ${GENERATOR} -S ${CMAKE_CURRENT_LIST_DIR}/consumer -B ${build}/unknown ${package}
                        -DCMAKE_CXX_COMPILER=${COMPILER} -DCOMPONENTS=support\;graphics
                RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
string(REGEX REPLACE "[ \n]+" " " output "${output}")
if(result EQUAL 0 OR NOT output MATCHES "Nerio has no component \"graphics\": there are nerio, registry and support")
  message(FATAL_ERROR "An unknown component is not refused by its name: ${output}")
endif()

# What was installed is the public headers and nothing else.
include(${SOURCE}/cmake/PublicHeaders.cmake)
file(GLOB_RECURSE installed RELATIVE ${WORK}/${KIND}/include ${WORK}/${KIND}/include/*)
list(SORT installed)
list(SORT NERIO_PUBLIC_HEADERS)
if(NOT installed STREQUAL NERIO_PUBLIC_HEADERS)
  message(FATAL_ERROR "Installed headers: ${installed}\nPublic headers: ${NERIO_PUBLIC_HEADERS}")
endif()
