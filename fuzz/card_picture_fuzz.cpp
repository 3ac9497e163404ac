// fuzz/card_picture_fuzz.cpp: the pictures of the card (MakePicture, MakePictureFront, MakePictureBack)
// from texts of any bytes as GBK (names, addresses cut into lines, dates) and a photo file of any bytes,
// which is read, masked by its third-last byte and painted at its place. Nothing is written: the out
// file is null, so the whole picture is composed and then dropped.
#include "check.h"
#include "idcard/card_image.h"
#include "vnr_32.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {
std::string photo_file;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static char folder[] = "/tmp/vnr-card-picture-XXXXXX";
    if (mkdtemp(folder) == nullptr) std::abort();
    photo_file = std::string(folder) + "/photo.bmp";
    std::atexit([] { std::filesystem::remove_all(folder); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const int face = in.ConsumeIntegralInRange(0, 2);
    std::string texts[9];
    for (std::string& text : texts) text = in.ConsumeRandomLengthString(120);
    const std::string photo = in.ConsumeRemainingBytesAsString();
    std::ofstream(photo_file, std::ios::binary | std::ios::trunc).write(photo.data(), static_cast<std::streamsize>(photo.size()));

    // The address's lines lie within it, the first two of at most 22 bytes.
    for (const auto cut : {vnr::idcard::AddressCut::between_characters, vnr::idcard::AddressCut::byte_test}) {
        const auto lines = vnr::idcard::address_lines(texts[4], cut);
        std::size_t at = 0;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            FUZZ_CHECK(i == 2 || lines[i].size() <= 22);
            FUZZ_CHECK(lines[i].empty() || lines[i].data() == texts[4].data() + at);
            at += lines[i].size();
        }
        FUZZ_CHECK(at <= std::min<std::size_t>(texts[4].size(), 70));
    }

    const char* t[9];
    for (int i = 0; i < 9; ++i) t[i] = texts[i].c_str();
    switch (face) {
        case 0: MakePicture(nullptr, photo_file.c_str(), t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], t[8]); break;
        case 1: MakePictureFront(nullptr, photo_file.c_str(), t[0], t[1], t[2], t[3], t[4], t[5]); break;
        case 2: MakePictureBack(nullptr, t[6], t[7], t[8]); break;
    }
    return 0;
}
