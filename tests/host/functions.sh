# shellcheck shell=bash
#
# Functions for throwaway-host, booted-host and scripts/fresh, which source this file. They define
# the function fail, which prints its arguments and exits.

# Fails with a message if namespaces cannot be made, as in most containers.
need_namespaces() {
    unshare --mount --pid --net --uts --ipc --cgroup --fork true 2>/dev/null ||
        fail "no namespaces can be made here; a container has to be privileged"
}

# run_in_namespaces OPTION... -- COMMAND...: runs the command as process 1 of new namespaces, and
# exits with the command's status. OPTIONs of unshare add namespaces to the usual ones. When this
# script gets a signal or ends for another reason, the command gets the signal TERM, and has to
# exit then.
run_in_namespaces() {
    local child status=0
    setpriv --pdeathsig KILL \
        unshare --mount --pid --uts --ipc --cgroup --fork --kill-child=TERM "$@" <&0 &
    child=$!
    trap 'end_in_namespaces $child' HUP INT TERM
    wait "$child" || status=$?
    exit "$status"
}

# unshare does not pass signals on, and process 1 gets only signals that it handles already.
end_in_namespaces() {
    trap '' HUP INT TERM
    while kill -0 "$1" 2>/dev/null; do
        # shellcheck disable=SC2046  # a number, or nothing yet
        kill -TERM $(cat "/proc/$1/task/$1/children") 2>/dev/null || true
        sleep 0.05
    done
    exit 143
}

# Mounts unified control groups on /sys/fs/cgroup, and creates the group $control_group there. In a
# new control group namespace, the root of the mount is the group of this process.
make_control_group() {
    mkdir -p /sys/fs/cgroup
    mount -t cgroup2 cgroup2 /sys/fs/cgroup 2>/dev/null ||
        fail "this kernel has no unified control groups"
    control_group=$(mktemp -d "/sys/fs/cgroup/$1.XXXXXX" 2>/dev/null) ||
        fail "no control group can be made here; a container has to be privileged"
}

# Ends all processes of the group, and removes it.
remove_control_group() {
    echo 1 >"$control_group/cgroup.kill"
    # A group can be removed only after its last process has exited completely.
    while [ -d "$control_group" ]; do
        find "$control_group" -depth -type d -exec rmdir {} + 2>/dev/null || sleep 0.01
    done
}

# Mounts a /dev with the usual harmless nodes on $1.
mount_devices() {
    mount -t tmpfs -o mode=0755,nosuid dev "$1"
    local node stream
    for node in null:3 zero:5 full:7 random:8 urandom:9; do
        mknod -m 666 "$1/${node%:*}" c 1 "${node#*:}"
    done
    mknod -m 666 "$1/tty" c 5 0
    mkdir -m 1777 "$1/shm"
    mkdir "$1/pts"
    mount -t devpts -o newinstance,ptmxmode=0666,mode=0620 devpts "$1/pts"
    ln -s pts/ptmx "$1/ptmx"
    ln -s /proc/self/fd "$1/fd"
    for stream in stdin:0 stdout:1 stderr:2; do
        ln -s "/proc/self/fd/${stream#*:}" "$1/${stream%:*}"
    done
}

# Mounts a copy-on-write view of the real root, and sets $root to its path. Changes are kept in
# memory. This and other mounts are below /sys, where they hide no project and no results.
#
# Overlays nest only twice, and the root of a container is an overlay already. A host that is made
# on a throwaway host is therefore no overlay over that host's overlay, but made of the same
# layers. Each throwaway host has its layers in /.layers, the uppermost first.
mount_copy_of_root() {
    layers=(/)
    [ ! -d /.layers ] || layers=(/.layers/*)
    local lower
    printf -v lower '%s:' "${layers[@]}"
    mount -t tmpfs -o mode=0755 copy-of-root /sys
    mkdir /sys/upper /sys/work /sys/root
    root=/sys/root
    mount -t overlay -o "lowerdir=${lower%:},upperdir=/sys/upper,workdir=/sys/work" overlay "$root" \
        2>/dev/null || fail "this kernel cannot mount an overlay over the root (see the last lines of dmesg)"
}

# Puts the layers of the view into its /.layers, read-only and for root alone.
show_layers() {
    local number=0 layer
    mkdir -p "$root/.layers"
    mount -t tmpfs -o mode=0700 layers "$root/.layers"
    for layer in /sys/upper "${layers[@]}"; do
        mkdir "$root/.layers/$number"
        mount --bind -o ro "$layer" "$root/.layers/$number"
        number=$((number + 1))
    done
    mount -o remount,ro "$root/.layers"
}
