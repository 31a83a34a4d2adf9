#!/usr/bin/env bash
# Runs a native build's tool and the same tool built for the target (behind its
# emulator), each with an output file appended to its command, and fails unless
# the two files are the same byte for byte.
#   compare_with_native.sh -- NATIVE_COMMAND... -- TARGET_COMMAND...
set -euo pipefail
[ "${1:-}" = -- ] || { echo "usage: compare_with_native.sh -- NATIVE... -- TARGET..." >&2; exit 2; }
shift
native=()
while [ $# -gt 0 ] && [ "$1" != -- ]; do native+=("$1"); shift; done
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"${native[@]}" "$work/native" >/dev/null
"$@" "$work/target"
if ! difference=$(cmp "$work/native" "$work/target" 2>&1); then
  byte=$(sed -n 's/.* byte \([0-9]*\).*/\1/p' <<<"$difference")
  echo "differs from the native output: ${difference}${byte:+ (float $(((byte - 1) / 4)))}" >&2
  exit 1
fi
echo "same $(stat -c %s "$work/native") bytes as the native build"
