#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs the packages of packages.txt that are missing; nothing when all are
# there.
set -euo pipefail
cd "$(dirname "$0")"

mapfile -t wanted < <(sed -e 's/#.*//' packages.txt | awk 'NF { print $1 }')
missing=()
for package in "${wanted[@]}"; do
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
