# The steps of a stranger: install, find_package, build, run.
set(work ${BUILD}/install_test)
file(REMOVE_RECURSE ${work})

function(step)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
endfunction()

step(${CMAKE_COMMAND} --install ${BUILD} --prefix ${work}/prefix)
step(${CMAKE_COMMAND} -G ${GENERATOR} -S ${CONSUMER} -B ${work}/build -DCMAKE_PREFIX_PATH=${work}/prefix
  -DCMAKE_CXX_COMPILER=${COMPILER})
step(${CMAKE_COMMAND} --build ${work}/build)
foreach(program shared static)
  step(${CMAKE_COMMAND} -E env NERIO_REGISTRY=${work}/registry ${work}/build/${program})
endforeach()
