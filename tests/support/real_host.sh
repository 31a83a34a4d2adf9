# Sourced by the tests that run a real host's GUI: a virtual X server of the
# test's own, and processes stopped by their ids.

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# stop PID: asked first, then made to.
stop() {
  local pid=$1 i
  kill "$pid" 2>/dev/null || return 0
  for i in $(seq 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.2; done
  kill -9 "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
}

# start_xvfb WIDTHxHEIGHT DIR: Xvfb on a free display, its id in $xvfb, DISPLAY set.
start_xvfb() {
  Xvfb -displayfd 9 -screen 0 "$1x24" -nolisten tcp -noreset 9>"$2/display" 2>"$2/xvfb.log" &
  xvfb=$!
  for _ in $(seq 100); do [ -s "$2/display" ] && break; sleep 0.1; done
  [ -s "$2/display" ] || { cat "$2/xvfb.log"; fail "Xvfb did not start"; }
  export DISPLAY=:$(head -n1 "$2/display")
}
