#!/usr/bin/env bash
# Runs one live suite, then takes away whatever it left, however it ended (a crash, an
# abort, a failed check), so that the next suite starts from clean engines: the processes
# it started, its temporary files, and all it made on the private engines.
set -uo pipefail
# Short: Podman refuses a run root over 50 characters, and a socket's path must fit in 107.
tmp=$(mktemp -d "${TMPDIR:-/tmp}/kl-XXXXXX") || exit 1
[[ -d $tmp && $tmp == */kl-?????? ]] || exit 1
# Only the private engines: never one a developer's shell points at.
unset DOCKER_HOST DOCKER_CONTEXT
TMPDIR=$tmp "$@"
status=$?
# A server the suite started from its temporary directory names that directory.
pkill -KILL -f -- "$(sed 's/[][\\.*^$()+?{}|]/\\&/g' <<<"$tmp")" 2>/dev/null
bash "$KORVAT_ENGINE_SCRIPT" tidy || { echo "live.sh: the engines could not be tidied after $1" >&2; status=1; }
rm -rf "$tmp"
exit "$status"
