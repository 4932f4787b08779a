#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# install-packages.sh [LIST]: installs the packages of packages.txt, or of another
# list, that are missing; nothing when all are there. A program that is there
# from elsewhere counts: another Node.js brings an npm of its own, beside which
# Debian's can't be installed.
set -euo pipefail
cd "$(dirname "$0")"

mapfile -t wanted < <(sed -e 's/#.*//' "${1:-packages.txt}" | awk 'NF { print $1 }')
missing=()
for package in "${wanted[@]}"; do
  if type -P "$package" >/dev/null; then continue; fi
  if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
    missing+=("$package")
  fi
done
[ "${#missing[@]}" -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  as_root=(sudo)
fi
echo "Installing: ${missing[*]}"
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -q --no-install-recommends "${missing[@]}"
