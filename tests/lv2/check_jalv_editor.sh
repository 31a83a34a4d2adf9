#!/usr/bin/env bash
# The LV2 editor in jalv.gtk3 on a desktop of scale 2: GDK_SCALE=2 (GTK 3
# enlarges every size it is told). The frame
# jalv gives the editor is the editor window's size, and every pixel of that
# window is the editor's drawing at 2 or its frame colour. On a virtual X
# server and a JACK server (dummy driver) of the test's own, in a home of its own.
#   check_jalv_editor.sh LV2_DIR PROBE
set -euo pipefail

for tool in jalv.gtk3 jackd jack_lsp Xvfb; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done
lv2_dir=$(cd "$1" && pwd) probe=$2

work=$(mktemp -d "${TMPDIR:-/tmp}/korro-jalv.XXXXXX")
xvfb="" jack="" jalv=""
. "$(dirname "$0")/../support/real_host.sh"
cleanup() {
  local pid
  for pid in $jalv $jack $xvfb; do stop "$pid"; done
  rm -rf "$work"
}
trap cleanup EXIT

export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config XDG_RUNTIME_DIR=$work/run
mkdir -p "$HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset QT_SCALE_FACTOR

start_xvfb 1280x1024 "$work"

# A server of this test's name; no client may start one of its own.
export JACK_DEFAULT_SERVER=korro-jalv-$$ JACK_NO_START_SERVER=1
jackd --no-realtime -n "$JACK_DEFAULT_SERVER" -d dummy -r 48000 -p 1024 >"$work/jackd.log" 2>&1 &
jack=$!
for _ in $(seq 100); do jack_lsp >/dev/null 2>&1 && break; sleep 0.1; done
jack_lsp >/dev/null 2>&1 || { cat "$work/jackd.log"; fail "jackd did not start"; }

echo "== jalv.gtk3, GDK_SCALE=2"
LV2_PATH=$lv2_dir GDK_SCALE=2 jalv.gtk3 https://korro-tarrow.example.org/lv2/tarrow </dev/null >"$work/jalv.log" 2>&1 &
jalv=$!
timeout 120 "$probe" jalv 2 || { tail -n 20 "$work/jalv.log"; fail "jalv's editor"; }
echo "passed"
