#!/usr/bin/env bash
# House rules that can be checked without a compiler: layers, Qt in the logic, format. Prints each breach.
set -uo pipefail
bad=0
breach() { bad=1; echo "$1"; echo "$2" | sed 's/^/    /'; }

# A lower layer never includes a higher one.
includes() { grep -rnE "#include \"($2)/" "src/$1" --include='*.h' --include='*.cpp' 2>/dev/null; }
# The pages stand a layer above the logic of their room.
logic_includes() { includes "$@" | grep -v "^src/$1/pages/"; }
check_layer() { local hits; hits=$(logic_includes "$1" "$2"); [ -z "$hits" ] || breach "src/$1 includes a higher layer:" "$hits"; }
check_layer data 'core|drivers|engine|mapping|repository|text|connectors|shell|programs'
check_layer drivers 'core|engine|mapping|repository|text|connectors|shell|programs'
check_layer core 'engine|mapping|repository|text|connectors|shell|programs'
check_layer engine 'connectors|shell|programs'
check_layer mapping 'engine|connectors|shell|programs'
check_layer text 'connectors|shell|programs'
check_layer repository 'connectors|shell|programs'
check_layer connectors 'shell|programs'
check_layer shell 'engine|mapping|repository|text|programs'
for room in connectors mapping text repository engine; do check_layer "$room/pages" 'programs'; done

hits=$(grep -rlE '#include <Q[A-Z]' src/data src/core src/drivers src/engine src/mapping src/text src/repository src/connectors \
    --exclude-dir=pages 2>/dev/null)
[ -z "$hits" ] || breach "Qt in the logic:" "$hits"

if command -v clang-format >/dev/null; then
    hits=$(git ls-files '*.h' '*.cpp' | xargs -r clang-format --dry-run 2>&1 | grep -E 'warning:' | cut -d: -f1 | sort | uniq -c)
    [ -z "$hits" ] || breach "Not formatted (clang-format -i):" "$hits"
fi
exit "$bad"
