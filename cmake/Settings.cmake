# The settings of every target in the tree.

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
option(SYSMIRA_JOIN_SOURCES
    "Compile the simulation, the command and the tests in groups of sources, with precompiled headers" ON)
option(SYSMIRA_STRICT "Reject extensions of GNU C++ in the libraries (Clang)" OFF)

# What programs that use the libraries are compiled with, in this tree or from a package; the packages carry it.
add_library(sysmira_platform INTERFACE)
target_compile_features(sysmira_platform INTERFACE cxx_std_20)
target_include_directories(sysmira_platform INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/sysmira>)

# What this tree is compiled with in addition. Objects hold no path of the machine that made them: __FILE__ and debug
# information name sources from the root of the tree, which also lets the compiler cache serve every clone.
add_library(sysmira_settings INTERFACE)
target_link_libraries(sysmira_settings INTERFACE sysmira_platform)
# The cache names sources by their way from the build folder.
file(RELATIVE_PATH to_root ${CMAKE_BINARY_DIR} ${PROJECT_SOURCE_DIR})
string(REGEX REPLACE "/$" "" to_root "${to_root}")
if(MSVC)
    # Never run: no machine with this compiler was at hand.
    target_compile_options(sysmira_settings INTERFACE /W4 /WX /permissive- /Zc:__cplusplus /EHsc /utf-8)
else()
    target_compile_options(sysmira_settings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Werror
        -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${to_root}/=)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND NOT SYSMIRA_STRICT)
    # GNU spellings that both of our compilers take.
    target_compile_options(sysmira_settings INTERFACE
        -Wno-gnu-zero-variadic-macro-arguments -Wno-unused-command-line-argument)
endif()

# The headers of GCC's vector instructions, which windows.h includes and nothing here uses, take as long to read as a
# third of everything else: they count as read.
target_compile_definitions(sysmira_settings INTERFACE
    "$<$<CXX_COMPILER_ID:GNU>:_IMMINTRIN_H_INCLUDED;_X86INTRIN_H_INCLUDED>")

if(WIN32)
    target_compile_definitions(sysmira_settings INTERFACE _GLIBCXX_ASSERTIONS)
    if(NOT MSVC)
        target_link_options(sysmira_settings INTERFACE -Wl,--no-insert-timestamp)
    endif()
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
        # When it optimises, GCC 12 reports errors inside its own std::basic_string that are none.
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
    # Programs with debug information link several times faster than with GNU ld.
    find_program(SYSMIRA_LLD NAMES ld.lld)
    if(SYSMIRA_LLD AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        target_link_options(sysmira_settings INTERFACE -fuse-ld=lld)
    endif()
endif()

# Three degrees of optimisation: products by the build type; under sanitizers what the suites run most, so that they
# take half the instructions; on Windows, for what never leaves this tree, what compiles and links soonest (without any
# inlining the linker searches tens of thousands of sections for each symbol).
function(sysmira_optimise_under_sanitizers target)
    if(SYSMIRA_SANITIZERS)
        target_compile_options(${target} PRIVATE -Og)
    endif()
endfunction()

function(sysmira_optimise_for_build_time target)
    if(WIN32 AND NOT MSVC)
        target_compile_options(${target} PRIVATE -Og)
    endif()
endfunction()
