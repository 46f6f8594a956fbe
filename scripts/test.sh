#!/usr/bin/env bash
# Builds the configured test tree and runs the whole suite: scripts/test.sh BUILD JOBS.
#
# Three lanes. The live suites take the private engine one at a time and mostly wait on
# it; the rest of the suite and the compile mostly use the CPU. So the live suites of the
# lower layers start as soon as they are linked and run while the window's layers still
# compile; once everything is built, the suites that need no engine run beside them, and the
# window's live suites follow the lower layers' on the engine. Any part failing fails the
# whole, and every part that can run runs to its end. Each lane keeps its own log (printed
# at the end): the lanes share ctest's Testing/ files, so `ctest --rerun-failed` knows only
# the last one's failures.
set -u
build=$1
jobs=$2

# Live suites that link nothing above the store. A new live suite left out of this list
# still runs, after them.
early=(tst_engine_live tst_appstore_live tst_updates_live tst_logs_live)
pattern="^($(IFS='|'; echo "${early[*]}"))\$"

cmake --build "$build" -j "$jobs" --target "${early[@]}" || exit 1

# Two ctests must never both start and stop the engine: a suite that needs it and is not
# labelled live would bring it into the lane that runs beside the live ones.
if (cd "$build" && ctest -N -LE live) | grep -q ' engine\.'; then
  echo "test.sh: a suite that needs the engine is not labelled live" >&2
  exit 1
fi

# Each lane, run in the background, becomes a process group of its own, so that stopping
# this script stops every process of every lane; ctest adds the engine's start and stop,
# which the live suites require.
# lane LOG NICENESS CTEST-ARGS...
lane() {
  local log=$1 niceness=$2
  shift 2
  exec setsid -w nice -n "$niceness" bash -c 'cd "$1" && shift && exec ctest --output-on-failure "$@"' lane "$build" "$@" >"$build/$log" 2>&1
}
lanes=()
trap 'for pid in "${lanes[@]}"; do kill -TERM -- -"$pid" 2>/dev/null; done; exit 130' INT TERM HUP

rm -f "$build/early.log" "$build/late.log" "$build/units.log"
lane early.log 0 -R "$pattern" &
lanes+=($!)

# Niced: the suites need little CPU but need it at once (a client that starts late misses
# an event its suite waits for); the compile takes whatever they leave.
nice -n 10 cmake --build "$build" -j "$jobs"
built=$?

# The other suites niced too, for the same reason.
if [ "$built" -eq 0 ]; then
  lane units.log 10 -LE live -j "$jobs" &
  lanes+=($!)
fi

# finish INDEX TITLE LOG: waits for a lane, then prints its log; returns the lane's status.
finish() {
  wait "${lanes[$1]}"
  local status=$?
  echo "--- $2:"
  cat "$build/$3"
  return $status
}

finish 0 "the lower layers' live suites, run during the build" early.log
early=$?
[ "$built" -eq 0 ] || exit 1

lane late.log 0 -L live -E "$pattern" &
lanes+=($!)
finish 2 "the window's live suites, after the lower layers'" late.log
late=$?
finish 1 "the suites without the engine, run beside the live ones" units.log
units=$?
trap - INT TERM HUP
[ "$early" -eq 0 ] && [ "$late" -eq 0 ] && [ "$units" -eq 0 ]
