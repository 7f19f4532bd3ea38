# shellcheck shell=bash
# shellcheck disable=SC2154  # the names of common.sh, which is sourced before
# The desktop side: system bus and NetworkManager, session bus and keyring,
# display. It lives in the namespace that the lab itself runs in.

# --- System bus -------------------------------------------------------------------

systemBusStart() {
    # No service folder: nothing of the machine is activated here, and a daemon
    # that is absent answers at once.
    cat >"$VELMORA_LAB/system-bus.conf" <<END
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=/run/dbus/system_bus_socket</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus"/>
    <allow own="org.freedesktop.login1"/>
    <allow send_destination="org.freedesktop.login1"/>
  </policy>
  <includedir>/usr/share/dbus-1/system.d</includedir>
</busconfig>
END
    mkdir -p /run/dbus
    labSpawn system-bus dbus-daemon --config-file="$VELMORA_LAB/system-bus.conf" --nofork --nopidfile
}
busAnswers() { dbus-send "--bus=$1" --dest=org.freedesktop.DBus --print-reply / org.freedesktop.DBus.GetId; }
systemBusReady() { labReady system-bus 5 busAnswers "$DBUS_SYSTEM_BUS_ADDRESS"; }

# --- Suspend ----------------------------------------------------------------------

logindStart() { labSpawn logind "$labLib/../logind"; }
logindCall() {
    dbus-send --system --dest=org.freedesktop.login1 --print-reply --reply-timeout=10000 /org/freedesktop/login1 "$@"
}
logindReady() { labReady logind 10 logindCall org.freedesktop.DBus.Peer.Ping; }
# The daemon takes down what is hardware when it is told, and brings it back; the lab's uplink is none, so that is
# done for it.
sleepOn() {
    logindCall test.velmora.Sleep.Sleep >/dev/null || labFail logind "does not suspend"
    ! labAlive nm || nmcli device disconnect "$labUplink" >/dev/null || labFail nm "does not take the uplink down"
}
sleepOff() {
    logindCall test.velmora.Sleep.Wake >/dev/null || labFail logind "does not resume"
    ! labAlive nm || nmcli device connect "$labUplink" >/dev/null || labFail nm "does not bring the uplink back"
}

# --- NetworkManager ---------------------------------------------------------------

readonly nmPlugins=/usr/lib/NetworkManager/VPN nmPlugin=nm-vpnc-service.name

nmConfigure() {
    local folder
    for folder in /etc/NetworkManager /var/lib/NetworkManager /usr/lib/NetworkManager/conf.d \
        /usr/lib/NetworkManager/system-connections; do
        [[ -d $folder ]] && mount -t tmpfs -o mode=755 lab "$folder"
    done
    # A copy, from which the plugin can be taken away.
    cp -a "$nmPlugins" "$VELMORA_LAB/plugins"
    mount --bind "$VELMORA_LAB/plugins" "$nmPlugins"
    mkdir -p /etc/NetworkManager/system-connections
    cat >/etc/NetworkManager/NetworkManager.conf <<END
[main]
plugins=keyfile
dns=default
rc-manager=file
no-auto-default=*
auth-polkit=false
hostname-mode=none

[logging]
level=INFO

[connectivity]
enabled=false

[keyfile]
unmanaged-devices=interface-name:lo

[device-uplink]
match-device=interface-name:$labUplink
managed=1
END
    cat >/etc/NetworkManager/system-connections/uplink.nmconnection <<END
[connection]
id=uplink
uuid=6c8bdb5c-5d0e-4a51-a3ac-0f4bd0a6a6f0
type=ethernet
interface-name=$labUplink
autoconnect=true

[ipv4]
method=manual
address1=$labDesktopAddress/24,$labDesktopRouter
dns=$labServiceAddress;
route-metric=100

[ipv6]
method=manual
address1=$labDesktopAddress6/64,$labDesktopRouter6
dns=$labServiceAddress6;
route-metric=100
END
    chmod 600 /etc/NetworkManager/system-connections/uplink.nmconnection

    # A person's own profiles count while the person has a session; this is how
    # logind would say so.
    mkdir -p /run/systemd/{seats,sessions,users,machines}
    cat >"/run/systemd/users/$VELMORA_LAB_UID" <<END
NAME=$VELMORA_LAB_PERSON
STATE=active
RUNTIME=$XDG_RUNTIME_DIR
DISPLAY=lab1
SESSIONS=lab1
SEATS=seat0
ACTIVE_SESSIONS=lab1
ONLINE_SESSIONS=lab1
ACTIVE_SEATS=seat0
ONLINE_SEATS=seat0
END
    cat >/run/systemd/sessions/lab1 <<END
UID=$VELMORA_LAB_UID
USER=$VELMORA_LAB_PERSON
ACTIVE=1
STATE=active
REMOTE=0
TYPE=x11
CLASS=user
SEAT=seat0
END
}

