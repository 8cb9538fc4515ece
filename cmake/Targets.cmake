# What every target of the tree is compiled with, and the helper functions for tests.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(SYSMIRA_SANITIZERS "" CACHE STRING "Sanitizers of the host target, as -fsanitize takes them")
option(SYSMIRA_FUZZ "Build the libFuzzer programs (Clang)" OFF)

# What programs are compiled with that use the libraries, in this tree or from a package; the packages carry it.
add_library(sysmira_platform INTERFACE)
target_compile_features(sysmira_platform INTERFACE cxx_std_20)
target_include_directories(sysmira_platform INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/sysmira>)

# And what this tree is compiled with besides. It names its sources by paths from its root (__FILE__), and is warned
# about everything.
add_library(sysmira_settings INTERFACE)
target_link_libraries(sysmira_settings INTERFACE sysmira_platform)
target_compile_options(sysmira_settings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Werror
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)

if(WIN32)
    target_compile_definitions(sysmira_settings INTERFACE _GLIBCXX_ASSERTIONS)
    target_link_options(sysmira_settings INTERFACE -Wl,--no-insert-timestamp)
    # setupapi comes first: the CM_ functions are taken from it, which every Windows has had.
    set(SYSMIRA_WINDOWS_LIBRARIES sysmira_identifiers setupapi cfgmgr32 version ole32 oleaut32 wbemuuid uuid
        advapi32 user32 shell32 wevtapi)
    # The C++ run-time that the DLLs use, beside them.
    set(SYSMIRA_RUNTIME_DLLS libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
else()
    # The Windows headers in their LP64 mode, read after the system's own; wchar_t as wide as WCHAR. Packages look
    # for the headers where they are used.
    set(SYSMIRA_WINDOWS_HEADERS /usr/share/mingw-w64/include CACHE PATH "Where the Windows headers of mingw-w64 lie")
    target_compile_options(sysmira_platform INTERFACE -fshort-wchar
        "$<BUILD_INTERFACE:SHELL:-idirafter ${SYSMIRA_WINDOWS_HEADERS}>" $<$<CXX_COMPILER_ID:GNU>:-fms-extensions>)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # When it optimises, GCC 12 sees errors inside its own std::basic_string that are none.
        target_compile_options(sysmira_settings INTERFACE
            $<$<CONFIG:Release>:-Wno-maybe-uninitialized> $<$<CONFIG:Release>:-Wno-stringop-overflow>
            $<$<CONFIG:Release>:-Wno-array-bounds> $<$<CONFIG:Release>:-Wno-restrict>)
    endif()
    if(SYSMIRA_SANITIZERS)
        # The run-time of a sanitizer comes with the whole program; and a container whose bounds it watches must be
        # watched by everyone who changes it.
        target_compile_options(sysmira_platform INTERFACE -fsanitize=${SYSMIRA_SANITIZERS}
            -fno-sanitize-recover=all)
        target_link_options(sysmira_platform INTERFACE -fsanitize=${SYSMIRA_SANITIZERS})
        target_compile_options(sysmira_settings INTERFACE -fno-omit-frame-pointer)
    endif()
    if(SYSMIRA_FUZZ)
        target_compile_options(sysmira_settings INTERFACE -fsanitize=fuzzer-no-link)
    endif()
    set(SYSMIRA_WINDOWS_LIBRARIES sysmira_identifiers)
endif()

# The GUIDs of the Windows headers, for whoever links last.
add_library(sysmira_identifiers STATIC ${PROJECT_SOURCE_DIR}/support/Identifiers.cpp)
target_link_libraries(sysmira_identifiers PRIVATE $<BUILD_INTERFACE:sysmira_settings>)

# What most sources read, and takes longer to read than they do.
set(SYSMIRA_LONG_HEADERS ${PROJECT_SOURCE_DIR}/support/WindowsApi.h
    <algorithm> <functional> <map> <memory> <string> <vector>)

# sysmira_often_run(TARGET): where sanitizers watch it, it is optimised so that the suites take half the instructions, at
# a tenth more for compiling it.
function(sysmira_often_run name)
    if(SYSMIRA_SANITIZERS)
        target_compile_options(${name} PRIVATE -Og)
    endif()
endfunction()

# sysmira_library(NAME SOURCES...): the objects NAME_objects, and of them the archive NAME (host) or the
# dynamic library NAME.dll with its import library (Windows). Tests link the objects, so what is tested is
# what ships. DEFINE names the macro that turns the export attribute on; USES lists libraries made by this
# function.
function(sysmira_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "DEFINE" "SOURCES;USES;DLL_SOURCES")
    add_library(${name}_objects OBJECT ${arg_SOURCES})
    target_link_libraries(${name}_objects PUBLIC sysmira_settings)
    target_compile_definitions(${name}_objects PRIVATE ${arg_DEFINE})
    target_precompile_headers(${name}_objects PRIVATE ${SYSMIRA_LONG_HEADERS})
    sysmira_often_run(${name}_objects)
    if(WIN32)
        # Sanitizer run-times do not exist for this target; what works without one is on.
        target_compile_options(${name}_objects PRIVATE -fsanitize=undefined -fsanitize-undefined-trap-on-error)
        add_library(${name} SHARED ${arg_DLL_SOURCES} $<TARGET_OBJECTS:${name}_objects>)
        set_target_properties(${name} PROPERTIES PREFIX "")
    else()
        add_library(${name} STATIC $<TARGET_OBJECTS:${name}_objects>)
        set_target_properties(${name} PROPERTIES PREFIX "lib")
    endif()
    target_link_libraries(${name} PUBLIC sysmira_platform ${arg_USES} $<BUILD_INTERFACE:sysmira_settings>)
    if(WIN32)
        # Who uses an installed DLL links with its import library alone.
        target_link_libraries(${name} PUBLIC $<BUILD_INTERFACE:${SYSMIRA_WINDOWS_LIBRARIES}>)
    else()
        target_link_libraries(${name} PUBLIC ${SYSMIRA_WINDOWS_LIBRARIES})
    endif()
    add_library(Sysmira::${name} ALIAS ${name})
endfunction()

# sysmira_embed_text(OUTPUT SOURCE INPUT FILE HEADER HEADER SPACE NAMESPACE FUNCTION NAME): makes, in the build
# tree, a source whose function gives the text of a file.
function(sysmira_embed_text)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "OUTPUT;INPUT;HEADER;SPACE;FUNCTION" "")
    add_custom_command(
        OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${arg_OUTPUT}
        COMMAND ${CMAKE_COMMAND} -D INPUT=${CMAKE_CURRENT_SOURCE_DIR}/${arg_INPUT}
            -D OUTPUT=${CMAKE_CURRENT_BINARY_DIR}/${arg_OUTPUT} -D HEADER=${arg_HEADER} -D SPACE=${arg_SPACE}
            -D FUNCTION=${arg_FUNCTION} -P ${PROJECT_SOURCE_DIR}/cmake/EmbedText.cmake
        DEPENDS ${arg_INPUT} ${PROJECT_SOURCE_DIR}/cmake/EmbedText.cmake
        VERBATIM)
