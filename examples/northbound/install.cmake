# The programs as an installation has them: what they read lies in share/, their configuration in etc/, and they write
# below var/ alone. In a folder of its own all paths are relative to each other, so that it may be moved; an installation
# of the system names them in full, for those who read its configuration.
set(config_folder ${CMAKE_INSTALL_FULL_SYSCONFDIR}/nbiutil)

function(installed_path variable full)
    if(NOT CMAKE_INSTALL_FULL_SYSCONFDIR STREQUAL /etc)
        cmake_path(RELATIVE_PATH full BASE_DIRECTORY ${config_folder})
    endif()
    set(${variable} ${full} PARENT_SCOPE)
endfunction()

installed_path(NBI_ROOT ${CMAKE_INSTALL_FULL_DATADIR}/nbiutil/northbound/lib)
installed_path(NBI_DESCRIPTIONS ${CMAKE_INSTALL_FULL_DATADIR}/nbiutil/northbound/descriptions)
installed_path(NBI_STATE_FOLDER ${CMAKE_INSTALL_FULL_LOCALSTATEDIR}/lib/nbiutil)
installed_path(NBI_LOG_FOLDER ${CMAKE_INSTALL_FULL_LOCALSTATEDIR}/log/nbiutil)
set(NBI_ITEMS_FILE "; Items that \"nbi-client config set\" has changed take the place of those below.
items_file = ${NBI_STATE_FOLDER}/items.ini")
# A service of the system has a folder that its unit makes; whoever starts a server by hand takes the usual one.
if(CMAKE_INSTALL_FULL_SYSCONFDIR STREQUAL /etc)
    string(REGEX REPLACE "; (Listen)" "\\1" NBI_SOCKET "${NBI_SOCKET}")
endif()
string(APPEND NBI_STATE_FOLDER /)
string(APPEND NBI_LOG_FOLDER /)
foreach(program nbi-server nbi-client)
    configure_file(${program}.ini.in ${CMAKE_CURRENT_BINARY_DIR}/installed/${program}.ini @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/installed/${program}.ini DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/nbiutil)
endforeach()

file(RELATIVE_PATH libraries_from_program ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(nbi-server nbi-client PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_program}")
set_target_properties(nbi-book PROPERTIES INSTALL_RPATH "$ORIGIN/..")
install(TARGETS nbi-book DESTINATION ${CMAKE_INSTALL_LIBDIR}/nbiutil)
install(TARGETS nbi-server DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(TARGETS nbi-client DESTINATION ${CMAKE_INSTALL_BINDIR})

install(DIRECTORY root/ descriptions DESTINATION ${CMAKE_INSTALL_DATADIR}/nbiutil/northbound)
install(PROGRAMS ${PROJECT_SOURCE_DIR}/scripts/certificates DESTINATION ${CMAKE_INSTALL_DATADIR}/nbiutil)
install(DIRECTORY idl DESTINATION ${CMAKE_INSTALL_DATADIR}/nbiutil)
install(DIRECTORY DESTINATION ${CMAKE_INSTALL_LOCALSTATEDIR}/lib/nbiutil)
install(DIRECTORY DESTINATION ${CMAKE_INSTALL_LOCALSTATEDIR}/log/nbiutil)
