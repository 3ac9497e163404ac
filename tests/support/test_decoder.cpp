// A photo decoder for tests, built as libGetInfo.so beside the test programs. GetBmp(path, mode): a file
// that cannot be opened gives -3; one beginning "GetBmp:" scripts the call ("status=N", default 1, and
// "bmp" to write the bitmap); any other writes the bitmap and gives 1. The bitmap is a 102 x 126 grey
// BMP at `path` with ".bmp" for its last four characters. VNR_TEST_DECODER_CALLS: a file that each call
// appends "<mode> <path>\n" to.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 102;
constexpr int kHeight = 126;

bool write_bitmap(const std::string& path) {
    const unsigned row = (kWidth * 3 + 3) & ~3u;
    const unsigned pixels = row * kHeight;
    std::vector<unsigned char> out{'B', 'M'};
    // The file header and the 40-byte info header: each value little-endian in its width.
    const std::pair<unsigned, int> fields[] = {{54 + pixels, 4}, {0, 4}, {54, 4}, {40, 4}, {kWidth, 4},
                                               {kHeight, 4},     {1, 2},  {24, 2}, {0, 4},  {pixels, 4},
                                               {2835, 4},        {2835, 4}, {0, 4}, {0, 4}};
    for (const auto& [value, width] : fields)
        for (int i = 0; i < width; ++i) out.push_back(static_cast<unsigned char>(value >> (8 * i)));
    out.resize(54 + pixels, 0x80);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(out.data()), static_cast<std::streamsize>(out.size()));
    return static_cast<bool>(file);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int32_t GetBmp(const char* path, int32_t mode) {
    if (path == nullptr) return -3;
    const std::string wlt = path;
    if (const char* calls = std::getenv("VNR_TEST_DECODER_CALLS"); calls != nullptr && *calls != '\0') {
        std::ofstream log(calls, std::ios::app);
        log << mode << ' ' << wlt << '\n';
    }
    std::ifstream in(wlt, std::ios::binary);
    if (!in) return -3;
    std::string first_line;
    std::getline(in, first_line);
    const std::string bmp = (wlt.size() >= 4 ? wlt.substr(0, wlt.size() - 4) : wlt) + ".bmp";

    static constexpr char kScript[] = "GetBmp:";
    if (first_line.compare(0, sizeof kScript - 1, kScript) != 0) return write_bitmap(bmp) ? 1 : -1;
    std::istringstream words(first_line.substr(sizeof kScript - 1));
    int32_t status = 1;
    bool bitmap = false;
    for (std::string word; words >> word;) {
        if (word == "bmp") bitmap = true;
        else if (word.rfind("status=", 0) == 0) status = static_cast<int32_t>(std::strtol(word.c_str() + 7, nullptr, 10));
    }
    if (bitmap) write_bitmap(bmp);
    return status;
}
