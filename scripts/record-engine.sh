#!/usr/bin/env bash
# Records what a real engine prints for the queries Korvat makes, for the FakeEngine to
# replay in tests and fuzzing seeds: a compose project (cp1, one service publishing a port
# and mounting a volume, with a variable left unset), a loose container sharing that
# volume, one only created, and one that exited with an error.
#   record-engine.sh [DIR]   writes the recordings into DIR (default tests/fixtures)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
out=${1:-$here/../tests/fixtures}
project=${KORVAT_RECORD_PROJECT:-/srv/cp1}
export KORVAT_ENGINE_DIR=${KORVAT_ENGINE_DIR:-/tmp/korvat-record-engine} KORVAT_ENGINE_EXEC=${KORVAT_ENGINE_EXEC:-/tmp/kx-record}
trap 'bash "$here/engine.sh" stop' EXIT
eval "$(bash "$here/engine.sh" start)"
image=$KORVAT_TEST_IMAGE

mkdir -p "$out" "$project"
cat >"$project/compose.yaml" <<YAML
services:
  web:
    image: $image
    command: ["sleep", "3600"]
    environment:
      P: \${DB_PASSWORD}
    ports: ["18080:80"]
    volumes: [data:/data]
volumes:
  data:
YAML
(cd "$project" && docker compose up -d 2>/dev/null)
docker run -d --name loose-one -v cp1_data:/data "$image" sleep 3600 >/dev/null
docker create --name made-only "$image" true >/dev/null
docker run --name exited-bad "$image" sh -c 'exit 2' >/dev/null || true

docker ps -a --format json >"$out/ps.jsonl"
docker images --format json >"$out/images.jsonl"
docker volume ls --format json >"$out/volumes.jsonl"
docker context ls --format json >"$out/contexts.jsonl"
# shellcheck disable=SC2046
docker inspect $(docker ps -aq) --format '{{.Name}}|{{range .Mounts}}{{if eq .Type "volume"}}{{.Name}},{{end}}{{end}}' >"$out/mounts.txt"
docker volume inspect --format '{{json .}}' $(docker volume ls -q) >"$out/volume-labels.jsonl"
(cd "$project" && docker compose config --format json 2>/dev/null) >"$out/compose-config.json"
(cd "$project" && docker compose config -q 2>&1 >/dev/null) >"$out/compose-warning.txt"

(cd "$project" && docker compose down -v -t 0 >/dev/null 2>&1)
docker rm -f loose-one made-only exited-bad >/dev/null
echo "recorded into $out"
