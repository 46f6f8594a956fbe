#!/usr/bin/env bash
# Starts the private engine with three sample compose projects and opens Korvat on it.
#   storefront  running; its .env leaves DB_PASSWORD unset, so the compose check warns
#   website     running; a loose container also mounts its assets volume, so deleting
#               the project keeps that volume
#   notes       stopped
#
#   demo.sh prepare       the engine and the projects: run while Korvat builds
#   demo.sh open KORVAT   Korvat on them (without a display, its report)
set -euo pipefail
usage="usage: demo.sh prepare | demo.sh open path/to/korvat"
here=$(cd "$(dirname "$0")" && pwd)
projects=${KORVAT_DEMO_PROJECTS:-/tmp/korvat-demo-projects}

# For an engine already running, this only says how to reach it.
eval "$(bash "$here/engine.sh" start)"
image=$KORVAT_TEST_IMAGE

write() { mkdir -p "$(dirname "$1")"; cat >"$1"; }

prepare() {
write "$projects/storefront/compose.yaml" <<YAML
services:
  php:
    image: $image
    command: ["sh", "-c", "trap 'exit 0' TERM; sleep infinity & wait"]
    ports: ["18081:80"]
    environment:
      DB_HOST: db
  db:
    image: $image
    command: ["sh", "-c", "trap 'exit 0' TERM; sleep infinity & wait"]
    environment:
      PASSWORD: \${DB_PASSWORD}
    volumes: [dbdata:/data]
volumes:
  dbdata:
YAML
write "$projects/storefront/.env" <<'ENV'
APP_ENV=demo
ENV

write "$projects/website/compose.yaml" <<YAML
services:
  frontend:
    image: $image
    command: ["sh", "-c", "trap 'exit 0' TERM; sleep infinity & wait"]
    ports: ["18082:80"]
    volumes: [assets:/srv/assets]
volumes:
  assets:
  cache:
YAML

write "$projects/notes/docker-compose.yml" <<YAML
services:
  notes:
    image: $image
    command: ["sh", "-c", "trap 'exit 0' TERM; sleep infinity & wait"]
YAML

for p in storefront website notes; do
  docker compose --project-directory "$projects/$p" up -d --quiet-pull >/dev/null 2>&1
done
docker compose --project-directory "$projects/notes" stop >/dev/null 2>&1
if ! docker container inspect backup-agent >/dev/null 2>&1; then
  docker run -d --name backup-agent -v website_assets:/backup "$image" sh -c "trap 'exit 0' TERM; sleep infinity & wait" >/dev/null
fi
docker run --rm -v website_assets:/a "$image" sh -c 'seq 1 200000 > /a/index.txt'
}

case ${1:-} in
  prepare) prepare; exit 0 ;;
  open) korvat=${2:?$usage} ;;
  *) echo "$usage" >&2; exit 2 ;;
esac

if [[ -z ${DISPLAY:-} && -z ${WAYLAND_DISPLAY:-} ]]; then
  echo "No display here, so Korvat's window cannot open; this is what it would show:"
  echo
  echo "== korvat --dump"
  "$korvat" --dump
  echo
  echo "== korvat --plan website"
  "$korvat" --plan website
  echo
  echo "Demo engine running; stop it with: make demo-stop"
  exit 0
fi
echo "Demo engine running; Korvat opens on it. Stop the engine afterwards with: make demo-stop"
exec "$korvat"
