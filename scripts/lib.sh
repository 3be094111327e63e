# shellcheck shell=bash
# Shared by the scripts of the project; sourced, never run.
# Sets `top`, the root of the working tree. Messages carry the name of the calling script.

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
log_dir=$top/build/log
busy_interval=20 # seconds between two signs of life of a long command

say() {
    printf '%s: %s\n' "${0##*/}" "$*"
}

die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Prints the comment at the head of the calling script: its use.
head_comment() {
    sed -n '2,/^[^#]/ { s/^# \{0,1\}//p }' "$0"
}

# usage_for WORD: ends the script with its use, as an answer to --help or to a word that it lacks.
usage_for() {
    [[ $1 != -h && $1 != --help ]] || { head_comment; exit 0; }
    head_comment >&2
    exit 2
}

# Builds and tests use every core, or what CMake's own variable allows them.
job_count() {
    echo "${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}"
}

# quietly LABEL COMMAND...
# Runs COMMAND with its output in build/log/LABEL.log. The log is printed only when COMMAND
# fails; a command that takes long shows a line now and then. Returns COMMAND's status.
quietly() {
    local label=$1 log=$log_dir/$1.log ticker status=0
    shift
    mkdir -p "$log_dir"
    (
        started=$SECONDS
        # The sleep outlives the end of this subshell: it must not hold the output open.
        while sleep "$busy_interval" >/dev/null 2>&1; do
            kill -0 $$ 2>/dev/null || exit 0
            say "$label: busy for $((SECONDS - started)) s: $(last_line "$log")"
        done
    ) &
    ticker=$!
    "$@" >"$log" 2>&1 </dev/null || status=$?
    kill "$ticker" 2>/dev/null || true
    wait "$ticker" 2>/dev/null || true
    if ((status != 0)); then
        cat "$log" >&2
        printf '%s: %s failed with status %d; the output above is in %s\n' \
            "${0##*/}" "$label" "$status" "${log#"$top"/}" >&2
    fi
    return "$status"
}

last_line() {
    tail -n 1 "$1" 2>/dev/null | tr -d '\r' | cut -c 1-70
}

# configure PRESET: writes build/PRESET.
configure() {
    quietly "$1-configure" cmake -S "$top" --preset "$1"
}

# build PRESET [TARGET...]: builds what is not up to date in build/PRESET.
build() {
    local preset=$1
    shift
    quietly "$preset-build" cmake --build "$top/build/$preset" -j "$(job_count)" ${1:+--target "$@"}
}
