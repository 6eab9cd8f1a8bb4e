# The library as others meet it: installed, through CMake and through pkg-config, and on another host. The programs are
# not built with the sanitizers, so neither is the library here.
if(NBIUTIL_SANITIZE OR NOT NBIUTIL_HOST STREQUAL "nbihost_standalone")
    return()
endif()

set(consumer_script ${CMAKE_CURRENT_SOURCE_DIR}/consumer/consumer_test.sh)

# nbi_consumer_test(install TIMEOUT 60 FIXTURES_SETUP installed): one step of consumer_test.sh.
function(nbi_consumer_test step)
    add_test(NAME consumer/${step}
        COMMAND ${CMAKE_COMMAND} -E env CMAKE=${CMAKE_COMMAND} CXX=${CMAKE_CXX_COMPILER}
            bash ${consumer_script} ${step} ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR})
    set_tests_properties(consumer/${step} PROPERTIES LABELS consumer ${ARGN})
endfunction()

nbi_consumer_test(install TIMEOUT 60 FIXTURES_SETUP installed)
nbi_consumer_test(cmake TIMEOUT 120 FIXTURES_REQUIRED installed)
nbi_consumer_test(pkgconfig TIMEOUT 120 FIXTURES_REQUIRED installed)
nbi_consumer_test(symbols TIMEOUT 60 FIXTURES_REQUIRED installed)
nbi_consumer_test(otherhost TIMEOUT 900)
