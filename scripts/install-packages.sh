#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# install-packages.sh SECTION…: installs the missing packages of these sections of
# packages.txt. A program that was installed in another way counts as its package:
# another Node.js brings its own npm, beside which Debian's can't be installed.
set -euo pipefail
cd "$(dirname "$0")"

# Prints the packages of one section.
section() {
  awk -v wanted="[$1]" '
    /^\[/ { inside = ($1 == wanted); found = found || inside; next }
    /^[ \t]*(#|$)/ { next }
    inside { print $1 }
    END { exit !found }' packages.txt
}

missing=()
for name in "$@"; do
  packages=$(section "$name") || {
    echo "install-packages: packages.txt has no section [$name]" >&2
    exit 1
  }
  for package in $packages; do
    if type -P "$package" >/dev/null; then continue; fi
    if [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
      missing+=("$package")
    fi
  done
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
