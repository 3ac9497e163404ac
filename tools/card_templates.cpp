// tools/card_templates.cpp: vnr-card-templates, a build tool (Linux only). Draws the card face
// templates that the library compiles in, and writes them as 24-bit bottom-up BMP files:
//
//   vnr-card-templates FOLDER      writes FOLDER/front.bmp, FOLDER/back.bmp (343 x 215 each) and
//                                  FOLDER/both.bmp (343 x 436: the front above the back)
//
// Each face is a card with rounded corners on a white sheet: a soft tint, a fine wave pattern, the
// printed captions, and on the back a badge and the title. The shapes and colours are drawn here
// pixel by pixel. The captions are drawn through the library's own drawing surface, in the 12-pixel
// font that the composer later draws the values in, so that captions and values belong together;
// each caption sits just left of its value's place (the places are fixed by the composer and listed
// below). scripts/make-templates.sh rebuilds the committed pictures in src/idcard/templates/.
#include "platform/drawing.h"
#include "platform/text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <numbers>
#include <string>
#include <string_view>
#include <vector>

namespace {

using vnr::platform::row_bytes;
using vnr::platform::Surface;

constexpr int kWidth = 343;
constexpr int kSideHeight = 215;
constexpr int kSheetHeight = 436;
constexpr int kBackTop = 215;  // the back's first row on the both-sides sheet

// The card inside a face: the rest of the face is the white sheet.
constexpr double kCardLeft = 3, kCardTop = 3, kCardRight = 340, kCardBottom = 212, kCardRadius = 14;

// Where the composer puts the photo (102 x 126), and the font's cell.
constexpr int kPhotoX = 215, kPhotoY = 30, kPhotoWidth = 102, kPhotoHeight = 126;
constexpr int kCell = 12;       // a double-byte character's cell; a single-byte one is half of it
constexpr int kCaptionGap = 4;  // between the two characters of a two-character caption

struct Rgb {
    double r, g, b;
};

constexpr Rgb kWhite{255, 255, 255};
constexpr Rgb kCaptionBlue{28, 96, 168};
constexpr Rgb kTitleInk{36, 38, 44};
constexpr Rgb kBadgeRed{196, 40, 36};
constexpr Rgb kBadgeGold{236, 184, 64};

Rgb mix(Rgb a, Rgb b, double t) {
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

double clamp01(double v) { return std::clamp(v, 0.0, 1.0); }

double smoothstep(double edge0, double edge1, double v) {
    const double t = clamp01((v - edge0) / (edge1 - edge0));
    return t * t * (3 - 2 * t);
}

// A picture being drawn, top-down, colours as doubles from 0 to 255.
class Canvas {
public:
    Canvas(int width, int height) : width_(width), height_(height), pixels_(std::size_t(width) * height, kWhite) {}
    int width() const { return width_; }
    int height() const { return height_; }
    Rgb& at(int x, int y) { return pixels_[std::size_t(y) * width_ + x]; }
    const Rgb& at(int x, int y) const { return pixels_[std::size_t(y) * width_ + x]; }
    // Lays `colour` over the pixel with opacity `alpha`; outside the canvas nothing happens.
    void blend(int x, int y, Rgb colour, double alpha) {
        if (x < 0 || y < 0 || x >= width_ || y >= height_ || alpha <= 0) return;
        at(x, y) = mix(at(x, y), colour, clamp01(alpha));
    }
    // Copies all of `from` with its top left corner at row `top`.
    void put(const Canvas& from, int top) {
        for (int y = 0; y < from.height(); ++y)
            for (int x = 0; x < from.width(); ++x) at(x, top + y) = from.at(x, y);
    }
    // Bottom-up rows of three bytes a pixel (blue, green, red), padded to four bytes.
    std::vector<std::uint8_t> rows() const {
        std::vector<std::uint8_t> out(row_bytes(width_) * height_, 0);
        for (int y = 0; y < height_; ++y) {
            std::uint8_t* row = out.data() + row_bytes(width_) * (height_ - 1 - y);
            for (int x = 0; x < width_; ++x) {
                const Rgb& p = at(x, y);
                row[3 * x] = static_cast<std::uint8_t>(std::lround(std::clamp(p.b, 0.0, 255.0)));
                row[3 * x + 1] = static_cast<std::uint8_t>(std::lround(std::clamp(p.g, 0.0, 255.0)));
                row[3 * x + 2] = static_cast<std::uint8_t>(std::lround(std::clamp(p.r, 0.0, 255.0)));
            }
        }
        return out;
    }

private:
    int width_, height_;
    std::vector<Rgb> pixels_;
};

// Signed distance from (x, y) to the card's outline, negative inside: a rectangle with its corners
// rounded by kCardRadius.
double card_distance(double x, double y) {
    const double half_width = (kCardRight - kCardLeft) / 2, half_height = (kCardBottom - kCardTop) / 2;
    const double qx = std::abs(x - (kCardLeft + half_width)) - half_width + kCardRadius;
    const double qy = std::abs(y - (kCardTop + half_height)) - half_height + kCardRadius;
    return std::hypot(std::max(qx, 0.0), std::max(qy, 0.0)) + std::min(std::max(qx, qy), 0.0) - kCardRadius;
}

// A family of wavy lines: the level lines of `field`, one per unit, `width_px` wide, anti-aliased
// by the field's slope.
template <typename Field>
double line_coverage(Field field, double x, double y, double width_px) {
    constexpr double h = 0.5;
    const double v = field(x, y);
    const double gx = (field(x + h, y) - field(x - h, y)) / (2 * h);
    const double gy = (field(x, y + h) - field(x, y - h)) / (2 * h);
    const double slope = std::max(std::hypot(gx, gy), 1e-6);
    const double distance_px = std::abs(v - std::round(v)) / slope;
    return clamp01(width_px / 2 + 0.5 - distance_px);
}

// How strongly the pattern shows at (x, y) on the front: it fades out around the photo's place, so
// that the photo, whose background is made transparent, stands on plain card colour.
double front_pattern_weight(double x, double y) {
    const double margin = 3;
    const double dx = std::max({kPhotoX - margin - x, x - (kPhotoX + kPhotoWidth - 1 + margin), 0.0});
    const double dy = std::max({kPhotoY - margin - y, y - (kPhotoY + kPhotoHeight - 1 + margin), 0.0});
    return smoothstep(0, 16, std::hypot(dx, dy));
}

// The card shape, its tint and its edge. `tint` gives the card colour at a point; `pattern` lays the
// fine lines over it.
template <typename Tint, typename Pattern>
Canvas draw_card(Tint tint, Pattern pattern) {
    Canvas canvas(kWidth, kSideHeight);
    for (int y = 0; y < kSideHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const double px = x + 0.5, py = y + 0.5;
            const double d = card_distance(px, py);
            // A faint shadow below and right of the card, on the white sheet.
            const double shadow = 0.10 * clamp01(1 - card_distance(px - 1, py - 1.5) / 2.5);
            Rgb colour = mix(kWhite, Rgb{120, 130, 140}, shadow);
            const double inside = clamp01(0.5 - d);
            if (inside > 0) {
                Rgb card = pattern(tint(px, py), px, py);
                // A thin darker rim gives the card its edge against the sheet.
                card = mix(card, Rgb{150, 166, 182}, 0.55 * clamp01(1.2 - std::abs(d + 0.6)));
                colour = mix(colour, card, inside);
            }
            canvas.at(x, y) = colour;
        }
    }
    return canvas;
}

Canvas draw_front_card() {
    const auto tint = [](double x, double y) {
        const double t = clamp01(0.62 * x / kWidth + 0.38 * y / kSideHeight);
        return mix(Rgb{222, 236, 247}, Rgb{247, 241, 226}, t);
    };
    const auto pattern = [](Rgb base, double x, double y) {
        const double weight = front_pattern_weight(x, y);
        if (weight <= 0) return base;
        constexpr double tau = 2 * std::numbers::pi;
        const auto rising = [=](double u, double v) { return (v + 4.5 * std::sin(tau * u / 58 + v / 21)) / 7.0; };
        const auto falling = [=](double u, double v) { return (v - 4.5 * std::sin(tau * u / 58 + v / 21)) / 7.0; };
        // A rosette of rippled rings round a point below the photo, behind the number.
        const auto rings = [=](double u, double v) {
            const double r = std::hypot(u - 268, v - 178), a = std::atan2(v - 178, u - 268);
            return (r + 2.2 * std::sin(18 * a + r / 9)) / 5.0;
        };
        base = mix(base, Rgb{140, 178, 222}, 0.30 * weight * line_coverage(rising, x, y, 0.7));
        base = mix(base, Rgb{226, 160, 170}, 0.24 * weight * line_coverage(falling, x, y, 0.7));
        const double ring_fade = 1 - smoothstep(40, 95, std::hypot(x - 268, y - 178));
        return mix(base, Rgb{170, 150, 210}, 0.22 * weight * ring_fade * line_coverage(rings, x, y, 0.7));
    };
    return draw_card(tint, pattern);
}

Canvas draw_back_card() {
    const auto tint = [](double x, double y) {
        const double t = clamp01(0.55 * x / kWidth + 0.45 * (1 - y / kSideHeight));
        return mix(Rgb{226, 240, 236}, Rgb{244, 236, 246}, t);
    };
    const auto pattern = [](Rgb base, double x, double y) {
        constexpr double tau = 2 * std::numbers::pi;
        const auto rising = [=](double u, double v) { return (v + 5 * std::sin(tau * u / 64 - v / 26)) / 7.5; };
        const auto falling = [=](double u, double v) { return (v - 5 * std::sin(tau * u / 64 - v / 26)) / 7.5; };
        // A broad rosette in the middle of the card, behind the title.
        const auto rings = [=](double u, double v) {
            const double r = std::hypot(u - 200, v - 100), a = std::atan2(v - 100, u - 200);
            return (r + 2.6 * std::sin(24 * a - r / 11)) / 5.5;
        };
        base = mix(base, Rgb{132, 186, 190}, 0.26 * line_coverage(rising, x, y, 0.7));
        base = mix(base, Rgb{206, 164, 200}, 0.22 * line_coverage(falling, x, y, 0.7));
        const double ring_fade = 1 - smoothstep(60, 130, std::hypot(x - 200, y - 100));
        return mix(base, Rgb{196, 170, 120}, 0.20 * ring_fade * line_coverage(rings, x, y, 0.7));
    };
    return draw_card(tint, pattern);
}

// A stand-in badge: a red disc in a gold ring with a gold eight-pointed figure inside, sampled 4 x 4
// per pixel for smooth edges.
void draw_badge(Canvas& canvas, double cx, double cy, double radius) {
    constexpr int kSamples = 4;
    for (int y = int(cy - radius) - 2; y <= int(cy + radius) + 2; ++y) {
        for (int x = int(cx - radius) - 2; x <= int(cx + radius) + 2; ++x) {
            double red = 0, gold = 0;
            for (int sy = 0; sy < kSamples; ++sy) {
                for (int sx = 0; sx < kSamples; ++sx) {
                    const double u = x + (sx + 0.5) / kSamples - cx, v = y + (sy + 0.5) / kSamples - cy;
                    const double r = std::hypot(u, v) / radius;
                    if (r > 1) continue;
                    const double a = std::atan2(v, u);
                    const bool ring = r > 0.86 || (r > 0.70 && r < 0.75);
                    // Two overlapping squares, one turned by 45 degrees, make the inner figure.
                    const double square = std::max(std::abs(u), std::abs(v)) / radius;
                    const double turned = (std::abs(u) + std::abs(v)) / std::numbers::sqrt2 / radius;
                    const bool figure = std::min(square, turned) < 0.40;
                    const bool hub = r < 0.13;
                    const bool spoke = r > 0.75 && r < 0.86 && std::fmod(a + 4 * std::numbers::pi, std::numbers::pi / 12) < 0.08;
                    if (ring || (figure && !hub) || spoke) gold += 1; else red += 1;
                }
            }
            const double n = kSamples * kSamples;
            canvas.blend(x, y, kBadgeRed, red / n + gold / n);
            if (gold > 0) canvas.blend(x, y, kBadgeGold, gold / (red + gold));
        }
    }
}

// Text drawn through the library's surface in its card font, as a coverage map (0 to 1, top-down).
class Coverage {
public:
    Coverage(int width, int height) : width_(width), height_(height), values_(std::size_t(width) * height, 0) {}
    int width() const { return width_; }
    int height() const { return height_; }
    double at(int x, int y) const {
        if (x < 0 || y < 0 || x >= width_ || y >= height_) return 0;
        return values_[std::size_t(y) * width_ + x];
    }
    double& at_mut(int x, int y) { return values_[std::size_t(y) * width_ + x]; }

private:
    int width_, height_;
    std::vector<double> values_;
};

// The characters of a GBK text: two bytes from a lead byte of 0x81 or above, else one.
std::vector<std::string_view> gbk_characters(std::string_view gbk) {
    std::vector<std::string_view> out;
    for (std::size_t i = 0; i < gbk.size();) {
        const std::size_t n = static_cast<std::uint8_t>(gbk[i]) >= 0x81 && i + 1 < gbk.size() ? 2 : 1;
        out.push_back(gbk.substr(i, n));
        i += n;
    }
    return out;
}

std::string gbk(std::string_view utf8) {
    std::string out;
    if (!vnr::platform::utf8_to_gbk(utf8, out)) {
        std::fprintf(stderr, "vnr-card-templates: no GBK conversion\n");
        std::exit(1);
    }
    return out;
}

// `utf8` in the card font, black on white on a surface of its own, each character `spacing` pixels
// after the cell of the one before; the darkness of each pixel is its coverage.
Coverage text_coverage(std::string_view utf8, int spacing) {
    const std::vector<std::string_view> characters = gbk_characters(gbk(utf8));
    int width = 0;
    for (std::string_view c : characters) width += (c.size() == 2 ? kCell : kCell / 2) + spacing;
    const int height = kCell + 4;  // room for a glyph that reaches below its cell
    std::unique_ptr<Surface> surface = Surface::create(width + 4, height);
    if (!surface) {
        std::fprintf(stderr, "vnr-card-templates: no drawing surface\n");
        std::exit(1);
    }
    int x = 0;
    for (std::string_view c : characters) {
        surface->draw_text(x, 0, c);
        x += (c.size() == 2 ? kCell : kCell / 2) + spacing;
    }
    std::vector<std::uint8_t> rows(row_bytes(surface->width()) * height);
    if (!surface->get_rows(rows)) {
        std::fprintf(stderr, "vnr-card-templates: cannot read the surface back\n");
        std::exit(1);
    }
    Coverage coverage(surface->width(), height);
    double ink = 0;
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* row = rows.data() + row_bytes(surface->width()) * (height - 1 - y);
        for (int px = 0; px < surface->width(); ++px) {
            const int darkest = std::min({row[3 * px], row[3 * px + 1], row[3 * px + 2]});
            ink += coverage.at_mut(px, y) = (255 - darkest) / 255.0;
        }
    }
    // A template without its captions must not be written: the font is missing.
    if (ink == 0) {
        std::fprintf(stderr, "vnr-card-templates: \"%.*s\" drew nothing; is the card font installed "
                     "(scripts/install-deps.sh)?\n", int(utf8.size()), utf8.data());
        std::exit(1);
    }
    return coverage;
}

