# With PSI_NO_STDINT the header is for compilers of old kernels: C of 1989, no <stdint.h>, and the same records.
# Arguments: header, C compiler with its flags.
set -eu
header=$1
shift
folder=old-headers
mkdir -p "$folder"
echo '#error psi.h includes <stdint.h>' >"$folder/stdint.h"

# The sizes of records with words of every width and with addresses, as an object file tells them.
cat >"$folder/sizes.c" <<END
#include "$header"
char types[sizeof(u8) * 1000 + sizeof(u16) * 100 + sizeof(u32) * 10 + sizeof(i32)];
char addresses[sizeof(psiObjId) == sizeof(void *) ? 1 : -1];
char records[sizeof(tableObj) + sizeof(progInfo) * 1000];
END
sizes() { "$@" -c -o "$folder/sizes.o" "$folder/sizes.c" && "${NM:-nm}" -P "$folder/sizes.o" | awk '{ print $1, $4 }'; }

"$@" -x c -std=gnu89 -pedantic -Wall -Wextra -Werror -DPSI_NO_STDINT -I "$folder" -fsyntax-only "$header"
old=$(sizes "$@" -std=gnu89 -DPSI_NO_STDINT -I "$folder" -fno-common)
new=$(sizes "$@" -fno-common)
echo "$new" | grep -q '^types' || { echo "no sizes in $folder/sizes.o"; exit 1; }
[ "$old" = "$new" ] || { echo "$header: other records with PSI_NO_STDINT:"; echo "$old"; echo "$new"; exit 1; }
if "$@" -I "$folder" -fsyntax-only "$folder/sizes.c" 2>/dev/null; then
    echo "$folder/stdint.h is not in the way, so nothing was checked"
    exit 1
fi
