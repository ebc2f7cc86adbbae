#!/usr/bin/env bash
# The wireprint benchmark, in one command:
#
#   bench/run.sh [--size 1G] [--runs 1] [--syscall-size 16M] [--statements 100000]
#                [--dir DIR] [--build DIR | --bin DIR] [--baseline DIR] [--keep]
#                [--no-verdicts]
#
# Builds wireprint and tracegen (optimised, in --build, default build-bench; or
# takes them as built in --bin), generates seeded traces in --dir (default
# ${TMPDIR:-/tmp}/wireprint-bench), then on the same traces:
#   - times wireprint (default, -tuple, -summary -stmt_stat, -json, -report,
#     -db, line-flushed) and xxd on the --size trace: input MB/s, output MB/s,
#     lines/s, peak memory, and the ratios between them;
#   - with --baseline DIR (a build of another version, wireprint in DIR), times
#     the default listing of both in turns (best of at least 3) and compares;
#   - times the default listing on traces of 1/16, 1/4 and 1 times --size (in
#     turns, best of at least 3) and compares the times with 1:4:16;
#   - counts write system calls, buffered and line-flushed, on a --syscall-size
#     trace, and checks that standard output and standard error are
#     byte-identical both ways (also with WIREPRINTDBG=1 on a small trace);
#   - times -summary -stmt_stat on a trace with --statements distinct statements;
#   - inputs: the --size trace compressed with zstd and gzip, decoded against
#     "zstd -dc" and "gzip -dc" alone; four traces of a quarter of --size with
#     -summary -stmt_stat at -j 1 and -j 2, listing to a file and to /dev/null
#     (outputs compared byte for byte),
#     and with -report and -db into one page and one database (compared too);
#     -from/-to selecting the last tenth of the --size trace against the full
#     run.
# Each timing is the best of --runs runs; a closing table shows the targets,
# met or not (scaling judged by CPU time; --no-verdicts shows the figures
# without judging them, for sizes where the targets mean nothing). Traces are
# kept for the next run (same name, same bytes); --keep also keeps the
# listings of the checks.
set -euo pipefail

size=1G
runs=1
syscall_size=16M
statements=100000
dir="${TMPDIR:-/tmp}/wireprint-bench"
build=build-bench
bin=""
baseline=""
keep=0
verdicts=1
while [ $# -gt 0 ]; do
  case "$1" in
    --size) size=$2; shift 2 ;;
    --runs) runs=$2; shift 2 ;;
    --syscall-size) syscall_size=$2; shift 2 ;;
    --statements) statements=$2; shift 2 ;;
    --dir) dir=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --bin) bin=$2; shift 2 ;;
    --baseline) baseline=$2; shift 2 ;;
    --keep) keep=1; shift ;;
    --no-verdicts) verdicts=0; shift ;;
    -h|--help) sed -n '2,/^set -euo/p' "$0" | sed '$d'; exit 0 ;;
    *) echo "bench/run.sh: unknown option $1" >&2; exit 2 ;;
  esac
done

root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
mkdir -p "$dir"

bytes_of() {  # 64M -> 67108864
  local v=$1 n=${1%[KkMmGg]}
  case "$v" in
    *[Kk]) echo $((n << 10)) ;;
    *[Mm]) echo $((n << 20)) ;;
    *[Gg]) echo $((n << 30)) ;;
    *) echo "$n" ;;
  esac
}

if [ -z "$bin" ]; then
  echo "== build ($build)"
  # The project's own optimised build type (-O2 -g).
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DWIREPRINT_TESTS=OFF \
    >"$dir/build.log" && ninja -C "$build" wireprint tracegen >>"$dir/build.log" ||
    { cat "$dir/build.log" >&2; exit 1; }
  bin=$build
fi
wp="$bin/wireprint"
gen="$bin/tracegen"

