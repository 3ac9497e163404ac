// src/idcard/photo_store.h: idcard. Where photos go: the photo folder and name, the files of the last
// read, writing WLT data to a .wlt file and having the decoder turn it into a .bmp beside it.
//
// Paths are GBK text in Windows form ("C:\photos\"); on Linux they are mapped to native paths at the
// moment a file is touched, and a path beginning with "/" is taken as a native one. Every path the
// store builds fits kPathRoom bytes with its terminator, or the operation is refused.
#pragma once

#include "idcard/record.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vnr::idcard {

// The store's process-wide texts. Each is read and written whole under a lock of its own, so that
// the functions that take no library lock still see a consistent text.
enum class PhotoText { path, name, last_file, extra_file };
std::string photo_text(PhotoText which);
void set_photo_text(PhotoText which, std::string_view value);

// 0 when `path` is a usable folder path: a drive component of two bytes whose first is a letter (or,
// on Linux, a native absolute path), and components holding none of \ / : * ? < > " and not beginning
// with a space. Else -1.
int check_photo_path(std::string_view path);

// Splits a bitmap path at its first ".bmp" into the folder (given back with a trailing separator, and
// created) and the file name without extension. 0, or -1 when the path does not fit that shape.
int split_photo_path(std::string_view bmp_path, std::string& folder, std::string& name);

// Loads the decoder, has it decode `wlt_file` and unloads it; the decoder's status, or 0 when it
// could not be loaded or has no GetBmp.
std::int16_t wlt_to_bmp(const std::string& wlt_file);

// The status of a save: 0 when the bitmap exists, else the decoder's status `st` mapped.
std::int16_t save_status(const std::string& bmp_file, int st);

// Adds the path's separator ("\", or "/" in a native path) at its end when it does not end in one.
void add_trailing_separator(std::string& path);

// Creates or empties the file at `path` and writes `data` to it. False when that failed.
bool write_file_at(std::string_view path, std::span<const std::uint8_t> data);

// Deletes the file at `path`; what comes of it is not looked at.
void delete_file_at(std::string_view path);

// The file name part of a path: what follows its last separator.
std::string file_name_part(std::string_view path);

// The saves of the read functions. Each takes the library lock for itself.
// Writes zp.wlt in the working directory, decodes it, moves zp.bmp below the photo folder and puts the
// bare name "zp.bmp" (20 bytes, zero-padded) into `file_text`.
std::int16_t photo_save(std::span<const std::uint8_t> photo, char* file_text);
// Writes <folder><name>.wlt, decodes it and copies the bitmap to `copy_to` (may be null).
std::int16_t photo_save_ex(std::span<const std::uint8_t> photo, const char* copy_to);
// Writes the photo beside `bmp_path` and decodes it to `bmp_path`. -100 when the path is not usable.
std::int16_t photo_save_extra(std::span<const std::uint8_t> photo, std::string_view bmp_path);
// Writes <folder>XP.wlt and, when `decode` is not 0, decodes a copy zp.wlt to zp.bmp. -1 when the
// folder is not usable.
std::int16_t photo_save_extwo(std::span<const std::uint8_t> photo, std::uint8_t decode, std::string_view folder);

// Deletes the photo files of the last read. Always 0.
std::int16_t delete_all_photofiles();

// The Base64 text of the first 65536 bytes of `file`: its length plus one, -1 (no file) or -2 (empty).
std::int32_t file_base64(const char* file, char* base64);

// Sets the photo name as IDCard_SetPhotoName does: 0, -1 or -37.
std::int16_t set_photo_name(const char* name);

}  // namespace vnr::idcard
