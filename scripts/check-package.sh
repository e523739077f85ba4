#!/usr/bin/env bash
# Checks the packages the way an installer meets them; needs root and Debian's mirror and takes
# minutes, so the test command leaves it out. Packs them, has lintian check them with its
# pedantic checks on (no error and no warning may remain), installs them with apt into a fresh
# Debian 12 root, validates the menu entry and metainfo, and starts the installed program under
# Xvfb without network: its window must be as large as docs/main-window.png. It builds in a
# folder of its own, build/package-check, and gives it to the checkout's owner when done, so
# that the owner's own scripts/package.sh still works afterwards. Logs and the window's picture
# stay in build/package-check/check/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build/package-check"
logs="$build/check"
title="Camera Discovery and Setup"
fail() { echo "check-package: FAIL: $*" >&2; exit 1; }
[ "$(id -u)" -eq 0 ] || fail "run me as root: debootstrap and chroot need it"

owner=$(stat -c %u:%g "$root")
target=
pids=()
cleanup() {
    [ ${#pids[@]} -eq 0 ] || kill "${pids[@]}" 2>/dev/null || true
    wait
    # Nothing stays mounted in the root: each command's mounts live in a mount namespace of its own.
    [ -z "$target" ] || rm -rf --one-file-system "$target"
    chown -R "$owner" "$build"
}
if [ ! -d "$root/build" ]; then
    mkdir "$root/build"
    chown "$owner" "$root/build"
fi
mkdir -p "$logs"
trap cleanup EXIT

"$root/scripts/package.sh" "$build"
lintian --pedantic --fail-on error,warning "$build"/*.deb || fail "lintian finds fault with the packages"
deb=$(ls "$build"/camera-discovery_*.deb)
others=$(dpkg-deb -f "$deb" Depends | tr ',' '\n' | awk '{print $1}' |
    grep -Ev '^(libc6|libgcc-s1|libstdc\+\+6|libqt6[a-z0-9]+|libqt6sql6-sqlite|qt6-[a-z0-9-]+|libssl3)$' || true)
[ -z "$others" ] || fail "$deb depends on more than Qt, OpenSSL and the C/C++ runtime: $others"
mirror=${MIRROR:-$(grep -hsv '^[[:space:]]*#' /etc/apt/sources.list /etc/apt/sources.list.d/*.sources |
    grep -oE 'https?://[^[:space:]]+/debian/?([[:space:]]|$)' | head -n1 | tr -d '[:space:]' || true)}
[ -n "$mirror" ] || fail "apt names no Debian mirror here; name one in MIRROR"

target=$(mktemp -d /var/tmp/camera-discovery-check.XXXXXX)
echo "check-package: making a fresh Debian 12 root from $mirror"
debootstrap --variant=minbase bookworm "$target" "$mirror" >"$logs/debootstrap.log" 2>&1 ||
    fail "debootstrap failed, see $logs/debootstrap.log"
cp "$build"/camera-discovery*_*.deb "$target/tmp/"
unshare --mount -- sh -c 'mount -t proc proc "$0/proc" && exec chroot "$0" sh -c "$1"' "$target" '
    set -e; cd /tmp; export DEBIAN_FRONTEND=noninteractive; apt-get update
    apt install -y ./camera-discovery_*.deb; apt install -y ./camera-discovery-lab_*.deb
    camera-simulator --help >/dev/null' >"$logs/apt.log" 2>&1 || fail "apt install failed, see $logs/apt.log"

desktop="$target/usr/share/applications/com.plexano.camera-discovery.desktop"
desktop-file-validate "$desktop" || fail "desktop-file-validate rejects the menu entry"
appstreamcli validate --no-net "$target"/usr/share/metainfo/*.xml || fail "appstreamcli rejects the metainfo"
icon=$(sed -n 's/^Icon=//p' "$desktop")
[ -f "$target/usr/share/icons/hicolor/48x48/apps/$icon.png" ] || fail "no 48x48 icon named $icon"

Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$logs/display" 2>"$logs/xvfb.log" &
pids+=($!)
timeout 10 sh -c "until [ -s '$logs/display' ]; do sleep 0.1; done" || fail "Xvfb did not start"
export DISPLAY=":$(cat "$logs/display")"
mkdir -p "$target/tmp/.X11-unix"
unshare --mount --net -- sh -c 'mount --bind /tmp/.X11-unix "$0/tmp/.X11-unix" &&
    exec chroot "$0" env -i PATH=/usr/bin:/bin HOME=/root DISPLAY="$1" camera-discovery' \
    "$target" "$DISPLAY" >"$logs/program.log" 2>&1 &
pids+=($!)
timeout 30 sh -c "until xwininfo -name '$title' 2>/dev/null | grep -q IsViewable; do sleep 0.2; done" ||
    fail "the installed program showed no window, see $logs/program.log"
xwd -silent -name "$title" | convert xwd:- "$logs/installed-window.png"
size=$(identify -format %wx%h "$logs/installed-window.png")
expected=$(identify -format %wx%h "$root/docs/main-window.png")
[ "$size" = "$expected" ] || fail "the window is $size, not $expected like docs/main-window.png"
echo "check-package: passed: $(basename "$deb") installs on a fresh Debian 12 and shows its window"
