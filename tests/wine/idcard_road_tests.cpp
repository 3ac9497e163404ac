// The DLL reading the simulated identity card on COM1 under Wine, GetInfo.dll beside it: the Windows
// backends' conversion, GBK folders on D:, the decoder loaded at run time, wz.txt, and GDI card pictures.
//   idcard_road_tests.exe --name-gbk HEX --address-gbk HEX --id-number TEXT  (the deck's own texts)
#include "cases.h"
#include "vnr_32.h"

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

using vnr::wine_test::Cases;
using vnr::wine_test::file_bytes;
using vnr::wine_test::from_hex;

#define VNR_FUNCTIONS(X)                                                                                      \
    X(device_open) X(device_close) X(IDCard_ReadCard_Extra) X(IDCard_ReadCard_Ex) X(IDCard_ReadCard_ExTwo)    \
    X(IDCard_GetCardInfo) X(IDCard_SetPhotoPath) X(IDCard_SetPhotoName) X(MakePicture) X(MakePictureFront)    \
    X(MakePictureBack)

VNR_WINE_LIBRARY(Library, VNR_FUNCTIONS);

struct Expected {
    std::string name;     // GBK
    std::string address;  // GBK
    std::string id_number;
};

bool parse(int argc, char** argv, Expected& expected) {
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string_view option = argv[i];
        if (option == "--name-gbk") {
            if (!from_hex(argv[i + 1], expected.name)) return false;
        } else if (option == "--address-gbk") {
            if (!from_hex(argv[i + 1], expected.address)) return false;
        } else if (option == "--id-number") {
            expected.id_number = argv[i + 1];
        } else {
            return false;
        }
    }
    return !expected.name.empty() && !expected.address.empty() && !expected.id_number.empty();
}

bool file_exists(const char* path) { return ::GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES; }

// A 24-bit BMP of the card portrait's size: "BM", width 102, height 126 (either direction).
bool is_portrait_bitmap(const std::string& bytes) {
    if (bytes.size() < 54 || bytes.compare(0, 2, "BM") != 0) return false;
    std::int32_t width = 0, height = 0;
    std::uint16_t bits = 0;
    std::memcpy(&width, bytes.data() + 18, 4);
    std::memcpy(&height, bytes.data() + 22, 4);
    std::memcpy(&bits, bytes.data() + 28, 2);
    return width == 102 && (height == 126 || height == -126) && bits == 24;
}

std::string field(const Library& vnr, std::int32_t index, std::size_t room = 300) {
    std::vector<char> out(room, '\0');
    vnr.IDCard_GetCardInfo(0, index, out.data());
    return std::string(out.data());
}

// GBK texts of the library's messages and tables.
const std::string kDone = "\xB2\xD9\xD7\xF7\xB3\xC9\xB9\xA6";                    // 操作成功
const std::string kMale = "\xC4\xD0";                                            // 男
const std::string kHan = "\xBA\xBA";                                             // 汉

}  // namespace

