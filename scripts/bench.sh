#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
#
# bench.sh [NAME…]: runs the benchmarks, each next to its reference; with names
# ("freeze"), only these.
#
# One line a claim: ours, the reference and its name, the ratio of the two (the
# median of several rounds, with the least and the most), the wanted bound, and
# "ok" or "BELOW". Ends with status 0 whatever the ratios are; with 1 when something
# could not be measured. Works below build-bench/work, which must lie on a disk
# and takes up to 7 GiB for a while. BUILD_DIR names another folder than
# build-bench, BENCH_WORK another one to work in.
set -euo pipefail
export LC_ALL=C

root=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/..")
readonly build="${BUILD_DIR:-$root/build-bench}"
readonly work="${BENCH_WORK:-$build/work}"
readonly needed=7168 # MiB: the copy of a file of 4 GiB, a catalog, and room to spare
readonly results="$build/bench-results.txt"

fail() {
  printf 'bench: %s\n' "$*" >&2
  exit 1
}

# Sets `programs` to those that are asked for.
choose_programs() {
  local name program
  programs=()
  shopt -s nullglob
  if (($# > 0)); then
    for name in "$@"; do programs+=("$build/bench/bench_$name"); done
  else
    for program in "$build"/bench/bench_*; do
      if [[ -f $program ]]; then programs+=("$program"); fi
    done
  fi
  ((${#programs[@]} > 0)) || fail "build first: there is no benchmark in $build/bench"
  for program in "${programs[@]}"; do
    [[ -x $program ]] || fail "there is no program $program"
  done
}

remove_work() {
  local program
  for program in "${programs[@]}"; do rm -rf -- "${work:?}/$(basename -- "$program")"; done
  rm -rf -- "${work:?}/library"
  rmdir -- "$work" 2>/dev/null || true
}

check_work() {
  local kind free
  mkdir -p -- "$work"
  kind=$(stat -f -c %T -- "$work")
  case "$kind" in
  tmpfs | ramfs) fail "'$work' lies in memory ($kind); BENCH_WORK=folder takes one on a disk" ;;
  esac
  free=$(df --output=avail -BM -- "$work" | tail -n 1 | tr -dc 0-9)
  ((free >= needed)) || fail "'$work' has $free MiB free, and $needed are needed"
}

# nginx, a reference, from Debian's package, which isn't installed: that would
# start a server on this machine.
find_nginx() {
  local folder=$build/nginx
  PATH="$PATH:/usr/sbin:$folder/usr/sbin"
  if type -P nginx >/dev/null; then return; fi
  mkdir -p -- "$folder"
  (cd -- "$folder" && apt-get -q -o APT::Sandbox::User=root download nginx && dpkg -x nginx_*.deb .) ||
    fail "can't fetch nginx: 'apt-get update' may help"
}

summarise() {
  local count below
  count=$(wc -l <"$results")
  below=$(grep -c ' BELOW$' "$results" || true)
  if ((below > 0)); then
    printf '\n%s of %s claims are BELOW their bound:\n' "$below" "$count"
    grep ' BELOW$' "$results" | sed 's/^/  /'
  elif ((count > 0)); then
    printf '\nAll %s claims hold.\n' "$count"
  fi
}

for program in openssl vipsthumbnail wrk; do
  type -P "$program" >/dev/null || fail "the command $program is missing: see [bench] in packages.txt"
done
choose_programs "$@"
if [[ " ${programs[*]} " == *"/bench_gallery "* ]]; then find_nginx; fi
trap remove_work EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
check_work

: >"$results"
broken=()
for program in "${programs[@]}"; do
  "$program" "$work" | tee -a "$results" || broken+=("$(basename -- "$program")")
done
summarise
((${#broken[@]} == 0)) || fail "not measured: ${broken[*]}"
