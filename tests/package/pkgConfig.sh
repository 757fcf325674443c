# psi.pc is enough for the C compiler, and the host needs nothing of the C++ runtime.
# Arguments: folder of host.c and host.txt, folder of psi.pc, readelf, C compiler with its flags.
set -eu
host=$1
PKG_CONFIG_PATH=$2
readelf=$3
shift 3
export PKG_CONFIG_PATH

pkg-config --print-errors --exists psi
program=$host/pkgConfig
# shellcheck disable=SC2046
"$@" -std=c99 -pedantic -Wall -Wextra -Werror "$host/host.c" $(pkg-config --static --cflags --libs psi) \
    -Wl,-rpath,"$(pkg-config --variable=libdir psi)" -o "$program"
if "$readelf" -d "$program" | grep -E 'NEEDED.*lib(std)?c\+\+'; then
    echo "$program: needs the C++ runtime"
    exit 1
fi
$EMULATOR "$program" >"$program.txt"
diff "$host/host.txt" "$program.txt"
