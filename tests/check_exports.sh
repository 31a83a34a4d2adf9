#!/usr/bin/env bash
# Fails unless the module's dynamic symbol table defines exactly main and
# VSTPluginMain (or the symbols given second, each followed by a blank).
set -euo pipefail
got=$(nm -D --defined-only "$1" | awk '{print $3}' | sort | tr '\n' ' ')
if [ "$got" != "${2:-VSTPluginMain main }" ]; then
  echo "exported: $got" >&2
  exit 1
fi
