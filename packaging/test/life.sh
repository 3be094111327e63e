#!/bin/sh
# The life of the package in a fresh Debian root: install, start, install again, remove, purge.
# Runs inside that root, in namespaces of its own; scripts/package-test starts it.
set -eu

package=$1

fail() {
    printf 'life: %s\n' "$*" >&2
    exit 1
}

say() {
    printf 'life: %s\n' "$*"
}

# Everything on the root's own disk, except what every installation writes.
files() {
    find / -xdev \( -path /proc -o -path /var/lib/dpkg -o -path /var/log -o -path /var/cache \
        -o -path /run -o -path /tmp \) -prune -o -print | sort
}

daemon_process() {
    cat /run/paneld.pid 2>/dev/null
}

runs() {
    [ "$(cat "/proc/$(daemon_process)/comm" 2>/dev/null)" = paneld ]
}

has_queue() {
    awk '$1 == 80 { found = 1 } END { exit !found }' /proc/sysvipc/msg
}

wait_for() {
    for _ in 1 2 3 4 5 6 7 8 9 10; do
        "$@" && return
        sleep 0.3
    done
    return 1
}

is_stopped() {
    ! runs
}

! command -v reboot >/dev/null || fail "this root has a command reboot"
files >/tmp/before

say install
dpkg -i "$package"
for file in /usr/sbin/paneld /usr/bin/panelctl /etc/init.d/paneld \
    /lib/systemd/system/paneld.service /usr/share/man/man8/paneld.8.gz \
    /usr/share/man/man1/panelctl.1.gz /usr/share/doc/paneld/copyright \
    /usr/share/bash-completion/completions/panelctl; do
    [ -e "$file" ] || fail "$file is not there"
done
[ -L /etc/systemd/system/multi-user.target.wants/paneld.service ] || fail "the unit is not enabled"
[ -L /etc/rc2.d/S01paneld ] || fail "the init script is not enabled"

! runs || fail "the daemon was started in a root that nobody has booted"

# From here on this is a system with an init of its own, as far as packages can tell.
printf '#!/bin/sh\nexit 0\n' >/usr/sbin/policy-rc.d
chmod +x /usr/sbin/policy-rc.d

say start
invoke-rc.d paneld start
wait_for runs || fail "the daemon does not run after its start"
wait_for has_queue || fail "the daemon has made no queue"
/etc/init.d/paneld status
first=$(daemon_process)
/etc/init.d/paneld start
[ "$(daemon_process)" = "$first" ] || fail "a second start started a second daemon"
[ "$(panelctl --version)" = "panelctl $2" ] || fail "panelctl has another version"
panelctl say up
panelctl queue
status=0
panelctl config >/tmp/config || status=$?
[ "$status" = 1 ] || fail "panelctl config gives $status without any files"

say "install again"
dpkg -i "$package"
wait_for runs || fail "the daemon does not run after the second installation"
[ "$(daemon_process)" != "$first" ] || fail "the second installation did not restart the daemon"

say remove
dpkg -r paneld
wait_for is_stopped || fail "the daemon runs on after the removal"
[ ! -e /usr/sbin/paneld ] || fail "the daemon's file is still there"
[ -e /etc/init.d/paneld ] || fail "the removal took a configuration file"

say "install and purge"
dpkg -i "$package"
wait_for runs || fail "the daemon does not run after another installation"
dpkg -P paneld
wait_for is_stopped || fail "the daemon runs on after the purge"
rm /usr/sbin/policy-rc.d
files >/tmp/after
diff /tmp/before /tmp/after || fail "the purge left the above"
say "all is as before"
