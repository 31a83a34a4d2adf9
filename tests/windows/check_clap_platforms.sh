#!/usr/bin/env bash
# The same stream through the Windows .clap under Wine and through the Linux
# .clap: each must equal its own platform's VST 2 module, and the two renders
# must be the same bytes.
#   check_clap_platforms.sh WINE64 WINDOWS_BUILD LINUX_RENDERER LINUX_CLAP LINUX_VST2 WORK_DIR
set -euo pipefail
wine=$1 win=$2 renderer=$3 clap=$4 vst=$5 work=$6
export WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= WINEPREFIX="$win/wine-prefix"
"$wine" "$win/korro-clap-render.exe" "$win/lib/clap/Korro Tarrow.clap" "$work/clap-windows.raw" "$win/KORRO_MERIDAN.dll"
"$renderer" "$clap" "$work/clap-linux.raw" "$vst"
cmp "$work/clap-windows.raw" "$work/clap-linux.raw"
echo "Windows and Linux renders are the same $(stat -c %s "$work/clap-linux.raw") bytes"
