#!/usr/bin/env bash
# Installs what is missing, builds, and starts the program in the network lab next to eight
# simulated cameras on two networks: press "Scan" to find them. With --second-visit the cameras
# have changed since (see lab/demo), for the program to show what changed. Runs as the calling user
# (the lab needs no root; sudo is asked for only to install missing packages) and needs a
# desktop session to show the window, which it checks once the packages are there.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

"$root/scripts/install-deps.sh"
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    echo "demo: no desktop session (neither DISPLAY nor WAYLAND_DISPLAY is set)" >&2
    exit 1
fi
# The same configuration as the test command's optimised build, so that neither rebuilds all.
build="$root/build/release"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DWARNINGS_AS_ERRORS=ON
cmake --build "$build" -j2 --target camera-discovery camera-simulator
second_visit=()
[ "${1:-}" != --second-visit ] || second_visit=(--second-visit)
exec "$root/lab/netlab" "$root/lab/demo" "${second_visit[@]}" "$build"
