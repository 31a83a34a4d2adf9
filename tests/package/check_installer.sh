#!/usr/bin/env bash
# The Windows installer under Wine, in a prefix of its own: a silent install
# puts each format where 64-bit hosts look, the installed CLAP, VST3 and VST 2
# DLL render through the Windows test hosts byte for byte as the Linux ones
# do, and the silent uninstall registered with Windows removes everything the
# install wrote.
#   check_installer.sh WINE64 SETUP.exe WINDOWS_BUILD LINUX_CLAP_RENDER LINUX_CLAP LINUX_VST3_RENDER LINUX_VST3 LINUX_VST2
set -euo pipefail
# One X server for every Wine program here: a prefix's desktop process keeps
# the display it was started with.
[ -n "${KORRO_ONE_DISPLAY:-}" ] ||
  exec env KORRO_ONE_DISPLAY=1 xvfb-run -a -s "-screen 0 640x480x24 -noreset" "$0" "$@"
wine=$1 setup=$2 win=$3 clap_render=$4 clap=$5 vst3_render=$6 vst3=$7 vst2=$8
wineserver=$(dirname "$wine")/wineserver
work=$(mktemp -d "${TMPDIR:-/tmp}/korro-installer.XXXXXX")
export WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= WINEPREFIX=$work/prefix
trap '"$wineserver" -k 2>/dev/null || true; rm -rf "$work"' EXIT
fail() {
  echo "FAIL: $*" >&2
  exit 1
}

"$wine" wineboot -i >/dev/null 2>&1
"$wineserver" -w
c=$WINEPREFIX/drive_c
key='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\KorroTarrow'
# Everything on the drive but Wine's own folders, and the registry's files.
state() {
  (cd "$c" && find . \( -path ./windows -o -path ./users \) -prune -o -print | LC_ALL=C sort)
  "$wine" reg query "$key" >/dev/null 2>&1 && echo "registry: $key" || true
}
before=$(state)

"$wine" "$setup" /S
"$wineserver" -w
vst3_bundle="$c/Program Files/Common Files/VST3/Korro Tarrow.vst3"
clap_file="$c/Program Files/Common Files/CLAP/Korro Tarrow.clap"
vst2_dll="$c/Program Files/VSTPlugins/KORRO_MERIDAN.dll"
uninstaller="$c/Program Files/Korro Tarrow/Uninstall.exe"
for f in "$vst3_bundle/Contents/x86_64-win/Korro Tarrow.vst3" "$clap_file" "$vst2_dll" "$uninstaller"; do
  [ -f "$f" ] || fail "not installed: ${f#"$c/"}"
done
echo "installed:"
comm -13 <(echo "$before") <(state) | sed 's/^/  /'
[ ! -e "$c/Program Files (x86)/Common Files/VST3" ] && [ ! -e "$c/Program Files (x86)/VSTPlugins" ] ||
  fail "something went to the 32-bit Program Files"
[[ $("$wine" reg query "$key" /v QuietUninstallString) == *'Uninstall.exe" /S'* ]] ||
  fail "no silent uninstaller registered"

"$wine" "$win/korro-clap-render.exe" "$clap_file" "$work/clap-windows.raw" "$vst2_dll"
"$clap_render" "$clap" "$work/clap-linux.raw" "$vst2"
cmp "$work/clap-windows.raw" "$work/clap-linux.raw" || fail "the installed CLAP renders unlike the Linux one"
"$wine" "$win/korro-vst3-render.exe" "$vst3_bundle/Contents/x86_64-win/Korro Tarrow.vst3" "$work/vst3-windows.raw" \
  "$vst2_dll"
"$vst3_render" "$vst3" "$work/vst3-linux.raw" "$vst2"
cmp "$work/vst3-windows.raw" "$work/vst3-linux.raw" || fail "the installed VST3 renders unlike the Linux one"
echo "the installed CLAP, VST3 and VST 2 render as on Linux"

"$wine" "$uninstaller" /S
"$wineserver" -w
after=$(state)
[ "$after" = "$before" ] || fail "the uninstall left: $(comm -13 <(echo "$before") <(echo "$after") | tr '\n' ' ')"
echo "passed"