pluginRemove() { [[ ! -e $nmPlugins/$nmPlugin ]] || mv "$nmPlugins/$nmPlugin" "$nmPlugins/$nmPlugin.away"; }
pluginInstall() { [[ -e $nmPlugins/$nmPlugin ]] || mv "$nmPlugins/$nmPlugin.away" "$nmPlugins/$nmPlugin"; }

# nmRefuse on|off: whether the daemon refuses the person what it lets root do, from its next start on.
nmRefuse() {
    local file=/etc/NetworkManager/conf.d/refuse.conf
    mkdir -p "${file%/*}"
    rm -f "$file"
    [[ $1 == off ]] || printf '[main]\nauth-polkit=root-only\n' >"$file"
}
nmStart() {
    if labAlive nm; then nmThaw; else labSpawn nm NetworkManager --debug; fi
}
nmFreeze() { kill -STOP "$(labPid nm)"; }
nmThaw() { kill -CONT "$(labPid nm)"; }
# nmTrap METHOD COUNT: kills it when this method is called for the so many-th time from now on, whether it has answered
# by then or not.
nmTrap() {
    local calls=$VELMORA_LAB/nm-trap
    : >"$calls"
    # shellcheck disable=SC2016  # expanded by the inner shell
    labSpawn nm-trap bash -c '
        grep -m "$3" "^method call .*member=$2$" < <(exec dbus-monitor --system 2>&1 | tee "$1")
        kill -KILL "$4"' trap "$calls" "$1" "$2" "$(labPid nm)"
    # It has lost the name that it came with: from then on it sees everything.
    labReady nm-trap 5 grep -q NameLost "$calls"
}
nmUplinkUp() { [[ $(nmcli -g GENERAL.STATE device show "$labUplink" 2>/dev/null) == 100* ]]; }
nmReady() { labReady nm 15 nmUplinkUp; }
nmOwnsName() { dbus-send --system --dest=org.freedesktop.DBus --print-reply / org.freedesktop.DBus.GetNameOwner string:org.freedesktop.NetworkManager; }
noTunnelDevice() { [[ -z $(ip -br link show type tun) ]]; }
nmStop() {
    labEnd nm "${1:-TERM}"
    labUntil 5 labNot nmOwnsName || labFail nm "keeps its name on the bus"
    # Its helpers follow when they see that, and a tunnel with them.
    labUntil 5 noTunnelDevice || labFail nm "leaves a tunnel behind"
}

# --- Session bus and keyring ------------------------------------------------------

