#!/usr/bin/env bash
# Checks the Windows DLL of a cross build against src/exports.list:
#   - its export table holds exactly the listed names, no more and no fewer;
#   - on i686, no exported name carries an @N decoration, and every export really is __stdcall: the
#     import library has the decorated symbol _name@N, and the function's first return pops N bytes
#     of arguments (ret $N);
#   - the DLL imports nothing but system DLLs (no C++ runtime, libgcc or winpthread DLL).
# The vnr.exe tool of the same build, when present, may import vnr_32.dll beside the system DLLs.
#   scripts/check-exports.sh BUILD_DIR
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)

if [ $# -ne 1 ]; then
  echo "usage: $0 BUILD_DIR" >&2
  exit 2
fi
build=$1
dll=$build/src/vnr_32.dll
implib=$build/src/libvnr_32.dll.a
if [ ! -f "$dll" ]; then
  echo "check-exports: no DLL at $dll" >&2
  exit 2
fi

case $(x86_64-w64-mingw32-objdump -f "$dll" | sed -n 's/.*file format //p') in
  pei-x86-64) triple=x86_64-w64-mingw32 ;;
  pei-i386) triple=i686-w64-mingw32 ;;
  *) echo "check-exports: $dll is not a Windows DLL that this script knows" >&2; exit 2 ;;
esac
objdump=$triple-objdump

failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
pass() { echo "ok:   $*"; }

headers=$($objdump -p "$dll")

# Export names: the lines of the "[Ordinal/Name Pointer] Table" block, "[   k] name", k indexing the
# export address table.
names_block=$(awk '/^\[Ordinal\/Name Pointer\] Table/ {on = 1; next} on && /^[[:space:]]*$/ {on = 0} on' <<<"$headers")
exported=$(sed -E 's/^[[:space:]]*\[[[:space:]]*[0-9]+\][[:space:]]+//' <<<"$names_block" | sort)
listed=$(grep -E '^[A-Za-z_][A-Za-z0-9_]*$' "$top/src/exports.list" | sort)

if [ -z "$exported" ]; then
  fail "$dll exports nothing"
else
  extra=$(comm -23 <(echo "$exported") <(echo "$listed"))
  missing=$(comm -13 <(echo "$exported") <(echo "$listed"))
  [ -z "$extra" ] || fail "exported but not in src/exports.list: $(echo $extra)"
  [ -z "$missing" ] || fail "in src/exports.list but not exported: $(echo $missing)"
  [ -n "$extra$missing" ] || pass "export table is exactly the $(wc -l <<<"$listed") names of src/exports.list"
fi

if [ "$triple" = i686-w64-mingw32 ]; then
  decorated=$(grep '@' <<<"$exported")
  if [ -n "$decorated" ]; then fail "decorated export names: $(echo $decorated)"; else pass "no export name carries an @N decoration"; fi

  image_base=$((0x$(sed -nE 's/^ImageBase[[:space:]]+([0-9a-fA-F]+).*/\1/p' <<<"$headers")))
  # "[   k] +base[ o] rva Export RVA": the address of export k.
  declare -A rva_of
  while read -r index rva; do rva_of[$index]=$rva; done < <(
    sed -nE 's/^[[:space:]]*\[[[:space:]]*([0-9]+)\][[:space:]]+\+base\[[[:space:]]*[0-9]+\][[:space:]]+([0-9a-fA-F]+)[[:space:]]+Export RVA.*/\1 \2/p' <<<"$headers")
  import_symbols=$([ -f "$implib" ] && $triple-nm --defined-only "$implib" 2>/dev/null)
  stdcall_ok=0
  while read -r index name; do
    [ -n "$name" ] || continue
    bytes=$(sed -nE "s/^[0-9a-fA-F]+ T _${name}@([0-9]+)$/\1/p" <<<"$import_symbols")
    if [ -z "$bytes" ]; then fail "$name: the import library has no __stdcall symbol _${name}@N"; continue; fi
    rva=${rva_of[$index]:-}
    if [ -z "$rva" ]; then fail "$name: no address in the export table"; continue; fi
    start=$((image_base + 0x$rva))
    # The first return after the entry, in a linear reading of the code; 4 KiB is far more than any
    # export's straight-line path to its return.
    first_ret=$($objdump -d --no-show-raw-insn --start-address=$start --stop-address=$((start + 4096)) "$dll" |
      grep -m1 -E '^[[:space:]]*[0-9a-f]+:[[:space:]]+ret' | sed -E 's/.*(ret[^<]*).*/\1/; s/[[:space:]]+$//')
    expected=$(printf 'ret    $0x%x' "$bytes")
    if [ "$bytes" -eq 0 ]; then expected=ret; fi
    if [ "$first_ret" != "$expected" ]; then
      fail "$name: expected '$expected' (__stdcall, $bytes bytes of arguments), found '${first_ret:-no return}'"
    else
      stdcall_ok=$((stdcall_ok + 1))
    fi
  done < <(sed -nE 's/^[[:space:]]*\[[[:space:]]*([0-9]+)\][[:space:]]+([^[:space:]]+)$/\1 \2/p' <<<"$names_block")
  [ "$stdcall_ok" -eq 0 ] || pass "$stdcall_ok exports are __stdcall (decorated import symbol and matching ret \$N)"
fi

# Imports of a binary, one DLL name a line, upper case.
imports_of() { $objdump -p "$1" | sed -nE 's/^[[:space:]]*DLL Name:[[:space:]]*(.*)$/\1/p' | tr '[:lower:]' '[:upper:]' | sort -u; }
system_dlls="KERNEL32.DLL MSVCRT.DLL SETUPAPI.DLL HID.DLL SHLWAPI.DLL ADVAPI32.DLL USER32.DLL GDI32.DLL"
check_imports() {  # check_imports BINARY ALLOWED...
  local binary=$1 bad="" dll
  shift
  for dll in $(imports_of "$binary"); do
    case " $* " in *" $dll "*) ;; *) bad="$bad $dll" ;; esac
  done
  if [ -n "$bad" ]; then fail "$(basename "$binary") imports non-system DLLs:$bad"; else pass "$(basename "$binary") imports only: $(echo $(imports_of "$binary"))"; fi
}
check_imports "$dll" $system_dlls
# The command-line tool and the EMV library are ours too: they may lean on
# vnr_32.dll (and the tool on vnr_emv.dll), nothing else outside Windows.
emv_dll=$(find "$build" -maxdepth 2 -iname 'vnr_emv.dll' | head -n1)
[ -z "$emv_dll" ] || check_imports "$emv_dll" $system_dlls VNR_32.DLL
[ ! -f "$build/tools/vnr.exe" ] || check_imports "$build/tools/vnr.exe" $system_dlls VNR_32.DLL VNR_EMV.DLL

if [ "$failures" -ne 0 ]; then
  echo "check-exports: $failures failure(s) in $build"
  exit 1
fi
echo "check-exports: $build is clean"
