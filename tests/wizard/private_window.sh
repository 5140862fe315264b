# For the walks in a real window, which source it: a folder of their own with a private X server and a window manager.
# Sets `folder` and takes `pictures`, the folder that the screenshots in $folder/pictures are moved to at the end.

for tool in Xvfb xdotool openbox mdb-count mdb-export; do
    command -v "$tool" >/dev/null || { echo "$tool is missing"; exit 1; }
done
folder=$(mktemp -d) x_pid= wm_pid=
end_of_walk() { :; }  # what a walk adds
finish() {
    end_of_walk
    [ -n "$wm_pid" ] && kill "$wm_pid" 2>/dev/null
    [ -n "$x_pid" ] && kill "$x_pid" 2>/dev/null
    rm -rf "$pictures"; mkdir -p "$pictures"; cp -r "$folder"/pictures/. "$pictures"
    rm -rf "$folder"
}
trap finish EXIT
mkdir -m 700 "$folder/run"; mkdir -p "$folder/data" "$folder/pictures"
{ printf 'id,customer,ordered\r\n'; for i in $(seq 1 500); do printf '%d,%d,2024-02-%02d\r\n' "$i" $((i % 3 + 1)) $((i % 28 + 1)); done; } >"$folder/data/orders.csv"

# A number of its own: servers that look for a free one at the same moment may find the same.
display=$((30000 + $$ % 20000))
Xvfb ":$display" -screen 0 1280x960x24 -nolisten tcp >/dev/null 2>&1 &
x_pid=$!
for _ in $(seq 200); do [ -S "/tmp/.X11-unix/X$display" ] && break; sleep 0.1; done
[ -S "/tmp/.X11-unix/X$display" ] || { echo "no X server"; exit 1; }
export DISPLAY=:$display XDG_RUNTIME_DIR=$folder/run QT_QPA_PLATFORM=xcb LC_ALL=C.UTF-8 MDBICONV=UTF-8
openbox >/dev/null 2>&1 &
wm_pid=$!
sleep 0.5

bad=0
expect() { # NAME EXPECTED ACTUAL
    [ "$2" = "$3" ] || { bad=1; printf '%s: expected\n%s\ngot\n%s\n' "$1" "$2" "$3"; }
}
