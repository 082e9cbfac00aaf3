#!/usr/bin/env bash
# Lists the macros and structure types that the subset's headers declare and the layout program
# never mentions: each one is a declaration whose agreement with <windows.h> nobody checks.
# Exits non-zero when the list is not empty.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
layouts=("$root"/tools/layout/layout*.cpp)

names=$(cat "$root"/include/qnutil/posix/*.h |
  sed -n -E -e 's/^#[[:space:]]*define[[:space:]]+([A-Za-z_][A-Za-z0-9_]*).*/\1/p' \
            -e 's/^\}[[:space:]]*([A-Za-z_][A-Za-z0-9_]*).*;.*/\1/p' | sort -u)
unchecked=0
for name in $names; do
  if ! grep -qw -- "$name" "${layouts[@]}"; then
    echo "layout: not checked: $name"
    unchecked=$((unchecked + 1))
  fi
done
echo "layout-coverage: $(printf '%s\n' "$names" | grep -c .) declarations, $unchecked not checked"
[ "$unchecked" = 0 ]
