#!/usr/bin/env bash
# The README's jq one-liners and SQL queries, run as printed against the
# example traces: a renamed JSON key or database column breaks them without
# breaking any listing. Exits 77 (skipped) without jq or sqlite3.
#
#   check_readme_queries.sh SOURCE_DIR WIREPRINT
set -euo pipefail
root=$1
wp=$2
for tool in jq sqlite3; do
  command -v "$tool" >/dev/null || { echo "$tool not found"; exit 77; }
done
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
export TZ=UTC
fail=0
expect() {  # what, expected, actual
  if [ "$2" != "$3" ]; then
    printf '%s:\n--- expected\n%s\n--- got\n%s\n' "$1" "$2" "$3"
    fail=1
  fi
}

# The one-liners, with the trace (and the statement) of an example.
mapfile -t lines < <(grep '^wireprint -json app.trace | jq ' "$root/README.md")
[ "${#lines[@]}" = 3 ] || { echo "expected 3 jq one-liners in README.md, found ${#lines[@]}"; exit 1; }
run() {  # line, trace
  local cmd=${1/#wireprint -json app.trace/\"\$wp\" -json \"\$trace\"}
  trace=$2 eval "$cmd"
}

# Every SQL error of examples/error.trace with the statement sent before it.
expect "SQL errors" \
  '{"sql_error":-201,"isam_error":0,"message":"","sql":"selct name from item"}
{"sql_error":-217,"isam_error":0,"message":"prise","sql":"update item set prise = 0 where id = 5"}
{"sql_error":-937,"isam_error":0,"message":"restock","sql":"execute procedure restock(5, -1)"}' \
  "$(run "${lines[0]}" "$root/examples/error.trace")"

# Its five replies by wait (microseconds): 12500 for packet 8, two of 5000
# (packets 4 and 10, in either order), 3750 and 2500.
waits=$(run "${lines[1]}" "$root/examples/error.trace" |
  jq -c '[(.wait * 1e6 | round), .packet, (.request | join(" "))]')
expect "longest waits, first and last" '[12500,8,"SQ_COMMAND SQ_EOT"]
[2500,2,"SQ_BEGIN SQ_EOT"]' "$(sed -n '1p;$p' <<<"$waits")"
expect "longest waits, all" '[12500,8,"SQ_COMMAND SQ_EOT"]
[2500,2,"SQ_BEGIN SQ_EOT"]
[3750,6,"SQ_COMMAND SQ_EOT"]
[5000,10,"SQ_RBWORK SQ_EOT"]
[5000,4,"SQ_PREPARE SQ_NDESCRIBE SQ_WANTDONE SQ_EOT"]' "$(LC_ALL=C sort <<<"$waits")"

# The values bound to the INSERT of examples/summary.trace.
bound=$(sed "s/--arg sql '[^']*'/--arg sql 'insert into item values (?, ?, ?)'/" <<<"${lines[2]}")
expect "bound values" '[43,"Tea cosy","12.50"]' "$(run "$bound" "$root/examples/summary.trace")"

# The SQL block of the -db section, one query per paragraph.
awk '/^```sql/ { f = 1; next } /^```/ { f = 0 } f' "$root/README.md" >"$tmp/all.sql"
awk -v dir="$tmp" 'BEGIN { RS = ""; n = 0 } { print > (dir "/q" ++n ".sql") }' "$tmp/all.sql"
count=$(ls "$tmp"/q*.sql | wc -l)
[ "$count" -ge 5 ] || { echo "expected at least 5 SQL queries in README.md, found $count"; exit 1; }
"$wp" -db "$tmp/error.sqlite" -o /dev/null "$root/examples/error.trace" >/dev/null
"$wp" -db "$tmp/slow.sqlite" -o /dev/null "$root/examples/slow.trace" >/dev/null
for q in "$tmp"/q*.sql; do
  rows=$(sqlite3 -bail "$tmp/slow.sqlite" <"$q") || { echo "$(head -1 "$q"): fails"; fail=1; continue; }
  [ -n "$rows" ] || { echo "$(head -1 "$q"): no rows on examples/slow.trace"; fail=1; }
done
# Which statements failed, with the server's own message for the routine's.
expect "failed statements" '-201|0||selct name from item
-217|0|prise|update item set prise = 0 where id = 5
-937|0|quantity must be positive|execute procedure restock(5, -1)' \
  "$(sqlite3 -bail "$tmp/error.sqlite" <"$(grep -l 'Which statements failed' "$tmp"/q*.sql)")"
exit $fail
