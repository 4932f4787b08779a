#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
#
# demo.sh [FOLDER]: builds the program, freezes a folder into a new archive and
# checks the result.
#
# Needs Debian 12, and sudo unless run by root: the packages that the build needs
# are installed first. Without FOLDER, sample pictures and clips are made.
# Everything that is written lies below build/, the archive and its catalog in
# build/demo, which is new each time; FOLDER itself is only read. JOBS limits the
# parallel jobs of the build.
set -euo pipefail
export LC_ALL=C # file names are bytes

root=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/..")
readonly build="$root/build"
readonly demo="$build/demo"
readonly archive="$demo/archive"
readonly log="$demo/log.txt"
readonly pipe="$demo/stderr"
readonly run_limit=600 # seconds, with the samples
readonly stop_limit=30
readonly end_pattern='^[^]]*\] SELFTEST_END count=([0-9]+) redup=([0-9]+)/([0-9]+)$'

program=''

fail() {
  printf 'demo: %s\n' "$*" >&2
  exit 1
}

stop_program() {
  [[ -z $program ]] || kill -TERM "$program" 2>/dev/null || true
  rm -f "$pipe"
}
trap stop_program EXIT

# Sets `source_folder` to the absolute path of what is to be archived.
choose_source() {
  source_folder="$demo/samples"
  [[ -n ${1-} ]] || return 0
  [[ -d $1 ]] || fail "there is no folder '$1'"
  source_folder=$(realpath -- "$1")
  case "$source_folder/" in
  "$archive/"* | "$demo/data/"* | "$demo/config/"*)
    fail "'$1' was written by the last demo, and is removed when this one starts" ;;
  esac
}

build_program() {
  "$root/scripts/install-packages.sh" program
  (cd -- "$root" && cmake --preset demo && cmake --build --preset demo -j "${JOBS:-$(nproc)}")
}

make_samples() {
  rm -rf "$source_folder"
  "$build/make_samples" "$source_folder"
}

start_program() {
  local hook
  for hook in "${!VAULTMERE_@}"; do unset "$hook"; done
  rm -rf "$archive" "$demo/data" "$demo/config" "$pipe"
  mkdir -p "$archive"
  mkfifo "$pipe"
  XDG_DATA_HOME="$demo/data" XDG_CONFIG_HOME="$demo/config" \
    VAULTMERE_SELFTEST_DIR="$source_folder" VAULTMERE_ARCHIVE="$archive" \
    "$build/vaultmere" 2>"$pipe" &
  program=$!
}

# Shows the program's lines and keeps them in the log. Ends the program after the
# last line of the run, and reads on to the end of its output. $1 limits the run
# in seconds; empty, it is unlimited.
follow_program() {
  local line limit status deadline=0
  ended=''
  [[ -z $1 ]] || deadline=$((SECONDS + $1))
  exec 3<"$pipe"
  : >"$log"
  while true; do
    limit=()
    if ((deadline > 0)); then limit=(-t "$((deadline > SECONDS ? deadline - SECONDS : 1))"); fi
    status=0
    IFS= read -r "${limit[@]}" -u 3 line || status=$?
    if ((status > 128)); then
      if [[ -n $ended ]]; then
        kill -KILL "$program" 2>/dev/null || true
        fail "the program did not stop within $stop_limit seconds"
      fi
      fail "the program took longer than $1 seconds"
    fi
    ((status == 0)) || break
    printf '%s\n' "$line"
    printf '%s\n' "$line" >>"$log"
    if [[ $line =~ $end_pattern ]]; then
      ended=yes
      processed=${BASH_REMATCH[1]} repeated=${BASH_REMATCH[2]} second_pass=${BASH_REMATCH[3]}
      kill -TERM "$program" 2>/dev/null || true
      deadline=$((SECONDS + stop_limit))
    fi
  done
  exec 3<&-
}

await_program() {
  local status=0
  wait "$program" || status=$?
  program=''
  [[ -n $ended ]] || fail "the program ended with status $status before the run was over; see $log"
  ((status == 0)) || fail "the program did not stop cleanly: status $status; see $log"
}

# Prints the outcomes of the first pass, one a line.
outcomes() {
  sed -nE 's/^[^]]*\] SELFTEST_RESULT .* -> (inserted|duplicate|skipped|failed) .*$/\1/p' "$log"
}

# Prints the archive's files, relative to its root.
archived_files() {
  local file
  shopt -s globstar nullglob
  for file in "$archive"/**/*; do
    if [[ -f $file ]]; then printf '%s\n' "${file#"$archive"/}"; fi
  done
}

# Checks that one file's name is the hash of its bytes. The clip of a Live Photo
# has the name of its still and is skipped.
check_one_file() {
  local file hash others
  shopt -s nullglob
  while IFS= read -r file; do
    others=("$archive/${file%.*}".*)
    if [[ $file == *.mov && ${#others[@]} -gt 1 ]]; then continue; fi
    hash=$(sha256sum <"$archive/$file")
    hash=${hash%% *}
    [[ $(basename "${file%.*}") == "$hash" ]] || fail "$file has the hash $hash"
    printf '\nChecked: the name of %s is the SHA-256 of its bytes.\n' "$file"
    return
  done < <(archived_files)
  fail "nothing was archived"
}

summarise() {
  printf '\nArchived files by folder, in %s:\n' "$archive"
  archived_files | sed 's|/[^/]*$||' | sort | uniq -c
  printf '\nFiles by outcome, of %s:\n' "$processed"
  outcomes | sort | uniq -c
  printf '\nThe second pass recognised %s of %s.\n' "$repeated" "$second_pass"
  check_one_file
}

show_gallery_command() {
  printf '\nTo look at it in a browser, at http://127.0.0.1:8080/ (Ctrl-C ends it):\n'
  printf '  %q --support %q --archive %q --port 8080\n' \
    "$build/serve_gallery" "$demo/data/Vaultmere" "$archive"
}

# Checks what holds for any folder, and what holds for the samples.
check_run() {
  local counted failed
  counted=$(outcomes | wc -l)
  failed=$(outcomes | grep -c '^failed$' || true)
  ((counted == processed)) || fail "$processed files were processed, but $counted have a result"
  ((failed > 0 || repeated == second_pass)) ||
    fail "the second pass recognised only $repeated of $second_pass"
  if [[ -z ${1-} ]]; then ((failed == 0)) || fail "$failed samples failed; see $log"; fi
}

choose_source "${1-}"
build_program
mkdir -p "$demo"
[[ -n ${1-} ]] || make_samples
start_program
if [[ -n ${1-} ]]; then follow_program ''; else follow_program "$run_limit"; fi
await_program
summarise
check_run "${1-}"
show_gallery_command
