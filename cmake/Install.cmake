include(CMakePackageConfigHelpers)

set(NBIUTIL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/nbiutil)
set(NBIUTIL_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The default host goes along when the library was linked with it, and the one for tests. Each finds the others beside it,
# wherever the folder is moved.
set(nbi_install_targets nbiutil)
set(nbi_pc_files nbiutil.pc)
if(NBIUTIL_HOST STREQUAL "nbihost_standalone")
    list(APPEND nbi_install_targets nbihost_standalone nbiutil_testing)
    list(APPEND nbi_pc_files nbihost-standalone.pc)
endif()
set_target_properties(${nbi_install_targets} PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS ${nbi_install_targets} EXPORT nbiutilTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/nbiutil host/include/nbihost DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY src/error/reasons DESTINATION ${CMAKE_INSTALL_DATADIR}/nbiutil)
install(EXPORT nbiutilTargets NAMESPACE nbiutil:: DESTINATION ${NBIUTIL_CMAKE_DIR})

configure_package_config_file(cmake/nbiutilConfig.cmake.in ${PROJECT_BINARY_DIR}/nbiutilConfig.cmake
    INSTALL_DESTINATION ${NBIUTIL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/nbiutilConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/nbiutilConfig.cmake ${PROJECT_BINARY_DIR}/nbiutilConfigVersion.cmake
    DESTINATION ${NBIUTIL_CMAKE_DIR})

cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${NBIUTIL_PC_DIR}
    OUTPUT_VARIABLE NBIUTIL_PC_TO_PREFIX)
foreach(pc_file ${nbi_pc_files})
    configure_file(cmake/${pc_file}.in ${PROJECT_BINARY_DIR}/${pc_file} @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${pc_file} DESTINATION ${NBIUTIL_PC_DIR})
endforeach()

# An archive for systems without packages of the library: unpacked anywhere, it serves from there.
if(PROJECT_IS_TOP_LEVEL)
    set(CPACK_GENERATOR TGZ)
    set(CPACK_PACKAGE_FILE_NAME nbiutil-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
    set(CPACK_VERBATIM_VARIABLES ON)
    include(CPack)
endif()
