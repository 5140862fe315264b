#!/bin/sh
# installed_test.sh BUILD: what the packages are made of, laid out in a folder that the user of the programs can't write.
set -eu
tree=$(mktemp -d); home=$(mktemp -d)
trap 'chmod -R u+w "$tree"; rm -rf "$tree" "$home"' EXIT
cmake --install "$1" --strip --prefix "$tree" >/dev/null
chmod -R a-w,a+rX "$tree"
# Root could write there all the same.
as_user=
if [ "$(id -u)" -eq 0 ]; then
    chown 65534:65534 "$home"
    as_user="setpriv --reuid 65534 --regid 65534 --clear-groups"
fi
HOME=$home $as_user sh -s tree "$tree" <"$(dirname "$0")/../../scripts/try_package"