// Paints a caption: `utf8` in `colour` with its first cell's top left corner at (x, y).
void caption(Canvas& canvas, int x, int y, std::string_view utf8, int spacing = 0, Rgb colour = kCaptionBlue) {
    const Coverage coverage = text_coverage(utf8, spacing);
    for (int v = 0; v < coverage.height(); ++v)
        for (int u = 0; u < coverage.width(); ++u) canvas.blend(x + u, y + v, colour, coverage.at(u, v));
}

// Blurs `coverage` with a Gaussian of `sigma` pixels, in rows and then in columns.
Coverage blurred(const Coverage& coverage, double sigma) {
    const int reach = int(std::ceil(3 * sigma));
    std::vector<double> kernel(2 * reach + 1);
    double sum = 0;
    for (int i = -reach; i <= reach; ++i) sum += kernel[i + reach] = std::exp(-i * i / (2 * sigma * sigma));
    for (double& k : kernel) k /= sum;
    Coverage across(coverage.width(), coverage.height()), out(coverage.width(), coverage.height());
    for (int y = 0; y < coverage.height(); ++y)
        for (int x = 0; x < coverage.width(); ++x)
            for (int i = -reach; i <= reach; ++i) across.at_mut(x, y) += kernel[i + reach] * coverage.at(x + i, y);
    for (int y = 0; y < coverage.height(); ++y)
        for (int x = 0; x < coverage.width(); ++x)
            for (int i = -reach; i <= reach; ++i) out.at_mut(x, y) += kernel[i + reach] * across.at(x, y + i);
    return out;
}

