# Simulated boards and a master for the scripts of this folder, which run in the sandbox. To be sourced.
# ZUL_BUILD is the build's folder. The programs' output is in a separate folder, the working directory.
set -euo pipefail

source_dir=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../..")
build=$(realpath "${ZUL_BUILD:-$source_dir/build/release}")
PATH="$build/tools/board:$build/tools/master:$build/tools/mux:$PATH"
export ZULCTL_CONFIG=/dev/null COLUMNS=100

work=$(mktemp -d)
boards=()
clean_up() {
    if [ ${#boards[@]} -gt 0 ]; then
        kill "${boards[@]}" 2>/dev/null || true
        wait "${boards[@]}" 2>/dev/null || true
    fi
    rm -rf "$work"
}
trap clean_up EXIT
cd "$work"

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    tail -n 20 ./*.txt ./*.log >&2 2>/dev/null || true
    exit 1
}

# await WORDS CMD...: waits until CMD succeeds; a loaded machine is slow.
await() {
    local words=$1 end=$((SECONDS + 90))
    shift
    until "$@" >/dev/null 2>&1; do
        [ $SECONDS -le $end ] || fail "this didn't come true: $words"
        sleep 0.1
    done
}

# power_up NUMBER ROLE ARGUMENT...: a board of the network on a clock of $speed, with its lines in NUMBER.log and its orders
# from $console, where that is set.
power_up() {
    local number=$1 role=$2
    shift 2
    ZUL_FAST_CLOCK=${speed:-20} on "$number" zul-board --role "$role" --module "${module:-$build/tests/libzul_fast.so}" \
        --speed "${speed:-20}" --module-log /dev/null "$@" >"$number.log" 2>&1 <"${console:-/dev/null}" &
    boards+=($!)
}

# power_down: ends all boards.
power_down() {
    kill "${boards[@]}"
    wait "${boards[@]}" 2>/dev/null || true
    boards=()
}

# exits CODE CMD...: CMD ends with that exit code; its output is in said.txt.
exits() {
    local wanted=$1 code=0
    shift
    "$@" >said.txt 2>&1 || code=$?
    [ "$code" = "$wanted" ] || fail "$* ended with $code, not $wanted"
}

said() { grep -q -- "$1" said.txt || fail "it doesn't say \"$1\""; }
