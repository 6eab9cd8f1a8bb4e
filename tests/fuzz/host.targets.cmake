# Of the standalone host only its reader: the rest would meet the recording host's symbols.
add_library(nbi_inifile STATIC ${PROJECT_SOURCE_DIR}/host/standalone/inifile.cpp)
target_include_directories(nbi_inifile PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(nbi_inifile PRIVATE nbi_warnings)

nbi_fuzz(inifile LIBRARIES nbi_inifile)
