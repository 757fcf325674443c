# The library defines the names that psi.h declares and names of its own namespace, and no weak symbol outside of that.
# Arguments: nm, library, file with the names of psi.h, one a line.
set -eu
nm=$1
library=$2
names=$3

# The compiler's own way to its address on i386 is hidden, and the same in every program.
own='^_Z(Z|GV)*NK?3psi4core|^__x86\.get_pc_thunk\.'
status=0
symbols=$("$nm" --extern-only --defined-only "$library" 2>/dev/null | awk 'NF == 3 { print $2, $3 }' | sort -u)
echo "$symbols" | grep -q ' psiSch_Init$' || { echo "$library: no symbols read"; exit 1; }
if echo "$symbols" | cut -d ' ' -f 2 | grep -vxFf "$names" | grep -vE "$own"; then
    echo "$library: defines the foreign names above"
    status=1
fi
if echo "$symbols" | grep -E '^[VWu] ' | cut -d ' ' -f 2 | grep -vE "$own"; then
    echo "$library: the symbols above are weak"
    status=1
fi
exit $status
