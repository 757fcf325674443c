# Every table of the example multiplex, as it stands in allTables.txt.
# Arguments: folder of the examples, the program.
set -eu
$EMULATOR "$2" "$1/multiplex.ts" >allTables.printed
diff "$(dirname "$0")/allTables.txt" allTables.printed
# The PAT is that of both standards; an ATSC search finds no more.
$EMULATOR "$2" "$1/multiplex.ts" atsc | grep -q '^program 10'
if $EMULATOR "$2" "$1/emergency.ts" >allTables.printed; then
    echo "a stream without a PAT was told to have one"
    exit 1
fi
