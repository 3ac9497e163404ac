// src/platform/files.h: platform. Files and folders, addressed by native paths.
// Paths that the library names in Windows form (drive letters, backslashes) are first turned into
// native paths by platform/paths.h; every function here takes the native form.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vnr::platform {

// True when something (file, folder, device) exists at `path`.
bool path_exists(const std::string& path) noexcept;

// True when `path` is an existing folder.
bool is_directory(const std::string& path) noexcept;

// Creates the one folder `path` (its parent must exist). True when it was created.
bool make_directory(const std::string& path) noexcept;

// Creates `path` and every missing folder above it. True when the folder exists afterwards.
bool make_directory_path(const std::string& path) noexcept;

// One entry of a folder listing. `is_directory` is set only for a plain folder: a link to a folder
// or any other special entry counts as not a folder.
struct DirectoryEntry {
    std::string name;
    bool is_directory = false;
};

// Lists the folder `path` without "." and "..". False when the listing cannot start.
bool list_directory(const std::string& path, std::vector<DirectoryEntry>& entries);

// Deletes the file `path`. True on success.
bool remove_file(const std::string& path) noexcept;

// Removes the empty folder `path` (relative paths count from the current directory). True on success.
bool remove_directory(const std::string& path) noexcept;

// Makes `path` the process's current directory. True on success.
bool set_current_directory(const std::string& path) noexcept;

// Appends `size` bytes to the file `path`, creating it when missing, in a single write so that lines
// of concurrent writers never interleave inside a line. In text mode a line feed becomes the
// platform's line end (CR LF on Windows, unchanged elsewhere); in binary mode the bytes go as they are.
// False when the file cannot be opened or written.
enum class WriteMode { text, binary };
bool append_file(const std::string& path, const char* data, std::size_t size, WriteMode mode) noexcept;

// Creates the file `path`, or empties an existing one, and writes `size` bytes to it; others may read
// it meanwhile. False when it cannot be created or written.
bool write_file(const std::string& path, const void* data, std::size_t size) noexcept;

// Reads at most `limit` bytes from the start of the file `path` into `data`. False when the file
// cannot be opened or read.
bool read_file(const std::string& path, std::size_t limit, std::vector<unsigned char>& data);

// Reads the byte `back` bytes before the end of the file `path` (1 is the last byte).
enum class TailRead { read, too_short, cannot_open };
TailRead read_byte_from_end(const std::string& path, std::size_t back, unsigned char& byte) noexcept;

// Copies the file `from` to `to`, replacing `to`. Copying a file onto itself changes nothing.
bool copy_file(const std::string& from, const std::string& to) noexcept;

// Moves the file `from` to `to`, replacing `to`; between file systems by copying and deleting.
bool move_file(const std::string& from, const std::string& to) noexcept;

}  // namespace vnr::platform
