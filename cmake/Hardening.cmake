# How a build that goes to others is compiled: mistakes in memory end the process instead of being exploited, and the
# same source gives the same bytes in every folder.
option(NBIUTIL_HARDENED "Compile with the protections that compiler and C library offer" OFF)

if(NBIUTIL_HARDENED)
    if(NBIUTIL_SANITIZE)
        message(FATAL_ERROR "NBIUTIL_HARDENED and NBIUTIL_SANITIZE look after the same memory: choose one")
    endif()
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
    add_compile_options(-fstack-protector-strong -fstack-clash-protection)
    # The C library can check only what the compiler has optimised.
    add_compile_options(-U_FORTIFY_SOURCE $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|amd64|i.86")
        add_compile_options(-fcf-protection)
    endif()
endif()

# Programs load at an address that nobody can foresee, also where the compiler's default is another one.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# No path of the machine that builds, neither in texts, such as those of assertions, nor where a program of the build tree
# looks for its libraries. Builds for a debugger keep them.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
# A compiler's cache may name the sources as they are seen from the build tree.
cmake_path(RELATIVE_PATH PROJECT_SOURCE_DIR BASE_DIRECTORY ${CMAKE_BINARY_DIR} OUTPUT_VARIABLE source_from_build)
set(nbi_no_paths -ffile-prefix-map=${source_from_build}=. -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
    -ffile-prefix-map=${PROJECT_BINARY_DIR}/=)
add_compile_options("$<$<NOT:$<CONFIG:Debug,RelWithDebInfo>>:${nbi_no_paths}>")
