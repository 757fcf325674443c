# No code that runs before main(), no exceptions, no type information, no guards of function statics.
# Arguments: nm, objdump, libpsi.a.
set -eu
nm=$1
objdump=$2
library=$3

sections=$("$objdump" -h "$library")
echo "$sections" | grep -q '\.text' || { echo "$library: no code in it"; exit 1; }
status=0
if echo "$sections" | grep -E '\.(preinit_array|init_array|ctors|gcc_except_table)'; then
    echo "$library: has the sections above"
    status=1
fi
if "$nm" --defined-only "$library" 2>/dev/null | grep -E ' (_ZT[ISV]|_ZGV)'; then
    echo "$library: has the type information, virtual tables or guards above"
    status=1
fi
if "$nm" --undefined-only "$library" 2>/dev/null | grep -E ' (_ZN?K?S[tabsiod]|_ZN10__cxxabi|_ZT[ISV]|_Zn|_Zd|__cxa_|__gxx_|_Unwind_)'; then
    echo "$library: uses the names above of the C++ runtime"
    status=1
fi
exit $status
