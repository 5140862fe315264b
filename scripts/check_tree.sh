#!/usr/bin/env bash
# House rules that can be checked without a compiler: layers, Qt in the logic, format. Prints each breach.
set -uo pipefail
bad=0
breach() { bad=1; echo "$1"; echo "$2" | sed 's/^/    /'; }

# Which room may include which. A room is a folder of src/, a driver is one of its own, and the pages of a room stand above its
# logic. A room includes itself; what isn't named here is a breach, siblings too.
declare -A may=(
    [data]=""
    [files]="data"
    [text_format]="data files"
    [drivers/sql]="data"
    [drivers/text]="data files text_format drivers/sql"
    [drivers/access]="data files drivers/sql"
    [drivers/foxpro]="data files drivers/sql"
    [drivers/mysql]="data"
    [drivers/odbc]="data"
    [core]="data drivers/text drivers/access drivers/foxpro drivers/mysql drivers/odbc"
    [mapping]="data core"
    [engine]="data files core mapping"
    [text]="data files text_format core engine"
    [check]="data core mapping engine text"
    [repository]="data files core mapping engine text check"
    [connectors]="data core drivers/odbc"  # it lists what the driver manager has
    [shell]="data core"
    [wizard]="data core connectors shell"
    [check/pages]="data core shell check"
    [connectors/pages]="data core shell wizard connectors check/pages"
    [mapping/pages]="data core shell wizard mapping engine check check/pages"
    [text/pages]="data core shell wizard text_format text"
    [engine/pages]="data core shell wizard engine text"
    [repository/pages]="data core shell wizard repository"
    [programs]="data core mapping engine text repository shell wizard connectors/pages mapping/pages text/pages engine/pages repository/pages"
)
room_of() {  # the room of a path below src/
    case "$1" in
        drivers/*/* | */pages/*) local rest=${1#*/}; echo "${1%%/*}/${rest%%/*}" ;;
        *) echo "${1%%/*}" ;;
    esac
}
while IFS=: read -r file line include; do
    from=$(room_of "${file#src/}")
    to=$(room_of "$include")
    [ "$from" = "$to" ] && continue
    if [ -z "${may[$from]+known}" ]; then
        breach "a room that the matrix doesn't know:" "$file"
    elif [[ " ${may[$from]} " != *" $to "* ]]; then
        breach "src/$from may not include src/$to:" "$file:$line $include"
    fi
done < <(grep -rnE '^#include "[^"]*/' src --include='*.h' --include='*.cpp' | sed -E 's/#include "([^"]+)".*/\1/')

hits=$(grep -rlE '#include <Q[A-Z]' src/data src/files src/text_format src/core src/drivers src/engine src/mapping src/text src/check src/repository \
    src/connectors \
    --exclude-dir=pages 2>/dev/null)
[ -z "$hits" ] || breach "Qt in the logic:" "$hits"

hits=$(grep -rnE '(Source|Target)Type *(==|!=) *"' src --include='*.h' --include='*.cpp')
[ -z "$hits" ] || breach "A kind is asked for by its name (make it a field of src/core/kinds.h):" "$hits"

if command -v clang-format >/dev/null; then
    hits=$(git ls-files '*.h' '*.cpp' | xargs -r clang-format --dry-run 2>&1 | grep -E 'warning:' | cut -d: -f1 | sort | uniq -c)
    [ -z "$hits" ] || breach "Not formatted (clang-format -i):" "$hits"
fi
exit "$bad"