# A trace of N bytes: reused when already generated with the same options.
trace() {  # name size [tracegen options...]
  local name=$1 sz=$2
  shift 2
  local f="$dir/$name.trace"
  local sig
  sig="$(printf '%s ' "$sz" "$@") $(md5sum "$gen" | cut -c1-12)"
  if [ ! -f "$f" ] || [ "$(cat "$f.sig" 2>/dev/null)" != "$sig" ]; then
    "$gen" --size "$(bytes_of "$sz")" "$@" -o "$f"
    echo "$sig" >"$f.sig"
  fi
  echo "$f"
}

# One run of a command with stdout to /dev/null: sets T (wall seconds), C (CPU
# seconds, user and system) and M (peak resident kB).
# Bash's own timing gives milliseconds; /usr/bin/time adds the peak size
# (shown as 0 where it is not installed).
memtool=()
[ -x /usr/bin/time ] && memtool=(/usr/bin/time -f "%M" -o "$dir/mem.out")
timeonce() {
  local TIMEFORMAT='%3R %3U %3S' u s
  echo 0 >"$dir/mem.out"
  { time "${memtool[@]}" "$@" >/dev/null 2>"$dir/time.err"; } 2>"$dir/time.out"
  read -r T u s <"$dir/time.out"
  C=$(awk -v u="$u" -v s="$s" 'BEGIN { printf "%.3f", u + s }')
  M=$(tail -1 "$dir/mem.out")
}

less() { awk -v a="$1" -v b="$2" 'BEGIN { exit !(a < b) }'; }

# The best (by wall time) of `runs` runs: sets T, C and M as timeonce.
timeit() {
  local bt="" bc="" bm=""
  for ((r = 0; r < runs; r++)); do
    timeonce "$@"
    if [ -z "$bt" ] || less "$T" "$bt"; then bt=$T bc=$C bm=$M; fi
  done
  T=$bt C=$bc M=$bm
}

# Bytes and lines a command writes to standard output.
count() {
  "$@" 2>/dev/null | wc -lc | awk '{ print $1, $2 }'
}

