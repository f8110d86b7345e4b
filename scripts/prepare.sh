# shellcheck shell=bash
# shellcheck disable=SC2034 # the lists are used by the scripts that source this
#
# Sourced by the other scripts: who may run them, what they need, and how they build.

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
export LC_ALL=C.UTF-8

say() { printf '\n== %s\n' "$*"; }

need_root() {
    if [ "$(id -u)" != 0 ]; then
        echo "$0: this makes throwaway hosts or installs packages, which needs root" >&2
        exit 1
    fi
}

# What the daemon is built with, and what it runs with.
build_packages=(
    g++ cmake ninja-build qtbase5-dev libpugixml-dev libyaml-cpp-dev
    dbus procps libssl3 ca-certificates
)
# What the throwaway hosts and the tests in them use.
host_packages=(
    libgtest-dev libgmock-dev mount util-linux bindfs fuse3 mandoc
    systemd-container iproute2 openssl passwd python3-minimal
    libdbus-1-dev libfuse3-dev pkg-config
)
# What makes the Debian package, and looks it over.
package_packages=(
    debhelper dpkg-dev fakeroot lintian
)
# What fuzzes.
fuzz_packages=(
    clang libclang-rt-dev
)
# What the daemon is measured against.
bench_packages=(
    polkitd libsystemd-dev pkg-config
)
# What looks at the source.
check_packages=(
    git clang-format clang-tidy codespell cppcheck shellcheck libxml2-utils
)

# Installs those of the given packages that are missing.
install_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f='${db:Status-Abbrev}' "$package" 2>/dev/null | grep -q '^ii' ||
            missing+=("$package")
    done
    if [ ${#missing[@]} -gt 0 ]; then
        say "Installing ${missing[*]}"
        apt-get update -q
        DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
    fi
}

# Builds the preset $1, or only its targets $2...
build() {
    local preset=$1
    shift
    say "Building (preset $preset)"
    cmake --preset "$preset" >/dev/null
    cmake --build "build/$preset" ${1+--target "$@"}
}
