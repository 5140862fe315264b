#!/usr/bin/env bash
# Walks through the saved sessions in a real window of a private X server, with the real runner and scheduler, and reads the results back.
# Usage: saved_road_test.sh SAVED_ROAD_PROGRAM FOLDER_OF_PROGRAMS PICTURES_FOLDER
set -uo pipefail
program=$1 programs=$2 pictures=$3
for tool in Xvfb xdotool openbox mdb-count; do
    command -v "$tool" >/dev/null || { echo "$tool is missing"; exit 1; }
done
folder=$(mktemp -d) x_pid= wm_pid=
finish() {
    # The scheduler goes on when the wizard has ended: the one of this folder, and no other.
    for link in /proc/[0-9]*/exe; do
        [ "$(readlink "$link" 2>/dev/null)" = "$folder/VYTimer" ] && kill "$(basename "$(dirname "$link")")" 2>/dev/null
    done
    [ -n "$wm_pid" ] && kill "$wm_pid" 2>/dev/null
    [ -n "$x_pid" ] && kill "$x_pid" 2>/dev/null
    rm -rf "$pictures"; mkdir -p "$pictures"; cp "$folder"/pictures/*.png "$pictures" 2>/dev/null
    rm -rf "$folder"
}
trap finish EXIT
cp "$program" "$programs/VYRun" "$programs/VYTimer" "$folder"
mkdir -m 700 "$folder/run"; mkdir -p "$folder/data" "$folder/pictures"
{ printf 'id,customer,ordered\r\n'; for i in $(seq 1 500); do printf '%d,%d,2024-02-%02d\r\n' "$i" $((i % 3 + 1)) $((i % 28 + 1)); done; } >"$folder/data/orders.csv"
printf '[orders.csv]\r\nColNameHeader=True\r\nFormat=CSVDelimited\r\n' >"$folder/data/Schema.ini"

# A number of its own: servers that look for a free one at the same moment may find the same.
display=$((30000 + $$ % 20000))
Xvfb ":$display" -screen 0 1280x960x24 -nolisten tcp >/dev/null 2>&1 &
x_pid=$!
for _ in $(seq 200); do [ -S "/tmp/.X11-unix/X$display" ] && break; sleep 0.1; done
[ -S "/tmp/.X11-unix/X$display" ] || { echo "no X server"; exit 1; }
export DISPLAY=:$display XDG_RUNTIME_DIR=$folder/run QT_QPA_PLATFORM=xcb LC_ALL=C.UTF-8
openbox >/dev/null 2>&1 &
wm_pid=$!
sleep 0.5
(cd "$folder" && timeout 500 ./saved_road) || { echo "the walk through the saved sessions failed"; cat "$folder"/log/VYTimer.log 2>/dev/null; exit 1; }

bad=0
expect() { # NAME EXPECTED ACTUAL
    [ "$2" = "$3" ] || { bad=1; printf '%s: expected\n%s\ngot\n%s\n' "$1" "$2" "$3"; }
}
rows=$(mdb-count "$folder/third.mdb" orders)
expect "one run by hand and at least two by the scheduler, each whole" yes \
    "$([ "$rows" -ge 1500 ] && [ $((rows % 500)) -eq 0 ] && echo yes || echo "$rows rows")"
expect "the session that was run after the restore" 500 "$(mdb-count "$folder/second.mdb" orders)"
repository=$(ls "$folder"/[vV][yY][rR]epo.mdb)
expect "the restored sessions" 2 "$(mdb-count "$repository" Sessions)"
expect "the former repository is kept" 1 "$(ls "$folder" | grep -cE '^VYRepo[0-9]{6}_[0-9]{2}_[0-9]{2}$')"
exit "$bad"
