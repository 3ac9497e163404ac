#!/usr/bin/env bash
# Packs the Windows cross builds into one zip: both DLLs (x86_64 and i686) with GetInfo.dll and vnr.exe, the
# import libraries and .def files, the CMake package, the header and a short README.
#   scripts/pack-windows.sh [OUT_DIR]     (default: build-win-package; builds build-win64 and build-win32
#                                          with scripts/build-windows.sh when they are missing)
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-$top/build-win-package}
version=$(sed -nE 's/^project\(vnr_32 VERSION ([0-9.]+).*/\1/p' "$top/CMakeLists.txt")
name=vnr_32-$version-windows
stage=$out/$name

[ -f "$top/build-win64/src/vnr_32.dll" ] && [ -f "$top/build-win32/src/vnr_32.dll" ] || "$top/scripts/build-windows.sh" all
rm -rf "$stage" && mkdir -p "$stage/include"
for arch in x86_64 i686; do
  case $arch in x86_64) dir=build-win64 ;; i686) dir=build-win32 ;; esac
  cmake --install "$top/$dir" --prefix "$stage/$arch" --strip >/dev/null
  mv "$stage/$arch"/include/*.h "$stage/include/" && rmdir "$stage/$arch/include"
  # Its prefix is this staging folder's: of no use where the zip is unpacked.
  rm -rf "$stage/$arch/lib/pkgconfig"
done
sed "s/@VERSION@/$version/" "$top/packaging/windows-README.txt" | sed 's/$/\r/' >"$stage/README.txt"
# The CMake package looks for the header beside its own prefix: point it at the shared include folder.
for arch in x86_64 i686; do
  sed -i 's#${_IMPORT_PREFIX}/include#${_IMPORT_PREFIX}/../include#' "$stage/$arch/lib/cmake/vnr32/vnr32Targets.cmake"
done
(cd "$out" && rm -f "$name.zip" && cmake -E tar cf "$name.zip" --format=zip "$name")
echo "$out/$name.zip"
