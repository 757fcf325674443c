# A project in C++ gets the library by find_package, FetchContent or add_subdirectory.
# Arguments: which, folder to build in, source folder of the project, of the library, cmake, cmake's arguments.
set -eu
by=$1
folder=$2
source=$3
library=$4
cmake=$5
shift 5

build=$folder/cxx-$by
rm -rf "$build"
"$cmake" -S "$source" -B "$build" "-DPSI_BY=$by" "-DPSI_SOURCE=$library" "$@"
"$cmake" --build "$build" -j 2
[ "$("$build/host")" = "program 1 on PID 256" ]
if [ "$by" = add_subdirectory ]; then # nothing was compiled that the project does not link
    objects=$(cd "$build/psi" && find . -name '*.o' ! -path './src/*' ! -path './platform/*')
    [ -z "$objects" ]
    exit
fi
"$build/listSections" "$library/examples/multiplex.ts" >"$build/sections.txt"
grep -qx 'PID 0 PAT' "$build/sections.txt"
grep -qx 'PID 17 SDT actual' "$build/sections.txt"
