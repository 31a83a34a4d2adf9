#!/bin/sh
# Installs Korro Tarrow from this folder where Linux hosts look for plug-ins,
# and removes it again.
#
#   ./install.sh                      for you: ~/.vst, ~/.lv2, ~/.clap, ~/.vst3,
#                                     korro-render into ~/.local/bin
#   ./install.sh --system             for every user (as root): /usr/local/lib/vst,
#                                     /usr/local/lib/lv2, /usr/local/lib/vst3,
#                                     /usr/lib/clap, korro-render into /usr/local/bin
#   ./install.sh --uninstall [--system]   removes exactly what the install wrote
#
# Bundles are copied whole. What an install writes is listed in a manifest
# (~/.local/share/korro-tarrow/installed, or /usr/local/share/korro-tarrow/installed),
# which the uninstall reads; installing again first removes the earlier install.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
system=no
uninstall=no
for arg in "$@"; do
  case "$arg" in
    --system) system=yes ;;
    --uninstall) uninstall=yes ;;
    -h | --help)
      sed -n '2,15p' "$0" | sed 's/^# \{0,1\}//'
      exit 0
      ;;
    *)
      echo "install.sh: unknown option '$arg' (see --help)" >&2
      exit 2
      ;;
  esac
done

if [ "$system" = yes ]; then
  vst=/usr/local/lib/vst lv2=/usr/local/lib/lv2 clap=/usr/lib/clap vst3=/usr/local/lib/vst3 bin=/usr/local/bin
  share=/usr/local/share/korro-tarrow
else
  [ -n "${HOME:-}" ] || { echo "install.sh: HOME is not set" >&2; exit 1; }
  vst=$HOME/.vst lv2=$HOME/.lv2 clap=$HOME/.clap vst3=$HOME/.vst3 bin=$HOME/.local/bin
  share=${XDG_DATA_HOME:-$HOME/.local/share}/korro-tarrow
fi
manifest=$share/installed

# Files first, then folders from the deepest; a folder goes only once empty,
# so whatever else was put there stays.
remove_listed() {
  [ -f "$manifest" ] || return 0
  listed=$(cat "$manifest")
  printf '%s\n' "$listed" | while IFS= read -r path; do
    if [ -L "$path" ] || [ ! -d "$path" ]; then rm -f "$path"; fi
  done
  printf '%s\n' "$listed" | sort -r | while IFS= read -r path; do
    if [ -d "$path" ] && [ ! -L "$path" ]; then rmdir "$path" 2>/dev/null || true; fi
  done
}

if [ "$uninstall" = yes ]; then
  if [ ! -f "$manifest" ]; then
    echo "install.sh: nothing to remove: no $manifest" >&2
    exit 1
  fi
  remove_listed
  echo "removed Korro Tarrow"
  exit 0
fi

remove_listed
list=$(mktemp)
trap 'rm -f "$list"' EXIT

# Each folder the install has to make, outermost first, so the uninstall can
# take away exactly those.
make_dir() {
  [ -d "$1" ] && return 0
  make_dir "$(dirname "$1")"
  mkdir "$1"
  echo "$1" >>"$list"
}

# copy SOURCE DEST: a file, or a bundle with everything in it.
copy() {
  if [ -d "$1" ]; then
    make_dir "$2"
    for entry in "$1"/* "$1"/.[!.]*; do
      [ -e "$entry" ] || continue
      copy "$entry" "$2/$(basename "$entry")"
    done
  else
    make_dir "$(dirname "$2")"
    rm -rf "$2"
    cp "$1" "$2"
    chmod u+w,go-w,a+r "$2"
    echo "$2" >>"$list"
  fi
}

copy "$here/vst/KORRO_MERIDAN.so" "$vst/KORRO_MERIDAN.so"
copy "$here/lv2/korro-tarrow.lv2" "$lv2/korro-tarrow.lv2"
copy "$here/clap/Korro Tarrow.clap" "$clap/Korro Tarrow.clap"
copy "$here/vst3/Korro Tarrow.vst3" "$vst3/Korro Tarrow.vst3"
copy "$here/bin/korro-render" "$bin/korro-render"
chmod a+x "$bin/korro-render"
make_dir "$share"
echo "$manifest" >>"$list"
cp "$list" "$manifest"

echo "installed Korro Tarrow:"
echo "  VST 2   $vst/KORRO_MERIDAN.so"
echo "  LV2     $lv2/korro-tarrow.lv2"
echo "  CLAP    $clap/Korro Tarrow.clap"
echo "  VST3    $vst3/Korro Tarrow.vst3"
echo "  tool    $bin/korro-render"
echo "remove it with: $0 --uninstall$([ "$system" = yes ] && echo " --system")"
