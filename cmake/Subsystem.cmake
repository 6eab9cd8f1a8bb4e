# nbi_subsystem(task SOURCES ad.cpp nbitask.cpp [LIBRARIES OpenSSL::Crypto])
# One object library per folder of src/, joined into libnbiutil.so and into nbi_internal, the archive that
# the unit tests link so that they reach the classes the shared library hides.
function(nbi_subsystem name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LIBRARIES")
    add_library(nbi_${name} OBJECT ${ARG_SOURCES})
    target_link_libraries(nbi_${name} PUBLIC nbi_build ${ARG_LIBRARIES})
    target_link_libraries(nbiutil PRIVATE $<BUILD_INTERFACE:nbi_${name}>)
    target_link_libraries(nbi_internal PUBLIC nbi_${name})
endfunction()
