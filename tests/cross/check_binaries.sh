#!/usr/bin/env bash
# The cross-built plug-ins as a packager sees them: each binary is an ELF file
# for the target processor (file and readelf agree; 32-bit ARM passes floats
# in VFP registers), needs nothing beyond the C and C++ runtime, and exports
# only its entry points.
#   check_binaries.sh MACHINE FILE_WORDS BINARY=EXPORT,EXPORT...
set -euo pipefail
export LC_ALL=C
machine=$1 words=$2
shift 2
runtime='^(libc\.so\.6|libm\.so\.6|libstdc\+\+\.so\.6|libgcc_s\.so\.1|ld-linux-[a-z0-9-]+\.so\.[0-9])$'
failed=0
fail() { echo "$bin: $*" >&2; failed=1; }
for entry in "$@"; do
  bin=${entry%=*}
  description=$(file -b "$bin")
  [[ $description == *"$words"* ]] || fail "file says: $description"
  readelf -h "$bin" | grep -Eq "Machine:[[:space:]]+$machine\$" || fail "readelf: $(readelf -h "$bin" | grep Machine:)"
  if [ "$machine" = ARM ] && ! readelf -A "$bin" | grep -q "Tag_ABI_VFP_args: VFP registers"; then
    fail "floats not passed in VFP registers (not hard-float)"
  fi
  needed=$(readelf -d "$bin" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
  extra=$(grep -Ev "$runtime" <<<"$needed" || true)
  [ -z "$extra" ] || fail "needs more than the C/C++ runtime: $extra"
  exports=$(readelf --dyn-syms -W "$bin" | awk '$7 != "UND" && ($5 == "GLOBAL" || $5 == "WEAK") { print $8 }' |
    sort | paste -sd,)
  [ "$exports" = "${entry##*=}" ] || fail "exports $exports"
  echo "$(basename "$bin"): $description; needs $(paste -sd' ' <<<"$needed"); exports $exports"
done
exit $failed
