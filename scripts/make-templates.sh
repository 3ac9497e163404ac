#!/usr/bin/env bash
# Redraws the card face templates that the library compiles in: builds vnr-card-templates (Linux)
# in build-templates/ and has it rewrite src/idcard/templates/{front,back,both}.bmp. The pictures are
# committed, because the Windows builds are cross builds that cannot run the generator; run this
# after changing tools/card_templates.cpp or the card font, look at the pictures, and commit them.
#   scripts/make-templates.sh [BUILD_DIR]      (default: build-templates)
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:-$top/build-templates}

cmake -S "$top" -B "$dir" -G Ninja -DVNR_BUILD_TESTS=OFF >/dev/null
cmake --build "$dir" --target vnr-card-templates
"$dir/tools/vnr-card-templates" "$top/src/idcard/templates"
git -C "$top" status --short -- src/idcard/templates
