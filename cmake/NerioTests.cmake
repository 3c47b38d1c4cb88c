# nerio_add_gtest(ENTRY PROGRAM FILTER): a ctest entry that runs the tests of a GoogleTest program that the filter selects and
# leaves their count in results/ENTRY.xml of the build folder, where ./test adds it up. No test selected is a failure.
function(nerio_add_gtest entry program filter)
  # The report's path is relative: a program under Wine takes an absolute one of this system for something else.
  add_test(NAME ${entry}
    COMMAND ${program} --gtest_filter=${filter} --gtest_brief=1 --gtest_output=xml:results/${entry}.xml
    WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
  set_tests_properties(${entry} PROPERTIES FAIL_REGULAR_EXPRESSION "Running 0 tests;0 tests from 0 test" TIMEOUT 900)
  nerio_run_under_wine(${entry})
endfunction()

# nerio_add_table(FILE): the ctest entry of one table of recorded answers. Its test is Table.FILE with "_" for every ".".
function(nerio_add_table file)
  string(REPLACE "." "_" test ${file})
  nerio_add_gtest(table.${file} nerio_tests "Table.${test}")
endfunction()

# nerio_run_under_wine(ENTRY...): gives ctest entries that start programs of the Windows build the build tree's own Wine
# prefix, which the entry wine.prefix makes first. Does nothing for the other builds.
function(nerio_run_under_wine)
  if(CMAKE_CROSSCOMPILING)
    set_tests_properties(${ARGV} PROPERTIES ENVIRONMENT WINEPREFIX=${PROJECT_BINARY_DIR}/wine FIXTURES_REQUIRED wine)
  endif()
endfunction()

if(CMAKE_CROSSCOMPILING)
  if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
    message(WARNING "No launcher of 32-bit Wine: the tests are built but cannot run. scripts/setup-wine32 makes one.")
  endif()
  add_test(NAME wine.prefix COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} wineboot -i)
  set_tests_properties(wine.prefix PROPERTIES ENVIRONMENT WINEPREFIX=${PROJECT_BINARY_DIR}/wine FIXTURES_SETUP wine
                                              TIMEOUT 300)
endif()
