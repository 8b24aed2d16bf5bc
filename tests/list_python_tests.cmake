# Has pytest collect the tests of FOLDERS and writes an entry for each function into OUTPUT,
# which ctest reads. The parameter sets of one test share an entry, and so a world.
foreach(variable IN LISTS ENVIRONMENT)
  string(REGEX MATCH "^([A-Z_]+)=(.*)$" variable "${variable}")
  set(ENV{${CMAKE_MATCH_1}} "${CMAKE_MATCH_2}")
endforeach()
execute_process(COMMAND ${PYTEST} --collect-only -q ${FOLDERS}
  OUTPUT_VARIABLE text ERROR_VARIABLE text RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(NOTICE "${text}")
  message(FATAL_ERROR "the tests cannot be collected")
endif()

# Without the parameters: a bracket among them would hold what follows together as one element.
string(REGEX REPLACE "\\[[^\n]*" "" text "${text}")
string(REGEX MATCHALL "[^\n]+::[^\n]+" found "${text}")
list(REMOVE_DUPLICATES found)
string(JOIN "\" \"" run ${WORLD} ${WARM_PYTEST} -q -x -rsP)
set(entries "")
foreach(test IN LISTS found)
  if(NOT test MATCHES "^([a-z]+)/test_([a-z_]+)\\.py::(test_[A-Za-z0-9_]+)$")
    message(FATAL_ERROR "not a plain test function: ${test}")
  endif()
  set(name "${CMAKE_MATCH_1}.${CMAKE_MATCH_2}.${CMAKE_MATCH_3}")
  string(APPEND entries
    "add_test(\"${name}\" \"${run}\" \"${TESTS}/${test}\")\n"
    "set_tests_properties(\"${name}\" PROPERTIES TIMEOUT ${TIMEOUT}\n"
    "  ENVIRONMENT \"${ENVIRONMENT}\"\n"
    "  FAIL_REGULAR_EXPRESSION \"[0-9]+ skipped\" SKIP_REGULAR_EXPRESSION \"${NOT_HERE}\")\n")
endforeach()
file(WRITE ${OUTPUT} "${entries}")