endfunction()

option(SYSMIRA_UNITY "Compile sources of the simulation, the command and the tests eight at a time" ON)

# sysmira_unity(TARGET): its sources read the same long headers, which together they read once. Their anonymous
# namespaces become one, so that what these hold has a name of its own.
function(sysmira_unity name)
    set_target_properties(${name} PROPERTIES UNITY_BUILD ${SYSMIRA_UNITY})
    target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>
        $<$<BOOL:${WIN32}>:-Wa,-mbig-obj>)
endfunction()

# The very objects of which the DLLs are made, and the simulated functions in place of the system's. On Windows
# these must be found before the import libraries.
add_library(sysmira_simulated INTERFACE)
target_link_libraries(sysmira_simulated INTERFACE sysmira_settings
    # A precompiled header counts as an object.
    $<FILTER:$<TARGET_OBJECTS:Sysmira_objects>,EXCLUDE,gch$> $<FILTER:$<TARGET_OBJECTS:common_objects>,EXCLUDE,gch$>
    SysmiraSimulation ${SYSMIRA_WINDOWS_LIBRARIES})
if(WIN32)
    target_link_libraries(sysmira_simulated INTERFACE ntdll)
endif()

# sysmira_own_use(TARGET): it does not leave this tree. On Windows it is optimised no further than what compiles and
# links soonest: without inlining the linker looks through tens of thousands of sections for each symbol.
function(sysmira_own_use name)
    target_compile_options(${name} PRIVATE $<$<BOOL:${WIN32}>:-Og>)
