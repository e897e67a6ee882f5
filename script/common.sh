# shellcheck shell=bash
# What the scripts share; sourced, never run. Works from any folder and without a terminal.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

say() { printf '%s: %s\n' "$(basename "$0")" "$*"; }

# configure PRESET [ARGUMENT...]: configures quietly, through ccache where it is installed.
configure() {
    local preset=$1
    shift
    local launcher=()
    if command -v ccache >/dev/null; then
        launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    cmake --preset "$preset" --log-level=WARNING "${launcher[@]}" "$@" >/dev/null
}

# runTests PRESET [ARGUMENT...]: all tests of that build. They wait for each other more than they
# compute, hence more of them at once than there are cores.
runTests() {
    local preset=$1
    shift
    ctest --preset "$preset" -j "$(($(nproc) + 1))" "$@" </dev/null
}