// Paints `utf8` enlarged `scale` times. The 12-pixel glyphs are sampled bilinearly, blurred by about
// a third of a source pixel and firmed up again: the strokes come out smooth and round-ended rather
// than as blocks.
void title(Canvas& canvas, int x, int y, std::string_view utf8, int spacing, int scale, Rgb colour) {
    const Coverage small = text_coverage(utf8, spacing);
    Coverage large(small.width() * scale, small.height() * scale);
    for (int v = 0; v < large.height(); ++v) {
        for (int u = 0; u < large.width(); ++u) {
            const double sx = (u + 0.5) / scale - 0.5, sy = (v + 0.5) / scale - 0.5;
            const int x0 = int(std::floor(sx)), y0 = int(std::floor(sy));
            const double fx = sx - x0, fy = sy - y0;
            const double top = small.at(x0, y0) * (1 - fx) + small.at(x0 + 1, y0) * fx;
            const double bottom = small.at(x0, y0 + 1) * (1 - fx) + small.at(x0 + 1, y0 + 1) * fx;
            large.at_mut(u, v) = top * (1 - fy) + bottom * fy;
        }
    }
    const Coverage soft = blurred(large, 0.32 * scale);
    for (int v = 0; v < soft.height(); ++v)
        for (int u = 0; u < soft.width(); ++u) canvas.blend(x + u, y + v, colour, smoothstep(0.28, 0.52, soft.at(u, v)));
}

