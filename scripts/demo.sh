#!/usr/bin/env bash
# Installs what is missing, builds, and starts the program in the network lab next to eight
# simulated cameras on two networks: press "Scan" to find them. Needs root for the lab's
# network namespaces and a desktop session to show the window.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

if [ "$(id -u)" -ne 0 ]; then
    exec sudo --preserve-env=DISPLAY,XAUTHORITY,WAYLAND_DISPLAY,XDG_RUNTIME_DIR "$0" "$@"
fi
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    echo "demo: no desktop session (neither DISPLAY nor WAYLAND_DISPLAY is set)" >&2
    exit 1
fi

"$root/scripts/install-deps.sh"
build="$root/build/release"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build" -j2 --target camera-discovery camera-simulator
exec "$root/lab/netlab" "$root/lab/demo" "$build"
