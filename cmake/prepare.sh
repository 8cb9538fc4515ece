# What ./run, ./test and ./package have in common; read by them with $here set to the tree's root. Nothing here writes to
# stdout.

# install_missing PACKAGE...: installs what this Debian system lacks.
install_missing() {
    missing=
    for package in "$@"; do
        case $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) in
            installed) ;;
            *) missing="$missing $package" ;;
        esac
    done
    [ -n "$missing" ] || return 0
    if [ "$(id -u)" -ne 0 ]; then
        echo "These packages are missing and only root can install them:$missing" >&2
        return 1
    fi
    echo "Installing$missing" >&2
    quietly env DEBIAN_FRONTEND=noninteractive sh -c "apt-get -q update &&
        apt-get -q install -y --no-install-recommends$missing"
}

# configure PRESET [CMAKE OPTION...]: makes the build folder build/PRESET, unless there is one.
configure() {
    preset=$1
    shift
    [ ! -f "$here/build/$preset/build.ninja" ] || return 0
    mkdir -p "$here/build"
    (cd "$here" && quietly cmake --preset "$preset" "$@")
}

# build PRESET [CMAKE OPTION...] -- TARGET...: builds targets of a preset in build/PRESET. The options are used
# when that folder is new.
build() {
    folder=$here/build/$1
    options=
    while [ "$1" != -- ]; do
        options="$options $1"
        shift
    done
    shift
    # shellcheck disable=SC2086  # options hold no blanks of their own
    configure $options
    # Without a word when there is nothing to do.
    ninja -C "$folder" -n "$@" 2>/dev/null | grep -q 'no work to do' || echo "Building ${folder##*/} ..." >&2
    quietly ninja -C "$folder" "$@"
}

# quietly COMMAND...: its output is shown only when it fails.
quietly() {
    output=$(mktemp)
    if "$@" >"$output" 2>&1 </dev/null; then
        rm -f "$output"
    else
        status=$?
        cat "$output" >&2
        rm -f "$output"
        return "$status"
    fi
}
