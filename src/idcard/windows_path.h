// src/idcard/windows_path.h: idcard. The photo store's paths in the library's Windows form ("C:\photos\",
// GBK), the rules it checks them by, and the file operations on them. On Linux a path is mapped to a
// native one at the moment a file is touched (platform/paths.h), and a path beginning with "/" is taken
// as a native one, whose separator is "/".
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vnr::idcard {

// Every path the store builds fits this many bytes with its terminator, or the operation is refused.
inline constexpr std::size_t kPathRoom = 260;
inline constexpr std::size_t kLongestPath = 255;     // check_photo_path and iWlttoBmp refuse longer paths
inline constexpr std::size_t kLongestSetting = 250;  // IDCard_SetPhotoPath, IDCard_SetPhotoName, a .bmp path's tail
inline constexpr std::size_t kExtensionLength = 4;   // ".bmp", ".wlt"

// The separator of a path: "/" in a native absolute path, else "\".
char separator_of(std::string_view path);
bool ends_with_separator(std::string_view path);
// Adds the path's separator at its end when it does not end in one.
void add_trailing_separator(std::string& path);

// The file name part of a path: what follows its last separator.
std::string file_name_part(std::string_view path);
// The path without its last component; a root keeps its separator ("C:\zp.bmp" gives "C:\").
std::string without_file_name(std::string_view path);
// A Windows path that names no drive (a native path names its place whole).
bool names_no_drive(std::string_view path);
// `path` when it fits kPathRoom with its terminator.
std::optional<std::string> fitting(std::string path);

// 0 when `path` is a usable folder path: a drive component of two bytes whose first is a letter (or, on
// Linux, a native absolute path), and components holding none of \ / : * ? < > " and not beginning with
// a space. Else -1.
int check_photo_path(std::string_view path);

// Splits a bitmap path at its first ".bmp" into the folder (given back with a trailing separator, and
// created) and the file name without extension. 0, or -1 when the path does not fit that shape.
int split_photo_path(std::string_view bmp_path, std::string& folder, std::string& name);

// The file operations, on paths in the library's form.
std::string native(std::string_view path);
bool exists(std::string_view path);
// Creates every folder of `path` up to its last separator.
void make_sure_directory_path_exists(std::string_view path);
void copy_file(std::string_view from, std::string_view to);
void move_file(std::string_view from, std::string_view to);
// Creates or empties the file at `path` and writes `data` to it. False when that failed.
bool write_file_at(std::string_view path, std::span<const std::uint8_t> data);
// Deletes the file at `path`; what comes of it is not looked at.
void delete_file_at(std::string_view path);

}  // namespace vnr::idcard
