#!/usr/bin/env bash
# The USB HID road on a real kernel. This machine's kernel has no uhid, so a small virtual machine runs the
# hidraw and uhid tests: Debian's own kernel (the versioned image that linux-image-amd64 depends on, fetched
# with apt-get download and unpacked with dpkg-deb -x; hidraw is built in, hid, uhid and hid-generic are
# modules), busybox-static and an initramfs holding those modules, the test programs of a Linux build and
# their libraries, booted by qemu-system-x86_64 with software emulation (-accel tcg). In it:
#   - vnr_unit_tests --gtest_filter='Hidraw*': the hidraw backend against its stand-in ioctls;
#   - vnr_vm_tests: several virtual readers (uhid devices served by the simulator) found and opened through the
#     library's exported functions, and a reader unplugged in the middle of an exchange;
#   - vnr doctor on a virtual reader's node: as root (the reader opens and answers) and, with the node made
#     0600, as an unprivileged user (the node is named with why and the fix).
# A test that skips counts as failed here: the point of the machine is that nothing needs to skip.
# Prints "N passed, N failed".
#   scripts/vm-tests.sh [BUILD_DIR]         (default: build; it must be built: vnr_unit_tests, vnr_vm_tests, vnr)
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$top/build}" && pwd)
vm=$top/build-vm
mkdir -p "$vm"

for tool in qemu-system-x86_64 cpio gzip; do
  command -v "$tool" >/dev/null || { echo "vm-tests: $tool is missing (scripts/install-deps.sh vm)"; echo "0 passed, 1 failed"; exit 1; }
done
[ -x /bin/busybox ] || { echo "vm-tests: /bin/busybox is missing (busybox-static)"; echo "0 passed, 1 failed"; exit 1; }

# The kernel: Debian's current image, kept in build-vm/ between runs.
kernel_image() { apt-cache depends linux-image-amd64 2>/dev/null | awk '/Depends: linux-image-[0-9]/{print $2; exit}'; }
image=$(kernel_image)
[ -n "$image" ] || { apt-get update -qq >/dev/null 2>&1; image=$(kernel_image); }
if [ -z "$image" ]; then echo "vm-tests: apt knows no linux-image-amd64 (apt-get update?)"; echo "0 passed, 1 failed"; exit 1; fi
if [ ! -f "$vm/kernel/.$image" ]; then
  rm -rf "$vm/kernel" "$vm"/linux-image-*.deb && mkdir -p "$vm/kernel"
  (cd "$vm" && apt-get download "$image" >/dev/null 2>&1) || { echo "vm-tests: cannot download $image"; echo "0 passed, 1 failed"; exit 1; }
  dpkg-deb -x "$vm"/linux-image-*.deb "$vm/kernel" && rm -f "$vm"/linux-image-*.deb && touch "$vm/kernel/.$image"
