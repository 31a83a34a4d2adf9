#!/usr/bin/env bash
# The same stream through the Windows VST3 bundle under Wine and through the
# Linux bundle: each must equal its own platform's VST 2 module, and the two
# renders must be the same bytes. The Windows one also opens the editor, so it
# runs on a virtual X server.
#   check_vst3_platforms.sh WINE64 WINDOWS_BUILD LINUX_RENDERER LINUX_VST3 LINUX_VST2 WORK_DIR
set -euo pipefail
wine=$1 win=$2 renderer=$3 vst3=$4 vst=$5 work=$6
export WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= WINEPREFIX="$win/wine-prefix"
xvfb-run -a -s "-screen 0 640x480x24 -noreset" "$wine" "$win/korro-vst3-render.exe" "$win/lib/vst3/Korro Tarrow.vst3/Contents/x86_64-win/Korro Tarrow.vst3" \
  "$work/vst3-windows.raw" "$win/KORRO_MERIDAN.dll"
"$renderer" "$vst3" "$work/vst3-linux.raw" "$vst"
cmp "$work/vst3-windows.raw" "$work/vst3-linux.raw"
echo "Windows and Linux renders are the same $(stat -c %s "$work/vst3-linux.raw") bytes"
