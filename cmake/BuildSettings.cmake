# One interface target carries what every translation unit of the project is compiled with.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)  # NBI_EXPORT makes a class visible
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

add_library(nbi_warnings INTERFACE)
target_compile_options(nbi_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(NBIUTIL_WERROR)
    target_compile_options(nbi_warnings INTERFACE -Werror)
endif()

# Bound when it is loaded: the loader's resolver saves the vector registers of the first call of each function on the
# stack, and a password that was just copied is in them.
add_link_options(LINKER:-z,relro LINKER:-z,now)

# A symbol that nobody defines is an error when a library is linked, not when it is loaded. The sanitizers' own
# symbols come with the program.
set(NBI_LINK_COMPLETE -Wl,-z,defs)
if(NBIUTIL_SANITIZE)
    # Reports need line numbers; more optimisation or debug information only costs build time here.
    set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g1 -DNDEBUG")
    set(NBI_LINK_COMPLETE)
    add_compile_options(-fsanitize=${NBIUTIL_SANITIZE} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${NBIUTIL_SANITIZE})
    # With sanitizers g++ 12 takes members of the standard library's own types for unset (std::regex).
    target_compile_options(nbi_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    if(NBIUTIL_SANITIZE MATCHES undefined)
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
    if(NBIUTIL_FUZZ)
        add_compile_options(-fsanitize=fuzzer-no-link)
    endif()
endif()

add_library(nbi_build INTERFACE)
target_include_directories(nbi_build INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/host/include>
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>)
if(NBIUTIL_PROBES)
    find_path(NBI_SDT_INCLUDE sys/sdt.h REQUIRED)  # package systemtap-sdt-dev
    target_compile_definitions(nbi_build INTERFACE NBIUTIL_PROBES)
endif()
target_link_libraries(nbi_build INTERFACE nbi_warnings PkgConfig::ACE Threads::Threads)
