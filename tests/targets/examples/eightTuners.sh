# Six tuners find PAT and PMTs, one times out, one is stopped.
# Arguments: folder of the examples, the program.
set -eu
$EMULATOR "$2" "$1/multiplex.ts" >eightTuners.printed
for tuner in 0 1 2 3 4 5; do
    echo "tuner $tuner: 5 sections, PAT whole"
done >eightTuners.expected
echo 'tuner 6: 0 sections, PAT timed out' >>eightTuners.expected
echo 'tuner 7: 0 sections, PAT stopped' >>eightTuners.expected
diff eightTuners.expected eightTuners.printed
