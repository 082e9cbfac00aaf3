#!/usr/bin/env bash
# The export check of the 32-bit DLL: every fragment listed in .ci/exports-expected.txt must be
# exported, and nothing of the POSIX subset, of the C++ runtime or of the standard library may be.
#
#   .ci/check-exports.sh [DLL]      (default: build-windows-x86/bin/qnutil.dll)
#
# Prints what is missing and what leaks, notes exports that the list does not name yet, and exits
# non-zero on any missing or leaked export.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
dll=${1:-$root/build-windows-x86/bin/qnutil.dll}
expected=$here/exports-expected.txt
objdump=i686-w64-mingw32-objdump
cxxfilt=i686-w64-mingw32-c++filt

if [ ! -f "$dll" ]; then
  echo "check-exports: $dll does not exist"
  exit 1
fi
if ! "$objdump" -f "$dll" 2>/dev/null | grep -q 'file format pei-i386'; then
  echo "check-exports: $dll is not a 32-bit PE image"
  exit 1
fi

# The name table of the export directory: "[   n] name" lines after its heading. -n: the names of
# a DLL's export table carry no leading underscore, so c++filt must not strip one.
exports=$("$objdump" -p "$dll" |
  awk '/^\[Ordinal\/Name Pointer\] Table/ { on = 1; next }
       on && /^[ \t]*\[ *[0-9]+\]/ { print $NF; next }
       on && NF == 0 { on = 0 }' |
  "$cxxfilt" -n | sort -u)
count=$(printf '%s\n' "$exports" | grep -c . || true)
if [ "$count" = 0 ]; then
  echo "check-exports: $dll exports nothing"
  exit 1
fi

missing=0
found=0
while IFS= read -r fragment; do
  case $fragment in '' | '#'*) continue ;; esac
  if printf '%s\n' "$exports" | grep -qF -- "$fragment"; then
    found=$((found + 1))
  else
    echo "missing: $fragment"
    missing=$((missing + 1))
  fi
done < "$expected"

# What must never be exported: the standard library and the C++ runtime, and every name that the
# subset declares (on Windows those belong to the system; a copy in the DLL would shadow it).
subset_names=$(cat "$root"/include/qnutil/posix/*.h |
  sed -n -E 's/.*(QN_WIN32_API|QNUTIL_API)[^(]*[ *]([A-Za-z_][A-Za-z0-9_]*)[ ]*(\(|;).*/\2/p' | sort -u)
runtime='(^|[^A-Za-z0-9_])(std|__gnu_cxx|__cxxabiv1)::|^(__cxa_|__gxx_|_Unwind_|__emutls|pthread_)|^operator (new|delete)'
leaked=0
leaks=
while IFS= read -r name; do
  [ -n "$name" ] || continue
  bare=${name%%(*}
  if printf '%s\n' "$name" | grep -qE -- "$runtime" || printf '%s\n' "$subset_names" | grep -qxF -- "$bare"; then
    echo "leaked: $name"
    leaked=$((leaked + 1))
    leaks+="$name"$'\n'
  fi
done <<< "$exports"

# Exports that no fragment names: not an error, but the list should grow with the library.
fragments=$(grep -vE '^[[:space:]]*(#|$)' "$expected")
while IFS= read -r name; do
  [ -n "$name" ] || continue
  printf '%s' "$leaks" | grep -qxF -- "$name" && continue
  covered=0
  while IFS= read -r fragment; do
    case $name in *"$fragment"*) covered=1; break ;; esac
  done <<< "$fragments"
  [ "$covered" = 1 ] || echo "note: exported but not listed: $name"
done <<< "$exports"

echo "check-exports: $(basename "$dll"): $count distinct exports, $found listed fragments present, $missing missing, $leaked leaked"
[ "$missing" = 0 ] && [ "$leaked" = 0 ]
