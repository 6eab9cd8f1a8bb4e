add_test(NAME scripts/lib_test COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/scripts/lib_test.sh ${PROJECT_SOURCE_DIR})
set_tests_properties(scripts/lib_test PROPERTIES TIMEOUT 60 LABELS scripts)
