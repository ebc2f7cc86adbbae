#!/usr/bin/env bash
# Builds the Debian package from an existing build directory and checks it
# with lintian (when installed): any error or warning fails.
#
#   tools/check-package.sh [BUILD_DIR]      (default build/)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$(cd "${1:-$root/build}" && pwd)"
rm -f "$build"/wireprint_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
deb="$(ls "$build"/wireprint_*.deb)"
echo "package: $deb"
dpkg-deb --info "$deb" | sed -n '/Package:/,$p'
if ! command -v lintian >/dev/null; then
  echo "lintian is not installed: the package was not checked"
  exit 0
fi
# lintian warns when run as root; that is no finding about the package.
lintian --fail-on error,warning --info --display-experimental --pedantic "$deb" 2> >(grep -v 'root privileges' >&2)
echo "lintian: no errors or warnings"
