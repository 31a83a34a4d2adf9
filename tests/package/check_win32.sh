#!/usr/bin/env bash
# The win32 zip's VST 2 DLL, for 32-bit hosts.
#   check_win32.sh dll ZIP
#       a PE32 (i386) DLL exporting main and VSTPluginMain, importing system
#       DLLs only
#   check_win32.sh render ZIP WIN32_RENDER.exe LINUX_RENDER LINUX_VST2 WINE32_MISSING
#       under 32-bit Wine it renders the test stream byte for byte as the
#       Linux module does; without wine32 it says in one line why (from
#       WINE32_MISSING, which ./run test writes) and is skipped
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mode=$1 zip=$2
work=$(mktemp -d "${TMPDIR:-/tmp}/korro-win32.XXXXXX")
trap 'rm -rf "$work"' EXIT
unzip -q "$zip" -d "$work"
dll=$(find "$work" -name KORRO_MERIDAN.dll)
[ -n "$dll" ] || { echo "FAIL: no KORRO_MERIDAN.dll in $zip" >&2; exit 1; }

case $mode in
  dll)
    format=$(x86_64-w64-mingw32-objdump -f "$dll" | sed -n 's/.*file format //p')
    [ "$format" = pei-i386 ] || { echo "FAIL: $format, not a PE32 i386 DLL" >&2; exit 1; }
    "$here/../windows/check_windows_module.sh" "$dll"
    echo "a PE32 (i386) DLL exporting main and VSTPluginMain, importing system DLLs only"
    ;;
  render)
    win32_render=$3 linux_render=$4 vst2=$5 missing=$6
    wine=/usr/lib/wine/wine
    if [ ! -x "$wine" ]; then
      echo "skipped: $(head -n 1 "$missing" 2>/dev/null || echo "wine32 is not installed (./run test tries to install it)")"
      exit 77
    fi
    export WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= WINEPREFIX=$work/prefix
    "$wine" "$win32_render" "$dll" "$work/win32.raw"
    "$(dirname "$wine")/wineserver" -k 2>/dev/null || true
    "$linux_render" "$vst2" "$work/linux.raw"
    cmp "$work/win32.raw" "$work/linux.raw" || { echo "FAIL: the 32-bit DLL renders unlike the Linux module" >&2; exit 1; }
    echo "the 32-bit DLL under Wine renders the same $(stat -c %s "$work/linux.raw") bytes as the Linux module"
    ;;
  *) exit 2 ;;
esac
