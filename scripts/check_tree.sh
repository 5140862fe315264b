#!/usr/bin/env bash
# House rules that can be checked without a compiler: layers, Qt in the logic, format. Prints each breach.
set -uo pipefail
bad=0
breach() { bad=1; echo "$1"; echo "$2" | sed 's/^/    /'; }

# A lower layer never includes a higher one.
includes() { grep -rnE "#include \"($2)/" "src/$1" --include='*.h' --include='*.cpp' 2>/dev/null; }
check_layer() { local hits; hits=$(includes "$1" "$2"); [ -z "$hits" ] || breach "src/$1 includes a higher layer:" "$hits"; }
check_layer data 'core|drivers|engine|mapping|repository|text|connectors|shell|programs'
check_layer drivers 'core|engine|mapping|repository|text|connectors|shell|programs'
check_layer core 'engine|mapping|repository|text|connectors|shell|programs'
check_layer engine 'connectors|shell|programs'
check_layer mapping 'engine|connectors|shell|programs'

hits=$(grep -rlE '#include <Q[A-Z]' src/data src/core src/drivers 2>/dev/null)
[ -z "$hits" ] || breach "Qt in the logic:" "$hits"

if command -v clang-format >/dev/null; then
    hits=$(git ls-files '*.h' '*.cpp' | xargs -r clang-format --dry-run 2>&1 | grep -E 'warning:' | cut -d: -f1 | sort | uniq -c)
    [ -z "$hits" ] || breach "Not formatted (clang-format -i):" "$hits"
fi
exit "$bad"
