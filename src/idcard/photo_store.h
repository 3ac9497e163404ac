// src/idcard/photo_store.h: idcard. Where photos go: the photo folder and name, the files of the last
// read, and the saves of the read functions, which write WLT data to a .wlt file and have the decoder turn
// it into a .bmp beside it (idcard/decoder.h). Paths follow idcard/windows_path.h.
#pragma once

#include "idcard/windows_path.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vnr::idcard {

// Holds the photo files' own lock for its lifetime. The files of a read (the last read's deleted, the
// photo saved, read back, deleted again) are the process's one set, and the read-card family leaves the
// library lock around its photo step; so every exported function that deletes or saves photo files holds
// this from its start to its return, and a read's files live until its call returns. Reentrant. It is
// always taken before the library lock, never while that is held.
class PhotoFilesGuard {
public:
    PhotoFilesGuard() noexcept;
    ~PhotoFilesGuard();
    PhotoFilesGuard(const PhotoFilesGuard&) = delete;
    PhotoFilesGuard& operator=(const PhotoFilesGuard&) = delete;
};

// The store's process-wide texts. Each is read and written whole under a lock of its own, so that
// the functions that take no library lock still see a consistent text.
enum class PhotoText { path, name, last_file, extra_file };
std::string photo_text(PhotoText which);
void set_photo_text(PhotoText which, std::string_view value);

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