endfunction()

# What a test program exports is nobody's to link with: its import library goes out of the products' way.
function(sysmira_test_program name)
    set_target_properties(${name} PROPERTIES ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
endfunction()

# sysmira_test(NAME [SIMULATED] SOURCES ... [LINK ...]): a GoogleTest program and its entry in CTest. SIMULATED
# programs hold the libraries' objects and the simulated functions; others link LINK alone. The headers of the first,
# behaviour, are precompiled for all.
function(sysmira_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "SIMULATED" "" "SOURCES;LINK")
    add_executable(${name} ${arg_SOURCES})
    sysmira_test_program(${name})
    if(name STREQUAL "behaviour")
        target_precompile_headers(behaviour PRIVATE ${SYSMIRA_LONG_HEADERS} <gtest/gtest.h> <nlohmann/json.hpp>)
    else()
        target_precompile_headers(${name} REUSE_FROM behaviour)
    endif()
    target_link_libraries(${name} PRIVATE sysmira_settings sysmira_packages
        $<$<BOOL:${arg_SIMULATED}>:sysmira_simulated> ${arg_LINK} sysmira_gtest)
    sysmira_unity(${name})
    sysmira_own_use(${name})
    add_test(NAME ${name} COMMAND ${name})
endfunction()

# sysmira_fuzz_target(NAME SOURCES... [CHANGES]): the program NAME_replay, which runs the sources over
# fuzz/corpus/NAME, and, for searching on, NAME_fuzz when libFuzzer is there (SYSMIRA_FUZZ). CHANGES: each byte of
# the seeds is changed, too.
function(sysmira_fuzz_target name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "CHANGES" "" "")
    set(sources ${arg_UNPARSED_ARGUMENTS})
    add_executable(${name}_replay ${sources} $<FILTER:$<TARGET_OBJECTS:sysmira_replay>,EXCLUDE,gch$>)
    sysmira_test_program(${name}_replay)
    target_link_libraries(${name}_replay PRIVATE sysmira_settings sysmira_simulated sysmira_packages)
    target_precompile_headers(${name}_replay REUSE_FROM sysmira_replay)
    sysmira_own_use(${name}_replay)
    add_test(NAME ${name}_replay COMMAND ${name}_replay $<$<BOOL:${arg_CHANGES}>:--changes>
        ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name} COMMAND_EXPAND_LISTS)
    if(SYSMIRA_FUZZ)
        add_executable(${name}_fuzz ${sources})
        target_link_libraries(${name}_fuzz PRIVATE sysmira_settings sysmira_simulated sysmira_packages)
        target_precompile_headers(${name}_fuzz REUSE_FROM sysmira_replay)
        target_link_options(${name}_fuzz PRIVATE -fsanitize=fuzzer)
    endif()
endfunction()

# sysmira_benchmark(NAME SOURCES ... [LINK ...]): a Google Benchmark program over the libraries and the
# simulation.
function(sysmira_benchmark name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE sysmira_settings sysmira_simulated ${arg_LINK} benchmark::benchmark
        benchmark::benchmark_main)
endfunction()
