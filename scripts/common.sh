# Shared by ./start and ./check: sets the machine up, once. Sourced from the root of the tree.

# need_packages NAME...: installs what is missing, with sudo when we aren't root. Costs nothing when all is there.
need_packages() {
    local missing=() name
    for name in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null)" = installed ] || missing+=("$name")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing: ${missing[*]}"
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "Packages are missing and there is no sudo; as root: apt-get install ${missing[*]}" >&2; return 1; }
        as_root=(sudo)
    fi
    local log status=0
    # Another program that installs something, as a new machine does by itself, is waited for.
    local install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq -o APT::Status-Fd=1
                   -o DPkg::Lock::Timeout=300 --no-install-recommends "${missing[@]}")
    log=$(mktemp)
    # apt-get waits for no other program that fetches lists; without any, it finds no package.
    local asked try
    for try in 1 2 3 4 5 6 7 8 9 10; do
        asked=0
        telling_progress "Asking for the newest lists of packages" "$log" "${as_root[@]}" env LC_ALL=C apt-get update -qq || asked=$?
        [ "$asked" -ne 0 ] && [ "$try" -lt 10 ] && grep -q 'Could not get lock' "$log" || break
        echo "Another program fetches the lists of packages; waiting for it" >&2
        sleep 15
    done
    [ "$asked" -eq 0 ] || { cat "$log" >&2; echo "apt-get update failed; trying with the lists that are there" >&2; }
    if ! telling_progress "Installing packages" "$log" "${install[@]}"; then
        # A download or the set-up of a package that failed once often works the second time.
        echo "Installing packages failed: $(grep -E '^(E|dpkg): ' "$log" | head -n 1); trying once more" >&2
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive dpkg --configure -a >/dev/null 2>&1 || true
        telling_progress "Installing packages" "$log" "${install[@]}" || status=$?
    fi
    [ "$status" -eq 0 ] || grep -vE '^(dlstatus|pm[a-z]+):' "$log" | tail -n 100 >&2
    rm -f "$log"
    return "$status"
}

# how_far LOG: what the last line of ninja or apt-get in it says, for a sentence; nothing where neither is at work.
how_far() {
    sed -nE -e 's/^\[([0-9]+)\/([0-9]+)\].*/, step \1 of \2/p' \
        -e 's/^dlstatus:[^:]*:([0-9]+)[^:]*:.*/, \1 % downloaded/p' -e 's/^pmstatus:[^:]*:([0-9]+)[^:]*:.*/, \1 % unpacked and set up/p' \
        "$1" | tail -n 1
}

# telling_progress WHAT LOG COMMAND...: runs it and says on standard error every 20 seconds that it is still at work; with a LOG,
# into which its output goes, how far it is.
telling_progress() {
    local what=$1 log=$2 begun=$SECONDS told=$SECONDS pid step
    shift 2
    if [ -n "$log" ]; then "$@" >"$log" 2>&1 & else "$@" & fi
    pid=$!
    while kill -0 "$pid" 2>/dev/null; do
        sleep 0.2
        if [ $(((SECONDS - begun) / 20)) -gt $(((told - begun) / 20)) ]; then
            told=$SECONDS
            step=
            [ -z "$log" ] || step=$(how_far "$log")
            echo "$what: $(((SECONDS - begun) / 60)) min $(((SECONDS - begun) % 60)) s so far$step" >&2
        fi
    done
    wait "$pid"
}

BUILD_PACKAGES=(g++ cmake ninja-build pkg-config libsqlite3-dev libmariadb-dev unixodbc-dev qt6-base-dev libssl-dev
                libexpat1-dev libicu-dev nlohmann-json3-dev)
TEST_PACKAGES=(ccache libgtest-dev clang-format git mariadb-server mariadb-client odbc-mariadb tdsodbc
               libsqliteodbc odbc-postgresql postgresql odbcinst unixodbc mdbtools gdal-bin python3-dbfread sqlite3 python3 xvfb xauth xdotool openbox
               fonts-dejavu-core locales openssl)
FUZZ_PACKAGES=(clang libclang-rt-14-dev)
TIDY_PACKAGES=(clang-tidy libclang-14-dev llvm-14-dev)

# build_twice PRESET: a page whose .ui file has changed is compiled anew only by the second pass, as the first makes the header in the
# middle of its work. Without a change both do nothing.
build_twice() { cmake --build --preset "$1" -j "$(jobs)" && cmake --build --preset "$1" -j "$(jobs)"; }

jobs() { nproc 2>/dev/null || echo 2; }
