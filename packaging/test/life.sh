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

# refuses WORDS COMMAND...
refuses() {
    words=$1
    shift
    ! "$@" 2>/tmp/refusal || fail "$* is not refused"
    grep -q "$words" /tmp/refusal || fail "$* is refused otherwise: $(cat /tmp/refusal)"
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

daemons() {
    for program in /proc/[0-9]*/exe; do
        [ "$(readlink "$program")" != /usr/sbin/paneld ] || printf 'one\n'
    done | wc -l
}

# expect_daemons COUNT WHEN
expect_daemons() {
    [ "$(daemons)" -eq "$1" ] || fail "$(daemons) daemons run $2"
}

# The init script run by the command given, with nothing in its environment.
try_init_script() {
    script="env -i $*"
    $script start
    for _ in 1 2 3 4 5; do $script restart; done
    expect_daemons 1 "after quick restarts ($*)"
    for _ in 1 2 3 4 5; do $script restart & done
    wait
    expect_daemons 1 "after restarts at the same time ($*)"
    tr '\0' '\n' <"/proc/$(daemon_process)/environ" | grep -q '^PATH=.*sbin' ||
        fail "the daemon has no PATH ($*)"
    $script start
    expect_daemons 1 "after one start more ($*)"
    $script stop
    expect_daemons 0 "after the stop ($*)"

    $script start &
    until [ -d /run/paneld.pid.lock ] || [ -e /run/paneld.pid ]; do :; done
    $script stop
    wait
    expect_daemons 0 "after a stop during the start ($*)"

    # A number that belongs to somebody else by now, of a shell as the daemon once was.
    sh -c 'sleep 60; :' &
    other=$!
    echo "$other" >/run/paneld.pid
    ! $script status || fail "another process counts as the daemon ($*)"
    $script stop
    echo "$other" >/run/paneld.pid
    $script start
    expect_daemons 1 "after a start with the number of another process ($*)"
    $script stop
    kill "$other" || fail "the other process was ended ($*)"
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
refuses "no paneld is running" panelctl press
invoke-rc.d paneld start
wait_for runs || fail "the daemon does not run after its start"
wait_for has_queue || fail "the daemon has made no queue"
/etc/init.d/paneld status
first=$(daemon_process)
/etc/init.d/paneld start
[ "$(daemon_process)" = "$first" ] || fail "a second start started a second daemon"
[ "$(panelctl --version)" = "panelctl $2" ] || fail "panelctl has another version"
refuses "no button on /dev/input/event0" panelctl press
panelctl say up
panelctl queue
status=0
panelctl config >/tmp/config || status=$?
[ "$status" = 1 ] || fail "panelctl config gives $status without any files"

say "init script"
/etc/init.d/paneld stop
try_init_script sh /etc/init.d/paneld
tools=/tmp/busybox
mkdir "$tools"
for tool in sh cat kill logger mkdir mkfifo readlink rm rmdir sleep start-stop-daemon; do
    ln -s "$(command -v busybox)" "$tools/$tool"
done
sed "s,^PATH=.*,PATH=$tools:/sbin," /etc/init.d/paneld >/tmp/paneld.busybox
try_init_script "$tools/sh" /tmp/paneld.busybox
/etc/init.d/paneld start
first=$(daemon_process)

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
