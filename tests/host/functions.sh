# shellcheck shell=bash
#
# Sourced by throwaway-host, booted-host and scripts/fresh: what they have in common. Expects the
# function fail, which prints its arguments and exits.

# Ends with one line where namespaces cannot be made, as in most containers.
need_namespaces() {
    unshare --mount --pid --net --uts --ipc --cgroup --fork true 2>/dev/null ||
        fail "no namespaces can be made here; a container needs to be a privileged one"
}

# run_in_namespaces OPTION... -- COMMAND...: runs the command as process 1 of new namespaces, those of
# the options of unshare and some more, and exits with its status. The command gets the signal TERM
# when this script gets a signal, and when it ends for another reason. It has to end then.
run_in_namespaces() {
    local child status=0
    setpriv --pdeathsig KILL \
        unshare --mount --pid --uts --ipc --cgroup --fork --kill-child=TERM "$@" <&0 &
    child=$!
    trap 'end_in_namespaces $child' HUP INT TERM
    wait "$child" || status=$?
    exit "$status"
}

# unshare does not pass signals on, and process 1 gets none before it asks for them.
end_in_namespaces() {
    trap '' HUP INT TERM
    while kill -0 "$1" 2>/dev/null; do
        # shellcheck disable=SC2046  # a number, or nothing yet
        kill -TERM $(cat "/proc/$1/task/$1/children") 2>/dev/null || true
        sleep 0.05
    done
    exit 143
}

# Mounts the file systems of unified control groups on /sys/fs/cgroup, and makes a group there:
# $control_group. In a new control group namespace, the group that this process is in is the root of
# the hierarchy.
make_control_group() {
    mkdir -p /sys/fs/cgroup
    mount -t cgroup2 cgroup2 /sys/fs/cgroup 2>/dev/null ||
        fail "this kernel has no unified control groups"
    control_group=$(mktemp -d "/sys/fs/cgroup/$1.XXXXXX" 2>/dev/null) ||
        fail "no control group can be made here; a container needs to be a privileged one"
}

# Ends all processes of the group, and removes it.
remove_control_group() {
    echo 1 >"$control_group/cgroup.kill"
    # A group can be removed when the last process has quite gone.
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

# Mounts a copy-on-write view of the real root, and sets $root to its place. What changes in it is kept in memory. That and other mounts are below
# /sys, where nobody keeps a project or results.
#
# Overlays nest only twice, and the root of a container is one already. A host that is made on a
# throwaway host is therefore no overlay over an overlay: it gets the same layers, which each
# throwaway host has in /.layers, the uppermost first.
mount_copy_of_root() {
    layers=(/)
    [ ! -d /.layers ] || layers=(/.layers/*)
    local lower
    printf -v lower '%s:' "${layers[@]}"
    mount -t tmpfs -o mode=0755 copy-of-root /sys
    mkdir /sys/upper /sys/work /sys/root
    root=/sys/root
    mount -t overlay -o "lowerdir=${lower%:},upperdir=/sys/upper,workdir=/sys/work" overlay "$root" \
        2>/dev/null || fail "this kernel mounts no overlay over the root (see the last lines of dmesg)"
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
