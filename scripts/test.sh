#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
#
# test.sh: installs the packages that are missing, builds everything into build/
# and runs all tests. Needs Debian 12, and sudo unless run by root.
#
# JOBS limits the parallel jobs. TEST_TMPDIR is where tests keep their files: the
# default is in memory, where their many flushes cost nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=${JOBS:-$(nproc)}
if [[ -z ${TEST_TMPDIR-} ]]; then
  TEST_TMPDIR=/tmp
  if [[ -d /dev/shm && -w /dev/shm ]]; then TEST_TMPDIR=/dev/shm; fi
fi

scripts/install-packages.sh program tests
cmake --preset release
cmake --build --preset release -j "$jobs"
TMPDIR=$TEST_TMPDIR ctest --preset release -j "$jobs"
