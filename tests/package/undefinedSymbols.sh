# What src/ calls outside itself: four functions of the C library, and what the platform layer defines.
# Arguments: nm, archive of src/, archive of platform/.
set -eu
nm=$1
core=$2
platform=$3

# _GLOBAL_OFFSET_TABLE_ is the linker's own, for position-independent code.
allowed='printf sprintf memcpy memset _GLOBAL_OFFSET_TABLE_'

names() { "$nm" "$@" 2>/dev/null | awk 'NF >= 2 { print $NF }' | sort -u; }

{
    names --extern-only --defined-only "$core"
    names --extern-only --defined-only "$platform"
    printf '%s\n' $allowed
} | sort -u >defined.txt
names --undefined-only "$core" >undefined.txt
# An archive without an undefined symbol was not read at all.
grep -qx printf undefined.txt || { echo "$core: not even printf is called"; exit 1; }
if comm -13 defined.txt undefined.txt | grep .; then
    echo "$core: calls of the names above are not of the platform layer"
    exit 1
fi
