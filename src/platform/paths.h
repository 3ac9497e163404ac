// src/platform/paths.h: platform. How the library's Windows-form names map to native ones.
// On Windows every name is used as it stands. On Linux a drive "X:\a\b" becomes
// "$VNR32_PREFIX/drive_x/a/b" (VNR32_PREFIX defaults to "$HOME/.vnr32"), a path starting with "/"
// is used as it is, and serial port index n is "$VNR32_PREFIX/dosdevices/com<n+1>" when that exists,
// else "/dev/ttyS<n>".
#pragma once

#include <string>
#include <string_view>

namespace vnr::platform {

// The native form of a path given in Windows form. A relative path keeps its relative form with the
// separators made native. On Linux a drive path's GBK names become the UTF-8 names that the file
// system shows, its "." and ".." are resolved without leaving the drive's folder, a path that starts
// with "\" but names no drive is taken on drive C, and a native path ("/...") stays as it is.
std::string native_path(std::string_view windows_path);

// True for a path that is already native and absolute: one that starts with "/" on Linux. Never on
// Windows, where every path is taken in Windows form.
bool is_native_absolute(std::string_view path) noexcept;

// Creates the folder that stands for the drive of `windows_path` when it is missing, so that a file
// can be created at the top of a drive. Nothing to do on Windows, or for a path without a drive.
void prepare_drive(std::string_view windows_path) noexcept;

// The native folder that stands for the drive of `windows_path` ("D:" for "D:\VNlog"), or an empty
// string when the path names no drive. On Windows this is "D:\".
std::string drive_root(std::string_view windows_path);

// The name under which serial port `index` (0 is COM1) is opened; `index` is 0 to 31.
std::string serial_port_name(unsigned index);

}  // namespace vnr::platform
