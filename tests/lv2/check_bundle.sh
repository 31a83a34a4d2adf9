#!/usr/bin/env bash
# The bundle as LV2 tools see it: it validates against the LV2 core bundles,
# lilv finds the plug-in with the ports a user expects, and one preset per
# factory program is listed under the module's name for it.
#   check_bundle.sh BUNDLE_DIR KORRO_RENDER
set -euo pipefail
bundle=$(cd "$1" && pwd) korro_render=$2
uri=https://korro-tarrow.example.org/lv2/tarrow
for tool in lv2_validate sord_validate lv2info lv2file; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done
export LV2_PATH=$(dirname "$bundle")
fail() { echo "$*" >&2; exit 1; }

# The DSP binary exports only its descriptor and carries no editor: it needs
# no X server, no font library, and holds none of the toolkit's code.
dsp="$bundle/korro-tarrow.so"
exports=$(nm -D --defined-only "$dsp" | awk '{print $3}')
[ "$exports" = "lv2_descriptor" ] || fail "exported: $exports"
needed=$(ldd "$dsp")
if grep -E -i 'libX11|freetype|fontconfig' <<<"$needed"; then fail "korro-tarrow.so needs: $needed"; fi
toolkit=$(nm -C "$dsp" | grep -E -c ' (CFrame|CView|CControl|CBitmap|ReverbEditor|AEffGUIEditor|FT_|Fc[A-Z]|X[A-Z][a-z]+)' || true)
[ "$toolkit" = 0 ] || fail "korro-tarrow.so holds editor or toolkit symbols: $(nm -C "$dsp" | grep -E ' (CFrame|CView|ReverbEditor|FT_|Fc[A-Z])' | head -5)"
# The UI binary is where the editor lives.
ui=$(nm -C "$bundle/korro-tarrow-ui.so")
grep -q " ReverbEditor::" <<<"$ui" || fail "korro-tarrow-ui.so has no editor"

validation=$(lv2_validate "$bundle"/*.ttl 2>&1) || fail "$validation"
grep -q "^Found 0 errors" <<<"$validation" || fail "$validation"

info=$(lv2info "$uri")
grep -q "hardRTCapable" <<<"$info" || fail "not announced as hard real-time capable: $info"
# symbol|name|minimum|maximum|default of every port, in index order.
ports=$(awk -F': *' '
  /^\tPort [0-9]+:/ { if (line != "") print line; line = "" }
  /^\t\t(Symbol|Name|Minimum|Maximum|Default):/ { line = line (line == "" ? "" : "|") $2 }
  END { print line }' <<<"$info")
expected="in_l|Left In
in_r|Right In
out_l|Left Out
out_r|Right Out
bypass|Bypass|0.000000|1.000000|1.000000
decay|Decay|0.000000|100.000000|50.000000
damp|Damp|0.000000|100.000000|10.000000
output|Output|-120.000000|12.000000|0.000000
mix|Mix|0.000000|100.000000|50.000000
peak|Peak|0.000000|4.000000
clip|Clip|0.000000|1.000000"
[ "$ports" = "$expected" ] || fail "ports as lv2info shows them:
$ports"

presets=$(lv2file -L "$uri" | sed -n 's/^Preset: //p' | sort)
programs=$("$korro_render" --list | sed -nE '/^programs/,/^$/ s/^[* ] [0-9]+ +"(.*)" .*/\1/p' | sort)
[ "$presets" = "$programs" ] || fail "presets listed: $presets"
echo "bundle valid; $(wc -l <<<"$ports") ports; $(wc -l <<<"$presets") presets"
