# shellcheck shell=bash
#
# Sourced by throwaway-host and booted-host: the copy-on-write view of the real root that both give
# to their commands. Expects fail(), and a mount namespace that is its own.

# Mounts the view at $root. What changes in it is kept in memory. That and other mounts are below
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

# Ends with one line where namespaces cannot be made, as in most containers.
need_namespaces() {
    unshare --mount --pid --net --uts --ipc --cgroup --fork true 2>/dev/null ||
        fail "no namespaces can be made here; a container needs to be a privileged one"
}
