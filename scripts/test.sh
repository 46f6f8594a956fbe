#!/usr/bin/env bash
# Builds the configured test tree and runs the whole suite: scripts/test.sh BUILD JOBS.
#
# The live suites of the lower layers start as soon as they are linked, while the window's
# layers still compile: they mostly wait on the private engine, the compile on the CPU, so
# each fills the other's idle time. The rest of the suite runs once everything is built.
# Either half failing fails the whole. The early half always runs to its end; the rest runs
# only when everything built.
set -u
build=$1
jobs=$2

# Suites that link nothing above the store. A new live suite left out of this list still
# runs, with the rest.
early=(tst_engine_live tst_appstore_live tst_updates_live tst_logs_live)
pattern="^($(IFS='|'; echo "${early[*]}"))\$"

cmake --build "$build" -j "$jobs" --target "${early[@]}" || exit 1

# A group of its own, so that stopping this script stops every process of the early half;
# ctest adds the engine's start and stop, which the early suites require, by itself.
rm -f "$build/early.log"
setsid -w bash -c 'cd "$1" && exec ctest --output-on-failure -R "$2"' early "$build" "$pattern" >"$build/early.log" 2>&1 &
early_pid=$!
trap 'kill -TERM -- -"$early_pid" 2>/dev/null; exit 130' INT TERM

# Niced: the suites need little CPU but need it at once (a client that starts late misses
# an event its suite waits for); the compile takes whatever they leave.
nice -n 10 cmake --build "$build" -j "$jobs"
built=$?
wait "$early_pid"
early_status=$?
trap - INT TERM
echo "--- the lower layers' live suites, run during the build:"
cat "$build/early.log"
[ "$built" -eq 0 ] || exit 1

# One test more than there are cores: the screen reader's suite and the live ones (which
# take the engine one at a time) mostly wait.
(cd "$build" && ctest --output-on-failure -E "$pattern" -j $((jobs + 1)))
rest=$?
[ "$early_status" -eq 0 ] && [ "$rest" -eq 0 ]
