#!/usr/bin/env bash
# Keeps the arrows of the house pointing down:
#   - only src/platform speaks to the operating system: nothing above it names an OS (_WIN32, __linux__,
#     _MSC_VER, __APPLE__) or includes a backend (platform/posix/, platform/win32/) or an OS header;
#   - src/platform includes nothing of the core or the families;
#   - the core includes no family; a family never reaches a link (core/link/);
#   - a family includes no other family's files, but for the shared utilities of crypto (the encoders and
#     the cipher), which other families use as the library's own helpers.
# Prints every offence and exits 1 when there is one.
set -uo pipefail
cd "$(dirname "$0")/.."
families=(reader contact contactless idcard bank pinpad crypto magstripe)
shared=("crypto/encoders.h" "crypto/des.h")
status=0
offend() { echo "layering: $*"; status=1; }

while IFS= read -r hit; do offend "an OS switch above src/platform: $hit"; done < <(
  git grep -nE '^\s*#\s*(if|ifdef|ifndef|elif).*(_WIN32|__linux__|_MSC_VER|__APPLE__)' -- src ':!src/platform' )
while IFS= read -r hit; do offend "a backend or OS header included above src/platform: $hit"; done < <(
  git grep -nE '#include\s+[<"](platform/(posix|win32)/|windows\.h|unistd\.h|sys/|linux/|termios\.h|dlfcn\.h|iconv\.h)' -- src ':!src/platform' )
while IFS= read -r hit; do offend "src/platform includes the core or a family: $hit"; done < <(
  git grep -nE '#include\s+"(core|'"$(IFS='|'; echo "${families[*]}")"')/' -- src/platform )
while IFS= read -r hit; do offend "the core includes a family: $hit"; done < <(
  git grep -nE '#include\s+"('"$(IFS='|'; echo "${families[*]}")"')/' -- src/core )
for family in "${families[@]}"; do
  [ -d "src/$family" ] || continue
  while IFS= read -r hit; do offend "a family reaches a link: $hit"; done < <(git grep -nE '#include\s+"core/link/' -- "src/$family")
  for other in "${families[@]}"; do
    [ "$other" = "$family" ] && continue
    while IFS= read -r hit; do
      header=$(sed -E 's/.*#include\s+"([^"]+)".*/\1/' <<<"$hit")
      allowed=0
      for s in "${shared[@]}"; do [ "$header" = "$s" ] && allowed=1; done
      [ $allowed -eq 1 ] || offend "$family includes $other's internals: $hit"
    done < <(git grep -nE "#include\\s+\"$other/" -- "src/$family")
  done
done
[ $status -eq 0 ] && echo "layering: the arrows point down"
exit $status
