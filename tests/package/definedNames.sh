# Every name that psi.h declares is defined in the library.
# Arguments: nm, libpsi.a, names.
set -eu
nm=$1
library=$2
shift 2

"$nm" --extern-only --defined-only "$library" | awk 'NF == 3 { print $3 }' | sort -u >library.txt
printf '%s\n' "$@" | sort -u >header.txt
grep -qx psiSch_Init header.txt && grep -qx headTableObj header.txt || { echo "psi.h: names not found"; exit 1; }
if comm -23 header.txt library.txt | grep .; then
    echo "$library: lacks the names above"
    exit 1
fi
