// src/idcard/decoder.h: idcard. The outside photo decoder: loaded afresh for each photo (by its bare name,
// then from the library's own folder), asked to turn a .wlt file into a .bmp beside it, and unloaded.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace vnr::idcard {

// Has the decoder decode `wlt_file`; the decoder's status, or 0 when it could not be loaded or has no
// GetBmp.
std::int16_t wlt_to_bmp(const std::string& wlt_file);

// The status of a save: 0 when `bmp_file` exists, else the decoder's status `st` mapped to the save
// statuses (-2 to -9).
std::int16_t save_status(const std::string& bmp_file, int st);

// Decodes `wlt_file` and gives the status of the save that `bmp_file` is to come of.
std::int16_t decode_beside(const std::string& wlt_file, const std::string& bmp_file);

// Writes the photo's WLT data to `wlt_file`, decodes it and gives the status of the save of `bmp_file`.
std::int16_t write_and_decode(std::span<const std::uint8_t> photo, const std::string& wlt_file,
                              const std::string& bmp_file);

}  // namespace vnr::idcard
