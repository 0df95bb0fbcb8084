#!/usr/bin/env bash
# soak.sh: the distributed path under a long, steady load, outside `make test`.
#
# One redis-server on a loopback port; two headless stations
# (examples/watchchanges) and an operator console (mvconsole, offscreen)
# receiving; mvsim --serve writing the field at SOAK_RATE changes a second
# for SOAK_SECONDS. The resident memory of every process is sampled every
# SOAK_SAMPLE seconds into soak-<date>/memory.csv. The run passes when each
# station received exactly what the concentrator packed, nothing was
# reported lost, and the memory of each of the product's processes after the
# first sixth of the run stays within 10 % of where it stood then. The
# server's own memory follows the backlog in its queues, which comes and
# goes: it is judged by where it ends.
#
#   scripts/soak.sh                 # 30 minutes at 5,000 changes/s
#   SOAK_SECONDS=120 scripts/soak.sh
set -euo pipefail
cd "$(dirname "$0")/.."

SOAK_SECONDS=${SOAK_SECONDS:-1800}
SOAK_RATE=${SOAK_RATE:-5000}
SOAK_SAMPLE=${SOAK_SAMPLE:-30}
BIN=${BUILD_DIR:-build}/bin
OUT=${SOAK_OUT:-soak-$(date +%Y%m%d-%H%M%S)}

for program in "$BIN/mvsim" "$BIN/mvconsole" "$BIN/watchchanges"; do
  [ -x "$program" ] || { echo "soak: $program is missing; run make first" >&2; exit 2; }
done
mkdir -p "$OUT"

# A free loopback port below the range outgoing connections use.
port=""
for _ in $(seq 50); do
  candidate=$((10000 + RANDOM % 20000))
  if ! (exec 3<>"/dev/tcp/127.0.0.1/$candidate") 2>/dev/null; then port=$candidate; break; fi
done
[ -n "$port" ] || { echo "soak: no free port" >&2; exit 2; }

pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
}
trap cleanup EXIT

redis-server --port "$port" --bind 127.0.0.1 --save "" --appendonly no --dir "$OUT" \
  --daemonize no --loglevel warning >"$OUT/redis.log" 2>&1 &
redis=$!; pids+=("$redis")
for _ in $(seq 100); do redis-cli -p "$port" ping >/dev/null 2>&1 && break; sleep 0.1; done

export DRAVO_SERVERS="redis://127.0.0.1:$port"
export DRAVO_SETTINGS="$OUT/servers.conf"
export QT_QPA_PLATFORM=offscreen

station_seconds=$((SOAK_SECONDS + 60))
"$BIN/watchchanges" "$station_seconds" "$SOAK_SAMPLE" >"$OUT/station1.out" 2>&1 &
station1=$!; pids+=("$station1")
"$BIN/watchchanges" "$station_seconds" "$SOAK_SAMPLE" >"$OUT/station2.out" 2>&1 &
station2=$!; pids+=("$station2")
"$BIN/mvconsole" >"$OUT/console.out" 2>&1 &
console=$!; pids+=("$console")
for _ in $(seq 300); do
  grep -q ready "$OUT/station1.out" && grep -q ready "$OUT/station2.out" && break
  sleep 0.1
done

"$BIN/mvsim" --serve "$SOAK_SECONDS" --rate "$SOAK_RATE" --servers "$DRAVO_SERVERS" >"$OUT/mvsim.out" 2>&1 &
mvsim=$!; pids+=("$mvsim")

rss() { awk '/^VmRSS:/ {print $2}' "/proc/$1/status" 2>/dev/null || echo 0; }
echo "seconds,mvsim_kb,station1_kb,station2_kb,console_kb,redis_kb" >"$OUT/memory.csv"
start=$SECONDS
while kill -0 "$mvsim" 2>/dev/null; do
  echo "$((SECONDS - start)),$(rss "$mvsim"),$(rss "$station1"),$(rss "$station2"),$(rss "$console"),$(rss "$redis")" \
    >>"$OUT/memory.csv"
  sleep "$SOAK_SAMPLE"
done
wait "$mvsim" || { echo "soak: mvsim failed" >&2; cat "$OUT/mvsim.out" >&2; exit 1; }
wait "$station1" "$station2" || true

packed=$(awk '/^Changes packed/ {print $3}' "$OUT/mvsim.out")
written=$(awk '/^Changes written/ {print $3}' "$OUT/mvsim.out")
failed=0
for s in station1 station2; do
  got=$(awk '$1 == "changes" {print $2}' "$OUT/$s.out")
  lost=$(awk '$1 == "losses" {print $2}' "$OUT/$s.out")
  echo "$s: received $got of $packed packed ($written written), losses reported $lost"
  [ "$got" = "$packed" ] && [ "$lost" = "0" ] || failed=1
done

# Memory: every process's samples after the first sixth of the run, against
# the first of them: the highest for the product's processes, the last for
# redis-server.
awk -F, -v warm=$((SOAK_SECONDS / 6)) '
  NR == 1 { for (i = 2; i <= NF; i++) name[i] = $i; next }
  $1 >= warm {
    for (i = 2; i <= NF; i++) {
      if (!(i in base)) base[i] = $i
      if ($i > top[i]) top[i] = $i
      last[i] = $i
    }
  }
  END {
    bad = 0
    for (i = 2; i in name; i++) {
      judged = name[i] == "redis_kb" ? last[i] : top[i]
      growth = base[i] ? (judged - base[i]) * 100.0 / base[i] : 0
      printf "%-12s after warm-up %7.1f MB, highest %7.1f MB, last %7.1f MB (%+.1f %%)\n",
             name[i], base[i] / 1024, top[i] / 1024, last[i] / 1024, growth
      if (growth > 10) bad = 1
    }
    exit bad
  }' "$OUT/memory.csv" || failed=1

if [ "$failed" -eq 0 ]; then echo "soak PASSED ($OUT)"; else echo "soak FAILED ($OUT)"; fi
exit "$failed"