mbps() { awk -v b="$1" -v t="$2" 'BEGIN { printf "%.1f", (t > 0 ? b / 1048576 / t : 0) }'; }
rate() { awk -v n="$1" -v t="$2" 'BEGIN { printf "%.0f", (t > 0 ? n / t : 0) }'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", (b > 0 ? a / b : 0) }'; }

echo "== machine"
echo "cpu: $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ //'), nproc $(nproc)"
echo "load: $(uptime | sed 's/.*load average: //')"

echo "== traces"
big=$(trace big "$size" --seed 1)
insize=$(stat -c %s "$big")
echo "$big: $insize bytes"

echo
echo "== throughput on $(basename "$big") ($(mbps "$insize" 1) MB), best of $runs"
printf '%-28s %8s %8s %9s %9s %12s %9s\n' mode seconds "cpu s" "in MB/s" "out MB/s" \
  "lines/s" "peak kB"
declare -A SEC CPU OUT LIN MEM
measure() {  # label, then the command
  local label=$1
  shift
  timeit "$@"
  local c
  c=$(count "$@")
  SEC[$label]=$T
  CPU[$label]=$C
  MEM[$label]=$M
  LIN[$label]=${c% *}
  OUT[$label]=${c#* }
  printf '%-28s %8s %8s %9s %9s %12s %9s\n' "$label" "$T" "$C" "$(mbps "$insize" "$T")" \
    "$(mbps "${OUT[$label]}" "$T")" "$(rate "${LIN[$label]}" "$T")" "$M"
}
measure "wireprint" "$wp" "$big"
measure "wireprint -tuple" "$wp" -tuple "$big"
measure "wireprint -summary -stmt_stat" "$wp" -summary -stmt_stat "$big"
measure "wireprint -json" "$wp" -json "$big"
measure "wireprint -report" "$wp" -report "$dir/big.html" "$big"
measure "wireprint -db" "$wp" -db "$dir/big.sqlite" "$big"
measure "wireprint (line-flushed)" env WIREPRINT_LINEFLUSH=1 "$wp" "$big"
# The report's own count of round trips, for its memory target.
trips=$(sed -n 's|.*<dt>round trips</dt><dd>\([0-9]*\) .*|\1|p' "$dir/big.html")
echo "round trips in the trace: $trips"
if command -v xxd >/dev/null; then
  measure "xxd" xxd "$big"
else
  echo "xxd not found: no outside reference"
  SEC[xxd]=0 CPU[xxd]=0
fi

echo
echo "== ratios (input throughput)"
echo "wireprint / xxd                : $(ratio "${SEC[xxd]}" "${SEC[wireprint]}")"
echo "wireprint -tuple / xxd         : $(ratio "${SEC[xxd]}" "${SEC[wireprint -tuple]}")"
echo "wireprint -tuple / wireprint   : $(ratio "${SEC[wireprint]}" "${SEC[wireprint -tuple]}")"
echo "-summary -stmt_stat / wireprint: $(ratio "${SEC[wireprint]}" "${SEC[wireprint -summary -stmt_stat]}")"
echo "-json / wireprint              : $(ratio "${SEC[wireprint]}" "${SEC[wireprint -json]}")"
echo "buffered / line-flushed        : $(ratio "${SEC[wireprint (line-flushed)]}" "${SEC[wireprint]}")"
echo "-report / wireprint            : $(ratio "${SEC[wireprint]}" "${SEC[wireprint -report]}")"
echo "-db / wireprint                : $(ratio "${SEC[wireprint]}" "${SEC[wireprint -db]}")"

if [ -n "$baseline" ]; then
  bruns=$((runs > 3 ? runs : 3))
  echo
  echo "== default listing against $baseline/wireprint, best of $bruns, in turns"
  declare -A PT PC
  for ((r = 0; r < bruns; r++)); do
    for w in "$baseline/wireprint" "$wp"; do
      timeonce "$w" "$big"
      if [ -z "${PT[$w]:-}" ] || less "$T" "${PT[$w]}"; then PT[$w]=$T PC[$w]=$C; fi
    done
  done
  for w in "$baseline/wireprint" "$wp"; do
    printf '%-40s %8s s %8s cpu s %9s MB/s\n' "$w" "${PT[$w]}" "${PC[$w]}" "$(mbps "$insize" "${PT[$w]}")"
  done
  echo "this build / baseline, cpu: $(ratio "${PC[$wp]}" "${PC[$baseline/wireprint]}")"
fi

echo
# The three sizes take turns, so that a change in the machine's load touches
# them alike; each keeps its best run.
srun=$((runs > 3 ? runs : 3))
echo "== scaling (default listing), best of $srun, sizes in turn"
b=$(bytes_of "$size")
s1=$(trace scale1 $((b / 16)) --seed 1)
s4=$(trace scale4 $((b / 4)) --seed 1)
declare -A BT BC
for ((r = 0; r < srun; r++)); do
  for f in "$s1" "$s4" "$big"; do
    timeonce "$wp" "$f"
    if [ -z "${BT[$f]:-}" ] || less "$T" "${BT[$f]}"; then BT[$f]=$T BC[$f]=$C; fi
  done
done
printf '%-6s %12s %9s %8s %10s %8s %8s %10s\n' size bytes seconds "x time" deviation \
  "cpu s" "x cpu" deviation
for pair in "1:$s1" "4:$s4" "16:$big"; do
  IFS=: read -r k f <<<"$pair"
  x=$(ratio "${BT[$f]}" "${BT[$s1]}")
  xc=$(ratio "${BC[$f]}" "${BC[$s1]}")
  dev=$(awk -v x="$x" -v k="$k" 'BEGIN { printf "%+.1f%%", (x / k - 1) * 100 }')
  devc=$(awk -v x="$xc" -v k="$k" 'BEGIN { printf "%+.1f%%", (x / k - 1) * 100 }')
  printf '%-6s %12s %9s %8s %10s %8s %8s %10s\n' "${k}x" "$(stat -c %s "$f")" "${BT[$f]}" "$x" \
    "$dev" "${BC[$f]}" "$xc" "$devc"
  # Judged by CPU time: on a shared machine the wall time follows the load.
  worst=$(awk -v w="${worst:-0}" -v x="$xc" -v k="$k" \
    'BEGIN { d = (x / k - 1) * 100; if (d < 0) d = -d; printf "%.1f", (d > w ? d : w) }')
done

echo
echo "== write system calls, $syscall_size trace"
mid=$(trace syscalls "$syscall_size" --seed 2)
if command -v strace >/dev/null; then
  calls() {  # prints the number of write calls of the command
    strace -f -c -e trace=write -o "$dir/strace.out" "$@" >"$dir/out.$tag" 2>"$dir/err.$tag"
    awk '$NF == "write" { print $(NF - 1) + 0 }' "$dir/strace.out" | tail -1
  }
  tag=buffered
  wb=$(calls "$wp" -summary -stmt_stat "$mid")
  tag=flushed
  wf=$(calls env WIREPRINT_LINEFLUSH=1 "$wp" -summary -stmt_stat "$mid")
  writes=$(ratio "$wf" "$wb")
  echo "buffered: $wb writes, line-flushed: $wf writes, ${writes}x fewer"
  cmp -s "$dir/out.buffered" "$dir/out.flushed" && cmp -s "$dir/err.buffered" "$dir/err.flushed" ||
    { echo "FAIL: buffered and line-flushed output differ" >&2; exit 1; }
  echo "stdout ($(stat -c %s "$dir/out.buffered") bytes) and stderr identical"
else
  echo "strace not found: write calls not counted"
fi
# Standard error with content: debug lines interleave with the listing. Some
# debug lines show addresses, so both runs go without address randomisation.
dbg=$(trace debug 1M --seed 3)
norand=()
setarch "$(uname -m)" -R true 2>/dev/null && norand=(setarch "$(uname -m)" -R)
WIREPRINTDBG=1 "${norand[@]}" "$wp" -summary -stmt_stat "$dbg" >"$dir/dout.buffered" \
  2>"$dir/derr.buffered"
WIREPRINTDBG=1 WIREPRINT_LINEFLUSH=1 "${norand[@]}" "$wp" -summary -stmt_stat "$dbg" \
  >"$dir/dout.flushed" 2>"$dir/derr.flushed"
# Where randomisation cannot be switched off, the addresses are masked.
mask() { sed -E 's/(stats_ptr=|at 0x|adress=0x)[0-9a-f]+/\1ADDR/' "$1"; }
cmp -s "$dir/dout.buffered" "$dir/dout.flushed" &&
  cmp -s <(mask "$dir/derr.buffered") <(mask "$dir/derr.flushed") ||
  { echo "FAIL: debug run differs between buffered and line-flushed" >&2; exit 1; }
echo "WIREPRINTDBG=1: stdout ($(stat -c %s "$dir/dout.buffered") bytes) and stderr" \
  "($(stat -c %s "$dir/derr.buffered") bytes) identical"

echo
echo "== statement statistics, $statements distinct statements"
st=$(trace statements 0 --ops "$statements" --statements "$statements" --new-ratio 1 --rows 2 --seed 4)
timeit "$wp" -summary -stmt_stat "$st"
groups=$("$wp" -summary -stmt_stat "$st" | grep -c '^SQL: ' || true)
echo "$(stat -c %s "$st") bytes, $groups statement groups: $T s (cpu $C s), peak $M kB"

stmt_time=$T

echo
echo "== inputs (compressed, several traces, time window), best of $runs"
# A compressed copy is made once per trace (kept beside it).
packed() {  # tool suffix
  local f="$big.$2"
  if [ ! -f "$f" ] || [ "$f" -ot "$big" ]; then "$1" -c "$big" >"$f"; fi
  echo "$f"
}
declare -A IN
for z in zstd:zst gzip:gz; do
  IFS=: read -r tool suffix <<<"$z"
  if ! command -v "$tool" >/dev/null; then
    echo "$tool not found: not measured"
    continue
  fi
  f=$(packed "$tool" "$suffix")
  timeit "$tool" -dc "$f"
  alone=$T
  timeit "$wp" "$f"
  IN[$tool]=$(ratio "$alone" "$T")
  echo "$tool ($(stat -c %s "$f") bytes): $tool -dc alone $alone s, wireprint $T s (cpu $C s)," \
    "rate ${IN[$tool]} of the decompressor's"
done
q=$(($(bytes_of "$size") / 4))
quarters=()
for seed in 11 12 13 14; do quarters+=("$(trace "quarter$seed" "$q" --seed "$seed")"); done
# The listings go to a file, then to /dev/null. A listing sent to /dev/null is
# never spooled by the traces decoded ahead of their turn, so that figure
# shows the decoding alone; the file's shows the cost of the spool and of the
# page cache too.
timeit "$wp" -summary -stmt_stat -j 1 -o "$dir/out.j1" "${quarters[@]}"
j1=$T
timeit "$wp" -summary -stmt_stat -j 2 -o "$dir/out.j2" "${quarters[@]}"
j2=$T
IN[jobs]=$(ratio "$j1" "$j2")
echo "four traces of $q bytes, -summary -stmt_stat -o FILE: -j 1 $j1 s, -j 2 $j2 s, ${IN[jobs]}x"
timeit "$wp" -summary -stmt_stat -j 1 -o /dev/null "${quarters[@]}"
j1=$T
timeit "$wp" -summary -stmt_stat -j 2 -o /dev/null "${quarters[@]}"
j2=$T
IN[jobsnull]=$(ratio "$j1" "$j2")
echo "the same, -o /dev/null: -j 1 $j1 s, -j 2 $j2 s, ${IN[jobsnull]}x"
"$wp" -summary -stmt_stat -j 1 "${quarters[@]}" >"$dir/out.j1" 2>"$dir/err.j1"
"$wp" -summary -stmt_stat -j 2 "${quarters[@]}" >"$dir/out.j2" 2>"$dir/err.j2"
cmp -s "$dir/out.j1" "$dir/out.j2" && cmp -s "$dir/err.j1" "$dir/err.j2" ||
  { echo "FAIL: -j 1 and -j 2 outputs differ" >&2; exit 1; }
echo "-j 1 and -j 2: stdout ($(stat -c %s "$dir/out.j1") bytes) and stderr identical"
# The same four traces into one report and one database, at one and two
# jobs; both files must come out the same (the same names each time, since
# the database records its options).
for j in 1 2; do
  timeit "$wp" -j "$j" -report "$dir/all.html" -db "$dir/all.sqlite" -o /dev/null "${quarters[@]}"
  ALL[$j]="$T s (cpu $C s, peak $((M / 1024)) MB)"
  cp "$dir/all.html" "$dir/all.j$j.html"
  sqlite3 "$dir/all.sqlite" .dump >"$dir/all.j$j.sql"
done
echo "four traces, -report -db: -j 1 ${ALL[1]}, -j 2 ${ALL[2]}"
cmp -s "$dir/all.j1.html" "$dir/all.j2.html" && cmp -s "$dir/all.j1.sql" "$dir/all.j2.sql" ||
  { echo "FAIL: -j 1 and -j 2 reports or databases differ" >&2; exit 1; }
echo "-j 1 and -j 2: report and database ($(wc -l <"$dir/all.j1.sql") SQL lines) identical"
# The window: from nine tenths of the way between the first and the last
# time stamp (the generator's clock runs evenly) to the end.
span=$(TZ=UTC "$wp" "$big" | awk '/Time: / { t = $(NF - 1) " " $NF; if (!f) f = t } END { print f; print t }' |
  while read -r d h; do TZ=UTC date -d "$d $h" +%s.%N; done | paste -sd' ')
from=$(awk -v a="${span% *}" -v b="${span#* }" 'BEGIN { printf "%.6f", a + 0.9 * (b - a) }')
to=$(awk -v b="${span#* }" 'BEGIN { printf "%.6f", b + 1 }')
timeit "$wp" -summary -stmt_stat "$big"
full=$T
timeit "$wp" -summary -stmt_stat -from "$from" -to "$to" "$big"
window=$T
IN[window]=$(ratio "$window" "$full")
echo "-summary -stmt_stat -from $from -to $to (last tenth): $window s, full run $full s," \
  "${IN[window]} of its time"

echo
if [ "$verdicts" = 1 ]; then
  echo "== targets"
else
  echo "== targets (not judged at this size)"
fi
check() {  # label, value, comparison for awk with v, target text
  local verdict=met
  awk -v v="$2" "BEGIN { exit !($3) }" || verdict="NOT met"
  if [ "$verdicts" = 1 ]; then
    printf '%-44s %10s   %-16s %s\n' "$1" "$2" "$4" "$verdict"
  else
    printf '%-44s %10s   %s\n' "$1" "$2" "$4"
  fi
}
check "default listing, input MB/s" "$(mbps "$insize" "${SEC[wireprint]}")" "v >= 150" \
  ">= 150 (aim 300)"
check "-tuple against xxd, x" "$(ratio "${SEC[xxd]}" "${SEC[wireprint -tuple]}")" "v >= 1" \
  ">= 1 (aim 2)"
check "-tuple against xxd (cpu), x" "$(ratio "${CPU[xxd]}" "${CPU[wireprint -tuple]}")" \
  "v >= 1" ">= 1 (aim 2)"
check "-json against the listing, input rate x" \
  "$(ratio "${SEC[wireprint]}" "${SEC[wireprint -json]}")" "v >= 0.5" ">= 0.5"
check "scaling 4x and 16x (cpu), worst deviation %" "$worst" "v <= 15" "<= 15"
check "-report, input MB/s" "$(mbps "$insize" "${SEC[wireprint -report]}")" "v >= 250" ">= 250"
check "-db, input MB/s" "$(mbps "$insize" "${SEC[wireprint -db]}")" "v >= 100" ">= 100"
check "-report peak memory, MB (64 + 16 B/round trip)" \
  "$(awk -v k="${MEM[wireprint -report]}" 'BEGIN { printf "%.1f", k / 1024 }')" \
  "v < 64 + 16 * ${trips:-0} / 1048576" \
  "< $(awk -v n="${trips:-0}" 'BEGIN { printf "%.1f", 64 + 16 * n / 1048576 }')"
check "peak memory without -stmt_stat, MB" \
  "$(awk -v k="${MEM[wireprint]}" 'BEGIN { printf "%.1f", k / 1024 }')" "v < 32" "< 32"
if [ -n "${writes:-}" ]; then
  check "fewer write calls buffered, x" "$writes" "v >= 10" ">= 10"
fi
check "-summary -stmt_stat, $statements statements, s" "$stmt_time" "v < 10" "< 10"
[ -n "${IN[zstd]:-}" ] && check "zstd trace, share of zstd -dc's rate" "${IN[zstd]}" "v >= 0.8" ">= 0.8"
[ -n "${IN[gzip]:-}" ] && check "gzip trace, share of gzip -dc's rate" "${IN[gzip]}" "v >= 0.8" ">= 0.8"
check "four traces, -j 2 against -j 1 (to a file), x" "${IN[jobs]}" "v >= 1.7" ">= 1.7"
check "four traces, -j 2 against -j 1 (/dev/null), x" "${IN[jobsnull]}" "v >= 1.7" ">= 1.7"
check "last tenth by -from/-to against the full run" "${IN[window]}" "v <= 1" "<= 1"

if [ "$keep" = 0 ]; then
  rm -f "$dir"/out.* "$dir"/err.* "$dir"/dout.* "$dir"/derr.* "$dir"/time.* "$dir"/mem.out \
    "$dir"/strace.out "$dir"/big.html "$dir"/big.sqlite "$dir"/out.j1 "$dir"/out.j2 "$dir"/err.j1 "$dir"/err.j2 \
    "$dir"/all.html "$dir"/all.sqlite "$dir"/all.j[12].html "$dir"/all.j[12].sql
fi
