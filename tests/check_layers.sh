#!/usr/bin/env bash
# Fails when an #include "..." points from a folder to one of a higher layer,
# between two folders of one layer, or from code outside tests/ into tests/.
#   check_layers.sh SOURCE_DIR
# A folder may include its own files and those of every lower layer. A test
# folder tests/X belongs to X's layer; any test folder may also include
# tests/support. Each folder's layer is that of the longest folder named in
# LAYERS that holds it; a folder in none fails the check. Includes name files
# from the source folder ("shell/tail.h"), from tests/ (test code only:
# "support/alloc_counter.h") or beside the including file.
set -euo pipefail
cd "$1"

# Lowest first; the README's architecture section says what each is.
LAYERS=(
  "engine shell/base"
  "tools/host"
  "tests/support"
  "gui/platform"
  "gui/platform/software"
  "gui gui/platform/headless gui/platform/x11 gui/platform/win32"
  "resources"
  "editor"
  "shell"
  "lv2 clap vst3"
  "tools/render tools/snapshot tools/demo tools/skin bench"
  "tests/fronts"
  "tests/x11 tests/stress tests/windows tests/cross tests/fuzz tests/ardour tests/package"
)
# Test folders of the layers above: tests/X tests X.
TESTED=(engine editor shell lv2 clap vst3 tools/render:tests/render)

declare -A rank=() layer=()
for ((r = 0; r < ${#LAYERS[@]}; r++)); do
  for folder in ${LAYERS[r]}; do
    rank[$folder]=$r
    layer[$folder]=$folder
  done
done
for t in "${TESTED[@]}"; do
  folder=${t%%:*}
  tests=${t#*:}
  [ "$tests" != "$t" ] || tests=tests/$folder
  rank[$tests]=${rank[$folder]}
  layer[$tests]=$folder
done

# folder_of FILE: FOLDER becomes the folder of LAYERS that holds it, or empty.
folder_of() {
  local d=${1%/*}
  [ "$d" != "$1" ] || d=.
  FOLDER=
  while [ "$d" != . ]; do
    if [ -n "${rank[$d]+set}" ]; then
      FOLDER=$d
      return
    fi
    [ "${d%/*}" != "$d" ] && d=${d%/*} || d=.
  done
}

if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  files=$(git ls-files -- '*.c' '*.cc' '*.cpp' '*.h' '*.hpp' '*.inc')
else
  files=$(find . -path ./build -prune -o -path './obj-*' -prune -o -type f \
    \( -name '*.c' -o -name '*.cc' -o -name '*.cpp' -o -name '*.h' -o -name '*.hpp' -o -name '*.inc' \) -print |
    sed 's|^\./||' | sort)
fi

bad=0 checked=0
fail() {
  echo "$1" >&2
  bad=$((bad + 1))
}
while IFS= read -r file; do
  folder_of "$file"
  [ -n "$FOLDER" ] || fail "$file: its folder is in no layer (tests/check_layers.sh, LAYERS)"
done <<<"$files"

while IFS=: read -r file line name; do
  folder_of "$file"
  from=$FOLDER
  [ -n "$from" ] || continue
  checked=$((checked + 1))
  found=()
  if [ -f "${file%/*}/$name" ]; then
    found=("${file%/*}/$name")
  else
    [ ! -f "$name" ] || found+=("$name")
    [[ $file != tests/* || ! -f tests/$name ]] || found+=("tests/$name")
  fi
  if ((${#found[@]} == 0)); then
    # Written by the build (the version header).
    [[ $name == korro/* ]] || fail "$file:$line: \"$name\" is no file of the source tree"
    continue
  fi
  if ((${#found[@]} > 1)); then
    fail "$file:$line: \"$name\" names both ${found[0]} and ${found[1]}"
    continue
  fi
  target=${found[0]}
  folder_of "$target"
  to=$FOLDER
  if [[ $file != tests/* && $target == tests/* ]]; then
    fail "$file:$line: includes test code ($target)"
  elif [ -z "$to" ]; then
    fail "$file:$line: $target is in no layer"
  elif [ "${layer[$to]}" = "${layer[$from]}" ] || { [[ $file == tests/* ]] && [ "$to" = tests/support ]; }; then
    :
  elif ((rank[$to] == rank[$from])); then
    fail "$file:$line: $from includes $target of $to, a folder of the same layer"
  elif ((rank[$to] > rank[$from])); then
    fail "$file:$line: $from includes $target of $to, a higher layer"
  fi
done < <(tr '\n' '\0' <<<"$files" | xargs -0 grep -Hn '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' |
  sed 's/^\([^:]*\):\([0-9]*\):[^"]*"\([^"]*\)".*/\1:\2:\3/')

echo "$checked includes in $(wc -l <<<"$files") files: $bad point up, sideways, into tests/ or nowhere"
((bad == 0))