int main(int argc, char** argv) {
    Expected expected;
    if (!parse(argc, argv, expected)) {
        std::fprintf(stderr,
                     "usage: idcard_road_tests.exe --name-gbk HEX --address-gbk HEX --id-number TEXT\n");
        return 2;
    }
    Cases cases;
    Library vnr;
    const bool loaded = vnr.load();
    cases.group("loading");
    cases.run("vnr_32.dll loads and every identity card function resolves by its plain name", [&] {
        cases.check(loaded, "LoadLibraryA or GetProcAddress failed (error %lu)", ::GetLastError());
    });
    if (!loaded) return cases.summary();
    const std::int32_t icdev = vnr.device_open(0, 115200);
    cases.run("device_open finds the simulated reader on COM1", [&] {
        cases.check(icdev >= 2, "device_open: got %ld", static_cast<long>(icdev));
    });
    if (icdev < 2) return cases.summary();

    cases.group("a resident card, its record and its photo");
    cases.run("IDCard_ReadCard_Extra reads the card and GetInfo.dll writes the bitmap where it was asked", [&] {
        char errtext[64] = {};
        const std::int32_t status = vnr.IDCard_ReadCard_Extra(icdev, "D:\\photos\\card.bmp", errtext);
        cases.equal(status, 0, "IDCard_ReadCard_Extra");
        cases.equal(errtext, kDone, "errtext");
        cases.check(is_portrait_bitmap(file_bytes("D:\\photos\\card.bmp")), "D:\\photos\\card.bmp is no 102x126 bitmap");
        cases.check(file_exists("D:\\photos\\card.wlt"), "the WLT data is not beside the bitmap");
    });
    cases.run("the fields come out of the record in GBK, converted by the system", [&] {
        cases.equal(field(vnr, 0), expected.name, "name");
        cases.equal(field(vnr, 1), kMale, "sex");
        cases.equal(field(vnr, 2), kHan, "nation");
        cases.equal(field(vnr, 4), expected.address, "address");
        cases.equal(field(vnr, 5), expected.id_number, "id number");
    });
    cases.run("IDCard_ReadCard_Ex saves below a GBK photo folder", [&] {
        const char folder[] = "D:\\\xD5\xD5\xC6\xAC\\";  // D:\照片\ in GBK
        cases.equal(vnr.IDCard_SetPhotoPath(folder), 0, "IDCard_SetPhotoPath");
        cases.equal(vnr.IDCard_SetPhotoName("card"), 0, "IDCard_SetPhotoName");
        char text[10][80] = {};
        std::vector<char> base64(90000, '\0');
        std::int32_t base64_length = 0;
        char errtext[64] = {};
        const std::int16_t status = vnr.IDCard_ReadCard_Ex(icdev, text[0], text[1], text[2], text[3], text[4], text[5],
                                                          text[6], text[7], text[8], text[9], 1, base64.data(),
                                                          &base64_length, errtext);
        cases.equal(status, 0, "IDCard_ReadCard_Ex");
        cases.equal(errtext, kDone, "errtext");
        cases.check(is_portrait_bitmap(file_bytes("D:\\\xD5\xD5\xC6\xAC\\card.bmp")), "no bitmap in D:\\照片\\");
    });
    cases.run("IDCard_ReadCard_ExTwo writes wz.txt byte for byte: the text block and one line feed", [&] {
        char errtext[64] = {};
        cases.equal(vnr.IDCard_ReadCard_ExTwo(icdev, 0, "D:\\two", errtext), 0, "IDCard_ReadCard_ExTwo");
        const std::string text = file_bytes("D:\\two\\wz.txt");
        cases.equal(static_cast<long long>(text.size()), 257, "wz.txt size");
        cases.check(!text.empty() && text.back() == '\n', "wz.txt does not end in a line feed");
    });
    cases.group("pictures of the card, drawn with GDI");
    cases.run("MakePicture, MakePictureFront and MakePictureBack write their bitmaps with the fixed headers", [&] {
        const std::string name = field(vnr, 0), sex = field(vnr, 1), nation = field(vnr, 2), birthday = field(vnr, 3);
        const std::string address = field(vnr, 4), number = field(vnr, 5), department = field(vnr, 6);
        const std::string from = field(vnr, 7), to = field(vnr, 8);
        vnr.MakePicture("D:\\sheet.bmp", "D:\\photos\\card.bmp", name.c_str(), sex.c_str(), nation.c_str(),
                        birthday.c_str(), address.c_str(), number.c_str(), department.c_str(), from.c_str(), to.c_str());
        vnr.MakePictureFront("D:\\front.bmp", "D:\\photos\\card.bmp", name.c_str(), sex.c_str(), nation.c_str(),
                             birthday.c_str(), address.c_str(), number.c_str());
        vnr.MakePictureBack("D:\\back.bmp", department.c_str(), from.c_str(), to.c_str());
        vnr.MakePictureBack("D:\\empty-back.bmp", "", "", "");
        struct Expected {
            const char* file;
            std::uint32_t size, height, image, resolution;
        } pictures[] = {{"D:\\sheet.bmp", 450006, 436, 0, 3780},
                        {"D:\\front.bmp", 221934, 215, 221880, 0},
                        {"D:\\back.bmp", 221934, 215, 221880, 0}};
        for (const Expected& e : pictures) {
            const std::string bytes = file_bytes(e.file);
            if (!cases.check(bytes.size() == e.size, "%s: %lu bytes", e.file, static_cast<unsigned long>(bytes.size()))) continue;
            const auto word = [&](std::size_t at) {
                std::uint32_t value = 0;
                std::memcpy(&value, bytes.data() + at, 4);
                return value;
            };
            cases.check(bytes.compare(0, 2, "BM") == 0 && word(2) == e.size && word(18) == 343 && word(22) == e.height &&
                            word(34) == e.image && word(38) == e.resolution && word(42) == e.resolution,
                        "%s: a header field is not as it should be", e.file);
        }
        cases.check(file_bytes("D:\\back.bmp") != file_bytes("D:\\empty-back.bmp"), "the back's texts drew nothing");
        vnr.MakePictureBack("D:\\no\\such\\folder\\x.bmp", department.c_str(), from.c_str(), to.c_str());
        cases.check(!file_exists("D:\\no\\such\\folder\\x.bmp"), "a picture appeared in a folder that does not exist");
    });
    vnr.device_close(icdev);
    return cases.summary();
}
