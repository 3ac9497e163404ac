#!/usr/bin/env bash
# Installs the Debian packages that building and testing need, only those that are missing.
#   scripts/install-deps.sh [linux|all] [ship]   linux: the Linux build, simulator and tests; all: also the
#                                         Windows cross-compilers and Wine (default), and what ship names;
#                                         ship: the install, package, Python, man page, cross (i686, aarch64)
#                                         and virtual machine stages of scripts/test.sh
set -euo pipefail

packages=(build-essential cmake ninja-build binutils googletest libgtest-dev libgmock-dev libbenchmark-dev libssl-dev
          nlohmann-json3-dev
          # the fuzz targets: clang with libFuzzer and the sanitizers' runtimes
          clang libclang-rt-14-dev
          # static analysis and the soak under valgrind
          clang-tidy cppcheck valgrind
          # the PC/SC driver and its clients
          pcscd libpcsclite-dev pcsc-tools opensc python3-pyscard
          # text on card pictures: FreeType and fontconfig, a 12-pixel Song bitmap font and AR PL UMing
          libfreetype-dev libfontconfig-dev xfonts-wqy fonts-arphic-uming)
if [ "${1:-all}" = all ]; then
  packages+=(mingw-w64 wine64 jq)
fi
if [ "${1:-all}" = all ] || [ "${2:-}" = ship ]; then
  packages+=(help2man pandoc man-db lintian dpkg-dev python3-venv clang-16 g++-i686-linux-gnu g++-aarch64-linux-gnu
             qemu-user qemu-system-x86 busybox-static cpio)
fi

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "install-deps: not root and no sudo; install: ${missing[*]}" >&2; exit 1; }
  sudo=sudo
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