sessionBusStart() {
    local name
    # Only what the desktop cannot be without is activated by name. The Secret
    # Service is not: a keyring that was ended stays away.
    mkdir -p "$VELMORA_LAB/session-services"
    for name in org.a11y.Bus ca.desrt.dconf; do
        [[ -e /usr/share/dbus-1/services/$name.service ]] &&
            ln -s "/usr/share/dbus-1/services/$name.service" "$VELMORA_LAB/session-services/"
    done
    cat >"$VELMORA_LAB/session-bus.conf" <<END
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <keep_umask/>
  <listen>unix:path=$XDG_RUNTIME_DIR/bus</listen>
  <auth>EXTERNAL</auth>
  <servicedir>$VELMORA_LAB/session-services</servicedir>
  <policy context="default">
    <allow user="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
END
    labSpawn session-bus "${labAsUser[@]}" \
        dbus-daemon --config-file="$VELMORA_LAB/session-bus.conf" --nofork --nopidfile
}
sessionBusReady() { labReady session-bus 5 busAnswers "$DBUS_SESSION_BUS_ADDRESS"; }

readonly keyringLogin=/org/freedesktop/secrets/collection/login
secretsCall() {
    dbus-send --session --dest=org.freedesktop.secrets --print-reply "$@"
}
keyringIsLocked() {
    secretsCall "$keyringLogin" org.freedesktop.DBus.Properties.Get \
        string:org.freedesktop.Secret.Collection string:Locked | grep -q "boolean $1"
}
keyringOwnsName() { dbus-send --session --dest=org.freedesktop.DBus --print-reply / org.freedesktop.DBus.GetNameOwner string:org.freedesktop.secrets; }

readonly keyringPassword=lab
keyringStart() {
    labAlive keyring && return 0
    # shellcheck disable=SC2016  # expanded by the inner shell
    labSpawn keyring bash -c 'exec "$@" < <(printf %s "$0")' "$keyringPassword" "${labAsUser[@]}" \
        gnome-keyring-daemon --foreground --unlock --components=secrets
}
keyringReady() { labReady keyring 10 keyringIsLocked false; }
keyringKill() {
    labEnd keyring KILL
    labUntil 5 labNot keyringOwnsName || labFail keyring "keeps its name on the bus"
}
keyringLock() {
    secretsCall /org/freedesktop/secrets org.freedesktop.Secret.Service.Lock "array:objpath:$keyringLogin" >/dev/null
    labUntil 5 keyringIsLocked true || labFail keyring "does not lock"
}
keyringUnlock() {
    "$labLib/../unlock" "$keyringPassword" >>"$VELMORA_LAB/log/keyring.log" 2>&1
    labUntil 5 keyringIsLocked false || labFail keyring "does not unlock"
}

# --- Display ----------------------------------------------------------------------

# A display of its own listens on an abstract socket, which is private to the
# lab's network namespace, and leaves no file.
displayStart() {
    # shellcheck disable=SC2016  # expanded by the inner shell
    labSpawn display bash -c 'exec "$@" 3>"$0"' "$VELMORA_LAB/display" \
        Xvfb -displayfd 3 -nolock -nolisten unix -nolisten tcp -ac -noreset -screen 0 "${LAB_SCREEN}x24" -dpi 96
}
displayReady() {
    labReady display 10 test -s "$VELMORA_LAB/display"
    DISPLAY=:$(<"$VELMORA_LAB/display")
    export DISPLAY
}
windowManagerStart() {
    labSpawn window-manager "${labAsUser[@]}" \
        openbox --startup "touch $XDG_RUNTIME_DIR/openbox-ready"
}
windowManagerReady() { labReady window-manager 10 test -e "$XDG_RUNTIME_DIR/openbox-ready"; }

# A desktop starts the accessibility bus with the session; Qt looks for it once
# and does not ask for it.
accessibilityStart() {
    labSpawn accessibility "${labAsUser[@]}" /usr/libexec/at-spi-bus-launcher --launch-immediately
}
accessibilityAnswers() {
    dbus-send --session --dest=org.a11y.Bus --print-reply /org/a11y/bus org.a11y.Bus.GetAddress
}
accessibilityReady() { labReady accessibility 10 accessibilityAnswers; }
