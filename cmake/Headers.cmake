# Long headers that most sources read: precompiled once for each set of compiler options, and read once for each group
# of sources.

# The JSON headers, through a folder of the build tree: naming /usr/include to the cross-compiler would mix in the Linux
# C headers.
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
file(CREATE_LINK /usr/include/nlohmann ${CMAKE_BINARY_DIR}/packages/nlohmann SYMBOLIC)
file(CREATE_LINK /usr/include/CLI ${CMAKE_BINARY_DIR}/packages/CLI SYMBOLIC)
add_library(sysmira_packages INTERFACE)
target_include_directories(sysmira_packages SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/packages)

if(NOT SYSMIRA_JOIN_SOURCES)
    set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
endif()

# Named in angle brackets, since CMake makes absolute paths of others, and the compiler cache would miss in other clones.
set(SYSMIRA_LONG_HEADERS <support/WindowsApi.h> <algorithm> <functional> <map> <memory> <string> <vector>)

# An object library whose precompiled headers others reuse. Options of both must agree.
function(sysmira_add_precompiled_headers target)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/${target}.cpp CONTENT "// Nothing but its precompiled headers.\n")
    add_library(${target} OBJECT EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/${target}.cpp)
    target_link_libraries(${target} PRIVATE sysmira_settings sysmira_packages)
    target_precompile_headers(${target} PRIVATE ${ARGN})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        # Without the times of the headers, so that equal headers give equal files.
        target_compile_options(${target} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
    endif()
endfunction()

# For the libraries.
sysmira_add_precompiled_headers(sysmira_library_headers ${SYSMIRA_LONG_HEADERS})
sysmira_optimise_under_sanitizers(sysmira_library_headers)

# For the simulation, and for what reads JSON beside the Windows headers.
sysmira_add_precompiled_headers(sysmira_json_headers ${SYSMIRA_LONG_HEADERS} <nlohmann/json.hpp>)
sysmira_optimise_for_build_time(sysmira_json_headers)
sysmira_optimise_under_sanitizers(sysmira_json_headers)

# sysmira_use_headers(TARGET HEADERS)
function(sysmira_use_headers target headers)
    target_precompile_headers(${target} REUSE_FROM ${headers})
endfunction()

# sysmira_join_sources(TARGET): compiles its sources eight at a time, so that the long headers are read once a group.
# Names in anonymous namespaces must therefore be unique across the files of a target. A source with options of its own,
# or made by the build, is compiled alone.
function(sysmira_join_sources target)
    if(NOT SYSMIRA_JOIN_SOURCES)
        return()
    endif()
    get_target_property(sources ${target} SOURCES)
    get_target_property(folder ${target} SOURCE_DIR)
    set(text "")
    set(joined "")
    set(count 0)
    set(group 0)
    list(LENGTH sources left)
    foreach(source IN LISTS sources)
        math(EXPR left "${left} - 1")
        get_property(options SOURCE ${source} TARGET_DIRECTORY ${target} PROPERTY COMPILE_OPTIONS)
        get_property(alone SOURCE ${source} TARGET_DIRECTORY ${target} PROPERTY SKIP_UNITY_BUILD_INCLUSION)
        if(NOT IS_ABSOLUTE "${source}" AND NOT source MATCHES "\\$<" AND NOT options AND NOT alone)
            cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${folder} NORMALIZE OUTPUT_VARIABLE path)
            cmake_path(RELATIVE_PATH path BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
            string(APPEND text "#include \"${path}\"\n")
            list(APPEND joined ${source})
            math(EXPR count "${count} + 1")
        endif()
        if(count EQUAL 8 OR (left EQUAL 0 AND count GREATER 0))
            set(file ${CMAKE_CURRENT_BINARY_DIR}/${target}_${group}.cpp)
            file(CONFIGURE OUTPUT ${file} CONTENT "${text}" @ONLY)
            target_sources(${target} PRIVATE ${file})
            math(EXPR group "${group} + 1")
            set(text "")
            set(count 0)
        endif()
    endforeach()
    set_source_files_properties(${joined} TARGET_DIRECTORY ${target} PROPERTIES HEADER_FILE_ONLY ON)
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>
        $<$<BOOL:${WIN32}>:-Wa,-mbig-obj>)
endfunction()
