#!/usr/bin/env bash
# Records what a real engine prints for the queries Korvat makes, for the FakeEngine to
# replay in tests and fuzzing seeds: a compose project (cp1, one service publishing a port
# and mounting a volume, with a variable left unset), a loose container sharing that
# volume, one only created, and one that exited with an error; then the details behind
# the inspect views (see below).
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

# What the details of a container, an image and a network are read from: containers in
# every state a person asks "why" about, an image of several layers, a network with two.
mkdir -p "$out/details"
docker run -d --name d-running --restart unless-stopped -e API_TOKEN=s3cret -e LANG=C.UTF-8 -w /srv -u 1000 \
  -v cp1_data:/data:ro --health-cmd 'true' --health-interval 1s "$image" sleep 3600 >/dev/null
docker run --name d-exited "$image" sh -c 'exit 3' >/dev/null || true
docker run --name d-oom -m 8m --memory-swap 8m "$image" sh -c 'x=a; while true; do x=$x$x; done' >/dev/null 2>&1 || true
docker run -d --name d-unhealthy --health-cmd 'echo probe failed; exit 1' --health-interval 1s --health-retries 3 \
  "$image" sleep 3600 >/dev/null
docker run -d --name d-restarting --restart always "$image" sh -c 'sleep 1; exit 1' >/dev/null
docker run -d --name d-paused "$image" sleep 3600 >/dev/null && docker pause d-paused >/dev/null
docker create --name d-created "$image" true >/dev/null
docker network create --subnet 172.31.250.0/24 d-net >/dev/null
docker run -d --name d-net-a --network d-net --network-alias api "$image" sleep 3600 >/dev/null
docker run -d --name d-net-b --network d-net "$image" sleep 3600 >/dev/null
build=$(mktemp -d)
printf 'FROM %s\nRUN echo one > /one\nRUN echo two > /two\nENV MODE=test\nRUN sh -c "for i in 1 2 3; do echo \\$i; done > /three"\nCMD ["sleep", "3600"]\n' "$image" >"$build/Dockerfile"
DOCKER_BUILDKIT=0 docker build -q -t korvat/layers:1 "$build" >/dev/null
rm -rf "$build"
sleep 5   # three failed probes, a restart or two
for c in d-running d-exited d-oom d-unhealthy d-restarting d-paused d-created; do
  docker inspect "$c" >"$out/details/$c.json"
done
docker image inspect korvat/layers:1 >"$out/details/image.json"
docker history --no-trunc --format json korvat/layers:1 >"$out/details/history.jsonl"
docker network inspect d-net >"$out/details/network.json"
docker network ls --format json >"$out/details/networks.jsonl"
docker rm -f d-running d-exited d-oom d-unhealthy d-restarting d-paused d-created d-net-a d-net-b >/dev/null
docker network rm d-net >/dev/null
docker rmi korvat/layers:1 >/dev/null

(cd "$project" && docker compose down -v -t 0 >/dev/null 2>&1)
docker rm -f loose-one made-only exited-bad >/dev/null

# Where the disk goes, for the reclaim plan: a stopped compose project, a running container
# with an anonymous volume, a stopped one with files in its writable layer, an image only a
# stopped container uses, a tagged image nothing uses, a dangling one, a named and an
# anonymous volume that nothing mounts.
mkdir -p "$out/disk"
disk=$(mktemp -d)
printf 'name: dk\nservices:\n  app:\n    image: %s\n    command: ["sleep", "3600"]\n' "$image" >"$disk/compose.yaml"
(cd "$disk" && docker compose up -d >/dev/null 2>&1 && docker compose stop -t 0 >/dev/null 2>&1)
docker run -d --name d-run -v /anon-used "$image" sleep 3600 >/dev/null
docker run --name d-stopped "$image" sh -c 'dd if=/dev/zero of=/big bs=1M count=2 2>/dev/null' >/dev/null
docker tag "$image" disk/keep:1 && docker create --name d-keeper disk/keep:1 true >/dev/null
for n in 1 2; do
  docker run --name "d-c$n" "$image" sh -c "echo $n > /f$n" >/dev/null
  docker commit "d-c$n" disk/dangle:1 >/dev/null && docker rm "d-c$n" >/dev/null
done
docker run --name d-c3 "$image" sh -c 'echo 3 > /f3' >/dev/null && docker commit d-c3 disk/unused:1 >/dev/null && docker rm d-c3 >/dev/null
docker volume create disk-named >/dev/null && docker volume create >/dev/null
docker system df -v --format json >"$out/disk/df.json"
docker ps -a --format json >"$out/disk/ps.jsonl"
docker images -a --format json >"$out/disk/images.jsonl"
docker volume ls --format json >"$out/disk/volumes.jsonl"
(cd "$disk" && docker compose down -t 0 >/dev/null 2>&1)
docker rm -f -v d-run d-stopped d-keeper >/dev/null
rm -rf "$disk"
echo "recorded into $out"
