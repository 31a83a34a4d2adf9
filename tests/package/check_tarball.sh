#!/usr/bin/env bash
# The Linux tarball's install script, first into a throw-away home, then (as
# root) into the local system folders: each time lilv, Qtractor's and
# Ardour's scanners and the installed korro-render find every format where it
# went, as the .deb test checks, and the uninstall removes exactly what the
# install wrote, leaving what was there before.
#   check_tarball.sh TARBALL BUILD_TREE_RENDER DEMO
set -euo pipefail
tarball=$1 build_render=$2 demo=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/korro-tarball.XXXXXX")
system=
trap '[ -z "$system" ] || "$system" --uninstall --system >/dev/null 2>&1 || true; rm -rf "$work"' EXIT
fail() {
  echo "FAIL: $*" >&2
  exit 1
}
source "$here/host_checks.sh"
own_home

tar -xJf "$tarball" -C "$work"
name=$(basename "$tarball" .tar.xz)
install=$work/$name/install.sh
[ -x "$install" ] || fail "no install.sh in $name"

# What a home holds, less what hosts keep there for themselves.
home_state() { find "$HOME" \( -path "$XDG_CACHE_HOME" -o -path "$XDG_CONFIG_HOME" \) -prune -o -print | LC_ALL=C sort; }
# The system folders the install may write to, and what lies beside them.
system_state() {
  find /usr/local/lib/vst /usr/local/lib/lv2 /usr/local/lib/vst3 /usr/lib/clap /usr/local/bin \
    /usr/local/share/korro-tarrow 2>/dev/null | LC_ALL=C sort || true
  find /usr/local/lib /usr/local/share -maxdepth 1 | LC_ALL=C sort
}

# A home with plug-ins of others in the same folders, which must stay.
mkdir -p "$HOME/.vst" "$HOME/.local/bin"
echo other >"$HOME/.vst/other.so"
echo other >"$HOME/.local/bin/other"
before=$(home_state)
"$install" >/dev/null
found_by_hosts "$HOME/.vst/KORRO_MERIDAN.so" "$HOME/.lv2/korro-tarrow.lv2" "$HOME/.clap/Korro Tarrow.clap" \
  "$HOME/.vst3/Korro Tarrow.vst3" "$HOME/.local/bin/korro-render" no
"$install" --uninstall >/dev/null
after=$(home_state)
[ "$after" = "$before" ] || fail "the home after uninstalling: $(comm -3 <(echo "$before") <(echo "$after") | tr '\n' ' ')"
echo "uninstalled from the home: exactly what the install wrote is gone"

if [ "$(id -u)" -ne 0 ]; then
  echo "the system folders need root: not tried"
  exit 0
fi
exec 9>/tmp/korro-tarrow-system-folders.lock
flock 9
before=$(system_state)
system=$install
"$install" --system >/dev/null
found_by_hosts /usr/local/lib/vst/KORRO_MERIDAN.so /usr/local/lib/lv2/korro-tarrow.lv2 \
  "/usr/lib/clap/Korro Tarrow.clap" "/usr/local/lib/vst3/Korro Tarrow.vst3" /usr/local/bin/korro-render yes
"$install" --uninstall --system >/dev/null
system=
after=$(system_state)
[ "$after" = "$before" ] || fail "the system folders after uninstalling: $(comm -3 <(echo "$before") <(echo "$after") | tr '\n' ' ')"
echo "uninstalled from the system folders: exactly what the install wrote is gone"
echo "passed"
