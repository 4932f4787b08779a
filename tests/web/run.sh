#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# The gallery's page in a real browser: tests/web/run.sh BUILD_DIR
#
# Works on a copy in the build folder, so that no library comes to lie among the
# sources. With VAULTMERE_SHOTS=folder each failure leaves a picture there.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "${1:?usage: run.sh BUILD_DIR}" && pwd)

work=$build/web-tests
mkdir -p "$work"
cp "$here"/*.mjs "$here"/package.json "$here"/package-lock.json "$work"
if ! cmp -s "$work/package-lock.json" "$work/node_modules/.installed"; then
  (cd "$work" && npm ci --no-audit --no-fund --loglevel=error)
  cp "$work/package-lock.json" "$work/node_modules/.installed"
fi
cmake "-DOUT=$build/web" -P "$here/../../resources/web/build.cmake"

cd "$work"
VAULTMERE_BUILD=$build exec node --test
