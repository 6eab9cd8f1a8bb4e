nbi_test(error/errorinfomgr_test.cpp LIBRARIES nbi_lockfailure)
nbi_library_test(error/resources_test.cpp)
if(TARGET resources_test)
    target_include_directories(resources_test PRIVATE ${PROJECT_SOURCE_DIR}/examples/northbound)
    target_compile_definitions(resources_test PRIVATE
        NBI_EXAMPLE_ROOT="${PROJECT_SOURCE_DIR}/examples/northbound/root/lib")
endif()
