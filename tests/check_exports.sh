#!/usr/bin/env bash
# Compares the dynamic symbols a library defines with its linker version script:
# every listed name must be defined, and nothing else may be exported.
set -euo pipefail
lib=$1 map=$2
expected=$(sed -e 's:/\*.*\*/::g' "$map" | sed -n '/global:/,/local:/p' \
  | grep -oE '^[[:space:]]*[A-Za-z_][A-Za-z0-9_]*;' | tr -d ' \t;' | sort -u || true)
actual=$(nm -D --defined-only "$lib" | awk '$2 != "A" {sub(/@.*/, "", $3); print $3}' | sort -u)
missing=$(comm -23 <(echo "$expected") <(echo "$actual") | sed '/^$/d')
extra=$(comm -13 <(echo "$expected") <(echo "$actual") | sed '/^$/d')
if [[ -n "$missing$extra" ]]; then
  echo "exports of $lib differ from $map"
  [[ -n "$missing" ]] && echo "listed but not defined:" && echo "$missing"
  [[ -n "$extra" ]] && echo "defined but not listed:" && echo "$extra"
  exit 1
fi
echo "$(echo "$expected" | sed '/^$/d' | wc -l) exports match $map"
