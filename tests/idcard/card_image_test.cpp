// The card pictures: address breaks, validity text, the file's headers, texts inside their boxes, the
// photo's background let through, the last photo drawn again, and files that cannot be written.
#include "idcard/card_image.h"
#include "idcard/card_templates.h"
#include "platform/drawing.h"
#include "platform/text.h"
#include "support/temp_prefix.h"
#include "vnr_32.h"
#include "wlt/bmp.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using vnr::idcard::AddressCut;
using vnr::idcard::CardFace;

namespace {

std::string gbk(const char* utf8) {
    std::string text;
    EXPECT_TRUE(vnr::platform::utf8_to_gbk(utf8, text));
    return text;
}

std::vector<std::uint8_t> bytes_of(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(CardText, AddressBreaks) {
    const std::string han35 = [] {
        std::string text;
        for (int i = 0; i < 35; ++i) text += gbk("路");
        return text;
    }();
    // "ab" and ten double-byte characters: 22 bytes end between characters, byte 21 is a trail byte.
    const std::string ab_han = "ab" + han35.substr(0, 20) + "cd";
    // "a" and eleven double-byte characters: byte 21 starts a character.
    const std::string a_han = "a" + han35.substr(0, 22);
    struct Case {
        std::string address;
        std::array<std::size_t, 3> between_characters, byte_test;  // the line lengths of each cut
    } cases[] = {
        {std::string(22, 'a'), {22, 0, 0}, {22, 0, 0}},
        {std::string(23, 'a'), {22, 1, 0}, {22, 1, 0}},
        {han35, {22, 22, 26}, {20, 20, 30}},  // eleven characters a line; the byte test kept between characters
        {ab_han, {22, 2, 0}, {20, 4, 0}},
        {a_han, {21, 2, 0}, {21, 2, 0}},
        {std::string(90, 'a'), {22, 22, 26}, {22, 22, 26}},  // at most 70 bytes are drawn
        {"", {0, 0, 0}, {0, 0, 0}},
    };
    for (const Case& c : cases)
        for (const AddressCut cut : {AddressCut::between_characters, AddressCut::byte_test}) {
            const auto lines = vnr::idcard::address_lines(c.address, cut);
            const auto& lengths = cut == AddressCut::byte_test ? c.byte_test : c.between_characters;
            std::string joined;
            for (std::size_t i = 0; i < 3; ++i) {
                EXPECT_EQ(lines[i].size(), lengths[i]) << c.address.size() << " bytes, line " << i;
                EXPECT_LE(i < 2 ? lines[i].size() : 0u, 22u);
                joined += lines[i];
            }
            EXPECT_EQ(joined, c.address.substr(0, 70));
        }
}

TEST(CardText, ValidityText) {
    EXPECT_EQ(vnr::idcard::validity_text("20150320", "20350320"), "2015.03.20-2035.03.20");
    EXPECT_EQ(vnr::idcard::validity_text("20150320", gbk("长期")), "2015.03.20-" + gbk("长期"));
    EXPECT_EQ(vnr::idcard::validity_text("", ""), "");
}

// A picture file and what it shows.
struct Picture {
    std::vector<std::uint8_t> file;
    int width = 343;
    int height = 0;
    // The pixel (x, y) from the top left, as B, G, R.
    std::array<std::uint8_t, 3> at(int x, int y) const {
        const std::size_t row = vnr::platform::row_bytes(width);
        const std::size_t offset = 54 + row * static_cast<std::size_t>(height - 1 - y) + 3 * static_cast<std::size_t>(x);
        return {file[offset], file[offset + 1], file[offset + 2]};
    }
};

struct Box {
    int x, y, width, height;
    bool must_hold = true;  // false: drawing may or may not touch it
    bool holds(int px, int py) const { return px >= x && px < x + width && py >= y && py < y + height; }
};

class CardPicture : public ::testing::Test {
protected:
    Picture read(const fs::path& file, int height) {
        Picture picture{bytes_of(file), 343, height};
        EXPECT_EQ(picture.file.size(), 54 + vnr::platform::row_bytes(343) * static_cast<std::size_t>(height)) << file;
        if (picture.file.size() < 54) picture.file.resize(54 + vnr::platform::row_bytes(343) * height);
        return picture;
    }

    // The pixels of `picture` that differ from the template of `face` must all lie in `boxes`, and
    // every box must hold some.
    void expect_only_in(const Picture& picture, CardFace face, const std::vector<Box>& boxes) {
        const auto card = vnr::idcard::card_template(face);
        std::vector<int> changed(boxes.size(), 0);
        int stray = 0;
        for (int y = 0; y < picture.height; ++y)
            for (int x = 0; x < picture.width; ++x) {
                const std::size_t offset = vnr::platform::row_bytes(343) * static_cast<std::size_t>(picture.height - 1 - y) + 3 * x;
                if (std::memcmp(&card.pixels[offset], &picture.file[54 + offset], 3) == 0) continue;
                bool inside = false;
                for (std::size_t b = 0; b < boxes.size(); ++b)
                    if (boxes[b].holds(x, y)) changed[b] += 1, inside = true;
                if (!inside && ++stray < 5) ADD_FAILURE() << "pixel (" << x << ", " << y << ") changed outside every box";
            }
        for (std::size_t b = 0; b < boxes.size(); ++b)
            if (boxes[b].must_hold) {
                EXPECT_GT(changed[b], 0) << "nothing drawn in box " << b << " at (" << boxes[b].x << ", " << boxes[b].y << ")";
            }
    }

    // A 102 x 126 photo: white with a dark red square in the middle.
    fs::path write_photo(const char* name) {
        wlt::Image photo{102, 126, std::vector<std::uint8_t>(102 * 126 * 3, 0xFF)};
        for (int y = 43; y < 83; ++y)
            for (int x = 31; x < 71; ++x) std::copy_n("\x90\x30\x20", 3, &photo.rgb[(y * 102 + x) * 3]);
        EXPECT_TRUE(wlt::write_bmp(prefix.root() / name, photo));
        return prefix.root() / name;
    }

    vnr::test::TempPrefix prefix;
};

TEST_F(CardPicture, FileBytesOutsideThePixelsAreTheFixedHeaders) {
    const fs::path both = prefix.root() / "both.bmp", front = prefix.root() / "front.bmp", back = prefix.root() / "back.bmp";
    MakePicture(both.c_str(), "", "", "", "", "", "", "", "", "", "");
    MakePictureFront(front.c_str(), "", "", "", "", "", "", "");
    MakePictureBack(back.c_str(), "", "", "");
    const auto expect_header = [](const fs::path& file, std::uint32_t size, std::uint32_t height, std::uint32_t image,
                                  std::uint32_t resolution) {
        std::vector<std::uint8_t> h(54, 0);
        const auto put = [&](std::size_t at, std::uint32_t v, int n) {
            for (int i = 0; i < n; ++i) h[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
        };
        h[0] = 'B', h[1] = 'M';
        put(2, size, 4), put(10, 54, 4), put(14, 40, 4), put(18, 343, 4), put(22, height, 4), put(26, 1, 2), put(28, 24, 2);
        put(34, image, 4), put(38, resolution, 4), put(42, resolution, 4);
        const auto bytes = bytes_of(file);
        ASSERT_EQ(bytes.size(), size) << file;
        EXPECT_EQ(std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 54), h) << file;
    };
    expect_header(both, 450006, 436, 0, 3780);
    expect_header(front, 221934, 215, 221880, 0);
    expect_header(back, 221934, 215, 221880, 0);
    // Empty texts draw nothing: without a photo the back is its template.
    const auto card = vnr::idcard::card_template(CardFace::back);
    const auto bytes = bytes_of(back);
    EXPECT_TRUE(std::equal(card.pixels.begin(), card.pixels.end(), bytes.begin() + 54));
}

// Where the composer draws: the front's ten values (name, sex, nation, year, month, day, three address
// lines, number), then the back's department and validity at their rows on the picture; each box as
// wide as `bytes` of its value in the 12-pixel font (six pixels a byte).
struct BackRows { int department, validity; };
constexpr BackRows kBackAlone{157, 184}, kBackOnSheet{372, 400};
std::vector<Box> value_boxes(const std::vector<std::size_t>& bytes, bool front, std::optional<BackRows> back) {
    std::vector<std::pair<int, int>> corners;
    if (front)
        corners = {{67, 35}, {67, 61}, {141, 61}, {67, 86}, {122, 86}, {152, 86}, {67, 115}, {67, 135}, {67, 155}, {125, 179}};
    if (back) corners.insert(corners.end(), {{140, back->department}, {140, back->validity}});
    std::vector<Box> boxes;
    for (std::size_t i = 0; i < corners.size(); ++i)
        boxes.push_back({corners[i].first, corners[i].second, static_cast<int>(bytes[i]) * 6, 12});
    return boxes;
}
const std::vector<std::size_t> kLongestValues{30, 6, 18, 4, 2, 2, 22, 22, 22, 18, 30, 21};
const Box kPhotoPlace{215, 30, 102, 126, false};  // an earlier test's photo may be drawn again here

TEST_F(CardPicture, TextsLandInTheirBoxes) {
    const std::string name = gbk("林示例"), sex = gbk("男"), nation = gbk("汉"), department = gbk("模拟市公安局");
    const std::string address = gbk("示例省模拟市虚构区测试路88号演示小区3栋2单元501室");
    const fs::path both = prefix.root() / "both.bmp", back = prefix.root() / "back.bmp";
    MakePicture(both.c_str(), (prefix.root() / "none.bmp").c_str(), name.c_str(), sex.c_str(), nation.c_str(), "19880614",
                address.c_str(), "990101198806140019", department.c_str(), "20150320", "20350320");
    MakePictureBack(back.c_str(), department.c_str(), "20150320", "20350320");
    const auto lines = vnr::idcard::address_lines(address, AddressCut::byte_test);
    std::vector<Box> boxes = value_boxes({name.size(), 2, 2, 4, 2, 2, lines[0].size(), lines[1].size(), lines[2].size(),
                                          18, department.size(), 21}, true, kBackOnSheet);
    boxes.push_back(kPhotoPlace);
    expect_only_in(read(both, 436), CardFace::both_sides, boxes);
    expect_only_in(read(back, 215), CardFace::back, value_boxes({department.size(), 21}, false, kBackAlone));
}

// The card faces leave the values and the photo their places free of printed ink, so that nothing
// drawn runs into a caption; the photo's place is plain card colour, which its background lets through.
TEST(CardTemplates, ThePlacesOfTheValuesAndThePhotoHoldNoInk) {
    const auto pixel = [](const vnr::idcard::CardTemplate& face, int x, int y) {
        const std::uint8_t* p = face.pixels.data() + vnr::platform::row_bytes(343) * (face.height - 1 - y) + 3 * x;
        return std::array<int, 3>{p[2], p[1], p[0]};
    };
    const std::pair<CardFace, std::vector<Box>> faces[] = {
        {CardFace::both_sides, value_boxes(kLongestValues, true, kBackOnSheet)},
        {CardFace::front, value_boxes(kLongestValues, true, {})}, {CardFace::back, value_boxes({30, 21}, false, kBackAlone)}};
    for (auto [face, boxes] : faces) {
        const auto card = vnr::idcard::card_template(face);
        if (face != CardFace::back) boxes.push_back(kPhotoPlace);
        for (const Box& box : boxes) {
            int ink = 0, steps = 0;
            for (int y = box.y; y < std::min(box.y + box.height, card.height); ++y)
                for (int x = box.x; x < std::min(box.x + box.width, card.width); ++x) {
                    const auto [r, g, b] = pixel(card, x, y);
                    ink += 299 * r + 587 * g + 114 * b < 180'000;  // captions are dark; the tint stays light
                    const auto left = pixel(card, std::max(x - 1, box.x), y);
                    steps += std::abs(left[0] - r) > 3 || std::abs(left[1] - g) > 3 || std::abs(left[2] - b) > 3;
                }
            EXPECT_EQ(ink, 0) << "box at (" << box.x << ", " << box.y << ") of face " << static_cast<int>(face);
            if (box.height == kPhotoPlace.height) {
                EXPECT_EQ(steps, 0) << "the photo's place shows the card's pattern";
                EXPECT_NE(pixel(card, 265, 90)[2], 255) << "the photo's place is the white sheet, not the card";
            }
        }
    }
}

// The faces compiled into the library are the committed pictures.
TEST(CardTemplates, EmbeddedPixelsAreTheCommittedFiles) {
    const std::pair<CardFace, const char*> faces[] = {
        {CardFace::both_sides, "both.bmp"}, {CardFace::front, "front.bmp"}, {CardFace::back, "back.bmp"}};
    for (const auto& [face, file] : faces) {
        const std::vector<std::uint8_t> bmp = bytes_of(fs::path(__FILE__).parent_path() / "../../src/idcard/templates" / file);
        const auto card = vnr::idcard::card_template(face);
        EXPECT_EQ(card.width, 343);
        EXPECT_EQ(card.height, face == CardFace::both_sides ? 436 : 215);
        ASSERT_EQ(bmp.size(), 54 + card.pixels.size()) << file;
        EXPECT_TRUE(std::equal(card.pixels.begin(), card.pixels.end(), bmp.begin() + 54)) << file;
    }
}

TEST_F(CardPicture, PhotoBackgroundLetsTheCardShowAndAMissingPhotoReusesTheLast) {
    const fs::path photo = write_photo("photo.bmp");
    const fs::path first = prefix.root() / "first.bmp", second = prefix.root() / "second.bmp";
    MakePictureFront(first.c_str(), photo.c_str(), "", "", "", "", "", "");
    const Picture picture = read(first, 215);
    const auto card = vnr::idcard::card_template(CardFace::front);
    const auto template_at = [&](int x, int y) {
        const std::size_t offset = vnr::platform::row_bytes(343) * static_cast<std::size_t>(214 - y) + 3 * x;
        return std::array<std::uint8_t, 3>{card.pixels[offset], card.pixels[offset + 1], card.pixels[offset + 2]};
    };
    // The file's third-last byte is 0xFF (the top-right pixel's red, before two bytes of row padding):
    // white is the background and lets the card through; the square keeps its colour.
    EXPECT_EQ(picture.at(215 + 5, 30 + 5), template_at(220, 35));
    EXPECT_EQ(picture.at(215 + 100, 30 + 120), template_at(315, 150));
    EXPECT_EQ(picture.at(215 + 50, 30 + 60), (std::array<std::uint8_t, 3>{0x20, 0x30, 0x90}));

    MakePictureFront(second.c_str(), (prefix.root() / "gone.bmp").c_str(), "", "", "", "", "", "");
    EXPECT_EQ(bytes_of(second), picture.file);  // the last photo, drawn as it was
}

TEST_F(CardPicture, AFileThatCannotBeWrittenIsAbsentAndTheFlatLogStopsBeforeTheWrite) {
    const fs::path nowhere = prefix.root() / "no" / "such" / "folder" / "front.bmp";
    MakePictureFront(nowhere.c_str(), "", "", "", "", "", "", "");
    EXPECT_FALSE(fs::exists(prefix.root() / "drive_d")) << "the flat log makes no drive folder";
    fs::create_directories(prefix.root() / "drive_d");  // the flat log is written while drive D: is there
    MakePictureFront(nowhere.c_str(), "", "", "", "", "", "", "");
    MakePictureBack(nowhere.c_str(), "", "", "");
    EXPECT_FALSE(fs::exists(nowhere));
    std::ifstream in(prefix.root() / "drive_d" / "Vnlog.txt", std::ios::binary);
    const std::string log{std::istreambuf_iterator<char>(in), {}};
    for (const char* line : {"==>申请pBmpBuf内存空间", "==>创建兼容位图-正面", "==>加载源图片-正面", "==>创建兼容位图-反面"})
        EXPECT_NE(log.find(gbk(line)), std::string::npos) << line;
    for (const char* line : {"==>写图片数据-正面", "==>释放资源成功-正面", "==>写图片数据-反面"})
        EXPECT_EQ(log.find(gbk(line)), std::string::npos) << line;
    // A drive path is mapped below the prefix, and its drive folder is made for it.
    MakePictureBack("E:\\card-back.bmp", "", "", "");
    EXPECT_TRUE(fs::exists(prefix.root() / "drive_e" / "card-back.bmp"));
}

}  // namespace
