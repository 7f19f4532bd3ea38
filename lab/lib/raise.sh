#!/usr/bin/env bash
# shellcheck source-path=SCRIPTDIR
# The first process inside a lab's namespaces: raises the parts, runs the
# command, and takes everything with it when it ends.
set -u

labLib=$(dirname -- "${BASH_SOURCE[0]}")
labBegan=$EPOCHREALTIME

# Ctrl-C belongs to the command.
trap : INT QUIT

labSetup() { # what must stand before anything is started
    # The old /run holds the Wayland socket; the descriptor keeps it within reach.
    exec {labOldRun}</run
    local wayland=$LAB_WAYLAND
    [[ $wayland == /run/* ]] && wayland=/proc/self/fd/$labOldRun/${wayland#/run/}

    mount -t tmpfs -o mode=755 lab /run || exit 125
    mount -t sysfs -o ro,nosuid,nodev,noexec lab /sys || exit 125
    export VELMORA_LAB=/run/velmora-lab
    mkdir -p "$VELMORA_LAB"/{log,pid,faults,home,runtime}
    [[ -z $LAB_LOGS ]] || mount --bind "$LAB_LOGS" "$VELMORA_LAB/log" || exit 125

    # /etc is a copy: NetworkManager writes to it.
    mkdir "$VELMORA_LAB/etc"
    cp -a /etc/. "$VELMORA_LAB/etc/" && mount --bind "$VELMORA_LAB/etc" /etc || exit 125
    rm -f /etc/resolv.conf
    : >/etc/resolv.conf
    [[ ! -e /etc/nsswitch.conf ]] || sed -i 's/^hosts:.*/hosts: files dns/' /etc/nsswitch.conf

    # NetworkManager would bring the machine's radio switches into the state it believes in.
    [[ ! -e /dev/rfkill ]] || mount --bind /dev/null /dev/rfkill

    labEnvironment
    # shellcheck source=common.sh
    . "$labLib/common.sh"
    # The person's, before a program of root's makes one of them.
    install -d -m 700 -o "$VELMORA_LAB_UID" -g "$VELMORA_LAB_GID" "$HOME" "$XDG_RUNTIME_DIR" "$XDG_CONFIG_HOME" \
        "$XDG_CACHE_HOME" "$HOME/.local" "$XDG_DATA_HOME" "$XDG_STATE_HOME"
    cp "$LAB_SEED" "$VELMORA_LAB/seed.txt"
    mkdir "$labPrograms"
    cp /usr/sbin/charon-systemd /usr/sbin/swanctl "$(command -v dnsmasq)" "$(command -v tcpdump)" "$labPrograms/"
    if [[ $LAB_DISPLAY == inherit ]]; then
        labInheritDisplay "$wayland"
    else
        unset DISPLAY XAUTHORITY WAYLAND_DISPLAY XDG_CURRENT_DESKTOP DESKTOP_SESSION
        export XDG_SESSION_TYPE=x11
    fi
    exec {labOldRun}<&-
}

labEnvironment() {
    local account password name
    # Nothing of the caller's session leads out of the lab.
    unset SESSION_MANAGER SSH_AUTH_SOCK GNOME_KEYRING_CONTROL DESKTOP_STARTUP_ID XDG_SESSION_ID \
        XDG_SEAT XDG_VTNR AT_SPI_BUS_ADDRESS
    for name in {http,https,ftp,all,no}_proxy; do
        unset "$name" "${name^^}"
    done

    VELMORA_LAB_UID=${SUDO_UID:-$EUID} VELMORA_LAB_GID=${SUDO_GID:-$(id -g)}
    VELMORA_LAB_PERSON=$(id -nu "$VELMORA_LAB_UID" 2>/dev/null || echo "$VELMORA_LAB_UID")
    export VELMORA_LAB_UID VELMORA_LAB_GID VELMORA_LAB_PERSON
    export VELMORA_LAB_DISPLAY=$LAB_DISPLAY VELMORA_LAB_SERVICE=$LAB_SERVICE
    export VELMORA_LAB_DATABASE=${LAB_STATE:-$VELMORA_LAB}/velmora.sqlite
    read -r _ account password < <(grep -m 1 '^account ' "$LAB_SEED")
    export VELMORA_LAB_USER=$account VELMORA_LAB_PASSWORD=$password

    export USER=$VELMORA_LAB_PERSON LOGNAME=$VELMORA_LAB_PERSON
    export HOME=$VELMORA_LAB/home XDG_RUNTIME_DIR=$VELMORA_LAB/runtime
    export XDG_CONFIG_HOME=$HOME/.config XDG_DATA_HOME=$HOME/.local/share
    export XDG_CACHE_HOME=$HOME/.cache XDG_STATE_HOME=$HOME/.local/state
    export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/dbus/system_bus_socket
    export DBUS_SESSION_BUS_ADDRESS=unix:path=$XDG_RUNTIME_DIR/bus
    # Root leaves nothing in the person's tree.
    export QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 PYTHONDONTWRITEBYTECODE=1
    [[ ${LC_ALL:-${LC_CTYPE:-${LANG:-}}} == *[Uu][Tt][Ff]* ]] || export LC_ALL=C.UTF-8

    mkdir -p "$VELMORA_LAB/bin"
    ln -s "$(readlink -f "$labLib/../labctl")" "$VELMORA_LAB/bin/labctl"
    PATH=$VELMORA_LAB/bin:$PATH
    for name in /usr/sbin /sbin; do
        [[ :$PATH: == *:$name:* ]] || PATH+=:$name
    done
    export PATH
}

# What the command finds in its environment, also as a file to source.
labWriteEnvironment() {
    export VELMORA_LAB_API=http://api.velmora.test/api/ VELMORA_LAB_WEB=http://www.velmora.test/
    export VELMORA_LAB_UPLINK=$labUplink VELMORA_LAB_UPLINK_ROUTER=$labDesktopRouter
    export VELMORA_LAB_DNS=$labServiceAddress VELMORA_LAB_TUNNEL_DNS=$labTunnelDns
    export VELMORA_LAB_GATEWAY=$labGatewayAddress VELMORA_LAB_SINK=$labSinkAddress
    export VELMORA_LAB_PING=$labTunnelPing VELMORA_LAB_IPV6=$labServiceAddress6
    local name
    for name in "${!VELMORA_LAB@}" HOME XDG_{RUNTIME_DIR,{CONFIG,DATA,CACHE,STATE}_HOME} \
        DBUS_{SYSTEM,SESSION}_BUS_ADDRESS DISPLAY XAUTHORITY WAYLAND_DISPLAY \
        XDG_SESSION_TYPE QT_LINUX_ACCESSIBILITY_ALWAYS_ON USER LOGNAME PATH; do
        [[ -z ${!name:-} ]] || printf 'export %s=%q\n' "$name" "${!name}"
    done >"$VELMORA_LAB/env"
}

labInheritDisplay() { # WAYLAND-SOCKET
    local cookies=${XAUTHORITY:-}
    [[ -n $cookies ]] || cookies=$(getent passwd "$VELMORA_LAB_UID" | cut -d: -f6)/.Xauthority
    [[ $cookies == /run/* ]] && cookies=/proc/self/fd/$labOldRun/${cookies#/run/}
    if [[ -r $cookies ]]; then
        cp -- "$cookies" "$HOME/.Xauthority"
        chown "$VELMORA_LAB_UID:$VELMORA_LAB_GID" "$HOME/.Xauthority"
        export XAUTHORITY=$HOME/.Xauthority
    fi
    if [[ -n ${WAYLAND_DISPLAY:-} && -S $1 ]]; then
        : >"$XDG_RUNTIME_DIR/wayland-0"
        mount --bind "$1" "$XDG_RUNTIME_DIR/wayland-0"
        export WAYLAND_DISPLAY=wayland-0
    fi
}

labStep() {
    local began=${EPOCHREALTIME/[.,]/}
    "$@"
    [[ -z $LAB_VERBOSE ]] || printf 'lab: %-20s %4d ms\n' "$1" $(((${EPOCHREALTIME/[.,]/} - began) / 1000)) >&2
}

labSetup
# shellcheck source=network.sh
. "$labLib/network.sh"
# shellcheck source=gateway.sh
. "$labLib/gateway.sh"
# shellcheck source=service.sh
. "$labLib/service.sh"
# shellcheck source=desktop.sh
. "$labLib/desktop.sh"

# Everything is started before anything is waited for.
labStep networkRaise "$VELMORA_LAB/seed.txt"
labStep distanceStart
labStep gatewayConfigure
labStep gatewayStart
labStep resolverStart resolver service "$labServiceAddress" "$labServiceAddress6"
labStep resolverStart tunnel-resolver gateway "$labTunnelDns"
labStep serviceStart
labStep systemBusStart
labStep sessionBusStart
[[ $LAB_DISPLAY != virtual ]] || labStep displayStart
labStep nmConfigure
labStep systemBusReady
labStep logindStart
labStep nmStart
labStep sessionBusReady
labStep keyringStart
if [[ $LAB_DISPLAY == virtual ]]; then
    labStep displayReady
    labStep windowManagerStart
fi
[[ $LAB_DISPLAY == none ]] || labStep accessibilityStart
labStep gatewayReady
labStep resolverReady resolver service
labStep resolverReady tunnel-resolver gateway
labStep serviceReady
labStep distanceReady
labStep keyringReady
[[ $LAB_DISPLAY != virtual ]] || labStep windowManagerReady
[[ $LAB_DISPLAY == none ]] || labStep accessibilityReady
labStep logindReady
labStep nmReady
labWriteEnvironment
labCallersLogs=$LAB_LOGS
[[ -z $LAB_VERBOSE ]] || labSay "raised in $(((${EPOCHREALTIME/[.,]/} - ${labBegan/[.,]/}) / 1000)) ms"
unset "${!LAB_@}"

"$@"
labStatus=$?
[[ -z $labCallersLogs ]] || chown -R "$VELMORA_LAB_UID:$VELMORA_LAB_GID" "$VELMORA_LAB/log"
exit "$labStatus"
