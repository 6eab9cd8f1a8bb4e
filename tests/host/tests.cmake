# nbi_host_test(host/cipher_test.cpp): a test of the standalone host alone. Its symbols and the recording host's are
# the same ones, so such a test links nothing of the library or of the other tests.
function(nbi_host_test source)
    cmake_path(GET source STEM name)
    add_executable(standalone_${name} ${source})
    target_include_directories(standalone_${name} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
    target_link_libraries(standalone_${name} PRIVATE
        nbi_warnings nbihost_standalone GTest::gmock GTest::gtest_main Threads::Threads OpenSSL::Crypto)
    set_target_properties(standalone_${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/host)
    gtest_discover_tests(standalone_${name} TEST_PREFIX "host/" DISCOVERY_MODE PRE_TEST
        PROPERTIES TIMEOUT 120 LABELS host)
endfunction()

nbi_host_test(host/annexk_test.cpp)
nbi_host_test(host/cfgfile_test.cpp)
nbi_host_test(host/cipher_test.cpp)
nbi_host_test(host/corbaconfigitems_test.cpp)
nbi_host_test(host/framework_test.cpp)
nbi_host_test(host/host_test.cpp)
nbi_host_test(host/linesink_test.cpp)
nbi_host_test(host/logservice_test.cpp)
nbi_host_test(host/objectschema_test.cpp)
nbi_host_test(host/settings_test.cpp)
nbi_host_test(host/trim_test.cpp)
