#!/usr/bin/env bash
# Makes the folder of foreign-architecture libraries that a cross build of the tree links against and its
# tests run with: FreeType, fontconfig and what they need, GoogleTest, OpenSSL's libcrypto (the cipher tests'
# oracle) and the simulator's JSON headers, as Debian builds them for ARCH. The packages are fetched with
# apt-get download through an apt state of their own and unpacked with dpkg-deb -x: the machine's own package
# set is not touched (no dpkg --add-architecture, whose multiarch packages must match the installed ones
# version for version, which a machine with newer security updates than the foreign index does not meet).
# The C and C++ runtime come with the cross compiler (g++-i686-linux-gnu, g++-aarch64-linux-gnu), which has no
# character set modules: those of the target's libc6 go to DIR/gconv (GCONV_PATH of the test runs).
#   scripts/cross-sysroot.sh i386|arm64 DIR
set -euo pipefail
arch=$1
dir=$(mkdir -p "$2" && cd "$2" && pwd)
packages=(libfreetype6 libfreetype-dev libfontconfig1 libfontconfig-dev libexpat1 libpng16-16 libbrotli1 zlib1g
          libgtest-dev libgmock-dev libssl3 libssl-dev nlohmann-json3-dev)
[ -f "$dir/.complete" ] && [ "$(cat "$dir/.complete")" = "${packages[*]} gconv" ] && exit 0

state=$dir/.apt
rm -rf "$state" && mkdir -p "$state/lists/partial" "$state/cache/archives/partial" "$state/sources" "$state/debs"
: >"$state/status"
# Debian's own archive only: the machine's other sources may not carry ARCH.
if [ -f /etc/apt/sources.list.d/debian.sources ]; then cp /etc/apt/sources.list.d/debian.sources "$state/sources/"; fi
if [ -f /etc/apt/sources.list ]; then grep -E '^deb .*debian' /etc/apt/sources.list >"$state/sources/debian.list" || true; fi
apt_options=(-o "APT::Architecture=$arch" -o "APT::Architectures::=$arch" -o "Dir::State::Lists=$state/lists"
             -o "Dir::State::status=$state/status" -o "Dir::Cache=$state/cache" -o "Dir::Etc::SourceList=/dev/null"
             -o "Dir::Etc::SourceParts=$state/sources" -o "Debug::NoLocking=1" -o "APT::Sandbox::User=root")
# An index that fails (a mirror in the middle of a sync) leaves the others usable: the download says
# whether what is needed was found.
apt-get "${apt_options[@]}" -qq update || echo "cross-sysroot: some $arch indexes could not be fetched" >&2
(cd "$state/debs" && apt-get "${apt_options[@]}" -qq download "${packages[@]}" libc6)
for deb in "$state/debs"/*.deb; do
  case $(basename "$deb") in
    # Only its character set modules (GBK for the library's text): the C runtime is the cross compiler's.
    libc6_*) dpkg-deb -x "$deb" "$state/libc6" && cp -a "$state"/libc6/usr/lib/*/gconv "$dir/gconv" ;;
    *) dpkg-deb -x "$deb" "$dir" ;;
  esac
done
# The development links point at absolute paths of the target system: make them relative to the folder.
find "$dir" -type l -lname '/*' | while read -r link; do
  ln -sfn "$dir$(readlink "$link")" "$link"
done
rm -rf "$state"
echo "${packages[*]} gconv" >"$dir/.complete"
echo "cross-sysroot: $arch libraries in $dir"
