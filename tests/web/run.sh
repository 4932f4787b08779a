#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# The gallery's page in a real browser: run.sh MAKE_CATALOG SERVE_GALLERY FOLDER [PATTERN]
#
# Works on a copy in FOLDER, so that no npm packages are installed among the sources.
# PATTERN selects tests by name. Each failure leaves a screenshot in FOLDER/failures.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
usage='usage: run.sh MAKE_CATALOG SERVE_GALLERY FOLDER [PATTERN]'
make_catalog=$(realpath "${1:?$usage}")
serve_gallery=$(realpath "${2:?$usage}")
mkdir -p "${3:?$usage}"
cd "$3"

rm -rf ./*.mjs failures
mkdir failures
cp "$here"/*.mjs "$here"/package.json "$here"/package-lock.json .
if ! cmp -s package-lock.json node_modules/.installed; then
  npm ci --no-audit --no-fund --loglevel=error
  cp package-lock.json node_modules/.installed
fi

MAKE_CATALOG=$make_catalog SERVE_GALLERY=$serve_gallery FAILURES=$PWD/failures \
  exec node --test --test-reporter=tap ${4:+"--test-name-pattern=$4"} all.test.mjs
