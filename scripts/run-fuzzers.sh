#!/bin/sh
# Runs every fuzzer of a fuzzer build (MV_BUILD_FUZZERS=ON) for SECONDS on a
# copy of its checked-in corpus, with AddressSanitizer and
# UndefinedBehaviorSanitizer compiled in. A crash, leak, input over 30 s or
# over 2 GB of memory is a finding: its reproducer lands in
# BUILD/fuzz-findings/<name>-*, and the run fails once every fuzzer ran.
#
#   scripts/run-fuzzers.sh BUILD SECONDS [NAME...]   (no NAME: all of them)
set -u
build=$1
seconds=$2
shift 2
list="$build/fuzzers.txt"
[ -r "$list" ] || { echo "no $list: configure with -DMV_BUILD_FUZZERS=ON" >&2; exit 2; }

failed=""
mkdir -p "$build/fuzz-findings" "$build/fuzz-logs"
while read -r name corpus; do
  if [ $# -gt 0 ]; then
    case " $* " in *" $name "*) ;; *) continue ;; esac
  fi
  work="$build/fuzz-corpus/$name"
  rm -rf "$work" && mkdir -p "$work" && cp -r "$corpus"/. "$work"/
  echo "== $name: $seconds s on $(ls "$work" | wc -l) seeds (log: $build/fuzz-logs/$name.log)"
  if QT_QPA_PLATFORM=offscreen "$build/bin/${name}_fuzzer" "$work" \
       -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=30 \
       -artifact_prefix="$build/fuzz-findings/$name-" >"$build/fuzz-logs/$name.log" 2>&1; then
    grep -E '^#[0-9]+.*(DONE|pulse|NEW|REDUCE)' "$build/fuzz-logs/$name.log" | tail -n 1
  else
    tail -n 30 "$build/fuzz-logs/$name.log"
    failed="$failed $name"
  fi
done <"$list"

if [ -n "$failed" ]; then
  echo "findings in:$failed (reproducers in $build/fuzz-findings)" >&2
  exit 1
fi
