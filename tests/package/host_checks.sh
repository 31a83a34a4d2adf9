# Checks shared by the package tests (sourced). Each test has its own throw-
# away HOME, so a user's own plug-ins and host settings play no part.
#   found_by_hosts VST2 LV2_BUNDLE CLAP VST3_BUNDLE RENDER ARDOUR_VST2
# VST2 ... VST3_BUNDLE are the installed paths, RENDER the installed
# korro-render; ARDOUR_VST2 is "yes" where Ardour must find the VST 2 module
# by itself. Needs $work, $build_render (the build tree's korro-render, beside
# its module), $demo (the build tree's korro-demo) and fail().

uri=https://korro-tarrow.example.org/lv2/tarrow
qtractor_scanner=/usr/lib/x86_64-linux-gnu/qtractor/qtractor_plugin_scan
ardour_lib=/usr/lib/ardour7

# The folder of PATH is one of the FOLDERS.
in_folders() {
  local path=$1 dir
  dir=$(dirname "$path")
  shift
  for folder in "$@"; do [ "$dir" = "$folder" ] && return 0; done
  fail "$path lies outside the folders hosts search: $*"
}

qtractor_loads() {  # KIND PATH
  local line kind name audio midi params flags path
  line=$(printf '%s:%s\n' "$1" "$2" | timeout 60 "$qtractor_scanner" 2>/dev/null | grep "^$1|" || true)
  IFS='|' read -r kind name audio midi params flags path _ <<<"$line"
  [ "$name|$audio|$params|$path" = "Korro Tarrow|2:2|5:0|$2" ] || fail "Qtractor's scanner on $2: '$line'"
  echo "Qtractor's scanner loads $2"
}

ardour_loads_vst3() {  # BUNDLE
  rm -rf "$XDG_CACHE_HOME/ardour7/vst"
  LD_LIBRARY_PATH=$ardour_lib timeout 60 "$ardour_lib/ardour-vst3-scanner" -f -q "$1" || fail "Ardour's VST3 scanner failed on $1"
  grep -q '<VST3Info .* name="Korro Tarrow"' "$XDG_CACHE_HOME"/ardour7/vst/*.v3i || fail "Ardour's VST3 scanner lists no Korro Tarrow in $1"
  echo "Ardour's VST3 scanner loads $1"
}

found_by_hosts() {
  local vst2=$1 lv2=$2 clap=$3 vst3=$4 render=$5 ardour_vst2=$6
  # lilv's own search, with no LV2_PATH.
  env -u LV2_PATH lv2ls | grep -x "$uri" >/dev/null || fail "lv2ls does not list $uri"
  local bundle
  bundle=$(env -u LV2_PATH lv2info "$uri" | awk '$1 == "Bundle:" && !n++ {print $2}')
  [ "$bundle" = "file://$lv2/" ] || fail "lilv finds the LV2 bundle at '$bundle', not $lv2"
  echo "lv2ls and lv2info find $uri in $lv2"
  # Ardour 7.3's default folders, the CLAP format's folders.
  [ "$ardour_vst2" != yes ] || in_folders "$vst2" /usr/lib/vst /usr/local/lib/vst
  in_folders "$vst3" "$HOME/.vst3" /usr/local/lib/vst3 /usr/lib/vst3
  in_folders "$clap" "$HOME/.clap" /usr/lib/clap
  qtractor_loads VST "$vst2"
  qtractor_loads CLAP "$clap"
  ardour_loads_vst3 "$vst3"
  # korro-render finds the installed module by itself and renders as the build tree's.
  # (CAF: float samples, and unlike WAV no time stamp in the header)
  "$render" --list | grep -x "module $vst2" >/dev/null || fail "$render does not load $vst2 by itself"
  [ -f "$work/dry.wav" ] || "$demo" phrase "$work/dry.wav" >/dev/null
  "$render" "$work/dry.wav" "$work/installed.caf" --program 3 --tail 1
  "$build_render" "$work/dry.wav" "$work/built.caf" --program 3 --tail 1
  cmp "$work/installed.caf" "$work/built.caf" || fail "the installed module renders unlike the build tree's"
  echo "$render renders with $vst2 as the build tree does"
}

# A HOME of the test's own, with the host folders the checks write to.
own_home() {
  export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config XDG_CACHE_HOME=$work/home/.cache
  export XDG_DATA_HOME=$work/home/.local/share
  unset LV2_PATH VST_PATH LXVST_PATH VST3_PATH CLAP_PATH
  mkdir -p "$HOME"
}
