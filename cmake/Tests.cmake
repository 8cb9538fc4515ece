# Test programs. Each that is to be run registers itself in build/PRESET/tests.list, which ./test reads: a line each,
# "NAME KIND COMMAND...", where KIND is suite (counts with its cases) or check (counts as one).

# The objects of which the DLLs are made, and the simulated functions in place of the system's. A program names them
# before its own: of a template that several objects hold the linker keeps the first, which is the optimised one here.
# On Windows the simulated functions must be found before the import libraries.
set(SYSMIRA_SIMULATED_OBJECTS
    $<TARGET_OBJECTS:Sysmira_objects> $<TARGET_OBJECTS:common_objects> $<TARGET_OBJECTS:SysmiraSimulation>)
set(SYSMIRA_SIMULATED_LIBRARIES ${SYSMIRA_WINDOWS_LIBRARIES} $<$<BOOL:${WIN32}>:ntdll>)

# sysmira_register(NAME KIND PROGRAM [ARGUMENT...]): has ./test run a program of the build tree.
function(sysmira_register name kind program)
    list(JOIN ARGN " " arguments)
    set_property(GLOBAL APPEND PROPERTY SYSMIRA_REGISTERED
        "${name} ${kind} ${program}$<$<BOOL:${WIN32}>:.exe> ${arguments}")
    set_property(GLOBAL APPEND PROPERTY SYSMIRA_REGISTERED_PROGRAMS ${program})
endfunction()

# Called last, when everything is registered.
function(sysmira_write_test_list)
    get_property(lines GLOBAL PROPERTY SYSMIRA_REGISTERED)
    list(JOIN lines "\n" text)
    file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/tests.list CONTENT "${text}\n")
endfunction()

# Nobody links with what a test program exports: its import library is kept away from the products.
function(sysmira_hide_import_library name)
    set_target_properties(${name} PROPERTIES ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
endfunction()

sysmira_add_precompiled_headers(sysmira_test_headers ${SYSMIRA_LONG_HEADERS} <nlohmann/json.hpp> <gtest/gtest.h>)
target_link_libraries(sysmira_test_headers PRIVATE sysmira_gtest)
sysmira_optimise_for_build_time(sysmira_test_headers)

# sysmira_add_simulated_program(NAME [OBJECTS LIBRARY ...] LINK LIBRARY ...): a program of object libraries, of the
# libraries' objects and of the simulated functions.
function(sysmira_add_simulated_program name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "OBJECTS;LINK")
    list(TRANSFORM arg_OBJECTS PREPEND "$<TARGET_OBJECTS:")
    list(TRANSFORM arg_OBJECTS APPEND ">")
    add_executable(${name} ${SYSMIRA_SIMULATED_OBJECTS} ${arg_OBJECTS})
    set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX)
    sysmira_hide_import_library(${name})
    target_link_libraries(${name} PRIVATE sysmira_settings ${arg_LINK} ${SYSMIRA_SIMULATED_LIBRARIES})
endfunction()

# sysmira_add_test_program(NAME [SIMULATED] SOURCES ... [OBJECTS ...] [LINK ...]): a GoogleTest program that ./test runs.
# SIMULATED programs hold the libraries' objects and the simulated functions; others link LINK alone. OBJECTS names
# object libraries that it holds besides.
function(sysmira_add_test_program name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "SIMULATED" "" "SOURCES;OBJECTS;LINK")
    set(cases ${name})
    if(arg_SIMULATED)
        set(cases ${name}_cases)
        add_library(${cases} OBJECT ${arg_SOURCES})
        sysmira_add_simulated_program(${name} OBJECTS ${cases} ${arg_OBJECTS} LINK sysmira_gtest)
    else()
        add_executable(${name} ${arg_SOURCES})
        sysmira_hide_import_library(${name})
    endif()
    sysmira_use_headers(${cases} sysmira_test_headers)
    target_link_libraries(${cases} PRIVATE sysmira_settings sysmira_packages ${arg_LINK} sysmira_gtest)
    sysmira_join_sources(${cases})
    sysmira_optimise_for_build_time(${cases})
    sysmira_register(${name} suite ${name})
endfunction()
