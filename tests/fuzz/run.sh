#!/usr/bin/env bash
# Runs one fuzzer: run.sh BUILD NAME. KQ_FUZZ_SECONDS says for how long; when it does not, as many inputs as take some 15
# seconds, the same ones each time and on each machine. What was learnt is kept in BUILD/corpus/NAME for the next time. A
# finding is told in one line with the input that shows it again.
set -euo pipefail
build=$1 name=$2
if [[ -n ${KQ_FUZZ_SECONDS:-} ]]; then
    limits=(-seed=0 -max_total_time="$KQ_FUZZ_SECONDS") # other numbers each time
else
    declare -A inputs=([streams]=800 [records]=200 [view]=3000 [conversions]=20000)
    limits=(-seed=1 -runs="${inputs[$name]}")
fi
program=$build/bin/fuzz_$name
corpus=$build/corpus/$name
findings=$build/findings
log=$build/fuzz_$name.log
mkdir -p "$corpus" "$findings"

# Of standard output, only the component's own prints are lost. The system's libraries are not instrumented, and lose a
# little memory at the end of their threads.
export ASAN_OPTIONS="allocator_may_return_null=1:detect_stack_use_after_return=0${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export UBSAN_OPTIONS="print_stacktrace=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"
status=0
"$program" "${limits[@]}" -timeout=120 -report_slow_units=60 -rss_limit_mb=3072 -max_len="$([[ $name == streams ]] && echo 65536 || echo 1024)" \
    -artifact_prefix="$findings/$name-" -print_final_stats=1 -close_fd_mask=1 -len_control=0 "$corpus" "$build/seeds/$name" >/dev/null 2>"$log" || status=$?
grep -E 'stat::number_of_executed_units|stat::peak_rss_mb' "$log" | tr -s ' \n' ' ' || true
echo "in $SECONDS s"
((status == 0)) && exit 0
what=$(grep -m 1 -E '^FINDING: |runtime error: |^SUMMARY: ' "$log" || echo "ended with status $status")
input=$(grep -o -m 1 "Test unit written to .*" "$log" | sed 's/Test unit written to //' || true)
echo "fuzz_$name: ${what#FINDING: }; again with: $program ${input:-(no input was kept, see $log)}" >&2
exit 1
