# What the guide's program prints is what the guide says.
# Arguments: the guide's text, the program.
set -eu
[ -s "$1" ] || { echo "$1: empty"; exit 1; }
$EMULATOR "$2" >guide.printed
diff "$1" guide.printed
