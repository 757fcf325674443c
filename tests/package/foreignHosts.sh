# The library, built without optimisation, for size and as it is shipped, defines names of its own only, and serves hosts
# in C and C++ that bring names which it might use, linked statically and, but for the last, with a shared library.
# Arguments: folder of the project, the library that is shipped, nm, ar, file with the names of psi.h, C compiler with its
# flags, --, C++ compiler with its flags.
set -eu
project=$1
shipped=$2
nm=$3
ar=$4
names=$5
shift 5
cc=
while [ "$1" != -- ]; do
    cc="$cc $1"
    shift
done
shift
cxx="$*"
tests=$project/tests/package

{
    echo '{ global:'
    sed 's/$/;/' "$names"
    echo 'local: *; };'
} >psi.map

# build LEVEL: libpsi.a and libpsi.so in a folder of that name.
build() {
    rm -rf "levels/$1"
    mkdir -p "levels/$1"
    printf '%s\n' "$project"/src/*.cpp "$project"/platform/list/*.cpp "$project"/platform/pool/*.cpp \
        "$project"/platform/posix/*.cpp |
        xargs -P 2 -I SOURCE sh -c "$cxx -std=c++17 -O$1 -fPIC -fno-exceptions -fno-rtti -fno-threadsafe-statics \
            -fno-builtin-printf -fno-builtin-sprintf -I '$project/include' -I '$project/src' -I '$project/platform' \
            -c SOURCE -o levels/$1/\$(basename SOURCE .cpp).o"
    "$ar" rc "levels/$1/libpsi.a" "levels/$1"/*.o
    $cc -shared -Wl,-soname,libpsi.so -Wl,--version-script=psi.map "levels/$1"/*.o -o "levels/$1/libpsi.so" -pthread -ldl
}

# serve LEVEL LANGUAGE LIBRARY COMPILER...: a host of that language with that library prints what it should.
serve() {
    folder=levels/$1
    language=$2
    kind=$3
    program=$folder/host-$language-$kind
    shift 3
    "$@" -pedantic -Wall -Wextra -Werror -I "$project/include" -I "$tests" -x "$language" "$tests/foreignHost.c" -x none \
        "$folder/libpsi.$kind" -Wl,-rpath,"$PWD/$folder" -o "$program" -pthread -ldl
    $EMULATOR "$program" "$project/examples/multiplex.ts" >"$program.txt"
    diff "$tests/foreignHost.txt" "$program.txt" || { echo "$program: printed something else"; exit 1; }
}

for level in 0 s; do
    build $level
    sh "$tests/ownNames.sh" "$nm" "levels/$level/libpsi.a" "$names"
    serve $level c so $cc -std=c99
    serve $level c++ so $cxx -std=c++17
done
mkdir -p levels/shipped
cp "$shipped" levels/shipped/libpsi.a
for level in 0 s shipped; do
    serve $level c a $cc -std=c99
    serve $level c++ a $cxx -std=c++17
done
