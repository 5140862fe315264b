#!/usr/bin/env bash
# The menus of the tables page and of the columns page in a real window of a private X server, at 100 % and 200 %, light and dark.
# Usage: check_walk_test.sh CHECK_WALK_PROGRAM PICTURES_FOLDER
set -uo pipefail
program=$1 pictures=$2
. "$(dirname "$0")/../wizard/private_window.sh"

shot() { import -window root "$folder/pictures/$name-$1.png"; }
wait_for() { # PATTERN of a window's title
    for _ in $(seq 100); do xdotool search --onlyvisible --name "$1" >/dev/null 2>&1 && return; sleep 0.1; done
    bad=1; echo "$name: no window \"$1\""
}
wait_gone() {
    for _ in $(seq 50); do xdotool search --onlyvisible --name "$1" >/dev/null 2>&1 || return; sleep 0.1; done
    bad=1; echo "$name: the window \"$1\" stays"
}
menu() { xdotool mousemove $1 click 3; sleep 0.7; }
look() { # NAME KEY TITLE: opens a window by the menu's letter, looks, closes it
    menu "$cell00"
    xdotool key "$2"
    wait_for "$3"
    sleep 1.5; shot "$1"
    xdotool key Escape
    wait_gone "$3"
}
walk() { # SCALE THEME
    name="$2-$1" session=$folder/$2-$1
    mkdir -p "$session/dbf"
    QT_SCALE_FACTOR=$1 "$program" "$session" "$2" >"$session/cells" 2>"$session/errors" &
    local walk_pid=$!
    for _ in $(seq 150); do grep -q cell12 "$session/cells" && break; sleep 0.1; done
    . "$session/cells"
    sleep 0.5; xdotool mousemove $cell01; sleep 1.5; shot 1-losses
    menu "$cell00"; shot 2-menu; xdotool key Escape; sleep 0.3
    look 3-check c "Check data"
    menu "$cell00"; xdotool key p; wait_for "First rows of orders"; sleep 1.5; shot 4-preview
    # Beside the rows the page goes on taking input.
    xdotool windowactivate --sync "$(xdotool search --onlyvisible --name "^Vantry [0-9]" | head -n 1)"; sleep 0.5
    xdotool key Menu; sleep 0.7; xdotool key s; wait_for "Statements of the run"; sleep 1.5; shot 5-statements
    xdotool key Escape; wait_gone "Statements of the run"
    xdotool windowactivate --sync "$(xdotool search --onlyvisible --name "First rows of orders" | head -n 1)"; xdotool key Escape
    wait_gone "First rows of orders"
    menu "$cell00"; xdotool key l; wait_for "Check data"; sleep 1.5; shot 6-check-all; xdotool key Escape; wait_gone "Check data"
    # Both tables: only the one that is there takes the option.
    xdotool mousemove $cell00 click 1; sleep 0.3; xdotool keydown shift; xdotool mousemove $cell10 click 1; xdotool keyup shift; sleep 0.3
    menu "$cell10"; shot 7-both; xdotool key e; sleep 0.5
    xdotool mousemove $cell11 click 1; sleep 1.2; shot 8-columns
    xdotool key Menu; sleep 0.7; shot 9-match; xdotool key n; sleep 0.7; shot 10-matched
    touch "$session/stop"; wait "$walk_pid"
    options= pairs=
    . "$session/cells"
    expect "$name: options" "APPEND DELETE" "$options"
    expect "$name: pairs" "code>CODE town>TOWN " "$pairs"
    grep -v "propagateSizeHints" "$session/errors" | head -5
}
run() { # SCALE THEME: how a run is getting on, and what it was
    name="run-$2-$1" session=$folder/run-$2-$1
    mkdir -p "$session/dbf"
    QT_SCALE_FACTOR=$1 "$program" "$session" "$2" run >"$session/cells" 2>"$session/errors" &
    local walk_pid=$!
    for _ in $(seq 400); do grep -q ready "$session/cells" && break; sleep 0.1; done
    sleep 0.7; xdotool key alt+s
    sleep 2.5; shot 1-progress
    for _ in $(seq 300); do mdb-count "$session/big.mdb" big1 2>/dev/null | grep -qx 1500000 && break; sleep 0.2; done
    sleep 8; shot 2-end
    xdotool mousemove 640 480 click 3; sleep 0.7; shot 3-menu; xdotool key Escape
    expect "$name: rows" 1500000 "$(mdb-count "$session/big.mdb" big1)"
    touch "$session/stop"; wait "$walk_pid"
    rm -rf "$session"
}
run 1 light
run 2 dark
walk 1 light
walk 1 dark
walk 2 light
walk 2 dark
exit "$bad"
