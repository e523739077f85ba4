#!/usr/bin/env bash
# Installs what is missing, builds, and retakes the README's pictures in docs/: the main
# window after a scan has found the eight simulated cameras and read their Web-API, the bulk
# dialog and the live view, under Xvfb inside the network lab, then the report of what changed
# when the demo's site is visited again. Needs no root.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

"$root/scripts/install-deps.sh"
build="$root/build/release"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DWARNINGS_AS_ERRORS=ON
cmake --build "$build" -j2 --target window-screenshot camera-simulator

settings=$(mktemp -d)
trap 'rm -rf "$settings"' EXIT
# Both runs keep their visits in the same fresh place, so the second one compares with the first.
export XDG_CONFIG_HOME="$settings/config" XDG_DATA_HOME="$settings/data"
"$root/lab/netlab" "$root/lab/demo" "$build" \
    xvfb-run --auto-servernum --server-args="-screen 0 1280x1024x24" \
    "$build/tools/screenshot/window-screenshot" "$root/docs" 8
"$root/lab/netlab" "$root/lab/demo" --second-visit "$build" \
    xvfb-run --auto-servernum --server-args="-screen 0 1280x1024x24" \
    "$build/tools/screenshot/window-screenshot" --second-visit "$root/docs" 8
