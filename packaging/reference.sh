#!/bin/sh
# Writes psitool's manual pages and what lets shells complete its command lines, as psitool prints them.
#
# usage: packaging/reference.sh PSITOOL FOLDER
set -eu
psitool=$1
folder=$2
rm -rf "$folder"
mkdir -p "$folder/man1" "$folder/bash" "$folder/zsh" "$folder/fish"
"$psitool" manual >"$folder/man1/psitool.1"
sed -n '/^\.SH SUBCOMMANDS/,/^\.SH OPTIONS/s/^\\fB\(.*\)\\fR$/\1/p' "$folder/man1/psitool.1" | while read -r command; do
    "$psitool" manual "$command" >"$folder/man1/psitool-$command.1"
done
"$psitool" completion bash >"$folder/bash/psitool"
"$psitool" completion zsh >"$folder/zsh/_psitool"
"$psitool" completion fish >"$folder/fish/psitool.fish"
