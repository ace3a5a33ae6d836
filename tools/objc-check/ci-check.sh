#!/bin/sh
# Usage: ci-check.sh [FILE.mm or folder...]        (default: CorvaneMenubar/platform/macos)
# The CI step: every .mm must pass check.sh with -Werror; mistakes.mm must fail with exactly the
# errors it expects (clang -verify), which proves the check still bites; then the report of the
# macOS names the files use that only the shim declares, for a reviewer to confirm against the
# real SDK. Ends with one line: "objc-check: PASS ..." or "objc-check: FAIL ...".
# Debian 12 packages: clang libgnustep-gui-dev libblocksruntime-dev
set -u
here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/../.." && pwd)
[ $# -gt 0 ] || set -- "$repo/CorvaneMenubar/platform/macos"
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
files=$(for a in "$@"; do if [ -d "$a" ]; then find "$a" -name '*.mm' | sort; else echo "$a"; fi; done)
count=0; failed=0
for f in $files; do
  count=$((count + 1)); bad=0
  # Report mode: every shim declaration is marked deprecated, so each use names itself (as a
  # warning that is not an error); any other diagnostic fails the file.
  if "$here/check.sh" -Werror -Wno-error=deprecated-declarations -DOBJC_CHECK_REPORT_SHIM "$f" 2> "$work/out"; then
    echo "ok   ${f#"$repo"/}"
  else
    echo "FAIL ${f#"$repo"/}"; grep -E '(error|warning):' "$work/out" | grep -v 'declared only by the objc-check shim' | sed -n '1,40p'
    bad=1
  fi
  sed -n "s/.*warning: '\([^']*\)' is deprecated: declared only by the objc-check shim.*/\1/p" "$work/out" >> "$work/names"
  # A file that fails no longer reports uses: the report would be incomplete, not wrong.
  if grep -v 'declared only by the objc-check shim' "$work/out" | grep -q 'warning:'; then
    echo "FAIL ${f#"$repo"/}: a warning outside the shim report"; bad=1
  fi
  # A using-directive outside a function brings a namespace's names to where every Mac translation
  # unit already has the globals of <MacTypes.h> (Rect, Point, Size, Style, bold...): the next
  # file to use one of them unqualified stops compiling on a Mac. Functions may have one.
  if grep -n '^using namespace' "$f" > "$work/using"; then
    echo "FAIL ${f#"$repo"/}: \`using namespace\` outside a function (write using-declarations, or qualify)"
    sed 's/^/  line /' "$work/using"; bad=1
  fi
  failed=$((failed + bad))
done
expected=$(grep -oE 'expected-(error|warning)' "$here/mistakes.mm" | wc -l)
if "$here/check.sh" -Xclang -verify -Xclang -verify-ignore-unexpected=note "$here/mistakes.mm" > "$work/verify" 2>&1; then
  echo "ok   mistakes.mm: all $expected planted mistakes reported, nothing else"
  bites=1
else
  echo "FAIL mistakes.mm: the check no longer reports exactly the planted mistakes"; cat "$work/verify"
  bites=0
fi
if [ -s "$work/names" ]; then
  echo "objc-check: macOS names these files use that only the shim declares (confirm on a Mac):"
  sort -u "$work/names" | tr '\n' ' ' | fold -s -w 100 | sed 's/^/  /'; echo
fi
if [ "$count" -eq 0 ]; then echo "objc-check: FAIL (no .mm file found in $*)"; exit 1; fi
if [ "$failed" -ne 0 ] || [ "$bites" -ne 1 ]; then
  echo "objc-check: FAIL ($failed of $count files failed; mistakes.mm $( [ $bites = 1 ] && echo ok || echo FAILED))"; exit 1
fi
echo "objc-check: PASS ($count .mm files, C++20 + ARC, -Werror; $expected planted mistakes caught)"
