#!/usr/bin/env bash
# Installs the Debian package on a bare Debian 12 in a scratch folder and runs it there. By hand,
# as root; needs debootstrap.
# usage: tools/try_package.sh dist/velmora_VERSION_amd64.deb MIRROR
#        MIRROR: where packages of Debian 12 are
set -euo pipefail
package=$(realpath "$1")
mirror=$2
root=$(mktemp -d)
trap 'umount "$root/proc" 2>/dev/null || true; rm -rf "$root"' EXIT
debootstrap --variant=minbase bookworm "$root" "$mirror" >"$root.log"
mount -t proc proc "$root/proc"
cp "$package" "$root/tmp/velmora.deb"
# How this machine reaches the mirror.
cp -r /etc/apt/apt.conf.d "$root/etc/apt/"
inside() { chroot "$root" env LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }
inside apt-get update -qq
inside apt-get install -y -qq --no-install-recommends /tmp/velmora.deb >>"$root.log"
inside velmora --version
samples=/usr/share/doc/velmora/samples
inside velmora screen $samples/german_credit.csv --binary-response risk --good good --bad bad --best 3 --quiet \
  --bins /tmp/bins.json --coded /tmp/coded.parquet
inside velmora apply /tmp/bins.json $samples/german_credit.csv --keep risk --quiet --out /tmp/again.csv
inside velmora variables --sql-from "SELECT * FROM '/tmp/coded.parquet' LIMIT 9" | head -n 3
{ inside velmora run $samples/feature_selection.py 2>&1 || true; } | grep "Scripts need Python"  # nothing else does
inside apt-get install -y -qq --no-install-recommends python3 >>"$root.log"
inside velmora run $samples/feature_selection.py | head -n 3
inside sh -c 'cd /tmp && python3 -c "import velmora; print(velmora.Application.Name)"'
inside ls /usr/share/man/man1 | grep velmora
# shellcheck disable=SC2016
inside bash -c '. /usr/share/bash-completion/completions/velmora; COMP_WORDS=(velmora screen --bi) COMP_CWORD=2; _velmora; echo "${COMPREPLY[@]}"'
inside sh -c 'test -s /usr/share/doc/velmora/copyright && test -s /usr/share/doc/velmora/NOTICE'
inside dpkg -r velmora
if inside test -e /usr/bin/velmora; then exit 1; fi
echo "The package installs, runs and goes."
