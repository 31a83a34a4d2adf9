#!/usr/bin/env bash
# Fails unless the module's dynamic symbol table defines exactly main and VSTPluginMain.
set -euo pipefail
got=$(nm -D --defined-only "$1" | awk '{print $3}' | sort | tr '\n' ' ')
if [ "$got" != "VSTPluginMain main " ]; then
  echo "exported: $got" >&2
  exit 1
fi
