// src/idcard/card_image.cpp: idcard. Draws a picture of the identity card from texts and a photo
// file over the card face templates, and writes it as a bitmap file: both sides on one sheet, the
// front (with the photo) or the back (with the issuing department). No reader is involved.
#include "core/boundary.h"
#include "core/library_lock.h"
#include "core/log.h"
#include "idcard/card_image.h"
#include "idcard/card_templates.h"
#include "idcard/messages.h"
#include "platform/drawing.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "vnr_32.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vnr::idcard {

namespace {

constexpr int kWidth = 343;
constexpr int kPhotoX = 215;
constexpr int kPhotoY = 30;
constexpr int kPhotoWidth = 102;
constexpr int kPhotoHeight = 126;
constexpr std::uint8_t kStartingGrey = 0xFE;
constexpr std::size_t kLongestAddress = 70;
constexpr std::size_t kLineBytes = 22;
constexpr std::size_t kDateLength = 8;  // YYYYMMDD
constexpr std::size_t kFileHeader = 14;
constexpr std::size_t kInfoHeader = 40;
constexpr std::int32_t kSheetResolution = 3780;  // pixels a metre, written for the two-sided sheet only

// The photo of the last composition that had one, kept for the next: a photo that cannot be read
// is replaced by it. `masked` is the photo with its background made black and the rest ANDed with
// the grey; `mask` marks its background.
struct PhotoState {
    std::unique_ptr<platform::Picture> masked;
    std::unique_ptr<platform::Mask> mask;
    int width = 0;
    int height = 0;
    std::uint8_t mask_grey = kStartingGrey;
};

PhotoState& photo_state(const core::LibraryGuard&) {
    static PhotoState state;
    return state;
}

// A text argument: empty for a null pointer.
std::string_view text_of(const char* text) { return text != nullptr ? std::string_view(text) : std::string_view(); }

// True when `at` falls between two characters of the GBK text (not between a lead and a trail byte).
bool is_boundary(std::string_view text, std::size_t at) {
    std::size_t i = 0;
    while (i < at && i < text.size()) i += gbk_char_length(text, i);
    return i == at;
}

std::size_t front_cut(std::string_view text) { return is_boundary(text, kLineBytes) ? kLineBytes : kLineBytes - 1; }

std::size_t sheet_cut(std::string_view text) {
    std::size_t cut = (static_cast<unsigned char>(text[kLineBytes - 1]) & 0x80) == 0 ? kLineBytes : kLineBytes - 1;
    if (!is_boundary(text, cut)) --cut;
    return cut;
}

// `count` bytes of `text` from `offset`, or what there is of them.
std::string_view part(std::string_view text, std::size_t offset, std::size_t count) {
    return offset < text.size() ? text.substr(offset, count) : std::string_view();
}

// "YYYY.MM.DD" of an eight-character date; a shorter text (such as the word a card valid for life
// carries instead of an end date) is drawn as it stands.
std::string dotted_date(std::string_view date) {
    if (date.size() < kDateLength) return std::string(date);
    return std::string(part(date, 0, 4)) + "." + std::string(part(date, 4, 2)) + "." + std::string(part(date, 6, 2));
}


}  // namespace

std::array<std::string_view, 3> address_lines(std::string_view address, AddressCut cut) {
    if (address.size() > kLongestAddress)
        address = address.substr(0, is_boundary(address, kLongestAddress) ? kLongestAddress : kLongestAddress - 1);
    std::array<std::string_view, 3> lines{};
    std::size_t line = 0;
    for (; line < 2 && address.size() > kLineBytes; ++line) {
        const std::size_t at = cut == AddressCut::byte_test ? sheet_cut(address) : front_cut(address);
        lines[line] = address.substr(0, at);
        address.remove_prefix(at);
    }
    lines[line] = address;
    return lines;
}

std::string validity_text(std::string_view from, std::string_view to) {
    if (from.empty() && to.empty()) return {};  // no dates, nothing to draw
    return dotted_date(from) + "-" + dotted_date(to);
}

