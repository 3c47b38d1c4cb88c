# What the test scripts of this folder share. Each gets ENTRY, the name of its ctest entry, BUILD, the build folder, SOURCE,
# the tree, and COMPILER, the C++ compiler to use, empty where the machine has none. WORK is a folder for what the entries of
# one compiler build; they find the library installed in WORK/shared and WORK/static.

# leave_out(WHY): the entry ends here; its report counts as a skipped test (scripts/count-tests).
macro(leave_out why)
  file(WRITE ${BUILD}/results/${ENTRY}.xml
       "<testcase name=\"${why}\" status=\"run\" result=\"skipped\" classname=\"${ENTRY}\" />\n")
  message("left out: ${why}")
  return()
endmacro()

# step(COMMAND...): runs a command, which has to succeed, and leaves what it prints in `output`.
function(step)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}\n${result}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

# configure(SOURCE BUILD ARGUMENT...): configures a project with the compiler and the generator under test, nothing of the
# caller's environment forced upon it.
function(configure source build)
  step(${CMAKE_COMMAND} -G ${GENERATOR} -S ${source} -B ${build} -DCMAKE_CXX_COMPILER=${COMPILER} ${ARGN})
endfunction()

# run(PROGRAM...): runs a program in a registry of its own and leaves what it prints in `output`.
function(run)
  file(REMOVE_RECURSE ${WORK}/registry_${ENTRY})
  step(${CMAKE_COMMAND} -E env NERIO_REGISTRY=${WORK}/registry_${ENTRY} ${ARGN})
  set(output "${output}" PARENT_SCOPE)
endfunction()

# find_pkgconfig(PREFIX): the folder of nerio.pc, in `pkgconfig`.
function(find_pkgconfig prefix)
  file(GLOB_RECURSE file ${prefix}/nerio.pc)
  get_filename_component(folder "${file}" DIRECTORY)
  set(pkgconfig ${folder} PARENT_SCOPE)
endfunction()
