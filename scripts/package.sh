#!/usr/bin/env bash
# package.sh [BUILD_FOLDER]
# Installs what is missing, builds an optimised, hardened program and packs it with CPack into
# BUILD_FOLDER (build/package by default): camera-discovery_VERSION_ARCH.deb (the program) and
# camera-discovery-lab_VERSION_ARCH.deb (the simulated cameras and the network lab).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/package}

"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DHARDENING=ON
cmake --build "$build" -j2 --target package
ls "$build"/*.deb