namespace {

struct Texts {
    std::string_view name, sex, nation, birthday, address, id_number, department, valid_from, valid_to;
};

// Where the values go, from the picture's top left corner; a text's first character cell has its top
// left corner there.
constexpr int kNameY = 35;
constexpr int kSexY = 61;
constexpr int kBirthdayY = 86;
constexpr int kAddressY = 115;
constexpr int kIdY = 179;
constexpr int kValueX = 67;
constexpr int kNationX = 141;
constexpr int kMonthX = 122;
constexpr int kDayX = 152;
constexpr int kIdX = 125;
constexpr int kAddressLineStep = 20;
constexpr int kBackX = 140;

void draw_front(platform::Surface& surface, const Texts& texts, AddressCut cut) {
    surface.draw_text(kValueX, kNameY, texts.name);
    surface.draw_text(kValueX, kSexY, texts.sex);
    surface.draw_text(kNationX, kSexY, texts.nation);
    surface.draw_text(kValueX, kBirthdayY, part(texts.birthday, 0, 4));
    surface.draw_text(kMonthX, kBirthdayY, part(texts.birthday, 4, 2));
    surface.draw_text(kDayX, kBirthdayY, part(texts.birthday, 6, 2));
    const auto lines = address_lines(texts.address, cut);
    for (std::size_t i = 0; i < lines.size(); ++i)
        surface.draw_text(kValueX, kAddressY + static_cast<int>(i) * kAddressLineStep, lines[i]);
    surface.draw_text(kIdX, kIdY, texts.id_number);
}

void draw_back(platform::Surface& surface, const Texts& texts, int department_y, int validity_y) {
    surface.draw_text(kBackX, department_y, texts.department);
    surface.draw_text(kBackX, validity_y, validity_text(texts.valid_from, texts.valid_to));
}

// Loads the photo when it can be read and draws the photo of the process at its place: masked so
// that the card shows where the photo has its background grey, which the file's third-last byte
// names. A photo that cannot be read leaves the earlier one, which is drawn again as it was.
void draw_photo(platform::Surface& surface, std::string_view photo_file, const core::LibraryGuard& guard) {
    PhotoState& state = photo_state(guard);
    const std::string path(photo_file);
    const std::string native = platform::native_path(path);
    unsigned char grey = 0;
    const platform::TailRead tail = platform::read_byte_from_end(native, 3, grey);
    if (tail == platform::TailRead::cannot_open) {
        log::flat("==>图片文件打开失败! %s", path.c_str());
    } else if (tail == platform::TailRead::read) {
        state = PhotoState{nullptr, nullptr, 0, 0, grey};  // the earlier photo is given up
        if (std::unique_ptr<platform::Picture> photo = platform::Picture::load(native)) {
            state.width = photo->width();
            state.height = photo->height();
            log::flat("==>图片加载成功! %s", path.c_str());
            state.mask = photo->make_mask(grey);
            if (state.mask) {
                photo->clear_masked(*state.mask, grey);
                state.masked = std::move(photo);
            }
        }
    }
    if (!state.masked || !state.mask) return;
    // The photo goes in at its place as 102 x 126 pixels, neither scaled nor clipped to its own size.
    surface.set_origin(kPhotoX, kPhotoY);
    surface.and_mask(*state.mask, kPhotoWidth, kPhotoHeight);
    surface.paint(*state.masked, kPhotoWidth, kPhotoHeight);
}

void put16(std::vector<std::uint8_t>& out, std::size_t at, std::uint16_t value) {
    out[at] = static_cast<std::uint8_t>(value & 0xFF);
    out[at + 1] = static_cast<std::uint8_t>(value >> 8);
}

void put32(std::vector<std::uint8_t>& out, std::size_t at, std::uint32_t value) {
    put16(out, at, static_cast<std::uint16_t>(value & 0xFFFF));
    put16(out, at + 2, static_cast<std::uint16_t>(value >> 16));
}

// The file: the two headers, then the pixels. The sheet states its resolution and no image size,
// the single faces the other way round.
std::vector<std::uint8_t> bitmap_file(int height, bool sheet) {
    const std::size_t pixels = platform::row_bytes(kWidth) * static_cast<std::size_t>(height);
    std::vector<std::uint8_t> file(kFileHeader + kInfoHeader + pixels, 0);
    file[0] = 'B';
    file[1] = 'M';
    put32(file, 2, static_cast<std::uint32_t>(file.size()));
    put32(file, 10, kFileHeader + kInfoHeader);
    put32(file, 14, kInfoHeader);
    put32(file, 18, kWidth);
    put32(file, 22, static_cast<std::uint32_t>(height));
    put16(file, 26, 1);
    put16(file, 28, 24);
    put32(file, 34, sheet ? 0 : static_cast<std::uint32_t>(pixels));
    put32(file, 38, sheet ? kSheetResolution : 0);
    put32(file, 42, sheet ? kSheetResolution : 0);
    return file;
}

// The steps that the front and the back tell in the flat log, and the word that names the face.
struct StepLines {
    bool buffer;      // "==>申请pBmpBuf内存空间"
    bool photo;       // "==>加载源图片-..."
    const char* face; // nullptr: no step lines at all
};

void compose(CardFace face, const Texts& texts, const char* photo_file, const char* out_file, const StepLines& steps,
             const core::LibraryGuard& guard) {
    const CardTemplate card = card_template(face);
    const auto step = [&](const char* what) {
        if (steps.face != nullptr) log::flat("==>%s-%s", gbk(what).c_str(), gbk(steps.face).c_str());
    };
    if (steps.face != nullptr && steps.buffer) log::flat("==>申请pBmpBuf内存空间");
    const std::unique_ptr<platform::Surface> surface = platform::Surface::create(card.width, card.height);
    if (!surface || !surface->set_rows(card.pixels)) return;
    step("创建兼容位图");

    switch (face) {
        case CardFace::both_sides:
            draw_front(*surface, texts, AddressCut::byte_test);
            draw_back(*surface, texts, 372, 400);
            break;
        case CardFace::front: draw_front(*surface, texts, AddressCut::between_characters); break;
        case CardFace::back: draw_back(*surface, texts, 157, 184); break;
    }
    if (face != CardFace::back) {
        draw_photo(*surface, text_of(photo_file), guard);
        if (steps.photo) step("加载源图片");
    }

    std::vector<std::uint8_t> file = bitmap_file(card.height, face == CardFace::both_sides);
    if (!surface->get_rows(std::span(file).subspan(kFileHeader + kInfoHeader))) return;
    if (out_file == nullptr) return;
    platform::prepare_drive(out_file);
    if (!platform::write_file(platform::native_path(out_file), file.data(), file.size())) return;
    step("写图片数据");
    // The surface, the photo's copies and both buffers are given back by their owners here.
    step("释放资源成功");
}

Texts texts_of(const char* name, const char* sex, const char* nation, const char* birthday, const char* address,
               const char* id_number, const char* department, const char* valid_from, const char* valid_to) {
    return Texts{text_of(name),      text_of(sex),        text_of(nation),     text_of(birthday), text_of(address),
                 text_of(id_number), text_of(department), text_of(valid_from), text_of(valid_to)};
}

}  // namespace

}  // namespace vnr::idcard

