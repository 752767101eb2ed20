# The checks of tools/checks as tests of ctest, labelled `checks`.

find_program(VEL_PYTHON python3 REQUIRED)
mark_as_advanced(VEL_PYTHON)

# The form of the sources, and the checks' own tests. They say the same in every build, so one kind of build has them.
function(vel_source_checks)
    if(WIN32 OR VEL_SANITIZE)
        return()
    endif()
    set(folder "${PROJECT_SOURCE_DIR}/tools/checks")
    execute_process(
        COMMAND "${VEL_PYTHON}" -B "${folder}/run_checks.py" --list
        OUTPUT_VARIABLE checks OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    string(REPLACE "\n" ";" checks "${checks}")
    foreach(check IN LISTS checks)
        add_test(NAME "checks: ${check}" COMMAND "${VEL_PYTHON}" -B "${folder}/run_checks.py" ${check})
        set_tests_properties("checks: ${check}" PROPERTIES LABELS checks TIMEOUT 60)
    endforeach()
    add_test(NAME "checks: self-tests" COMMAND "${VEL_PYTHON}" -B "${folder}/self_test.py")
    set_tests_properties("checks: self-tests" PROPERTIES LABELS checks TIMEOUT 60)
endfunction()

# Of executables, named when they are there: on Windows, that they ask for no DLL but the system's own and can be
# carried alone.
function(vel_system_imports_tests)
    foreach(name IN LISTS ARGN)
        if(WIN32 AND TARGET ${name})
            add_test(NAME "${name}: imports only DLLs of the system"
                COMMAND "${VEL_PYTHON}" -B "${PROJECT_SOURCE_DIR}/tools/checks/system_imports.py"
                    --objdump "${CMAKE_OBJDUMP}" "$<TARGET_FILE:${name}>")
            set_tests_properties("${name}: imports only DLLs of the system" PROPERTIES LABELS checks TIMEOUT 60)
        endif()
    endforeach()
endfunction()

# Of executables that ship: that they do not contain the switch of the clock. Asked of the native builds, whose linker
# drops what is not called and keeps the symbols; the sources are the same for Windows.
function(vel_clock_switch_tests)
    foreach(name IN LISTS ARGN)
        if(NOT WIN32 AND NOT VEL_SANITIZE AND TARGET ${name})
            add_test(NAME "${name}: has no switch of the clock"
                COMMAND "${VEL_PYTHON}" -B "${PROJECT_SOURCE_DIR}/tools/checks/clock_switch.py"
                    --nm "${CMAKE_NM}" "$<TARGET_FILE:${name}>")
            set_tests_properties("${name}: has no switch of the clock" PROPERTIES LABELS checks TIMEOUT 60)
        endif()
    endforeach()
endfunction()
