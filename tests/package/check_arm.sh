#!/usr/bin/env bash
# An ARM .deb and tarball as a packager and a user on that processor get them:
# the package is for that architecture and depends on the C/C++ runtime only;
# both hold the four plug-ins without editors, built for that processor (the
# VST3 bundle in its folder), and nothing else; the tarball's install.sh puts
# them where hosts look, says it has no korro-render, and its uninstall leaves
# the home as it was.
#   check_arm.sh PACKAGES VERSION ARCH
set -euo pipefail
export LC_ALL=C
packages=$1 version=$2 arch=$3
case $arch in
  arm64) cpu=aarch64 bundle=aarch64-linux words="ARM aarch64" ;;
  armhf) cpu=armhf bundle=armv7l-linux words="ARM, EABI5" ;;
esac
deb=$packages/korro-tarrow_${version}_$arch.deb
name=korro-tarrow-$version-linux-$cpu
work=$(mktemp -d "${TMPDIR:-/tmp}/korro-arm.XXXXXX")
trap 'rm -rf "$work"' EXIT
fail() {
  echo "FAIL: $*" >&2
  exit 1
}

[ "$(dpkg-deb -f "$deb" Package Version Architecture | paste -sd' ')" = "Package: korro-tarrow Version: $version Architecture: $arch" ] ||
  fail "control: $(dpkg-deb -f "$deb" Package Version Architecture | paste -sd' ')"
depends=$(dpkg-deb -f "$deb" Depends)
names=$(tr ',' '\n' <<<"$depends" | sed -E 's/^ *([^ ]+).*/\1/' | sort | paste -sd' ')
[ "$names" = "libc6 libgcc-s1 libstdc++6" ] || fail "Depends is not the C/C++ runtime: $depends"
ar t "$deb" | grep -qx data.tar.xz || fail "the data is not xz-compressed"
echo "$arch: Depends: $depends"

plugins="clap/Korro Tarrow.clap
lv2/korro-tarrow.lv2/korro-tarrow.so
lv2/korro-tarrow.lv2/korro-tarrow.ttl
lv2/korro-tarrow.lv2/manifest.ttl
lv2/korro-tarrow.lv2/presets.ttl
vst/KORRO_MERIDAN.so
vst3/Korro Tarrow.vst3/Contents/$bundle/Korro Tarrow.so"
dpkg-deb -x "$deb" "$work/deb"
held=$(cd "$work/deb" && find . -type f ! -path './usr/share/doc/*' | sed 's|^\./usr/lib/||' | sort)
[ "$held" = "$plugins" ] || fail "the .deb holds: $(comm -3 <(echo "$plugins") <(echo "$held") | paste -sd'|')"
for so in "$work/deb/usr/lib/vst/KORRO_MERIDAN.so" "$work/deb/usr/lib/lv2/korro-tarrow.lv2/korro-tarrow.so" \
  "$work/deb/usr/lib/clap/Korro Tarrow.clap" "$work/deb/usr/lib/vst3/Korro Tarrow.vst3/Contents/$bundle/Korro Tarrow.so"; do
  description=$(file -b "$so")
  [[ $description == *"$words"* ]] || fail "$so: $description"
  readelf -d "$so" | grep -q 'FLAGS.*BIND_NOW' || fail "$so: not linked with Debian's hardening flags (no BIND_NOW)"
  echo "${so#"$work/deb"}: $description"
done

tar -xJf "$packages/$name.tar.xz" -C "$work"
held=$(cd "$work/$name" && find . -type f | sed 's|^\./||' | sort)
[ "$held" = "$(printf '%s\n' "$plugins" CHANGELOG.md LICENSE README.md install.sh | sort)" ] ||
  fail "the tarball holds: $(paste -sd'|' <<<"$held")"
while IFS= read -r f; do cmp -s "$work/$name/$f" "$work/deb/usr/lib/$f" || fail "the tarball's $f is not the .deb's"; done <<<"$plugins"

export HOME=$work/home XDG_DATA_HOME=$work/home/.local/share
mkdir -p "$HOME"
said=$("$work/$name/install.sh")
grep -q "no korro-render" <<<"$said" || fail "install.sh does not say it has no korro-render: $said"
for f in ".vst/KORRO_MERIDAN.so" ".lv2/korro-tarrow.lv2/korro-tarrow.so" ".clap/Korro Tarrow.clap" \
  ".vst3/Korro Tarrow.vst3/Contents/$bundle/Korro Tarrow.so"; do
  cmp -s "$HOME/$f" "$work/$name/${f#.}" || fail "install.sh did not put ~/$f"
done
"$work/$name/install.sh" --uninstall >/dev/null
[ -z "$(ls -A "$HOME")" ] || fail "left in the home after uninstalling: $(cd "$HOME" && find . | paste -sd' ')"
echo "passed"
