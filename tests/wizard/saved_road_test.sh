#!/usr/bin/env bash
# Walks through the saved sessions in a real window of a private X server, with the real runner and scheduler, and reads the results back.
# Usage: saved_road_test.sh SAVED_ROAD_PROGRAM FOLDER_OF_PROGRAMS PICTURES_FOLDER
set -uo pipefail
program=$1 programs=$2 pictures=$3
. "$(dirname "$0")/private_window.sh"
# The scheduler goes on when the wizard has ended: the one of this folder, and no other.
end_of_walk() {
    for link in /proc/[0-9]*/exe; do
        [ "$(readlink "$link" 2>/dev/null)" = "$folder/VYTimer" ] && kill "$(basename "$(dirname "$link")")" 2>/dev/null
    done
}
cp "$program" "$programs/VYRun" "$programs/VYTimer" "$folder"
printf '[orders.csv]\r\nColNameHeader=True\r\nFormat=CSVDelimited\r\n' >"$folder/data/Schema.ini"
(cd "$folder" && timeout 500 ./saved_road) || { echo "the walk through the saved sessions failed"; cat "$folder"/log/VYTimer.log 2>/dev/null; exit 1; }

rows=$(mdb-count "$folder/third.mdb" orders)
expect "one run by hand and at least two by the scheduler, each whole" yes \
    "$([ "$rows" -ge 1500 ] && [ $((rows % 500)) -eq 0 ] && echo yes || echo "$rows rows")"
expect "the session that was run after the restore" 500 "$(mdb-count "$folder/second.mdb" orders)"
repository=$(ls "$folder"/[vV][yY][rR]epo.mdb)
expect "the restored sessions" 2 "$(mdb-count "$repository" Sessions)"
expect "the former repository is kept" 1 "$(ls "$folder" | grep -cE '^VYRepo[0-9]{6}_[0-9]{2}_[0-9]{2}$')"
exit "$bad"
