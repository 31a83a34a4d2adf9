#!/usr/bin/env bash
# A Windows module must import only DLLs every Windows has (a missing runtime
# DLL is the classic "module could not be found"), and export main and
# VSTPluginMain only (or the exports given second, each followed by a blank).
set -euo pipefail
dump=$(x86_64-w64-mingw32-objdump -p "$1")
bad=$(echo "$dump" | awk '/DLL Name:/ {print $3}' | grep -viE '^(kernel32|user32|gdi32|ole32|shell32|msvcrt)\.dll$' || true)
if [ -n "$bad" ]; then
  echo "imports non-system DLLs: $bad" >&2
  exit 1
fi
exports=$(echo "$dump" | awk '/\[Ordinal\/Name Pointer\] Table/ {on=1; next} on && /\[/ {print $NF} on && !/\[/ {on=0}' | sort | tr '\n' ' ')
if [ "$exports" != "${2:-VSTPluginMain main }" ]; then
  echo "exports: $exports" >&2
  exit 1
fi
