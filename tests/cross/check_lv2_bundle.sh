#!/usr/bin/env bash
# The DSP-only LV2 bundle: its Turtle validates against the LV2 core bundles,
# and every binary it names is in the bundle (no UI is declared that is not there).
#   check_lv2_bundle.sh BUNDLE_DIR
set -euo pipefail
bundle=$1
command -v lv2_validate >/dev/null || { echo "skipped: lv2_validate is not installed"; exit 77; }
validation=$(lv2_validate "$bundle"/*.ttl 2>&1) || { echo "$validation" >&2; exit 1; }
grep -q "^Found 0 errors" <<<"$validation" || { echo "$validation" >&2; exit 1; }
binaries=$(sed -n 's/.*\(lv2\|ui\):binary <\([^>]*\)>.*/\2/p' "$bundle"/*.ttl)
for b in $binaries; do
  [ -f "$bundle/$b" ] || { echo "the Turtle names $b, which the bundle lacks" >&2; exit 1; }
done
echo "valid; names $(paste -sd' ' <<<"$binaries")"
