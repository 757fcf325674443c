# A renamed service: another SDT, the same other packets, continuity_counters without a break.
# Arguments: folder of the examples, the program, allTables.
set -eu
$EMULATOR "$2" "$1/multiplex.ts" renamed.ts 10 'Kino Zwei'
$EMULATOR "$3" "$1/multiplex.ts" | sed 's/"News One"/"Kino Zwei"/' >expected.txt
$EMULATOR "$3" renamed.ts >renamed.txt
# The SDT has another length and version.
for file in expected.txt renamed.txt; do
    grep -v '^SDT(actual)' "$file" >"$file.rest"
done
diff expected.txt.rest renamed.txt.rest
grep -q '^SDT(actual) 0x0101 section 0 of 0, version 1,' renamed.txt
# Packets of other PIDs are those that they were.
others() { od -An -v -tx1 -w188 "$1" | awk '($2 " " $3) !~ /^[0-9a-f][01] 11$/'; }
others "$1/multiplex.ts" >others.expected
others renamed.ts >others.printed
[ -s others.expected ]
cmp others.expected others.printed
od -An -v -tx1 -w188 renamed.ts | awk '
    ($2 " " $3) ~ /^[0-9a-f][01] 11$/ { cc = index("0123456789abcdef", substr($4, 2)) - 1; if (n++ && cc != (last + 1) % 16) bad = 1; last = cc }
    END { exit bad || !n }'
# A service that is not there, and a name that does not fit.
! $EMULATOR "$2" "$1/multiplex.ts" none.ts 999 'Nobody' 2>/dev/null
! $EMULATOR "$2" "$1/multiplex.ts" none.ts 10 "$(printf '%0250d' 1)" 2>/dev/null
