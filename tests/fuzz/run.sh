#!/usr/bin/env bash
# Runs every fuzzer for a given time each (default 60 s), from the seeds kept here (among
# them links to the output the tests captured from a real engine), and fails when any of
# them crashes, breaks one of its promises or takes longer than ten seconds on one input.
#
#   run.sh BUILD_DIR [SECONDS]
set -uo pipefail

build=$(cd "$1" && pwd)
seconds=${2:-60}
here=$(cd "$(dirname "$0")" && pwd)

failed=()
for binary in "$build"/tests/fuzz/fuzz_*; do
  [[ -x $binary && -f $binary ]] || continue
  name=$(basename "$binary")
  corpus=$build/fuzz/corpus/$name
  seeds=$here/seeds/$name
  log=$build/fuzz/$name.log
  mkdir -p "$corpus" "$build/fuzz/crashes"

  "$binary" -max_total_time="$seconds" -max_len=65536 -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="$build/fuzz/crashes/$name-" "$corpus" "$seeds" >"$log" 2>&1
  status=$?
  runs=$(grep -o 'Done [0-9]* runs' "$log" | tail -1)
  if ((status == 0)); then
    echo "fuzz: $name: ${runs:-done}, corpus $(ls "$corpus" | wc -l) inputs"
  else
    echo "fuzz: $name FAILED (exit $status); the end of its log, $log:"
    tail -25 "$log" | sed 's/^/    /'
    failed+=("$name")
  fi
done

if ((${#failed[@]})); then
  echo "fuzz: failed: ${failed[*]}; the inputs are in $build/fuzz/crashes"
  exit 1
fi
echo "fuzz: every target ran ${seconds} s without a crash"
