#!/usr/bin/env bash
# Walks through the wizard in a real window of a private X server and reads the results back with programs that we didn't write.
# Usage: wizard_road_test.sh WIZARD_ROAD_PROGRAM PICTURES_FOLDER
set -uo pipefail
program=$1 pictures=$2
. "$(dirname "$0")/private_window.sh"
cp "$program" "$folder/wizard_road"
mkdir -p "$folder/delimited" "$folder/fixed" "$folder"/{,keyboard/}{dbf,sqlserver,oracle-text}
printf 'id,name,city,credit\r\n1,"Lindström, Åsa",Malmö,1250.50\r\n2,José Núñez,Córdoba,-3.25\r\n3,"say ""hello""",Łódź,0\r\n' >"$folder/data/customers.csv"
printf 'id,note\r\n1,"two\r\nlines"\r\n2,\r\n' >"$folder/data/notes.csv"
for hand in mouse keyboard; do
    (cd "$folder" && timeout 250 ./wizard_road "$hand") || { echo "the walk through the wizard by $hand failed"; exit 1; }
done

expect "customers of the new database" $'id,full name,city,credit\n2,"José Núñez","Córdoba",-3.25\n3,"say ""hello""","Łódź",0' \
    "$(mdb-export "$folder/shop.mdb" customers)"
expect "a text of 80" "full nameText(80)" \
    "$(mdb-schema --no-relations "$folder/shop.mdb" access | grep 'full name' | tr -d '[]\t,\r\n' | sed 's/ *Text */Text/;s/ *$//')"
expect "orders of the new database" 500 "$(mdb-count "$folder/shop.mdb" orders)"
expect "two lines in one field" $'id,note\n1,"two\r\nlines"\n2,' "$(mdb-export "$folder/shop.mdb" notes)"
# A run encloses texts and leaves the quotes in them as they are.
expect "delimited text" "$(printf 'id,full name,city,credit\r\n2,"José Núñez","Córdoba",-3.25\r\n3,"say "hello"","Łódź",0\r\n')" \
    "$(cat "$folder/delimited/customers.csv")"
expect "lines of the delimited orders" 501 "$(wc -l <"$folder/delimited/orders.csv")"
expect "lines of the fixed orders" 501 "$(wc -l <"$folder/fixed/orders.txt")"
expect "widths of the fixed lines" 1 "$(awk '{ print length }' "$folder/fixed/orders.txt" | sort -u | wc -l)"
expect "the copy of the database" "$(mdb-export "$folder/shop.mdb" orders)" "$(mdb-export "$folder/copy.mdb" orders)"
expect "what happens to tables" $'customers.csv,APPEND,id > 1\nnotes.csv,APPEND,\norders.csv,DROP,' \
    "$(mdb-export "$(ls "$folder"/[vV][yY]*.mdb)" VYTabs | python3 -c 'import csv, sys
for row in csv.DictReader(sys.stdin): print(row["SourceTableName"], row["LoadOption"], row["WhereCond"], sep=",")')"
expect "the saved session" 1 "$(mdb-count "$(ls "$folder"/[vV][yY]*.mdb)" Sessions)"
for out in "$folder" "$folder/keyboard"; do
    expect "MySQL, as its server tells" $'2|José Núñez|Córdoba|-3.25\n3|say "hello"|Łódź|0\n500|125250|2024-02-28 00:00:00\n1|Ärger|2024-02-29\n2|two words' \
        "$(cat "$out/mysql.txt")"
    expect "the way back from MySQL" "$(mdb-export "$folder/shop.mdb" orders)" "$(mdb-export "$out/back.mdb" orders)"
    # The Debian package's own interpreter: another python3 may come first.
    expect "the FoxPro table" "500 125250 1001 2024-02-28" "$(/usr/bin/python3 -c 'import dbfread, glob, sys
rows = [list(row.values()) for row in dbfread.DBF(glob.glob(sys.argv[1] + "/*.[dD][bB][fF]")[0], encoding="cp1252")]
print(len(rows), sum(int(row[0]) for row in rows), sum(int(row[1]) for row in rows), max(str(row[2])[:10] for row in rows))' "$out/dbf")"
    expect "SQL Server, as its stand-in keeps it" "500|125250|1001" "$(cat "$out/sqlserver.txt")"
    expect "lines from SQL Server" 500 "$(cat "$out"/sqlserver/* | wc -l)"
    expect "lines from Oracle" $'1,"Ärger"\r\n2,"two words"\r' "$(cat "$out"/oracle-text/*)"
done
exit "$bad"
