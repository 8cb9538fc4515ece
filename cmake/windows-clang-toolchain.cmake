# 64-bit Windows by Clang, with the headers and libraries of mingw-w64 with posix threads; programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_DLLTOOL x86_64-w64-mingw32-dlltool)
# Clang looks for a GCC with a plain number for its version; Debian's is called 12-posix.
execute_process(COMMAND x86_64-w64-mingw32-g++-posix -print-file-name=
    OUTPUT_VARIABLE gcc OUTPUT_STRIP_TRAILING_WHITESPACE)
string(CONCAT CMAKE_CXX_FLAGS_INIT "-nostdinc++ -isystem ${gcc}include/c++ "
    "-isystem ${gcc}include/c++/x86_64-w64-mingw32 -isystem ${gcc}include/c++/backward "
    # Thread-local variables as in the run-time library, which GCC made.
    "-femulated-tls")
foreach(kind EXE SHARED)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -shared-libgcc -L${gcc} -L/usr/x86_64-w64-mingw32/lib -lpthread")
endforeach()
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/in-wine)
