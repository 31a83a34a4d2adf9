#!/usr/bin/env bash
# Korro Tarrow's VST3 bundle in Ardour 7, with a home of its own so the
# user's Ardour configuration is never read or touched.
#   check_ardour.sh scan BUNDLE
#       Ardour's VST3 scanner indexes the bundle: one plug-in, Korro Tarrow,
#       two inputs, two outputs, no side chains or MIDI, an Fx|Reverb.
#   check_ardour.sh render BUNDLE KORRO_RENDER WAV_TOOL
#       a headless Ardour session plays noise through the plug-in on a track
#       and bounces it, at the default program and at factory programs 3 and
#       7 (the last) loaded as Ardour presets; each equals the VST 2 module's
#       render of the same input through korro-render, and so does the last
#       program after the session is saved and reopened, and a mono track
#       (its one channel feeding both of the plug-in's inputs). Ardour lists
#       the eight programs as presets under their names and shows the loaded
#       program's values.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
lib=/usr/lib/ardour7
scanner=$lib/ardour-vst3-scanner
[ -x "$scanner" ] && command -v ardour7-lua >/dev/null || { echo "skipped: ardour is not installed"; exit 77; }

mode=$1
bundle=$2
# Ardour also searches the system's plug-in folders, where the package tests
# of any work tree on this machine install.
exec 9>/tmp/korro-tarrow-system-folders.lock
flock 9
[ -d "$bundle" ] || { echo "no bundle: $bundle" >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/korro-ardour.XXXXXX")
trap 'rm -rf "$work"' EXIT
export HOME=$work/home
export XDG_CONFIG_HOME=$HOME/.config XDG_CACHE_HOME=$HOME/.cache XDG_DATA_HOME=$HOME/.local/share
unset VST3_PATH ARDOUR_CONFIG_PATH
mkdir -p "$HOME/.vst3" "$XDG_CONFIG_HOME/ardour7/scripts"
# Where Ardour looks for a user's VST3 plug-ins. A copy with a fixed date:
# Ardour ignores its scanner's cache entry once the module is newer than it
# (seen after a rebuild), so no run depends on when the build finished.
cp -r "$bundle" "$HOME/.vst3/Korro Tarrow.vst3"
find "$HOME/.vst3" -exec touch -h -d '2000-01-01 00:00:00' {} +

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# The class id as Ardour prints it (the sixteen bytes in memory order), fixed
# for ever because sessions store it.
class_id=4B7254776B6F72726F546172726F7733

# Ardour's scanner writes one cache file per bundle, an XML element per class.
scan() {
  LD_LIBRARY_PATH=$lib timeout 60 "$scanner" -f -q "$HOME/.vst3/Korro Tarrow.vst3" || fail "the scanner failed ($?)"
  local caches=("$XDG_CACHE_HOME"/ardour7/vst/*.v3i)
  [ -f "${caches[0]}" ] && [ ${#caches[@]} -eq 1 ] || fail "expected one cache file, found: ${caches[*]}"
  cat "${caches[0]}"
  local infos
  infos=$(grep -c '<VST3Info ' "${caches[0]}")
  [ "$infos" -eq 1 ] || fail "$infos classes indexed, expected one"
  local info
  info=$(grep '<VST3Info ' "${caches[0]}")
  local want
  for want in "uid=\"$class_id\"" 'name="Korro Tarrow"' 'vendor="Korro Tarrow"' 'category="Fx|Reverb"' \
    'n_inputs="2"' 'n_outputs="2"' 'n_aux_inputs="0"' 'n_aux_outputs="0"' 'n_midi_inputs="0"' 'n_midi_outputs="0"'; do
    [[ "$info" == *" $want"* ]] || fail "the scanner's entry lacks $want"
  done
}

render() {
  local korro_render=$1 wav_tool=$2
  cp "$here/noise.lua" "$XDG_CONFIG_HOME/ardour7/scripts/korro_test_noise.lua"
  scan >/dev/null
  local session=$work/session out=$work/ardour.txt
  timeout 120 ardour7-lua "$here/render.lua" "$session" 3 7 >"$out" 2>&1 || {
    cat "$out"
    fail "ardour7-lua failed or timed out"
  }
  grep -v '^\[WARNING\]' "$out"
  grep -qx 'done' "$out" || fail "the session script did not finish"
  grep -qx "plugin	Korro Tarrow	$class_id	5" "$out" || fail "Ardour did not load Korro Tarrow with five parameters"

  # The factory programs as presets: the module's names, in order, no more
  # than eight; programs 3 and 7 loaded show the module's values for them.
  local listing expected="" got want
  listing=$("$korro_render" --list | sed -nE '/^programs/,/^$/ s/^[* ] ([0-9]+) +"(.*)" +(.*)$/\1\t\2\t\3/p')
  expected=$(awk -F'\t' -v id="$class_id" '{printf "preset\tVST3-P:%s:%04d\t%s\n", id, $1, $2}' <<<"$listing")
  [ "$(grep '^preset' "$out")" = "$expected" ] || fail "Ardour's presets are not the eight factory programs"
  # Each program loaded, with its values in Ardour's controls; the last one
  # again after reopening the session.
  got=$(grep -E '^(loaded|values|reopened)' "$out" | cut -f2 | tr '\n' '|')
  want=$(awk -F'\t' '$1 == 3 || $1 == 7 {split($3, v, " +"); printf "%s|%.4f %.4f %.4f %.4f %.4f|", $2, v[1], v[2], v[3], v[4], v[5]}
    $1 == 7 {last = sprintf("%.4f %.4f %.4f %.4f %.4f", v[1], v[2], v[3], v[4], v[5])}
    END {printf "Korro Tarrow|%s|", last}' <<<"$listing")
  [ "$got" = "$want" ] || fail "programs loaded and the values Ardour shows: $got (the module's: $want)"

  local audio=$session/interchange/session/audiofiles
  local f
  for f in input raw default program-3 program-7 mono "raw again" reopened; do
    [ -f "$audio/$f%L.wav" ] && [ -f "$audio/$f%R.wav" ] || fail "no bounce $f in $audio"
  done
  for f in "mono input" "mono raw"; do
    [ -f "$audio/$f.wav" ] || fail "no bounce $f in $audio"
  done
  "$wav_tool" join "$audio/input%L.wav" "$audio/input%R.wav" "$work/input.wav" || fail "could not join the input"
  # What the track fed the plug-in is the input file, sample for sample.
  echo "track's input against the input file:"
  "$wav_tool" compare "$work/input.wav" "$audio/raw%L.wav" "$audio/raw%R.wav" || fail "the track does not play the input"

  # The VST 2 module on the same input; the tail makes it as long as the bounces.
  local module
  module="$(dirname "$korro_render")/KORRO_MERIDAN.so"
  "$korro_render" "$work/input.wav" "$work/default.wav" --tail 1.7 --module "$module"
  echo "default program, VST3 in Ardour against VST 2:"
  "$wav_tool" compare "$work/default.wav" "$audio/default%L.wav" "$audio/default%R.wav" || fail "default program differs"
  local p
  for p in 3 7; do
    "$korro_render" "$work/input.wav" "$work/program-$p.wav" --tail 1.7 --program $p --module "$module"
    echo "program $p, VST3 in Ardour against VST 2:"
    "$wav_tool" compare "$work/program-$p.wav" "$audio/program-$p%L.wav" "$audio/program-$p%R.wav" ||
      fail "program $p differs"
  done
  echo "program 7 after reopening the session:"
  "$wav_tool" compare "$work/input.wav" "$audio/raw again%L.wav" "$audio/raw again%R.wav" ||
    fail "the reopened track does not play the input"
  "$wav_tool" compare "$work/program-7.wav" "$audio/reopened%L.wav" "$audio/reopened%R.wav" ||
    fail "program 7 differs after reopening"
  echo "mono track, VST3 in Ardour against VST 2 fed the mono file:"
  "$wav_tool" join "$audio/mono input.wav" "$audio/mono input.wav" "$work/mono-input.wav" >/dev/null
  "$wav_tool" compare "$work/mono-input.wav" "$audio/mono raw.wav" "$audio/mono raw.wav" ||
    fail "the mono track does not play the input"
  "$korro_render" "$audio/mono input.wav" "$work/mono.wav" --tail 1.7 --module "$module"
  "$wav_tool" compare "$work/mono.wav" "$audio/mono%L.wav" "$audio/mono%R.wav" || fail "the mono track differs"
  # The programs did change the sound, so the comparisons are not one and the same.
  if "$wav_tool" compare "$work/default.wav" "$audio/program-3%L.wav" "$audio/program-3%R.wav" >/dev/null ||
    "$wav_tool" compare "$work/program-3.wav" "$audio/program-7%L.wav" "$audio/program-7%R.wav" >/dev/null; then
    fail "a program sounds like the one before it"
  fi
}

case "$mode" in
  scan) scan ;;
  render) render "$3" "$4" ;;
  *) fail "unknown mode $mode" ;;
esac
echo "passed"
