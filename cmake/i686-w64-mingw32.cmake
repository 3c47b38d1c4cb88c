# Cross-compilation to 32-bit Windows. Packages: g++-mingw-w64-i686-posix, mingw-w64-tools; for the tests the package
# googletest and the launcher that scripts/setup-wine32 writes.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)

# The posix flavour: its std::thread and std::mutex work, the win32 flavour of this release has none.
set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)

# Headers, libraries and packages come from the target's tree, programs from the building machine.
set(CMAKE_FIND_ROOT_PATH /usr/i686-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# One file that needs the system's own DLLs only: the compiler's run time goes into every program and library.
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static")
endforeach()

if(NOT DEFINED CMAKE_CROSSCOMPILING_EMULATOR)
  find_program(NERIO_WINE32 wine32 HINTS /usr/local/bin $ENV{HOME}/.local/bin DOC "The launcher that scripts/setup-wine32 writes")
  if(NERIO_WINE32)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${NERIO_WINE32})
  endif()
endif()
