# The parts of the example's programs, each on its own.
nbi_test(northbound/machine_test.cpp LIBRARIES northbound_server)
nbi_test(northbound/perffile_test.cpp LIBRARIES northbound_server)
nbi_test(northbound/requesttask_test.cpp LIBRARIES northbound_server)
nbi_test(northbound/serversettings_test.cpp LIBRARIES northbound_server)
nbi_test(northbound/table_test.cpp LIBRARIES northbound_client)
nbi_test(northbound/json_test.cpp LIBRARIES northbound_client)
