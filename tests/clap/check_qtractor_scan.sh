#!/usr/bin/env bash
# Qtractor's own plug-in scanner finds the CLAP plug-in: its name, two audio
# inputs and outputs, five parameters and an editor.
#   check_qtractor_scan.sh PLUGIN.clap
set -euo pipefail
scanner=/usr/lib/x86_64-linux-gnu/qtractor/qtractor_plugin_scan
[ -x "$scanner" ] || { echo "skipped: qtractor is not installed"; exit 77; }
line=$(printf 'CLAP:%s\n' "$1" | timeout 60 "$scanner" 2>/dev/null | grep '^CLAP|' || true)
echo "$line"
IFS='|' read -r kind name audio midi params flags path _ <<<"$line"
[ "$kind|$name|$audio|$params" = "CLAP|Korro Tarrow|2:2|5:0" ] || { echo "unexpected: $line" >&2; exit 1; }
[[ ",$flags," == *",GUI,"* ]] || { echo "no editor announced: $flags" >&2; exit 1; }
[ "$path" = "$1" ] || { echo "another path: $path" >&2; exit 1; }
