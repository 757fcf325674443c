# The index changes after 2000 and after 5000 ms; each change is told within a second, with what it announces.
# Arguments: folder of the examples, the program.
set -eu
$EMULATOR "$2" "$1/emergency.ts" >emergencyMonitor.printed
cat emergencyMonitor.printed
awk '
    $2 == "ms:" { at[++changes] = $1; version[changes] = $5; messages[changes] = $7 }
    /"Flood warning: leave the river banks."/ { told = changes }
    END {
        exit !(changes == 3 && version[1] == "0," && version[2] == "1," && version[3] == "2," &&
               messages[1] == 0 && messages[2] == 1 && messages[3] == 0 && told == 2 &&
               at[1] < 1000 && at[2] >= 2000 && at[2] < 3000 && at[3] >= 5000 && at[3] < 6000)
    }' emergencyMonitor.printed
