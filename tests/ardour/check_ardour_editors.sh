#!/usr/bin/env bash
# Korro Tarrow's editors in Ardour 7's own plug-in windows, on a virtual X
# server of the test's own with Ardour's dummy audio backend, in a home of its
# own (the user's Ardour configuration is never read or touched).
#   check_ardour_editors.sh VST3_BUNDLE LV2_BUNDLE PROBE OUT_DIR
# A session made headless (ardour7-lua) has a track with Korro Tarrow as VST3
# and one with it as LV2, both editors marked open, so Ardour opens them with
# the session. In each, every pixel of the editor's window is the editor's own
# drawing or, beyond it, the drawing's frame colour, also after the plug-in
# window is made larger; Decay dragged up by a quarter of its range with real
# X input, the session is saved with Ctrl+S and holds the new value (0.75 as
# VST3, 75 % as LV2). Then the same with GDK_SCALE=2: Ardour, a GTK 2
# program, tells both editors its own scale, 1, and shows the whole
# picture. The probe leaves screenshots of the plug-in windows in OUT_DIR (and
# OUT_DIR/gdk-scale-2).
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
lib=/usr/lib/ardour7
command -v ardour >/dev/null && command -v ardour7-lua >/dev/null && command -v Xvfb >/dev/null ||
  { echo "skipped: ardour or Xvfb is not installed"; exit 77; }

vst3_bundle=$1 lv2_bundle=$2 probe=$3 out=$4
# Ardour also searches the system's plug-in folders, where the package tests
# of any work tree on this machine install.
exec 9>/tmp/korro-tarrow-system-folders.lock
flock 9
[ -d "$vst3_bundle" ] && [ -d "$lv2_bundle" ] || { echo "no bundles: $vst3_bundle $lv2_bundle" >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/korro-ardour-editors.XXXXXX")
xvfb="" ardour_pid=""
. "$here/../support/real_host.sh"
cleanup() {
  [ -z "$ardour_pid" ] || stop "$ardour_pid"
  [ -z "$xvfb" ] || stop "$xvfb"
  rm -rf "$work"
}
trap cleanup EXIT

export HOME=$work/home
export XDG_CONFIG_HOME=$HOME/.config XDG_CACHE_HOME=$HOME/.cache XDG_DATA_HOME=$HOME/.local/share
unset VST3_PATH LV2_PATH ARDOUR_CONFIG_PATH GDK_SCALE QT_SCALE_FACTOR
mkdir -p "$HOME/.vst3" "$HOME/.lv2" "$XDG_CONFIG_HOME/ardour7" "$out"
cp -r "$vst3_bundle" "$HOME/.vst3/Korro Tarrow.vst3"
cp -r "$lv2_bundle" "$HOME/.lv2/"
# Ardour ignores its scanner's cache entry for a module newer than the entry.
find "$HOME/.vst3" -exec touch -h -d '2000-01-01 00:00:00' {} +
# No first-run wizard; the dummy backend offered and started without asking.
touch "$XDG_CONFIG_HOME/ardour7/.a7"
cat >"$XDG_CONFIG_HOME/ardour7/config" <<'EOF'
<?xml version="1.0" encoding="UTF-8"?>
<Ardour>
  <Config>
    <Option name="hide-dummy-backend" value="0"/>
    <Option name="try-autostart-engine" value="1"/>
  </Config>
  <Extra>
    <AudioMIDISetup>
      <EngineStates>
        <State backend="None (Dummy)" driver="Normal Speed" device="Silence" input-device="" output-device=""
               sample-rate="48000" buffer-size="1024" n-periods="0" input-latency="0" output-latency="0"
               lm-input="" lm-output="" active="1" use-buffered-io="0" midi-option="1 in, 1 out, Silence" lru="1">
          <MIDIDevices/>
        </State>
      </EngineStates>
    </AudioMIDISetup>
  </Extra>
</Ardour>
EOF

LD_LIBRARY_PATH=$lib timeout 60 "$lib/ardour-vst3-scanner" -f -q "$HOME/.vst3/Korro Tarrow.vst3" ||
  fail "Ardour's VST3 scanner failed"
timeout 120 ardour7-lua "$here/editors.lua" "$work/template" >"$work/lua.txt" 2>&1 || {
  cat "$work/lua.txt"
  fail "ardour7-lua could not make the session"
}
grep -qx done "$work/lua.txt" || fail "the session script did not finish"
vst3_window=$(awk -F'\t' '$1 == "window" && $2 == "vst3" {print $3}' "$work/lua.txt")
lv2_window=$(awk -F'\t' '$1 == "window" && $2 == "lv2" {print $3}' "$work/lua.txt")
! grep -q '<Extra>' "$work/template/editors.ardour" || fail "the session already holds window state"

start_xvfb 1920x1200 "$work"

# The value of `pattern`'s value attribute in the session file.
value() { grep -o "$2 value=\"[^\"]*\"" "$1" | head -n1 | sed 's/.*value="//; s/"$//'; }

# run SCALE DIR [VARIABLE=VALUE...]: Ardour on a fresh copy of the session,
# its editors drawn at SCALE.
run() {
  local scale=$1 shots=$2
  shift 2
  local session=$work/run-${shots##*/}
  rm -rf "$session"
  cp -r "$work/template" "$session"
  local file=$session/editors.ardour
  # Both plug-in windows open with the session, side by side, away from the
  # main window's middle.
  local ui="  <Extra>\n    <UI>\n"
  ui+="      <Window name=\"$vst3_window\" visible=\"1\" x-off=\"20\" y-off=\"560\" x-size=\"-1\" y-size=\"-1\" custom-ui=\"1\"/>\n"
  ui+="      <Window name=\"$lv2_window\" visible=\"1\" x-off=\"960\" y-off=\"560\" x-size=\"-1\" y-size=\"-1\" custom-ui=\"1\"/>\n"
  ui+="    </UI>\n  </Extra>"
  sed -i "s|^</Session>|$ui\n</Session>|" "$file"
  [ "$(value "$file" '<Port id="1"')|$(value "$file" '<Port symbol="decay"')" = "0.5|50" ] ||
    fail "the new session's Decay is not 0.5 (VST3) and 50 (LV2)"

  echo "== Ardour${*:+ with $*}"
  env "$@" ardour -a -n "$file" >"$work/ardour.log" 2>&1 &
  ardour_pid=$!
  mkdir -p "$shots"
  timeout 300 "$probe" ardour "$scale" "$shots" || {
    grep -v '^Ardour: \[INFO\]' "$work/ardour.log" | tail -n 20
    fail "Ardour's editors${*:+ with $*}"
  }
  # Ctrl+S writes the session anew: the dragged values in it.
  local got=""
  for _ in $(seq 100); do
    got="$(value "$file" '<Port id="1"')|$(value "$file" '<Port symbol="decay"')"
    [ "$got" = "0.75|75" ] && break
    sleep 0.2
  done
  echo "Decay in the saved session (VST3|LV2): $got"
  [ "$got" = "0.75|75" ] || fail "the drags did not reach Ardour: Decay $got, expected 0.75|75"
  stop "$ardour_pid"
  ardour_pid=""
}

run 1 "$out"
# Ardour tells both formats its own scale, 1: the whole picture at 1, and no
# toolkit factor from a GTK 3 that is not there.
run 1 "$out/gdk-scale-2" GDK_SCALE=2
echo "passed"
