# sysmira_add_fuzz_target(NAME SOURCES... [CHANGES]): the program NAME_replay, which runs the sources over the seeds in
# fuzz/corpus/NAME and which ./test runs, and, to search on, NAME_fuzz where libFuzzer is present (SYSMIRA_FUZZ).
# CHANGES: ./test also changes each byte of the seeds, which must be short and quick enough for that.
function(sysmira_add_fuzz_target name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "CHANGES" "" "")
    set(sources ${arg_UNPARSED_ARGUMENTS})
    add_library(${name}_target OBJECT ${sources})
    target_link_libraries(${name}_target PRIVATE sysmira_settings sysmira_packages)
    sysmira_use_headers(${name}_target sysmira_test_headers)
    sysmira_optimise_for_build_time(${name}_target)
    sysmira_add_simulated_program(${name}_replay OBJECTS ${name}_target sysmira_replay)
    sysmira_register(seeds-${name} check ${name}_replay $<$<BOOL:${arg_CHANGES}>:--changes> fuzz/corpus/${name})
    if(SYSMIRA_FUZZ)
        sysmira_add_simulated_program(${name}_fuzz OBJECTS ${name}_target)
        target_link_options(${name}_fuzz PRIVATE -fsanitize=fuzzer)
    endif()
endfunction()
