# Debian packages by purpose, and the one place that installs them. To be sourced:
#
#   . scripts/packages.sh
#   need_packages $build_packages
#
# shellcheck shell=bash disable=SC2034

build_packages="g++ cmake ninja-build pkg-config"
tool_packages="libcli11-dev nlohmann-json3-dev"
test_packages="googletest"
bench_packages="libbenchmark-dev"
clang_packages="clang libclang-rt-14-dev"
lint_packages="clang-format clang-tidy cppcheck shellcheck"
m32_packages="g++-multilib"
big_endian_packages="g++-powerpc-linux-gnu qemu-user"
peer_packages="ffmpeg tshark"

# The packages among the arguments that are not installed.
missing_packages() {
    local package
    for package in "$@"; do
        case "$(dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null)" in
            ?i*) ;;
            *) printf '%s ' "$package" ;;
        esac
    done
}

# Runs a command as root: as it is, or with sudo.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        echo "packages: neither root nor sudo; as root, run: $*" >&2
        return 1
    fi
}

# Installs those of the arguments that are missing; touches neither apt nor the network when none is.
need_packages() {
    if ! command -v dpkg-query >/dev/null; then
        echo "packages: not a Debian system; these Debian packages, or what matches them, are taken as given: $*"
        return 0
    fi
    local missing
    missing=$(missing_packages "$@")
    [ -n "$missing" ] || return 0
    echo "packages: installing $missing"
    as_root apt-get -qq update </dev/null
    # shellcheck disable=SC2086
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends $missing </dev/null >/dev/null
}
