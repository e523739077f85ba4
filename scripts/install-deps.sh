#!/usr/bin/env bash
# Installs the Debian 12 packages that building, testing and the demo need.
# Only packages that are missing are installed, so a second run costs nothing.
set -euo pipefail

packages=(
    build-essential cmake
    qt6-base-dev qt6-base-dev-tools libgl-dev
    # The HTTP server's CMake package needs the WebSockets one, which Debian does not pull in.
    qt6-httpserver-dev qt6-websockets-dev
    libssl-dev
    python3 python3-cryptography
    iproute2 util-linux
    xvfb xauth
)

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done

if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
