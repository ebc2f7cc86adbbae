#!/usr/bin/env bash
# Every Debian package that tools/install-deps.sh installs is named in the
# README's table of packages.
#
#   check_packages.sh SOURCE_DIR
set -euo pipefail
root=$1
table=$(grep '^| ' "$root/README.md")
missing=0
for pkg in $("$root/tools/install-deps.sh" --list --ci); do
  case " $(tr '`|' '  ' <<<"$table" | tr '\n' ' ') " in
    *" $pkg "*) ;;
    *) echo "README.md's package table does not name $pkg (tools/install-deps.sh installs it)"; missing=1 ;;
  esac
done
exit $missing
