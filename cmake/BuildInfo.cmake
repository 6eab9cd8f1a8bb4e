# What a program tells of its origin. nbi_buildinfo(TARGET) gives the target a header "buildinfo.h" with the version, the
# commit and how it was built. The commit is asked for at every build; the header changes only with what it says.
set(NBIUTIL_COMMIT "" CACHE STRING "Commit that the programs tell; empty: what git says of the source")

if(CMAKE_SCRIPT_MODE_FILE)
    if(NOT COMMIT)
        # In an archive of a commit this line is its hash.
        file(STRINGS ${SOURCE_DIR}/cmake/commit.txt COMMIT LIMIT_COUNT 1)
        if(COMMIT MATCHES "^[0-9a-f]+$")
            string(SUBSTRING ${COMMIT} 0 12 COMMIT)
        else()
            execute_process(COMMAND git -C ${SOURCE_DIR} describe --always --abbrev=12 --exclude=* --dirty=+changes
                OUTPUT_VARIABLE COMMIT OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
            if(failed)
                set(COMMIT unknown)
            endif()
        endif()
    endif()
    configure_file(${SOURCE_DIR}/cmake/buildinfo.h.in ${HEADER} @ONLY)
    return()
endif()

function(nbi_buildinfo target)
    set(folder ${PROJECT_BINARY_DIR}/buildinfo)
    if(NOT TARGET nbi_buildinfo)
        set(options "${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}, ${CMAKE_BUILD_TYPE}")
        if(NBIUTIL_HARDENED)
            string(APPEND options ", hardened")
        endif()
        if(NBIUTIL_SANITIZE)
            string(APPEND options ", sanitizers ${NBIUTIL_SANITIZE}")
        endif()
        add_custom_target(nbi_buildinfo BYPRODUCTS ${folder}/buildinfo.h
            COMMAND ${CMAKE_COMMAND} -D SOURCE_DIR=${PROJECT_SOURCE_DIR} -D HEADER=${folder}/buildinfo.h
                -D VERSION=${PROJECT_VERSION} -D "COMMIT=${NBIUTIL_COMMIT}" -D "OPTIONS=${options}"
                -P ${PROJECT_SOURCE_DIR}/cmake/BuildInfo.cmake
            COMMENT "Asking for the commit" VERBATIM)
    endif()
    add_dependencies(${target} nbi_buildinfo)
    target_include_directories(${target} PRIVATE ${folder})
endfunction()
