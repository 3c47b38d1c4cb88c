# scripts/abi-diff tells a change that breaks programs, and passes one that does not: planted in a library of a few files of the
# tree, which takes seconds where the whole library takes minutes.
include(${CMAKE_CURRENT_LIST_DIR}/../steps.cmake)
find_program(ABIDIFF abidiff)
if(NOT COMPILER OR NOT ABIDIFF)
  leave_out("no g++ here, or no abidiff")
endif()
set(build ${WORK}/abi_changes)
file(REMOVE_RECURSE ${build})
set(files registry/cregistry.cpp types/error.cpp)

# make(NAME FILE FROM TO): installs the small library in build/NAME, one text in one file of it replaced.
function(make name file from to)
  set(tree ${build}/${name}/include)
  file(COPY ${SOURCE}/nerio DESTINATION ${tree})
  file(READ ${tree}/nerio/${file} content)
  string(REPLACE "${from}" "${to}" changed "${content}")
  if(changed STREQUAL content AND NOT from STREQUAL to)
    message(FATAL_ERROR "nothing to plant a change in: ${from} in ${file}")
  endif()
  file(WRITE ${tree}/nerio/${file} "${changed}")
  list(TRANSFORM files PREPEND ${tree}/nerio/ OUTPUT_VARIABLE sources)
  # These files only use the interfaces; by default the compiler describes a class where it is implemented.
  step(${COMPILER} -std=c++20 -g -femit-class-debug-always -fPIC -shared -fvisibility=hidden -fvisibility-inlines-hidden
       -I${tree} ${sources}
       -o ${build}/${name}/libnerio.so)
endfunction()

# expect(RESULT NAME): what the script says to a program built with the tree's own library that meets the one of NAME.
function(expect expected name)
  execute_process(COMMAND ${SOURCE}/scripts/abi-diff --folders ${build}/own ${build}/${name}
                  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL expected)
    message(SEND_ERROR "${name}: ${result} instead of ${expected}: ${output}")
  endif()
endfunction()

make(own registry/cregistry.h "" "")
make(member registry/cregistry.h "Text ramoPrincipale_;" "Text ramoPrincipale_; Text planted_;")
make(virtual platform/registry_api.h "virtual ~RegistryApi() = default;"
     "virtual ~RegistryApi() = default; virtual void Planted() = 0;")
make(removed registry/cregistry.h "class NERIO_PUBLIC CRegistry" "class CRegistry")
make(added types/error.cpp "namespace nerio {" "namespace nerio { NERIO_PUBLIC void Planted() {}")
expect(0 own)
expect(1 member)
expect(1 virtual)
expect(1 removed)
expect(0 added)
