// src/platform/posix/hidraw_nodes.h: platform (POSIX), private to the hidraw backend and its tests.
// Which hidraw device nodes the system has, in a stable order.
#pragma once

#include <string>
#include <vector>

namespace vnr::platform {

// Where the kernel lists its hidraw interfaces, one entry "hidrawN" each.
inline constexpr const char* kHidrawClassDir = "/sys/class/hidraw";

// The device node "/dev/hidrawN" of each entry "hidrawN" in `class_dir`, lowest N first, so that an
// interface keeps its index while nothing is plugged in or out. Other entries are ignored. Empty when
// the folder is missing or cannot be read (a kernel without hidraw, a container without sysfs).
std::vector<std::string> hidraw_nodes(const std::string& class_dir);

}  // namespace vnr::platform
