# shellcheck shell=bash
# shellcheck disable=SC2154  # the names of common.sh, which is sourced before
# The IKEv1 gateway: strongSwan with its own user-space ESP, in the namespace
# `gateway`. Its secrets are written by the local service, one set per connect request.

readonly gatewayHome=$VELMORA_LAB/gateway
export STRONGSWAN_CONF=$gatewayHome/strongswan.conf SWANCTL_DIR=$gatewayHome/swanctl
readonly gatewayVici=unix://$gatewayHome/charon.vici

gatewayConfigure() {
    local folder
    mkdir -p "$SWANCTL_DIR"
    for folder in conf.d x509 x509ca x509ocsp x509aa x509ac x509crl pubkey private rsa ecdsa bliss pkcs8 pkcs12; do
        mkdir -p "$SWANCTL_DIR/$folder"
    done
    cat >"$STRONGSWAN_CONF" <<END
charon-systemd {
    load = random nonce aes sha1 sha2 md5 hmac gmp curve25519 pem pkcs1 x509 pubkey constraints revocation kdf gcrypt kernel-libipsec kernel-netlink socket-default vici updown xauth-generic attr unity fips-prf drbg
    i_dont_care_about_security_and_use_aggressive_mode_psk = yes
    block_threshold = 0
    cookie_threshold = 0
    install_virtual_ip = no
    journal {
        default = -1
    }
    filelog {
        lab {
            path = $VELMORA_LAB/log/gateway.log
            append = yes
            flush_line = yes
            time_format = %T
            default = 1
        }
    }
    plugins {
        vici {
            socket = $gatewayVici
        }
    }
}
swanctl {
    load = pem pkcs1 x509 pubkey random nonce
}
END
    cat >"$SWANCTL_DIR/swanctl.conf" <<END
connections {
    clients {
        version = 1
        aggressive = yes
        unique = replace
        local_addrs = $labGatewayAddress
        proposals = aes256-sha1-modp2048
        pools = clients
        dpd_delay = 10s
        local {
            auth = psk
        }
        remote-1 {
            auth = psk
            id = keyid:client
        }
        remote-2 {
            auth = xauth
        }
        children {
            all {
                local_ts = 0.0.0.0/0
                esp_proposals = aes256-sha1
                dpd_action = clear
            }
        }
    }
}
pools {
    clients {
        addrs = $labTunnelPool
        dns = $labTunnelDns
    }
}
include secrets.conf
END
    (umask 077 && : >"$SWANCTL_DIR/secrets.conf")
    # The person may read it; the daemon would make it for root alone.
    : >>"$VELMORA_LAB/log/gateway.log"
    chmod 644 "$VELMORA_LAB/log/gateway.log"
}

gatewayStart() {
    labAlive gateway && return 0
    rm -f "$gatewayHome/charon.vici"
    labSpawn gateway ip netns exec gateway "$labPrograms/charon-systemd"
}

gatewayLoad() { # all|creds
    timeout 10 "$labPrograms/swanctl" "--load-$1" --noprompt --uri "$gatewayVici" \
        >>"$VELMORA_LAB/log/gateway-load.log" 2>&1 ||
        labFail gateway-load "does not take its configuration"
}
gatewayReady() {
    labReady gateway 10 test -S "$gatewayHome/charon.vici"
    gatewayLoad all
}

# What is up stays up; nothing that was begun with the same secrets comes up any more.
gatewayForget() {
    : >"$SWANCTL_DIR/secrets.conf"
    gatewayLoad creds
}

# The gateway ends at once and tells nobody, as in a crash: a client learns it
# from its own dead peer detection.
gatewayStop() { labEnd gateway KILL; }

# Packets to the gateway vanish, or pass again.
gatewaySilent() { ip -n router route replace blackhole "$labGatewayAddress/32"; }
gatewayHeard() { ip -n router route del blackhole "$labGatewayAddress/32" 2>/dev/null || true; }
