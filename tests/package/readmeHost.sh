# Takes the README's host program (host.c) and what it prints (host.txt) out of the README; the former is short.
# Arguments: README.md, folder for both.
set -eu
readme=$1
folder=$2
mkdir -p "$folder"

# The fenced block behind the line <!-- NAME -->.
block() {
    awk -v marker="<!-- $1 -->" '
        $0 == marker { armed = 1; next }
        armed && /^```/ { if (inside) exit; inside = 1; next }
        inside' "$readme" >"$folder/$1"
    [ -s "$folder/$1" ] || { echo "$readme: no block $1"; exit 1; }
}

block host.c
block host.txt
lines=$(wc -l <"$folder/host.c")
[ "$lines" -le 40 ] || { echo "$readme: the host has $lines lines, 40 at most"; exit 1; }
