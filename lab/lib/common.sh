# shellcheck shell=bash
# What every part of the lab shares: addresses, and how daemons are started,
# watched and ended. Sourced, never run.
# shellcheck disable=SC2034  # most names are used by the files that source this one

# --- The lab's plan of addresses --------------------------------------------------
#
#  desktop ── router ─┬─ service   API, web site, resolver; past `distance`, the endpoints
#                     └─ gateway   IKE gateway; behind it what only the tunnel reaches

readonly labUplink=uplink0
readonly labDesktopAddress=192.0.2.2 labDesktopRouter=192.0.2.1
readonly labDesktopAddress6=2001:db8:192::2 labDesktopRouter6=2001:db8:192::1
readonly labServiceAddress6=2001:db8:198::2 labServiceRouter6=2001:db8:198::1   # answers pings, outside of the tunnel
readonly labServiceAddress=198.51.100.2 labServiceRouter=198.51.100.1
readonly labGatewayAddress=203.0.113.2 labGatewayRouter=203.0.113.1
readonly labSinkAddress=203.0.113.66       # takes every packet and never answers
readonly labEndpointNetwork=198.18.0.0/15
readonly labDistance=distance labPastDistance=100   # the device on the way to them; the routes past it
readonly labTunnelPool=10.77.1.0/24
readonly labTunnelPing=10.77.0.1 labTunnelDns=10.77.0.53

# Copies of programs that AppArmor's profiles know by path and would keep from
# the lab's files.
readonly labPrograms=$VELMORA_LAB/programs

# --- Speaking and waiting ---------------------------------------------------------

labSay() { printf 'lab: %s\n' "$*" >&2; }

# labFail PART TEXT…: the part did not work; its log says why. Does not return.
labFail() {
    local part=$1 log
    shift
    labSay "$part: $*"
    log=$VELMORA_LAB/log/$part.log
    if [[ -s $log ]]; then
        labSay "the end of its log:"
        tail -n 15 -- "$log" | sed 's/^/    /' >&2
    fi
    exit 125
}

# labUntil SECONDS COMMAND…: repeats the command until it succeeds; fails once
# the time is over.
labUntil() {
    local -i deadline=$((${EPOCHREALTIME/[.,]/} + $1 * 1000000))
    shift
    until "$@" >/dev/null 2>&1; do
        ((${EPOCHREALTIME/[.,]/} < deadline)) || return 1
        sleep 0.02
    done
}

labNot() { ! "$@"; }

# --- Daemons ----------------------------------------------------------------------

# labSpawn NAME COMMAND…: starts it detached from the terminal, its output in the log. What a test makes fatal for
# itself is not so for the daemons.
labSpawn() {
    local name=$1
    shift
    G_DEBUG='' setsid "$@" </dev/null >>"$VELMORA_LAB/log/$name.log" 2>&1 &
    echo $! >"$VELMORA_LAB/pid/$name"
    disown
}

labPid() { cat "$VELMORA_LAB/pid/$1" 2>/dev/null; }

# labAlive NAME: whether its process is there and no zombie.
labAlive() {
    local pid stat
    pid=$(labPid "$1") && [[ -n $pid ]] || return 1
    stat=$(cat "/proc/$pid/stat" 2>/dev/null) || return 1
    [[ ${stat##*) } != Z* ]]
}

# labEnd NAME [SIGNAL]: ends the daemon and waits until it is gone.
labEnd() {
    local name=$1 signal=${2:-TERM}
    labAlive "$name" || return 0
    kill -s "$signal" "$(labPid "$name")"
    if ! labUntil 5 labNot labAlive "$name"; then
        kill -KILL "$(labPid "$name")"
        labUntil 5 labNot labAlive "$name" || labFail "$name" "does not end"
    fi
}

# labReady NAME SECONDS COMMAND…: waits until the command says that the daemon
# works; says so plainly when the daemon ends or the time is over.
labReady() {
    local name=$1 seconds=$2
    shift 2
    labUntil "$seconds" labReadyOrDead "$name" "$@" || labFail "$name" "not ready after $seconds s"
    "$@" >/dev/null 2>&1 || labFail "$name" "ended while it started"
}
labReadyOrDead() {
    local name=$1
    shift
    "$@" || ! labAlive "$name"
}

# --- Whose desktop it is ----------------------------------------------------------

# In front of a command: runs it as the person who called the lab.
labAsUser=()
if ((${VELMORA_LAB_UID:-0} != 0)); then
    labAsUser=(setpriv "--reuid=$VELMORA_LAB_UID" "--regid=$VELMORA_LAB_GID" --init-groups --)
fi
