# The installed library of descriptions serves a host in C: describeHost.sh SOURCE PKG_CONFIG_PATH CC...
set -eu
source=$1 path=$2
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export PKG_CONFIG_PATH="$path"
# shellcheck disable=SC2046 # a word for each option
"$@" "$source" -o "$folder/host" $(pkg-config --static --cflags --libs psi-describe) \
    -Wl,-rpath,"$(pkg-config --variable=libdir psi)"
${EMULATOR-} "$folder/host" >"$folder/output"
cat "$folder/output"
grep -q '"table": "CAT"' "$folder/output"
grep -qx 'the same bytes' "$folder/output"
