#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Checks formatting, then runs clang-tidy over the compilation database.
set -euo pipefail
cd "$(dirname "$0")/.."

git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror
git ls-files '*.cpp' | grep -vE '^(tests|bench)/' \
  | xargs -P "$(nproc)" -n 4 clang-tidy -p build --quiet --extra-arg=-Wno-unknown-warning-option