// The front. Values go at x 67 (name y 35, sex y 61, birth year y 86, address y 115, 135, 155),
// the nation at (141, 61), month and day of birth at (122, 86) and (152, 86), the number at
// (125, 179), the photo at (215, 30).
Canvas draw_front() {
    Canvas canvas = draw_front_card();
    // Two-character captions end ten pixels before the values' column.
    constexpr int kCaptionX = 67 - 10 - (2 * kCell + kCaptionGap);
    caption(canvas, kCaptionX, 35, "姓名", kCaptionGap);
    caption(canvas, kCaptionX, 61, "性别", kCaptionGap);
    // The sex is at most three characters ("未说明", to x 103); the nation follows at 141.
    caption(canvas, 141 - 9 - (2 * kCell + kCaptionGap), 61, "民族", kCaptionGap);
    caption(canvas, kCaptionX, 86, "出生", kCaptionGap);
    // Year (four digits from 67), month (two from 122) and day (two from 152): each unit centred in
    // the gap behind its number.
    caption(canvas, 67 + 24 + (122 - 67 - 24 - kCell) / 2, 86, "年");
    caption(canvas, 122 + 12 + (152 - 122 - 12 - kCell) / 2, 86, "月");
    caption(canvas, 152 + 12 + 3, 86, "日");
    caption(canvas, kCaptionX, 115, "住址", kCaptionGap);
    caption(canvas, kCaptionX, 179, "公民身份号码");
    return canvas;
}

