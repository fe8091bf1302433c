# shellcheck shell=sh
# Stand-ins for `ip` and `getent`; 3,000 routes; a name server that is dead.

tree_net_routes_dns() {
  put "$1/etc/resolv.conf" '# by hand\nsearch cluster.example\nnameserver 10.0.0.53\n'
  put "$1/etc/hosts" '127.0.0.1 localhost\n\n # a remark\n10.0.0.5\tnode5\n'
  # shellcheck disable=SC2016 # for the stand-in
  put_tool "$scratch/ip/ip" 'case "$*" in
  "-o address show") echo "2: eth0    inet 10.0.0.5/24 brd 10.0.0.255 scope global dynamic eth0\       valid_lft 3412sec preferred_lft 3412sec" ;;
  "-4 route show")
    echo "default via 10.0.0.1 dev eth0 proto dhcp src 10.0.0.5 metric 100 mtu 9000 "
    printf "10.2.0.0/16 proto static src 10.0.0.5\n\tnexthop via 10.0.0.1 dev eth0 weight 1 \n\tnexthop via 10.0.0.2 dev eth0 weight 1 \n"
    echo "blackhole 10.3.0.0/16"
    echo "10.0.0.5 via 127.0.0.1 dev lo"
    echo "10.244.1.7 dev cali03d1 scope link"
    echo "blackhole 10.244.1.0/26 proto bird"
    i=0
    while [ $i -lt 3000 ]; do echo "10.1.$((i / 256)).$((i % 256)) via 10.0.0.1 dev eth0"; i=$((i + 1)); done ;;
  "-6 route show") echo "default via fe80::1 dev eth0 proto ra metric 1024 expires 1712sec hoplimit 64 pref medium" ;;
  "-4 rule show") printf "0:\tfrom all lookup local \n" ;;
  *) echo "RTNETLINK answers: Address family not supported by protocol" >&2; exit 2 ;;
esac'
  put_tool "$scratch/ip/getent" 'exit 2'
  cp -R "$scratch/ip" "$scratch/ip-dead"
  put_tool "$scratch/ip-dead/getent" 'sleep 30'
}

test_net_routes_dns() {
  shell="env ZELK_PROVIDER_PATH=$scratch/ip:/usr/sbin:/usr/bin:/sbin:/bin"
  check "routes: an address without its lifetime" gives 0 net_routes_dns \
    "address: 2: eth0 inet 10.0.0.5/24 brd 10.0.0.255 scope global dynamic eth0"
  check "routes: the default, the own address behind the rest" gives 0 net_routes_dns \
    "route4: default via 10.0.0.1 dev eth0 proto dhcp mtu 9000 metric 100 src 10.0.0.5"
  check "routes: several next hops are one route" gives 0 net_routes_dns \
    "route4: 10.2.0.0/16 proto static nexthop via 10.0.0.1 dev eth0 weight 1 nexthop via 10.0.0.2 dev eth0 weight 1 src 10.0.0.5"
  check "routes: into nowhere" gives 0 net_routes_dns "route4: blackhole 10.3.0.0/16"
  check "routes: to itself" gives 0 net_routes_dns "volatile: route4: 10.0.0.5 via 127.0.0.1 dev lo"
  check "routes: to a container" gives 0 net_routes_dns \
    "volatile: route4: 10.244.1.7 dev cali03d1 scope link"
  check "routes: of a network of containers" gives 0 net_routes_dns \
    "volatile: route4: blackhole 10.244.1.0/26 proto bird"
  check "routes: an expiry is left out" gives 0 net_routes_dns \
    "route6: default via fe80::1 dev eth0 proto ra hoplimit 64 pref medium metric 1024"
  check "routes: a rule" gives 0 net_routes_dns "rule4: 0: from all lookup local"
  check "routes: too many are counted" gives 0 net_routes_dns "skipped: route4: 1006 more"
  check "routes: no IPv6 rules" gives 0 net_routes_dns "failed: ip: exit status 2"
  check "routes: what failed is not known" gives 0 net_routes_dns \
    "unreadable: rule6: ip: exit status 2"
  check "routes: a complaint is no rule" lacks net_routes_dns '^rule6'
  check "names: servers" gives 0 net_routes_dns "/etc/resolv.conf: nameserver 10.0.0.53"
  check "names: no remarks" lacks net_routes_dns 'remark\|by hand'
  check "names: a node that does not know itself" gives 0 net_routes_dns "lookup.own_name: unknown"
  shell="env ZELK_PROVIDER_PATH=$scratch/ip-dead:/usr/sbin:/usr/bin:/sbin:/bin"
  check "names: a server that is dead is a finding" gives 0 net_routes_dns \
    "lookup.own_name: no answer in 5 s"
  shell=
  rm -r "$trees/net_routes_dns/etc/resolv.conf"
  check "names: no resolv.conf" gives 0 net_routes_dns "missing: /etc/resolv.conf"
  check "names: which is a fact" gives 0 net_routes_dns "resolv_conf: missing"
}
