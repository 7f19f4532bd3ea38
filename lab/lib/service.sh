# shellcheck shell=bash
# shellcheck disable=SC2154  # the names of common.sh, which is sourced before
# The service side: the local service and the two resolvers, one on the open
# network and one that only the tunnel reaches.

# resolverStart NAME NAMESPACE ADDRESS…
resolverStart() {
    local name=$1 namespace=$2
    cat >"$VELMORA_LAB/$name.conf" <<END
no-resolv
no-hosts
no-poll
bind-interfaces
$(printf 'listen-address=%s\n' "${@:3}")
except-interface=nothing
local=/#/
host-record=velmora.test,api.velmora.test,www.velmora.test,$labServiceAddress
host-record=gw.velmora.test,$labGatewayAddress
host-record=sink.velmora.test,$labSinkAddress
log-queries
END
    labSpawn "$name" ip netns exec "$namespace" "$labPrograms/dnsmasq" --keep-in-foreground --user=root \
        --pid-file= --log-facility=- --conf-file="$VELMORA_LAB/$name.conf"
}
# Port 53 in the table of UDP sockets.
resolverListens() { ip netns exec "$1" grep -q ':0035 ' /proc/net/udp; }
resolverReady() { labReady "$1" 5 resolverListens "$2"; }

serviceStart() {
    labAlive service && return 0
    labSpawn service ip netns exec service "$VELMORA_LAB_SERVICE" \
        --seed "$VELMORA_LAB/seed.txt" \
        --address "$labServiceAddress" \
        --database "$VELMORA_LAB_DATABASE" \
        --http-log "$VELMORA_LAB/log/http.jsonl" \
        --faults "$VELMORA_LAB/faults" \
        --gateway "$labGatewayAddress" --sink "$labSinkAddress" \
        --secrets "$SWANCTL_DIR/secrets.conf" \
        --swanctl "$labPrograms/swanctl" --vici "$gatewayVici" \
        --ready "$VELMORA_LAB/service.ready"
}
serviceReady() { labReady service 10 test -e "$VELMORA_LAB/service.ready"; }
# serviceStop: ends it as a machine that shuts down would.
serviceStop() {
    labEnd service TERM
    rm -f "$VELMORA_LAB/service.ready"
}
