#!/bin/sh
# Opens the report of a trace in headless chromium and checks what it shows:
#   browser_test.sh WIREPRINT TRACE WORKDIR [MORE TRACES...]
# The charts must have rendered with their data points (the bars and points of
# the timeline and the histogram in the DOM after the page's script ran), the
# script must have run without error, the console must stay silent, and a
# screenshot must come out. Exits 77 (skipped) when chromium is not installed.
set -u
wp=$1 trace=$2 work=$3
shift 3
browser=$(command -v chromium || command -v chromium-browser || true)
if [ -z "$browser" ]; then
  echo "chromium not found: skipped"
  exit 77
fi
fail() { echo "FAIL: $*"; exit 1; }
rm -rf "$work" && mkdir -p "$work/profile" || exit 1
TZ=UTC "$wp" -report "$work/report.html" -o /dev/null "$trace" "$@" || fail "wireprint -report"

# No network and no background services: the page must work from disk alone.
open() {
  timeout 120 "$browser" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync \
    --user-data-dir="$work/profile" --enable-logging=stderr --v=0 "$@" \
    "file://$work/report.html"
}
open --dump-dom >"$work/dom.html" 2>"$work/dom.log" || fail "chromium --dump-dom"
open --window-size=1100,1400 --screenshot="$work/report.png" >/dev/null 2>"$work/shot.log" ||
  fail "chromium --screenshot"

# What chromium says of the page's console (script errors included).
if grep -h 'CONSOLE' "$work/dom.log" "$work/shot.log"; then fail "console messages above"; fi
grep -q '<body[^>]*data-script-error' "$work/dom.html" && fail "the page's script reported an error"
ready=$(sed -n 's/.*<body[^>]*data-ready="\([0-9]*\)".*/\1/p' "$work/dom.html")
[ -n "$ready" ] && [ "$ready" -gt 0 ] || fail "the page's script did not run to its end"

# Each chart: its <svg> element and how many data elements of a kind it holds.
count() {  # svg id, element pattern
  awk -v id="<svg id=\"$1\"" -v pat="$2" '
    index($0, id) { on = 1 }
    on { n += gsub(pat, "") }
    on && /<\/svg>/ { on = 0 }
    END { print n + 0 }' "$work/dom.html"
}
for chart in timeline-rate timeline-p95 latency-histogram; do
  grep -q "<svg id=\"$chart\"" "$work/dom.html" || fail "no chart $chart"
done
bars=$(count timeline-rate '<rect class="bar"')
points=$(count timeline-p95 '<circle class="pt"')
hist=$(count latency-histogram '<rect class="bar"')
echo "timeline bars $bars, p95 points $points, histogram bars $hist, script saw $ready bars"
[ "$bars" -ge 10 ] || fail "timeline has $bars bars"
[ "$points" -ge 10 ] || fail "p95 line has $points points"
[ "$hist" -ge 3 ] || fail "histogram has $hist bars"
[ "$ready" -eq $((bars + hist)) ] || fail "the browser sees $ready bars, the page has $((bars + hist))"
grep -q '<table id="statements"' "$work/dom.html" || fail "no statements table"
# Several traces: the overview's table of them, a row each.
if [ $# -gt 0 ]; then
  rows=$(awk '/<table id="traces"/ { on = 1 } on { n += gsub("<tr><td", "") } on && /<\/table>/ { on = 0 }
    END { print n + 0 }' "$work/dom.html")
  [ "$rows" -eq $(($# + 1)) ] || fail "traces table has $rows rows for $(($# + 1)) traces"
fi

head -c 8 "$work/report.png" | od -An -c | grep -q 'P   N   G' || fail "no PNG screenshot"
size=$(wc -c <"$work/report.png")
[ "$size" -gt 20000 ] || fail "screenshot of only $size bytes"
echo "screenshot $work/report.png: $size bytes"
