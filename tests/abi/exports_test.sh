#!/usr/bin/env bash
# The exported names of a library, its export list and the declarations of the public headers that
# its macro marks are one and the same set.
# usage: exports_test.sh LIBRARY SOURCE_DIR LIST MACRO
set -euo pipefail
library=$1 source=$2 list=$3 macro=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

grep -E '^[A-Za-z_]' "$source/cmake/$list" | sort >"$work/listed"
nm -D --defined-only "$library" | awk '{ sub(/@.*/, "", $3); print $3 }' | sort >"$work/exported"

# Declarations without comments, one a line; the name stands before "(" or ends an extern variable.
cat "$source"/include/wz/*.h | grep -v '^#' | tr '\n' ' ' |
  sed -E 's#/\*([^*]|\*+[^*/])*\*+/##g' | tr ';{}' '\n\n\n' | grep "$macro " |
  sed -E "s/.*$macro +//" | sed -E 's/__attribute__.*//; s/WZ_PRINTF.*//' |
  sed -E 's/^extern +(.*[ *])?([A-Za-z_0-9]+) *(\[[^]]*\])? *$/\2/; t; s/^[^(]*[ *]([A-Za-z_0-9]+) *\(.*$/\1/' |
  sort >"$work/declared"

status=0
compare() {
  if ! diff -u --label "$1" --label "$2" "$work/$1" "$work/$2"; then status=1; fi
}
compare listed exported
compare listed declared
uniq -d "$work/listed" | sed 's/^/listed twice: /' | { ! grep .; } || status=1
exit $status
