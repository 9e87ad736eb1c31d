# Read by ctest behind the list of the tests: those that measure time run alone.
foreach(test IN LISTS tavo_tests_TESTS)
    if(test MATCHES "^(ComPortTest|RobustnessTest)\\.")
        set_tests_properties(${test} PROPERTIES RUN_SERIAL TRUE)
    endif()
endforeach()
