# sysmira_register_benchmark(NAME): the target "benchmarks" builds it, "all" does not, and benchmarks.list in the build
# folder names it for benchmarks/measure.py.
function(sysmira_register_benchmark name)
    set_property(TARGET ${name} PROPERTY EXCLUDE_FROM_ALL ON)
    add_dependencies(benchmarks ${name})
    set_property(GLOBAL APPEND PROPERTY SYSMIRA_BENCHMARKS ${name}$<$<BOOL:${WIN32}>:.exe>)
endfunction()

# sysmira_add_benchmark(NAME SOURCES ... [LINK ...]): a Google Benchmark program over the libraries and the simulation.
function(sysmira_add_benchmark name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_library(${name}_measures OBJECT ${arg_SOURCES})
    target_link_libraries(${name}_measures PRIVATE sysmira_settings ${arg_LINK} benchmark::benchmark)
    set_property(TARGET ${name}_measures PROPERTY EXCLUDE_FROM_ALL ON)
    sysmira_add_simulated_program(${name} OBJECTS ${name}_measures LINK ${arg_LINK} benchmark::benchmark
        benchmark::benchmark_main)
    sysmira_register_benchmark(${name})
endfunction()

# Called last, when everything is registered.
function(sysmira_write_benchmark_list)
    get_property(names GLOBAL PROPERTY SYSMIRA_BENCHMARKS)
    list(JOIN names "\n" text)
    file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/benchmarks.list CONTENT "${text}\n")
endfunction()
