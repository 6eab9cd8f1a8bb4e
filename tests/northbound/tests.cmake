# The parts of the example's programs, each on its own.
foreach(name catalogue_test figurereader_test parsereport_test)
    nbi_test(northbound/${name}.cpp LIBRARIES northbound_server)
endforeach()
target_compile_definitions(catalogue_test PRIVATE
    NBI_DESCRIPTIONS="${PROJECT_SOURCE_DIR}/examples/northbound/descriptions")
nbi_test(northbound/machine_test.cpp LIBRARIES northbound_server)
nbi_library_test(northbound/packer_test.cpp LIBRARIES northbound_server)
nbi_test(northbound/perffile_test.cpp LIBRARIES northbound_server)
nbi_library_test(northbound/configeditor_test.cpp LIBRARIES northbound_server)
nbi_test(northbound/requesttask_test.cpp LIBRARIES northbound_server)
nbi_test(northbound/serversettings_test.cpp LIBRARIES northbound_server)
nbi_test(northbound/table_test.cpp LIBRARIES northbound_client)
nbi_test(northbound/json_test.cpp LIBRARIES northbound_client)

# Server and clients as processes.
set(secrets_test_sources northbound/processmemory.cpp)
set(upkeep_test_sources northbound/processmemory.cpp)
foreach(name descriptions_test northbound_test upkeep_test reasons_test secrets_test)
    nbi_test(northbound/${name}.cpp SOURCES northbound/programs.cpp ${${name}_sources}
        LIBRARIES northbound_client TIMEOUT 180)
    target_compile_definitions(${name} PRIVATE
        NBI_SERVER="$<TARGET_FILE:nbi-server>" NBI_CLIENT="$<TARGET_FILE:nbi-client>"
        NBI_DESCRIPTIONS="${PROJECT_SOURCE_DIR}/examples/northbound/descriptions"
        NBI_EXAMPLE_ROOT="${PROJECT_SOURCE_DIR}/examples/northbound/root/lib")
    add_dependencies(${name} nbi-server nbi-client)
endforeach()

add_test(NAME northbound/demo
    COMMAND bash ${PROJECT_SOURCE_DIR}/examples/northbound/demo.sh ${PROJECT_BINARY_DIR})
set_tests_properties(northbound/demo PROPERTIES TIMEOUT 120 LABELS northbound)
