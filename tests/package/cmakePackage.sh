# find_package(psi) works in a project that has no C++.
# Arguments: folder of host.c and host.txt, source folder of the project, cmake, cmake's arguments.
set -eu
host=$1
source=$2
cmake=$3
shift 3

build=$host/cmakePackage
rm -rf "$build"
"$cmake" -S "$source" -B "$build" "-DHOST_SOURCE=$host/host.c" "$@"
"$cmake" --build "$build"
for program in "$build"/host "$build"/host_shared; do
    [ -x "$program" ] || continue
    $EMULATOR "$program" >"$program.txt"
    diff "$host/host.txt" "$program.txt"
done
[ -s "$build/host.txt" ]
