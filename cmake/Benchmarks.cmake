# sysmira_add_benchmark(NAME SOURCES ... [LINK ...]): a Google Benchmark program over the libraries and the simulation.
function(sysmira_add_benchmark name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_library(${name}_measures OBJECT ${arg_SOURCES})
    target_link_libraries(${name}_measures PRIVATE sysmira_settings ${arg_LINK} benchmark::benchmark)
    set_property(TARGET ${name}_measures PROPERTY EXCLUDE_FROM_ALL ON)
    sysmira_add_simulated_program(${name} OBJECTS ${name}_measures LINK ${arg_LINK} benchmark::benchmark
        benchmark::benchmark_main)
    set_property(TARGET ${name} PROPERTY EXCLUDE_FROM_ALL ON)
    add_dependencies(benchmarks ${name})
endfunction()
