include(CMakePackageConfigHelpers)

set(NBIUTIL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/nbiutil)

set(nbi_install_targets nbiutil)
if(TARGET nbihost_standalone)
    list(APPEND nbi_install_targets nbihost_standalone)
endif()
install(TARGETS ${nbi_install_targets} EXPORT nbiutilTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/nbiutil host/include/nbihost DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT nbiutilTargets NAMESPACE nbiutil:: DESTINATION ${NBIUTIL_CMAKE_DIR})

configure_package_config_file(cmake/nbiutilConfig.cmake.in ${PROJECT_BINARY_DIR}/nbiutilConfig.cmake
    INSTALL_DESTINATION ${NBIUTIL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/nbiutilConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/nbiutilConfig.cmake ${PROJECT_BINARY_DIR}/nbiutilConfigVersion.cmake
    DESTINATION ${NBIUTIL_CMAKE_DIR})

configure_file(cmake/nbiutil.pc.in ${PROJECT_BINARY_DIR}/nbiutil.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/nbiutil.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
