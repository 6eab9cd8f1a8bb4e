# nbi_script_test(tags_test): a script that gets the project's folder.
function(nbi_script_test name)
    add_test(NAME scripts/${name}
        COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/scripts/${name}.sh ${PROJECT_SOURCE_DIR})
    set_tests_properties(scripts/${name} PROPERTIES TIMEOUT 60 LABELS scripts)
endfunction()

nbi_script_test(lib_test)
nbi_script_test(tags_test)