fi
vmlinuz=$(ls "$vm"/kernel/boot/vmlinuz-* | head -n 1)
modules=$(ls -d "$vm"/kernel/lib/modules/* | head -n 1)

# The initramfs: busybox, the modules, the programs and every library they load, at the paths they have here.
root=$vm/root
rm -rf "$root" && mkdir -p "$root"/{bin,dev,proc,sys,tmp,etc,modules,tests}
cp /bin/busybox "$root/bin/"
for module in hid uhid hid-generic; do cp "$modules/kernel/drivers/hid/$module.ko" "$root/modules/"; done
printf 'root:x:0:0:root:/:/bin/sh\nnobody:x:65534:65534:nobody:/:/bin/sh\n' >"$root/etc/passwd"
printf 'root:x:0:\nnogroup:x:65534:\n' >"$root/etc/group"
copy_with_libraries() {  # copy_with_libraries FILE: the file at its own path, and what the loader gives it
  local file=$1 lib
  mkdir -p "$root$(dirname "$file")" && cp -L "$file" "$root$file"
  for lib in $(ldd "$file" | grep -oE '/[^ ]+' | sort -u); do
    [ -e "$root$lib" ] && continue
    mkdir -p "$root$(dirname "$lib")" && cp -L "$lib" "$root$lib"
  done
}
programs=("$build/tests/vnr_unit_tests" "$build/tests/vm/vnr_vm_tests" "$build/tools/vnr")
for program in "${programs[@]}"; do
  [ -x "$program" ] || { echo "vm-tests: $program is not built"; echo "0 passed, 1 failed"; exit 1; }
  copy_with_libraries "$program"
done
copy_with_libraries "$build/src/libGetInfo.so"
# GBK through iconv, for vnr.
gconv=$(dirname "$(find /usr/lib -name GBK.so -path '*gconv*' | head -n 1)")
mkdir -p "$root$gconv" && cp -a "$gconv"/gconv-modules* "$gconv/GBK.so" "$root$gconv/"
find "$root" -type f \( -name '*.so*' -o -perm -u+x \) ! -name busybox -exec strip --strip-debug {} + 2>/dev/null

cat >"$root/init" <<EOF
#!/bin/busybox sh
/bin/busybox --install -s /bin
# No tmpfs over /tmp: the root in memory is writable already, and the programs may lie below /tmp (a
# clone there) at the paths they were built at.
mount -t proc proc /proc; mount -t sysfs sys /sys; mount -t devtmpfs dev /dev
chmod 1777 /tmp
for module in hid uhid hid-generic; do insmod /modules/\$module.ko || echo "vm-check FAIL insmod \$module"; done
echo "vm: kernel \$(uname -r), /dev/uhid: \$(ls /dev/uhid 2>&1)"
export HOME=/tmp VNR32_PREFIX=/tmp/vnr32 GTEST_COLOR=no
$build/tests/vnr_unit_tests --gtest_filter='Hidraw*'
$build/tests/vm/vnr_vm_tests
# vnr doctor on a virtual reader's node, as root and as a user whom the node's 0600 keeps out.
$build/tests/vm/vnr_vm_tests --serve-reader 20 >/tmp/node &
sleep 1
node=\$(cat /tmp/node)
$build/tools/vnr doctor >/tmp/doctor.root 2>&1
grep -qE "^ok +USB reader 23a4:0213 at \$node: root may open it" /tmp/doctor.root &&
  grep -qE "^ok +USB: a reader answers: VNR-32 uhid" /tmp/doctor.root &&
  echo "vm-check ok doctor as root" || { echo "vm-check FAIL doctor as root"; cat /tmp/doctor.root; }
chmod 0600 "\$node"
su -s /bin/sh nobody -c "$build/tools/vnr doctor" >/tmp/doctor.nobody 2>&1
status=\$?
[ \$status -eq 1 ] && grep -qE "^PROBLEM +USB reader 23a4:0213 at \$node: nobody may not open it \\(crw------- root:root" /tmp/doctor.nobody &&
  echo "vm-check ok doctor as an unprivileged user" || { echo "vm-check FAIL doctor as an unprivileged user (\$status)"; cat /tmp/doctor.nobody; }
echo "vm: done"
poweroff -f
EOF
chmod +x "$root/init"
(cd "$root" && find . | cpio -o -H newc --quiet | gzip -1) >"$vm/initrd.gz"

log=$vm/console.log
start=$(date +%s)
timeout 600 qemu-system-x86_64 -accel tcg -m 1024 -smp 1 -nographic -no-reboot -kernel "$vmlinuz" \
  -initrd "$vm/initrd.gz" -append "console=ttyS0 quiet panic=-1 rdinit=/init" </dev/null >"$log" 2>&1
echo "vm: booted and ran in $(( $(date +%s) - start )) s (console in $log)"
tr -d '\r' <"$log" | grep -E '^\[ *(RUN|OK|FAILED|SKIPPED|PASSED) *\]|^vm' | grep -vE '^\[ *RUN'

passed=$(tr -d '\r' <"$log" | grep -cE '^\[ +OK \] |^vm-check ok ')
failed=$(tr -d '\r' <"$log" | grep -cE '^\[  (FAILED|SKIPPED) *\] [A-Za-z].*\(|^vm-check FAIL ')
tr -d '\r' <"$log" | grep -q '^vm: done' || { echo "vm-tests: the machine did not finish its run"; failed=$((failed + 1)); }
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
