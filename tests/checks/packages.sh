# The packages, and the examples built from them alone; the reference of the public headers. Read by ./test.

declare_package_checks() {
    check linux:package "the package for Linux is complete and names no path of the machine that made it" \
        once installs_on_linux
    check linux:examples "its examples build from it alone and work" uses_package_on_linux
    check linux:reference "the reference of the public headers is made without a warning" makes_reference
    check windows:package "the package for Windows is complete and names no path of the machine that made it" once makes_zip
    check windows:examples "its sysmira.exe runs; its examples build from it alone and run" uses_zip
}

# Every header of the package is read, so that none asks for one that stayed behind.
installs_on_linux() {
    local package=$results/linux
    expect 0 cmake --install "$host" --prefix "$package" && ! grep -rlIF -- "$here" "$package" &&
        (cd "$package/include/sysmira" && find . -name '*.h' -printf '#include "%P"\n') |
            g++ -std=c++20 -fsyntax-only -fshort-wchar -fms-extensions -idirafter /usr/share/mingw-w64/include \
                -I"$package/include/sysmira" -x c++ -
}

# builds_example NAME PACKAGE [CMAKE OPTION...]: in $results/NAME of PACKAGE, by what stands in the package alone.
builds_example() {
    local name=$1 package=$2 folder source
    shift 2
    folder=$results/$name-$(basename "$package")
    source=$(find "$package" -type d -name "$name")
    expect 0 cmake -G Ninja -S "$source" -B "$folder" -D CMAKE_PREFIX_PATH="$package" "$@" &&
        expect 0 ninja -C "$folder" && ! grep -rlIF -- "$here" "$folder"
}

uses_package_on_linux() {
    local package=$results/linux
    local -x CXX=clang++ # like the sanitized libraries in it
    once installs_on_linux && builds_example diagnostic-test "$package" && builds_example prepare-drive "$package" &&
        expect 0 "$results/diagnostic-test-linux/disk-test-cases" "$package"/share/doc/*/examples/diagnostic-test/pc.json &&
        has "$out" '^ok: Bad blocks fail the disk that they are on$' && ! grep FAILED <<<"$out" && [ -z "$err" ] &&
        expect 0 "$results/prepare-drive-linux/prepare-drive" && has "$out" 'sector 2048: in use'
}

makes_zip() {
    local package=$results/windows
    mkdir -p "$package" && expect 0 cpack --config "$windows/CPackConfig.cmake" -B "$results/zip" &&
        (cd "$package" && cmake -E tar xf "$results"/zip/*.zip && mv sysmira-*/* .) &&
        ! grep -rlF -- "$here" "$package" && diff <(cd "$package" && find bin lib -maxdepth 1 -type f | sort) - <<END &&
bin/Sysmira.dll
bin/common.dll
bin/libgcc_s_seh-1.dll
bin/libstdc++-6.dll
bin/libwinpthread-1.dll
bin/sysmira.exe
lib/libSysmira.dll.a
lib/libcommon.dll.a
END
        ls "$package"/README.md "$package"/docs/architecture.md "$package"/licences/mingw-w64-common.txt
}

uses_zip() {
    local package=$results/windows name
    once makes_zip && once imports_wine_disk || return 1
    for name in diagnostic-test prepare-drive; do
        builds_example $name "$package" -D CMAKE_SYSTEM_NAME=Windows \
            -D CMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix || return 1
    done
    local -x SYSMIRA_WINE=$windows WINEPATH=Z:${package//\//\\}\\bin
    expect 0 "$here/cmake/in-wine" "$package/bin/sysmira.exe" devices --disks && has "$out" 'ACME ROCKET 1000 SSD' &&
        expect 2 "$here/cmake/in-wine" "$results/diagnostic-test-windows/disk-test.exe" &&
        has "$out" '^unknown +ACME ROCKET 1000 SSD$' && has "$out" 'the drive does not answer' &&
        expect 0 "$here/cmake/in-wine" "$results/prepare-drive-windows/prepare-drive.exe" &&
        has "$out" '^ACME ROCKET 1000 SSD, 0 bytes$' && has "$out" 'no fixed disk'
}

makes_reference() {
    (cd "$here" && doxygen docs/Doxyfile) && [ -s "$here/build/reference/html/index.html" ]
}
