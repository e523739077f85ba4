#!/usr/bin/env bash
# Installs the Debian 12 packages that building, testing, packaging and the demo need.
# Only packages that are missing are installed, so a second run costs nothing and asks for no
# privilege. An ordinary user is asked for sudo only when something is missing; without sudo,
# this says what to install as root and fails.
set -euo pipefail

packages=(
    build-essential cmake
    qt6-base-dev qt6-base-dev-tools libgl-dev
    # The HTTP server's CMake package needs the WebSockets one, which Debian does not pull in.
    qt6-httpserver-dev qt6-websockets-dev
    # The site memory: Qt's SQL module finds its SQLite driver in a package of its own.
    libqt6sql6-sqlite
    libssl-dev
    python3 python3-cryptography
    iproute2 util-linux
    xvfb xauth
    # Packaging: icon sizes, the shared-library dependencies of the .deb, metadata checks,
    # Debian's own checks of a package.
    imagemagick dpkg-dev file appstream desktop-file-utils lintian
    # scripts/check-package.sh: a fresh Debian root and a look at the installed program's window.
    debootstrap x11-utils x11-apps
)

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

cannot_install() {
    echo "install-deps: these Debian packages are missing: ${missing[*]}" >&2
    echo "Install them as root (su asks for the root password), then run this command again:" >&2
    echo >&2
    echo "    su -c 'apt-get update && apt-get install --no-install-recommends ${missing[*]}'" >&2
    exit 1
}

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || cannot_install
    as_root=(sudo)
fi
echo "Installing: ${missing[*]}"
"${as_root[@]}" apt-get update -qq || cannot_install
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" || cannot_install
