# shellcheck shell=bash
# shellcheck disable=SC2034 # the lists are used by the scripts that source this
#
# The other scripts source this file. It checks the host, installs packages, and builds.

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
export LC_ALL=C.UTF-8
logs=$PWD/build/log

say() { printf '\n== %s\n' "$*"; }

# Exits with one line that tells what is missing and what to do.
refuse() {
    echo "$0: $*" >&2
    exit 1
}

need_root() {
    [ "$(id -u)" = 0 ] || refuse "only root can make throwaway hosts and install packages: use sudo"
}

need_debian() {
    local name
    # shellcheck disable=SC1091 # another host's file
    name=$(. /etc/os-release 2>/dev/null && echo "${ID-} ${VERSION_ID-}") || true
    case $name in
        'debian 12' | 'debian 13') ;;
        *) refuse "this host is not Debian 12 or 13: use a virtual machine or a privileged container" \
            "with one of them" ;;
    esac
    [ -x "$(command -v apt-get)" ] || refuse "apt-get is missing here: install apt"
}

# The next two functions refuse a host on which throwaway hosts, or booted ones, cannot be made. They
# do this before anything is installed or built.
need_throwaway_hosts() {
    need_root
    need_debian
    local why
    why=$(tests/host/throwaway-host -- true 2>&1) ||
        refuse "no throwaway host can be made here (${why##*$'\n'}): use a real or virtual machine," \
            "or a privileged container"
}
need_booted_hosts() {
    need_throwaway_hosts
    # In a control group namespace: otherwise the mount would change the real host's mount options.
    # shellcheck disable=SC2016 # for the inner shell
    unshare --mount --cgroup sh -c 'mount -t cgroup2 cgroup2 /mnt && group=$(mktemp -d /mnt/XXXXXX) &&
        { test -e "$group/cgroup.kill"; status=$?; rmdir "$group"; exit $status; }' 2>/dev/null ||
        refuse "no unified control group can be made here: use Linux 5.14 or later, on a real or" \
            "virtual machine or in a privileged container"
}

# What the daemon is built with, and what it runs with. openssl brings the TLS library that Qt
# loads: the library's own package has another name in each release.
build_packages=(
    g++ cmake ninja-build qtbase5-dev libpugixml-dev libyaml-cpp-dev
    dbus procps openssl ca-certificates
)
# What the throwaway hosts and the tests in them use, and what the benchmark programs need.
host_packages=(
    libgtest-dev libgmock-dev mount util-linux bindfs fuse3 mandoc
    systemd-container iproute2 passwd python3-minimal strace
    libdbus-1-dev libfuse3-dev libsystemd-dev pkg-config
)
# What builds and checks the Debian package.
package_packages=(
    build-essential debhelper dpkg-dev fakeroot lintian
)
# What fuzzes.
fuzz_packages=(
    clang libclang-rt-dev
)
# What the daemon is measured against.
bench_packages=(
    polkitd
)
# What makes fresh systems.
fresh_packages=(
    git mmdebstrap
)
# What boots fresh systems in virtual machines.
vm_packages=(
    qemu-system-x86 e2fsprogs
)
# What checks the source.
check_packages=(
    git clang-format clang-tidy codespell cppcheck shellcheck libxml2-utils
)

# Copies its input to the log $2. On a terminal, keeps one line up to date, with $1 and the progress
# that ninja or apt reports. Elsewhere, adds the progress to that line after each quarter.
follow() {
    local what=$1 line far percent quarter=25
    while IFS= read -r line; do
        printf '%s\n' "$line" >&3
        if [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]]; then
            far=${BASH_REMATCH[0]} percent=$((100 * BASH_REMATCH[1] / BASH_REMATCH[2]))
        elif [[ $line =~ ^(dl|pm)status:[^\ ]+:([0-9]+)\.[0-9]+: ]]; then
            # The download counts as half of an installation.
            percent=$((BASH_REMATCH[2] / 2))
            [ "${BASH_REMATCH[1]}" = dl ] || percent=$((percent + 50))
            far="$percent %"
        else
            continue
        fi
        if [ -t 1 ]; then
            printf '\r%s… %s\e[K' "$what" "$far"
        elif [ "$percent" -ge "$quarter" ] && [ "$percent" -lt 100 ]; then
            printf ' %d %%' "$percent"
            quarter=$((percent / 25 * 25 + 25))
        fi
    done 3>"$2"
}

# step LOG WHAT COMMAND...: runs the command with its output in build/log/LOG.log, and shows one
# line with WHAT, the progress and the time taken. If the command fails, shows the log's end and
# exits.
step() {
    local log=$logs/$1.log what=$2 began=$SECONDS status=0 line='' clear=''
    shift 2
    { mkdir -p "$logs" && : >"$log"; } 2>/dev/null || refuse "$log cannot be written: check who owns build"
    [ ! -t 1 ] || line=$'\r'"$what…" clear=$'\e[K'
    printf '%s…' "$what"
    "$@" </dev/null 2>&1 | follow "$what" "$log" || status=$?
    if [ "$status" != 0 ]; then
        printf '%s failed%s\n' "$line" "$clear"
        printf '%s\n' "The end of $log:" "$(tail -n 40 "$log")" >&2
        exit "$status"
    fi
    printf '%s done (%d s)%s\n' "$line" $((SECONDS - began)) "$clear"
}

# Installs those of the given packages that are missing.
install_packages() {
    local installed missing
    # dpkg-query fails if one of them is not known.
    installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null |
        sed -n 's/^installed //p') || true
    mapfile -t missing < <(printf '%s\n' "$@" | sort -u | grep -vxF "$installed")
    [ ${#missing[@]} -gt 0 ] || return 0
    [ "$(id -u)" = 0 ] ||
        refuse "packages are missing: as root, run apt-get install --no-install-recommends ${missing[*]}"
    need_debian
    step packages "Installing ${#missing[@]} packages" apt_install "${missing[@]}"
}
apt_install() {
    # Another apt may be running, as after a boot.
    local options=(-o APT::Status-Fd=1 -o DPkg::Lock::Timeout=600 -o Acquire::Retries=3)
    apt-get update -q &&
        DEBIAN_FRONTEND=noninteractive \
            apt-get install -y -q --no-install-recommends "${options[@]}" "$@"
}

# Builds the preset $1, or only its targets $2...
build() { step "build-$1" "Building (preset $1)" configure_and_build "$@"; }
configure_and_build() {
    cmake --preset "$1" && cmake --build "build/$1" ${2+--target "${@:2}"}
}
