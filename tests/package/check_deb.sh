#!/usr/bin/env bash
# The .deb installed with dpkg as a user installs it: the LV2 found by lilv's
# own search, the VST 2 module and the VST3 bundle in Ardour 7.3's default
# folders and the CLAP in the format's, loaded from there by Qtractor's and
# Ardour's scanners; korro-render from /usr/bin finds the installed module and
# renders bit for bit as the build tree's. Its dependencies come from its
# binaries, and its version is the project's. Purged, it leaves no file.
# Purged on any exit, so a failed run leaves nothing installed.
#   check_deb.sh DEB VERSION BUILD_TREE_RENDER DEMO
set -euo pipefail
deb=$1 version=$2 build_render=$3 demo=$4
here=$(cd "$(dirname "$0")" && pwd)
[ "$(id -u)" -eq 0 ] || { echo "skipped: installing the .deb needs root"; exit 77; }
# Other work trees on this machine install into the same folders.
exec 9>/tmp/korro-tarrow-system-folders.lock
flock 9

work=$(mktemp -d "${TMPDIR:-/tmp}/korro-deb.XXXXXX")
trap 'dpkg --purge korro-tarrow >/dev/null 2>&1 || true; rm -rf "$work"' EXIT
fail() {
  echo "FAIL: $*" >&2
  exit 1
}
source "$here/host_checks.sh"
own_home

[ "$(dpkg-deb -f "$deb" Version)" = "$version" ] || fail "the package's version is not $version"
depends=$(dpkg-deb -f "$deb" Depends)
for lib in libsndfile1 libx11-6 libfreetype6 libstdc++6; do
  [[ ", $depends" == *", $lib "* || ", $depends," == *", $lib,"* ]] || fail "Depends lacks $lib: $depends"
done
ar t "$deb" | grep -x data.tar.xz >/dev/null || fail "the data is not xz-compressed: $(ar t "$deb" | tr '\n' ' ')"

# Which of the package's paths are there before it.
mapfile -t paths < <(dpkg-deb --fsys-tarfile "$deb" | tar -t | sed 's|^\./|/|; s|/$||' | grep -v '^$')
absent=()
for p in "${paths[@]}"; do [ -e "$p" ] || absent+=("$p"); done

dpkg -i "$deb" >/dev/null || fail "dpkg -i failed"
found_by_hosts /usr/lib/vst/KORRO_MERIDAN.so /usr/lib/lv2/korro-tarrow.lv2 "/usr/lib/clap/Korro Tarrow.clap" \
  "/usr/lib/vst3/Korro Tarrow.vst3" /usr/bin/korro-render yes
[ "$(/usr/bin/korro-render --version)" = "korro-render $version" ] || fail "korro-render --version: $(/usr/bin/korro-render --version)"
LC_ALL=C MANWIDTH=120 man -l /usr/share/man/man1/korro-render.1.gz 2>/dev/null | grep -- '--module' >/dev/null || fail "the man page lacks --module"

dpkg --purge korro-tarrow >/dev/null
for p in "${absent[@]}"; do [ ! -e "$p" ] || fail "left after the purge: $p"; done
echo "purged: none of its ${#paths[@]} paths that were not there before is left"
echo "passed"