namespace id = vnr::idcard;

extern "C" {

VNR_API void VNR_CALL MakePicture(const char* out_file, const char* photo_file, const char* name, const char* sex,
                                  const char* nation, const char* birthday, const char* address, const char* id_number,
                                  const char* department, const char* valid_from, const char* valid_to) {
    vnr::core::guarded<int>([&] {
        const vnr::core::LibraryGuard guard;
        vnr::log::text("-----MakePicture()----- ");
        const id::Texts texts =
            id::texts_of(name, sex, nation, birthday, address, id_number, department, valid_from, valid_to);
        id::compose(id::CardFace::both_sides, texts, photo_file, out_file, id::StepLines{false, false, nullptr}, guard);
        return 0;
    });
}

VNR_API void VNR_CALL MakePictureFront(const char* out_file, const char* photo_file, const char* name, const char* sex,
                                       const char* nation, const char* birthday, const char* address,
                                       const char* id_number) {
    vnr::core::guarded<int>([&] {
        const vnr::core::LibraryGuard guard;
        vnr::log::text("-----MakePictureFront()----- ");
        const id::Texts texts = id::texts_of(name, sex, nation, birthday, address, id_number, nullptr, nullptr, nullptr);
        id::compose(id::CardFace::front, texts, photo_file, out_file, id::StepLines{true, true, "正面"}, guard);
        return 0;
    });
}

VNR_API void VNR_CALL MakePictureBack(const char* out_file, const char* department, const char* valid_from,
                                      const char* valid_to) {
    vnr::core::guarded<int>([&] {
        const vnr::core::LibraryGuard guard;
        vnr::log::text("-----MakePictureBack()----- ");
        const id::Texts texts = id::texts_of(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, department,
                                             valid_from, valid_to);
        id::compose(id::CardFace::back, texts, nullptr, out_file, id::StepLines{false, false, "反面"}, guard);
        return 0;
    });
}

}  // extern "C"
