# How the libraries are made, and sources of texts.

# The GUIDs of the Windows headers, for whoever links last.
add_library(sysmira_identifiers STATIC ${PROJECT_SOURCE_DIR}/support/Identifiers.cpp)
target_link_libraries(sysmira_identifiers PRIVATE $<BUILD_INTERFACE:sysmira_settings>)

# sysmira_add_library(NAME SOURCES...): the objects NAME_objects, and of them the archive NAME (host) or the
# dynamic library NAME.dll with its import library (Windows). Tests link the objects, so what is tested is
# what ships. DEFINE names the macro that turns the export attribute on; USES lists libraries made by this
# function.
function(sysmira_add_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "DEFINE" "SOURCES;USES;DLL_SOURCES")
    add_library(${name}_objects OBJECT ${arg_SOURCES})
    target_link_libraries(${name}_objects PUBLIC sysmira_settings)
    target_compile_definitions(${name}_objects PRIVATE ${arg_DEFINE})
    sysmira_use_headers(${name}_objects sysmira_library_headers)
    sysmira_optimise_under_sanitizers(${name}_objects)
    if(SYSMIRA_STRICT)
        # What Microsoft's compiler would not take.
        target_compile_options(${name}_objects PRIVATE -pedantic -Wgnu)
    endif()
    if(WIN32)
        if(NOT MSVC)
            # Sanitizer run-times do not exist for this target; what works without one is on.
            target_compile_options(${name}_objects PRIVATE -fsanitize=undefined -fsanitize-undefined-trap-on-error)
        endif()
        add_library(${name} SHARED ${arg_DLL_SOURCES} $<TARGET_OBJECTS:${name}_objects>)
        set_target_properties(${name} PROPERTIES PREFIX "")
        sysmira_use_headers(${name} sysmira_library_headers)
    else()
        add_library(${name} STATIC $<TARGET_OBJECTS:${name}_objects>)
        set_target_properties(${name} PROPERTIES PREFIX "lib")
    endif()
    target_link_libraries(${name} PUBLIC sysmira_platform ${arg_USES} $<BUILD_INTERFACE:sysmira_settings>)
    if(WIN32)
        # Users of an installed DLL link with its import library alone.
        target_link_libraries(${name} PUBLIC $<BUILD_INTERFACE:${SYSMIRA_WINDOWS_LIBRARIES}>)
    else()
        target_link_libraries(${name} PUBLIC ${SYSMIRA_WINDOWS_LIBRARIES})
    endif()
    add_library(Sysmira::${name} ALIAS ${name})
endfunction()

# sysmira_embed_text(OUTPUT SOURCE INPUT FILE HEADER HEADER SPACE NAMESPACE FUNCTION NAME): makes, in the build
# tree, a source whose function returns the text of a file.
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
