# A library built with PSI_LOG_LEVEL n holds the texts of the first n kinds of messages and of no other; with 0 not even
# the name of a file.
# An optimised one may lack texts of checks that no caller can fail.
# Arguments: strings, folder of src/, level, whole or optimised, object files built with it.
set -eu
strings=$1
src=$2
level=$3
build=$4
shift 4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Every text of the sources as "LEVEL text"; adjacent literals are one text.
cat "$src"/*.cpp | perl -0777 -ne '
    my %levels = (error => 1, warning => 2, info => 3, debug => 4);
    while (/\b(?:(?:PSI|MAKE)_(ERROR|WARNING|INFO)\(|PSI_TEXT\((\w+),)\s*((?:"(?:[^"\\]|\\.)*"\s*)+)/g) {
        my ($kind, $text) = (lc($1 // $2), $3);
        $text =~ s/"\s*"//g;
        $text =~ s/^"|(\\[rn])*"\s*$//g;
        print "$levels{$kind} $text\n" if length $text > 8; # shorter ones may stand in code by chance
    }' | sort -u >"$work/texts"
[ "$(wc -l <"$work/texts")" -gt 500 ] || { echo "$src: only $(wc -l <"$work/texts") texts found"; exit 1; }

awk -v level="$level" '$1 <= level' "$work/texts" | cut -d' ' -f2- | sort -u >"$work/in"
awk -v level="$level" '$1 > level' "$work/texts" | cut -d' ' -f2- | sort -u | comm -23 - "$work/in" >"$work/out"
# A byte of other data in front of a text may look like a tab.
"$strings" -d -n 4 "$@" | tr "\t" "\n" | sort -u >"$work/strings"

status=0
if [ "$build" = whole ] && comm -23 "$work/in" "$work/strings" | grep .; then
    echo "level $level: the texts above are missing"
    status=1
fi
if comm -12 "$work/out" "$work/strings" | grep .; then
    echo "level $level: the texts above are compiled in"
    status=1
fi
if [ "$level" = 0 ] && grep -E '\.\./|psi[A-Z][A-Za-z]*\.(cpp|h)' "$work/strings"; then
    echo "level 0: the file names above are compiled in"
    status=1
fi
exit $status
