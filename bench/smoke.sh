#!/usr/bin/env bash
# A few seconds of the benchmark for CI: small traces, every mode once, the
# buffered and line-flushed listings compared byte for byte (it fails when
# they differ or a run fails). The targets mean nothing at this size (start-up
# costs swamp the scaling check), so the figures are shown without a verdict.
# Uses the binaries of an existing build (default build/, as the test command
# makes it).
#
#   bench/smoke.sh [BUILD_DIR]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bin="${1:-$root/build}"
dir="$(mktemp -d "${TMPDIR:-/tmp}/wireprint-smoke.XXXXXX")"
trap 'rm -rf "$dir"' EXIT
[ -x "$bin/wireprint" ] && [ -x "$bin/tracegen" ] || {
  echo "bench/smoke.sh: no wireprint and tracegen in $bin" >&2
  exit 2
}
"$root/bench/run.sh" --bin "$bin" --dir "$dir" --size 16M --syscall-size 2M \
  --statements 5000 --runs 1 --no-verdicts
