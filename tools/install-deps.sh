#!/usr/bin/env bash
# Installs the Debian packages that building wireprint needs and that are not
# there yet (with sudo when not root). Nothing is installed when all are.
#
#   tools/install-deps.sh          what the tool needs
#   tools/install-deps.sh --tests  that, and what the test suite needs
#   tools/install-deps.sh --ci     that, and what CI's extra checks need
#   tools/install-deps.sh --list [--tests|--ci]  print the names only
set -euo pipefail

# One package a line, sorted, so that additions merge cleanly.
tool_packages=(
  cmake
  g++
  libarchive-dev
  libsqlite3-dev
  make
  pkg-config
)
# chromium opens the HTML report (tests/report/browser_test.sh), with a font;
# jq and sqlite3 run the README's queries (tests/docs/check_readme_queries.sh).
test_packages=(
  bzip2
  chromium
  fonts-dejavu-core
  groff-base
  gzip
  jq
  libbenchmark-dev
  libgmock-dev
  libgtest-dev
  lz4
  nlohmann-json3-dev
  sqlite3
  xz-utils
  zstd
)
# Other compilers and checkers CI runs: the clang++ build and the fuzzer,
# the Debian package and its lintian check.
ci_packages=(
  clang
  dpkg-dev
  file
  libclang-rt-dev
  lintian
)

want=("${tool_packages[@]}")
list=0
for arg in "$@"; do
  case "$arg" in
    --tests) want+=("${test_packages[@]}") ;;
    --ci) want+=("${test_packages[@]}" "${ci_packages[@]}") ;;
    --list) list=1 ;;
    *)
      echo "usage: $0 [--tests|--ci] [--list]" >&2
      exit 2
      ;;
  esac
done

if [ "$list" = 1 ]; then
  printf '%s\n' "${want[@]}" | sort -u
  exit 0
fi

need=()
for pkg in $(printf '%s\n' "${want[@]}" | sort -u); do
  status="$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null || true)"
  [ "$status" = "install ok installed" ] || need+=("$pkg")
done
[ ${#need[@]} -eq 0 ] && exit 0

echo "Installing Debian packages: ${need[*]}"
sudo=()
[ "$(id -u)" -ne 0 ] && sudo=(sudo)
"${sudo[@]}" apt-get update -q
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -q --no-install-recommends "${need[@]}"
