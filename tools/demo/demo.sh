#!/usr/bin/env bash
# tools/demo/demo.sh BUILD_DIR OUT_DIR
# Renders a dry phrase through every factory program, renders each program's
# impulse response and plots their energy decay into one PNG.
set -euo pipefail

build=$(cd "$1" && pwd)
mkdir -p "$2"
out=$(cd "$2" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
render="$build/korro-render"
demo="$build/tools/demo/korro-demo"
module="$build/KORRO_MERIDAN.so"

# The program names as the module gives them to a host.
mapfile -t names < <("$render" --module "$module" --list | sed -n '/^programs$/,/^$/ s/^[ *] [0-9]\+  "\(.*\)" .*/\1/p')
if ((${#names[@]} == 0)); then
  echo "demo: the module listed no programs" >&2
  exit 1
fi

slug() { tr 'A-Z' 'a-z' <<<"$1" | sed 's/[^a-z0-9]\+/-/g; s/^-//; s/-$//'; }

rm -rf "$out/ir"
rm -f "$out"/*.wav "$out"/decay.*
mkdir -p "$out/ir"
"$demo" phrase "$out/dry.wav"
"$demo" impulse "$out/ir/impulse.wav" 1

echo "Rendering the dry phrase and an impulse through ${#names[@]} programs"
decay_args=()
for i in "${!names[@]}"; do
  file="$i-$(slug "${names[$i]}").wav"
  # The phrase with room for the reverb to ring out after its last note.
  "$render" --module "$module" "$out/dry.wav" "$out/$file" --program "$i" --tail 2.5
  # Wet only, and long enough that the integration from the end is not cut short.
  "$render" --module "$module" "$out/ir/impulse.wav" "$out/ir/$file" --program "$i" --mix 1 --tail 8
  printf '  %d  %-26s %s\n' "$i" "${names[$i]}" "$out/$file"
  decay_args+=("${names[$i]}" "$out/ir/$file")
done

echo
echo "Energy decay of the impulse responses"
"$demo" decay "$out/decay.dat" 2 "${decay_args[@]}"
gnuplot -e "datafile='$out/decay.dat'; pngfile='$out/decay.png'; subtitle='Schroeder-integrated energy of each impulse response at Mix 100 % (wet only), unit impulse, 44.1 kHz'" \
  "$here/decay.gp"

cat <<EOF

Files
  dry phrase         $out/dry.wav
  rendered phrases   $out/<n>-<program>.wav  (44.1 kHz stereo, 32-bit float)
  impulse responses  $out/ir/
  decay plot         $out/decay.png

Module for hosts     $module
  VST 2 hosts on Linux look in ~/.vst and /usr/lib/vst, for example:
    mkdir -p ~/.vst && cp "$module" ~/.vst/
  Render your own files:  $render IN.wav OUT.wav --program "Long spring" --tail 3
EOF
