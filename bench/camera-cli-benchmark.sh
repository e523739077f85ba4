#!/usr/bin/env bash
# Times camera-cli against the lab's simulated cameras: scan, get, set and update, each round
# a fresh process. Run inside the lab with the whole address pool:
#
#   NETLAB_CAMERA_COUNT=490 lab/netlab bench/camera-cli-benchmark.sh build/release [ROUNDS [PARTS]]
#
# PARTS picks some of "scan get set update" (all by default), as one argument.
#
# Prints one line per command and round: wall time, peak resident memory, exit status and
# what the output holds; best and median follow at the end of each command.
set -euo pipefail

build=$(readlink -f "${1:?usage: camera-cli-benchmark.sh BUILD_DIR [ROUNDS]}")
rounds=${2:-3}
parts=${3:-scan get set update}
cli=$build/cli/camera-cli
simulator=$build/simulator/camera-simulator
[ "${NETLAB:-}" = 1 ] || { echo "run me inside lab/netlab" >&2; exit 2; }
count=${NETLAB_CAMERA_COUNT}
work=$(mktemp -d)
trap 'kill "$sim" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT

nsenter --net="$NETLAB_CAMERA_NS1" "$simulator" --fleet "$count" --network 1 > "$work/simulator.log" &
sim=$!
until grep -q '^ready' "$work/simulator.log"; do sleep 0.1; done

export CAMERA_WEB_PASSWORD=admin CAMERA_ADMIN_PASSWORD=admin

# Runs the command line, prints "<seconds> <peak KiB> <exit>" and keeps standard output.
timed() {
    local status=0
    /usr/bin/time -o "$work/time" -f "%e %M" "$@" > "$work/out" 2> "$work/err" || status=$?
    echo "$(cat "$work/time") $status"
}

summary() {
    sort -n | awk '{ t[NR] = $1 } END { printf "  best %.2f s, median %.2f s\n", t[1], t[int((NR + 1) / 2)] }'
}

json() {
    python3 -c "import json,sys; d = json.load(open('$work/out')); print($1)"
}

# When each camera's line arrives, from the start of the process; the tool probes at once and
# again every half second.
arrivals='
import subprocess, sys, time
start = time.monotonic()
tool = subprocess.Popen(sys.argv[1:], stdout=subprocess.PIPE)
times = [time.monotonic() - start for _ in tool.stdout]
tool.wait()
print(f"{len(times)} cameras, first after {times[0]:.2f} s, last after {times[-1]:.2f} s, exit {tool.returncode}")
'

if [[ $parts == *scan* ]]; then
echo "scan --seconds 1 --jsonl"
for round in $(seq "$rounds"); do
    python3 -c "$arrivals" "$cli" scan --seconds 1 --jsonl
done
fi

if [[ $parts == *get* ]]; then
echo "get --all --seconds 1 --category anpr (s, KiB, exit, succeeded)"
for round in $(seq "$rounds"); do
    line=$(timed "$cli" get --all --seconds 1 --category anpr)
    echo "$line $(json "d['succeeded']")"
done | tee "$work/get"
summary < "$work/get"
fi

if [[ $parts == *set* ]]; then
echo "set --all --seconds 1 --anpr min_height=20 --system location=Rack (s, KiB, exit, succeeded)"
for round in $(seq "$rounds"); do
    line=$(timed "$cli" set --all --seconds 1 --anpr min_height=20 --system location=Rack)
    echo "$line $(json "d['succeeded']")"
done | tee "$work/set"
summary < "$work/set"
fi

[[ $parts == *update* ]] || exit 0
# The second camera of a fleet answers without its serial number, so the twenty start at index 2.
head -c $((100 * 1024 * 1024)) /dev/urandom > "$work/update.bin"
cameras=$(for i in $(seq 2 21); do printf 'SIM1-%04d ' "$i"; done)
for transfers in 16 20; do
    echo "update of 20 cameras x 100 MiB, --transfers $transfers (s, KiB, exit, succeeded)"
    for round in $(seq "$rounds"); do
        # shellcheck disable=SC2086
        line=$(timed "$cli" update $cameras --file "$work/update.bin" --transfers "$transfers")
        echo "$line $(json "d['succeeded']")"
    done | tee "$work/update$transfers"
    summary < "$work/update$transfers"
done
