# shellcheck shell=bash disable=SC2154
# How the demo starts, hears and ends programs, and says what failed; sourced, never run. Expects
# the folders $logs, for what programs say, and $work, which is removed at the end.
#
#     step "the hub"
#     start hub dm hub 0
#     hear hub 'listening on .*:([0-9]+)'
#     port=${BASH_REMATCH[1]}
#     stop hub

declare -A process=() # their ids, by name
declare -A voice=()   # descriptors on which they are heard
declare -A may_end=() # whose end is no failure while another is heard
readonly patience=60  # seconds
readonly beginning=$EPOCHREALTIME

step() {
    current_step=$1
    printf '  %5.1f s  %s\n' "$(seconds_since_start)" "$1"
}

seconds_since_start() {
    awk -v now="$EPOCHREALTIME" -v begin="$beginning" 'BEGIN { printf "%.1f", now - begin }'
}

# fail EXPECTED FOUND [NAME]: ends the demo. NAME is the program whose log tells more.
fail() {
    local log=''
    if [[ -n ${3:-} ]]; then
        log="; see $logs/$3.log"
    fi
    printf 'demo: FAILED: %s: %s, but %s%s\n' "$current_step" "$1" "$2" "$log" >&2
    exit 1
}

# start NAME COMMAND...: in the background. What it prints goes to its log and is heard from there,
# so that none of it is lost and nobody has to listen.
start() {
    local name=$1 heard_on
    shift
    : >"$logs/$name.log"
    (close_voices && exec "$@") >>"$logs/$name.log" 2>&1 </dev/null &
    process[$name]=$!
    exec {heard_on}< <(close_voices && exec tail -n +1 -f -s 0.05 --pid="${process[$name]}" "$logs/$name.log")
    voice[$name]=$heard_on
}

# For children: whoever holds one keeps the tail that writes there from ending.
close_voices() {
    local descriptor
    for descriptor in "${voice[@]}"; do
        exec {descriptor}<&-
    done
}

is_running() { kill -0 "${process[$1]}" 2>/dev/null; }

# next_line NAME DEADLINE: its next line is $line; false when there is none until then, or none any
# more. In short waits, because the shell learns between them that a program has ended.
next_line() {
    local part code
    line=
    while ((SECONDS < $2)); do
        code=0
        IFS= read -r -t 0.2 -u "${voice[$1]}" part || code=$?
        line+=$part
        if ((code <= 128)); then
            return "$code"
        fi
        require_running
    done
    return 1
}

# Fails when a program has ended that should be there.
require_running() {
    local name
    for name in "${!process[@]}"; do
        if [[ -z ${may_end[$name]:-} ]] && ! is_running "$name"; then
            fail "$name runs" "it has ended, $(last_words "$name")" "$name"
        fi
    done
}

last_words() { printf 'its last words: "%s"' "$(tail -n 1 "$logs/$1.log")"; }

# hear NAME PATTERN: until it prints a line that the regular expression fits: $line, with
# BASH_REMATCH.
hear() {
    local deadline=$((SECONDS + patience))
    while next_line "$1" "$deadline"; do
        if [[ $line =~ $2 ]]; then
            return
        fi
    done
    if is_running "$1"; then
        fail "$1 prints '$2'" "it has not for $patience s" "$1"
    fi
    fail "$1 prints '$2'" "it has ended, $(last_words "$1")" "$1"
}

# finish NAME: until it has ended by itself, and well.
finish() {
    local code=0
    timeout "$patience" tail -f -s 0.05 --pid="${process[$1]}" /dev/null &
    wait $! || true # and not for it itself, so that Ctrl+C counts at once
    if is_running "$1"; then
        fail "$1 ends" "it has not for $patience s" "$1"
    fi
    wait "${process[$1]}" || code=$?
    unset "process[$1]"
    if ((code != 0)); then
        require_running # it may have failed for want of another
        fail "$1 ends with 0" "it ended with $code, $(last_words "$1")" "$1"
    fi
}

# stop NAME: politely.
stop() {
    kill -TERM "${process[$1]}" 2>/dev/null || fail "$1 runs until it is stopped" "it has ended" "$1"
    finish "$1"
}

# murder NAME: with a signal that it cannot handle. No word about it from the shell.
murder() {
    kill -KILL "${process[$1]}" 2>/dev/null || fail "$1 runs until it is killed" "it has ended" "$1"
    { wait "${process[$1]}" || true; } 2>/dev/null
    unset "process[$1]"
}

clean_up() {
    trap - ERR
    if ((${#process[@]} > 0)); then
        kill -KILL "${process[@]}" 2>/dev/null || true
        { wait "${process[@]}" || true; } 2>/dev/null
    fi
    rm -rf "$work"
}

trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP
set -o errtrace
trap '((BASH_SUBSHELL > 0)) || fail "its commands succeed" "\"$BASH_COMMAND\" did not"' ERR
