# shellcheck shell=bash
# shellcheck disable=SC2154  # the names of common.sh, which is sourced before
# The wires: the namespaces router, service and gateway, and the desktop's
# uplink. The desktop side is the namespace that the lab itself runs in.

networkDo() { "$@" || labFail network "this did not work: $*"; }

# networkRaise SEED
networkRaise() {
    local seed=$1 namespace key address answer
    networkDo ip link set lo up
    for namespace in router service gateway; do
        networkDo ip netns add "$namespace"
        networkDo ip -n "$namespace" link set lo up
    done
    # No address waits for duplicates of itself.
    for namespace in router service; do
        networkDo ip netns exec "$namespace" sh -c 'echo 0 >/proc/sys/net/ipv6/conf/default/accept_dad'
    done
    echo 0 >/proc/sys/net/ipv6/conf/default/accept_dad
    networkDo ip link add "$labUplink" type veth peer name desktop netns router
    networkDo ip -n router link add service type veth peer name wan netns service
    networkDo ip -n router link add gateway type veth peer name wan netns gateway

    # NetworkManager gives the uplink its address; the rest is fixed.
    # What goes to an endpoint takes the way through the forwarder and comes back from its device; from there,
    # and only from there, the way leads on. The answers come straight back.
    networkDo ip -n router -batch - <<END
tuntap add dev $labDistance mode tun
address add $labDesktopRouter/24 dev desktop
address add $labDesktopRouter6/64 dev desktop
address add $labServiceRouter/24 dev service
address add $labServiceRouter6/64 dev service
address add $labGatewayRouter/24 dev gateway
link set desktop up
link set service up
link set gateway up
link set $labDistance up
route add $labEndpointNetwork dev $labDistance
route add $labEndpointNetwork via $labServiceAddress table $labPastDistance
rule add iif $labDistance lookup $labPastDistance
route add $labTunnelPool via $labGatewayAddress
route add blackhole $labSinkAddress
END
    networkDo ip -n service -batch - <<END
address add $labServiceAddress/24 dev wan
address add $labServiceAddress6/64 dev wan
link set wan up
route add default via $labServiceRouter
route add default via $labServiceRouter6
route add local $labEndpointNetwork dev lo
END
    networkDo ip -n gateway -batch - <<END
address add $labGatewayAddress/24 dev wan
address add $labTunnelPing/32 dev lo
address add $labTunnelDns/32 dev lo
link set wan up
route add default via $labGatewayRouter
END
    for namespace in router gateway; do
        networkDo ip netns exec "$namespace" sh -c 'echo 1 >/proc/sys/net/ipv4/ip_forward'
    done

    # The router keeps its addresses while a cable is out.
    networkDo ip netns exec router sh -c 'cd /proc/sys/net/ipv6/conf/all && echo 1 >forwarding && echo 1 >keep_addr_on_down'

    # The ways there and back differ, which is no forgery here.
    # shellcheck disable=SC2016  # expanded by the inner shell
    ip netns exec router sh -c 'for each in /proc/sys/net/ipv4/conf/*/rp_filter; do echo 0 >"$each"; done'

    # "No route" is answered every time, not once a second.
    ip netns exec router sh -c 'echo 0 >/proc/sys/net/ipv4/icmp_ratelimit'

    # An endpoint that refuses lives on the gateway, where nothing listens; one
    # that is silent is a route to nowhere (an unanswered ARP question would
    # come back as another error).
    while read -r key _ _ address answer _; do
        [[ $key == endpoint ]] || continue
        case $answer in
            refuses)
                echo "route add $address via $labGatewayAddress table $labPastDistance"
                echo "route add local $address dev lo" >&3
                ;;
            silent) echo "route add blackhole $address" ;;
        esac
    done <"$seed" >"$VELMORA_LAB/router.ip" 3>"$VELMORA_LAB/gateway.ip"
    networkDo ip -n router -batch "$VELMORA_LAB/router.ip"
    networkDo ip -n gateway -batch "$VELMORA_LAB/gateway.ip"

    # A host that drops packets fails a connect after 3 s, not after 134 s.
    echo 1 >/proc/sys/net/ipv4/tcp_syn_retries
    if [[ -e /proc/sys/net/ipv4/tcp_syn_linear_timeouts ]]; then
        echo 0 >/proc/sys/net/ipv4/tcp_syn_linear_timeouts
    fi
}

# The forwarder that gives the endpoints their distance.
distanceStart() {
    labSpawn distance ip netns exec router "$labLib/../distance" \
        "$VELMORA_LAB/seed.txt" "$labDistance" "$VELMORA_LAB/distance.ready"
}
distanceReady() { labReady distance 5 test -e "$VELMORA_LAB/distance.ready"; }

# What passes the router's end of the uplink: a packet that takes the way beside the tunnel is in the clear there.
readonly captureFile=$VELMORA_LAB/capture.pcap
captureStart() {
    rm -f "$captureFile"
    : >"$VELMORA_LAB/log/capture.log"
    labSpawn capture ip netns exec router "$labPrograms/tcpdump" -Z root -n -U --immediate-mode -i desktop -w "$captureFile"
}
captureReady() { labReady capture 5 grep -q '^tcpdump: listening' "$VELMORA_LAB/log/capture.log"; }
captureStop() { labEnd capture; }
# captureShow FILTER…: a packet of its own, sent and seen, tells that all those before it are in the file. That one
# and the router's answer are left out.
captureShow() {
    local marker=marker-$EPOCHREALTIME-$RANDOM
    printf %s "$marker" >"/dev/udp/$labDesktopRouter/9" || labFail capture "the uplink takes no packet"
    labUntil 5 grep -qF "$marker" "$captureFile" || labFail capture "sees no packet"
    "$labPrograms/tcpdump" -Z root -n -t -q -r "$captureFile" \
        "not udp port 9 and not (icmp and src host $labDesktopRouter) and ($*)" 2>/dev/null
}

# linkDown, linkUp: the uplink's cable, pulled at the router's end.
linkCarrier() { [[ $(cat /sys/class/net/"$labUplink"/carrier 2>/dev/null) == "$1" ]]; }
linkDown() {
    networkDo ip -n router link set desktop down
    labUntil 5 linkCarrier 0 || labFail network "the uplink keeps its carrier"
}
linkUp() {
    networkDo ip -n router link set desktop up
    labUntil 5 linkCarrier 1 || labFail network "the uplink gets no carrier"
}
