#!/usr/bin/env bash
# sample_session_test.sh PROGRAM SAMPLES: the sample data arrive whole, in each of their targets.
set -euo pipefail
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
log=$("$1" "$2" "$out")
echo "$log"
expect() { [ "$2" = "$3" ] || { echo "$1: expected $3, found $2" >&2; exit 1; }; }
expect "tables with all their rows" "$(grep -cE '^(10|120) Rows Loaded' <<<"$log")" 10
expect "failed rows" "$(grep -cE '^(Error|Aborting)' <<<"$log" || true)" 0
for folder in delimited from_access; do
    expect "$folder heading" "$(head -n 1 "$out/$folder/orders.tab" | tr -d '\r')" "$(head -n 1 "$2/orders.csv" | tr -d '\r' | tr ';' '\t')"
    expect "$folder rows" "$(wc -l <"$out/$folder/orders.tab")" 121
    expect "$folder quantities" "$(tail -n +2 "$out/$folder/orders.tab" | cut -f5 | md5sum)" "$(tail -n +2 "$2/orders.csv" | cut -d';' -f5 | md5sum)"
done
expect "rows from DBF" "$(wc -l <"$out/from_dbf/orders.tab")" 121
expect "quantities from DBF" "$(tail -n +2 "$out/from_dbf/orders.tab" | cut -f5 | md5sum)" "$(tail -n +2 "$2/orders.csv" | cut -d';' -f5 | md5sum)"
cmp "$out/delimited/customers.tab" "$out/from_access/customers.tab"
expect "fixed line" "$(sed -n 2p "$out/fixed/orders.txt" | cut -c1-14)" "   1001      2"
grep -q 'Иван Петров' "$out/fixed/customers.txt"
