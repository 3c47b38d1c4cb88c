# nerio_add_gtest(ENTRY PROGRAM FILTER): a ctest entry that runs the tests of a GoogleTest program that the filter selects and
# leaves their count in results/ENTRY.xml of the build folder, where ./test adds it up. No test selected is a failure.
function(nerio_add_gtest entry program filter)
  add_test(NAME ${entry} COMMAND ${program} --gtest_filter=${filter} --gtest_brief=1
                                 --gtest_output=xml:${PROJECT_BINARY_DIR}/results/${entry}.xml)
  set_tests_properties(${entry} PROPERTIES FAIL_REGULAR_EXPRESSION "Running 0 tests;0 tests from 0 test" TIMEOUT 900)
endfunction()

# nerio_add_table(FILE): the ctest entry of one table of recorded answers. Its test is Table.FILE with "_" for every ".".
function(nerio_add_table file)
  string(REPLACE "." "_" test ${file})
  nerio_add_gtest(table.${file} nerio_tests "Table.${test}")
endfunction()