// The back. Values go at (140, 157), the issuing department, and (140, 184), the validity.
Canvas draw_back() {
    Canvas canvas = draw_back_card();
    draw_badge(canvas, 58, 62, 33);
    // Both lines of the title are 204 pixels wide: seven characters doubled and five tripled.
    title(canvas, 110, 26, "中华人民共和国", 3, 2, kTitleInk);
    title(canvas, 110, 60, "居民身份证", 2, 3, kTitleInk);
    constexpr int kCaptionX = 140 - 10 - 4 * kCell;
    caption(canvas, kCaptionX, 157, "签发机关");
    caption(canvas, kCaptionX, 184, "有效期限");
    return canvas;
}

bool write_bmp(const std::string& path, const Canvas& canvas) {
    const std::vector<std::uint8_t> pixels = canvas.rows();
    std::vector<std::uint8_t> file(54, 0);
    const auto put32 = [&](std::size_t at, std::uint32_t v) {
        for (int i = 0; i < 4; ++i) file[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
    };
    file[0] = 'B';
    file[1] = 'M';
    put32(2, static_cast<std::uint32_t>(54 + pixels.size()));
    put32(10, 54);
    put32(14, 40);
    put32(18, static_cast<std::uint32_t>(canvas.width()));
    put32(22, static_cast<std::uint32_t>(canvas.height()));
    file[26] = 1;   // planes
    file[28] = 24;  // bits per pixel
    put32(34, static_cast<std::uint32_t>(pixels.size()));
    put32(38, 3780);  // 96 pixels an inch, as pixels a metre
    put32(42, 3780);
    file.insert(file.end(), pixels.begin(), pixels.end());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    return static_cast<bool>(out.flush());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: vnr-card-templates FOLDER\n");
        return 2;
    }
    const std::string folder = argv[1];
    const Canvas front = draw_front();
    const Canvas back = draw_back();
    Canvas both(kWidth, kSheetHeight);
    both.put(front, 0);
    both.put(back, kBackTop);
    for (const auto& [name, canvas] : {std::pair<const char*, const Canvas*>{"front.bmp", &front},
                                       {"back.bmp", &back}, {"both.bmp", &both}}) {
        if (!write_bmp(folder + "/" + name, *canvas)) {
            std::fprintf(stderr, "vnr-card-templates: cannot write %s/%s\n", folder.c_str(), name);
            return 1;
        }
    }
    return 0;
}
