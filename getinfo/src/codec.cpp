// getinfo/src/codec.cpp: the compact portrait format (see getinfo/FORMAT.md for the bytes).
//
// A portrait becomes Y, Cb and Cr planes, the chroma planes at half size each way. Each plane is cut
// into 8 x 8 blocks (edges repeated to fill the last ones), each block goes through an orthonormal
// DCT, and the coefficients are divided by a step that grows slowly with frequency and rounded
// towards zero a little. The levels are coded with an adaptive binary arithmetic coder: per block a
// DC difference from a prediction out of the neighbouring blocks, the number of AC positions in
// zig-zag order up to the last non-zero one, and for those positions whether each is non-zero, its
// size and its sign. The encoder tries a few ratios of chroma to luma step and for each the finest
// luma step that fits the budget, and keeps the one that decodes closest to the source. It aims pure
// white above white, where the decoder's clamp brings it back to exactly 255 (see "Pure white").
//
// The decoder takes any bytes: every count it uses is fixed by the picture size or capped, it only
// reads inside the span it is given, and it allocates the same few planes whatever the input.
#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#include "range_coder.h"
#include "wlt/codec.h"

namespace wlt {
namespace {

using detail::Bit;
using detail::RangeDecoder;
using detail::RangeEncoder;

// ---- Layout -------------------------------------------------------------------------------------

constexpr std::uint8_t kMagic0 = 'W', kMagic1 = 'P';
constexpr std::uint8_t kVersion = 1;
constexpr std::size_t kHeaderSize = 11;
constexpr int kMaxQuality = 127;  // quality indices run from 0 (finest) to this (coarsest)

constexpr int kLumaW = kPortraitWidth, kLumaH = kPortraitHeight;              // 102 x 126
constexpr int kChromaW = (kLumaW + 1) / 2, kChromaH = (kLumaH + 1) / 2;       // 51 x 63
constexpr int blocks_across(int w) { return (w + 7) / 8; }

// Largest level magnitude a stream may carry: an 8-bit picture's orthonormal DCT stays within
// +-2040, and the finest step is 1.
constexpr int kMaxLevel = 4095;

// ---- Quantisation -------------------------------------------------------------------------------

// 2^(i/16) for i = 0..15, in 1/256.
constexpr std::array<int, 16> kStepMantissa{256, 267, 279, 291, 304, 317, 331, 345,
                                            362, 378, 395, 412, 431, 450, 470, 490};

// The base step of a quality index: 1.0 at 0, doubling every 16, 245 at 127.
double base_step(int quality) {
    return static_cast<double>(kStepMantissa[static_cast<std::size_t>(quality & 15)] << (quality >> 4)) / 256.0;
}

// Step of coefficient (u, v): the base step times 1 + (u + v) / 16.
double coefficient_step(double base, int u, int v) { return base * (16 + u + v) / 16.0; }

// Non-zero levels come back 1/16 of a step nearer zero than their nominal value, nearer to where
// the coefficients that rounded to them lie on average.
constexpr double kReconstructionBias = 1.0 / 16;
// The encoder rounds |c| / step + 0.5 - kDeadZone down: small coefficients fall to zero a little
// sooner, which saves more bytes than it costs in fidelity.
constexpr double kDeadZone = 0.05;

// ---- Zig-zag order ------------------------------------------------------------------------------

struct ZigZag {
    std::array<int, 64> natural{};  // natural (row * 8 + column) index of zig-zag position i
    ZigZag() {
        int i = 0;
        for (int s = 0; s < 15; ++s) {
            for (int k = 0; k <= s; ++k) {
                const int row = (s % 2 == 0) ? s - k : k;
                const int col = s - row;
                if (row < 8 && col < 8) natural[static_cast<std::size_t>(i++)] = row * 8 + col;
            }
        }
    }
};
const ZigZag kZigZag;

// Context band of an AC position in zig-zag order.
int band(int i) {
    static constexpr std::array<std::uint8_t, 64> kBands{
        0, 0, 1, 2, 3, 4, 5, 5, 6, 6, 7, 7, 7, 7, 7, 8, 8, 8, 8, 8, 8, 9, 9, 9, 9, 9, 9, 9, 10, 10, 10, 10,
        10, 10, 10, 10, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11, 11,
        11, 11, 11, 11, 11, 11, 11};
    return kBands[static_cast<std::size_t>(i)];
}
constexpr int kBandCount = 12;

// ---- DCT ----------------------------------------------------------------------------------------

struct DctTable {
    std::array<double, 64> c{};  // c[u * 8 + x] = alpha(u) cos((2x + 1) u pi / 16)
    DctTable() {
        const double pi = std::acos(-1.0);
        for (int u = 0; u < 8; ++u)
            for (int x = 0; x < 8; ++x)
                c[static_cast<std::size_t>(u * 8 + x)] =
                    (u == 0 ? std::sqrt(0.125) : 0.5) * std::cos((2 * x + 1) * u * pi / 16.0);
    }
};
const DctTable kDct;

void forward_dct(const std::array<double, 64>& in, std::array<double, 64>& out) {
    std::array<double, 64> tmp{};
    for (int y = 0; y < 8; ++y)
        for (int u = 0; u < 8; ++u) {
            double s = 0;
            for (int x = 0; x < 8; ++x) s += kDct.c[static_cast<std::size_t>(u * 8 + x)] * in[static_cast<std::size_t>(y * 8 + x)];
            tmp[static_cast<std::size_t>(y * 8 + u)] = s;
        }
    for (int v = 0; v < 8; ++v)
        for (int u = 0; u < 8; ++u) {
            double s = 0;
            for (int y = 0; y < 8; ++y) s += kDct.c[static_cast<std::size_t>(v * 8 + y)] * tmp[static_cast<std::size_t>(y * 8 + u)];
            out[static_cast<std::size_t>(v * 8 + u)] = s;
        }
}

void inverse_dct(const std::array<double, 64>& in, std::array<double, 64>& out) {
    std::array<double, 64> tmp{};
    for (int v = 0; v < 8; ++v)
        for (int x = 0; x < 8; ++x) {
            double s = 0;
            for (int u = 0; u < 8; ++u) s += kDct.c[static_cast<std::size_t>(u * 8 + x)] * in[static_cast<std::size_t>(v * 8 + u)];
            tmp[static_cast<std::size_t>(v * 8 + x)] = s;
        }
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            double s = 0;
            for (int v = 0; v < 8; ++v) s += kDct.c[static_cast<std::size_t>(v * 8 + y)] * tmp[static_cast<std::size_t>(v * 8 + x)];
            out[static_cast<std::size_t>(y * 8 + x)] = s;
        }
}

// ---- Planes -------------------------------------------------------------------------------------

struct Plane {
    int width = 0, height = 0;
    std::vector<double> v;
    Plane(int w, int h) : width(w), height(h), v(static_cast<std::size_t>(w) * h, 0.0) {}
    double& at(int x, int y) { return v[static_cast<std::size_t>(y) * width + x]; }
    double at(int x, int y) const { return v[static_cast<std::size_t>(y) * width + x]; }
    // The sample at (x, y) with coordinates outside the plane moved to its nearest edge.
    double clamped(int x, int y) const { return at(std::clamp(x, 0, width - 1), std::clamp(y, 0, height - 1)); }
};

struct Planes {
    Plane y{kLumaW, kLumaH}, cb{kChromaW, kChromaH}, cr{kChromaW, kChromaH};
};

Planes to_planes(const Image& image) {
    Planes p;
    Plane full_cb(kLumaW, kLumaH), full_cr(kLumaW, kLumaH);
    for (int y = 0; y < kLumaH; ++y)
        for (int x = 0; x < kLumaW; ++x) {
            const std::uint8_t* px = &image.rgb[(static_cast<std::size_t>(y) * kLumaW + x) * 3];
            const double r = px[0], g = px[1], b = px[2];
            p.y.at(x, y) = 0.299 * r + 0.587 * g + 0.114 * b - 128.0;
            full_cb.at(x, y) = -0.168736 * r - 0.331264 * g + 0.5 * b;
            full_cr.at(x, y) = 0.5 * r - 0.418688 * g - 0.081312 * b;
        }
    for (int y = 0; y < kChromaH; ++y)
        for (int x = 0; x < kChromaW; ++x) {
            p.cb.at(x, y) = (full_cb.clamped(2 * x, 2 * y) + full_cb.clamped(2 * x + 1, 2 * y) +
                             full_cb.clamped(2 * x, 2 * y + 1) + full_cb.clamped(2 * x + 1, 2 * y + 1)) / 4;
            p.cr.at(x, y) = (full_cr.clamped(2 * x, 2 * y) + full_cr.clamped(2 * x + 1, 2 * y) +
                             full_cr.clamped(2 * x, 2 * y + 1) + full_cr.clamped(2 * x + 1, 2 * y + 1)) / 4;
        }
    return p;
}

// A chroma sample at luma position (x, y), interpolated between the four nearest chroma samples,
// whose centres sit at luma positions 2j + 0.5.
double upsampled(const Plane& c, int x, int y) {
    const double fx = (x - 0.5) / 2.0, fy = (y - 0.5) / 2.0;
    const int x0 = static_cast<int>(std::floor(fx)), y0 = static_cast<int>(std::floor(fy));
    const double tx = fx - x0, ty = fy - y0;
    return (1 - ty) * ((1 - tx) * c.clamped(x0, y0) + tx * c.clamped(x0 + 1, y0)) +
           ty * ((1 - tx) * c.clamped(x0, y0 + 1) + tx * c.clamped(x0 + 1, y0 + 1));
}

Image from_planes(const Planes& p) {
    Image image{kLumaW, kLumaH, std::vector<std::uint8_t>(static_cast<std::size_t>(kLumaW) * kLumaH * 3)};
    auto to_byte = [](double v) { return static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0, 255.0))); };
    for (int y = 0; y < kLumaH; ++y)
        for (int x = 0; x < kLumaW; ++x) {
            const double l = p.y.at(x, y) + 128.0, cb = upsampled(p.cb, x, y), cr = upsampled(p.cr, x, y);
            std::uint8_t* px = &image.rgb[(static_cast<std::size_t>(y) * kLumaW + x) * 3];
            px[0] = to_byte(l + 1.402 * cr);
            px[1] = to_byte(l - 0.344136 * cb - 0.714136 * cr);
            px[2] = to_byte(l + 1.772 * cb);
        }
    return image;
}

// ---- Levels -------------------------------------------------------------------------------------

// The quantised coefficients of one plane, block by block in raster order, each block in natural
// order.
struct Levels {
    int across = 0, down = 0;
    std::vector<std::array<int, 64>> blocks;
    Levels(int a, int d) : across(a), down(d), blocks(static_cast<std::size_t>(a) * d) {}
    std::array<int, 64>& block(int bx, int by) { return blocks[static_cast<std::size_t>(by) * across + bx]; }
    const std::array<int, 64>& block(int bx, int by) const { return blocks[static_cast<std::size_t>(by) * across + bx]; }
};

// The DCT coefficients of every block of a plane; computed once, quantised at each trial step.
std::vector<std::array<double, 64>> plane_dct(const Plane& p) {
    const int across = blocks_across(p.width), down = blocks_across(p.height);
    std::vector<std::array<double, 64>> out(static_cast<std::size_t>(across) * down);
    std::array<double, 64> in{};
    for (int by = 0; by < down; ++by)
        for (int bx = 0; bx < across; ++bx) {
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x) in[static_cast<std::size_t>(y * 8 + x)] = p.clamped(bx * 8 + x, by * 8 + y);
            forward_dct(in, out[static_cast<std::size_t>(by) * across + bx]);
        }
    return out;
}

Levels quantise(const std::vector<std::array<double, 64>>& dct, int width, int height, int quality) {
    Levels levels(blocks_across(width), blocks_across(height));
    const double base = base_step(quality);
    for (std::size_t b = 0; b < dct.size(); ++b)
        for (int k = 0; k < 64; ++k) {
            const double c = dct[b][static_cast<std::size_t>(k)];
            const double q = std::fabs(c) / coefficient_step(base, k % 8, k / 8);
            const int m = std::min(kMaxLevel, static_cast<int>(q + 0.5 - kDeadZone));
            levels.blocks[b][static_cast<std::size_t>(k)] = c < 0 ? -m : m;
        }
    return levels;
}

void dequantise(const Levels& levels, Plane& p, int quality) {
    const double base = base_step(quality);
    std::array<double, 64> coefficients{}, pixels{};
    for (int by = 0; by < levels.down; ++by)
        for (int bx = 0; bx < levels.across; ++bx) {
            const auto& l = levels.block(bx, by);
            for (int k = 0; k < 64; ++k) {
                const int m = l[static_cast<std::size_t>(k)];
                const double mag = m == 0 ? 0.0 : (std::abs(m) - kReconstructionBias) * coefficient_step(base, k % 8, k / 8);
                coefficients[static_cast<std::size_t>(k)] = m < 0 ? -mag : mag;
            }
            inverse_dct(coefficients, pixels);
            for (int y = 0; y < 8; ++y)
                for (int x = 0; x < 8; ++x) {
                    const int px = bx * 8 + x, py = by * 8 + y;
                    if (px < p.width && py < p.height) p.at(px, py) = pixels[static_cast<std::size_t>(y * 8 + x)];
                }
        }
}

// Softens the steps across block edges that are small enough to come from quantisation rather than
// from the picture: of the two samples beside an edge, each moves towards the other.
void deblock(Plane& p, int quality) {
    const double step = base_step(quality);
    const double edge_limit = step, side_limit = step / 2;
    auto filter = [&](double& p1, double& p0, double& q0, double& q1) {
        const double d = q0 - p0;
        if (std::fabs(d) >= edge_limit || std::fabs(p1 - p0) >= side_limit || std::fabs(q1 - q0) >= side_limit) return;
        const double delta = (4 * d + (p1 - q1)) / 8;
        p0 += delta;
        q0 -= delta;
        p1 += delta / 2;
        q1 -= delta / 2;
    };
    for (int x = 8; x < p.width - 1; x += 8)
        for (int y = 0; y < p.height; ++y) filter(p.at(x - 2, y), p.at(x - 1, y), p.at(x, y), p.at(x + 1, y));
    for (int y = 8; y < p.height - 1; y += 8)
        for (int x = 0; x < p.width; ++x) filter(p.at(x, y - 2), p.at(x, y - 1), p.at(x, y), p.at(x, y + 1));
}

// ---- Coefficient model --------------------------------------------------------------------------

// DC prediction from the blocks left, above and above-left: the median of left, above and
// left + above - above-left, or the one neighbour there is, or 0 (mid grey) for the first block.
int predict_dc(const Levels& levels, int bx, int by) {
    if (bx == 0 && by == 0) return 0;
    if (by == 0) return levels.block(bx - 1, by)[0];
    if (bx == 0) return levels.block(bx, by - 1)[0];
    const int a = levels.block(bx - 1, by)[0], b = levels.block(bx, by - 1)[0], c = levels.block(bx - 1, by - 1)[0];
    if (c >= std::max(a, b)) return std::min(a, b);
    if (c <= std::min(a, b)) return std::max(a, b);
    return a + b - c;
}

constexpr int kMaxPrefix = 13;  // a magnitude code's prefix; 2^13 - 1 > 2 * kMaxLevel

// The adaptive probabilities of one kind of plane (luma, or both chroma planes).
struct PlaneModel {
    std::array<Bit, 3> dc_zero;
    std::array<Bit, 3> dc_sign;
    std::array<Bit, kMaxPrefix> dc_prefix;
    std::array<std::array<Bit, 64>, 3> end;  // binary tree over 0..63, by the neighbours' ends
    std::array<std::array<Bit, 3>, kBandCount> nonzero;
    std::array<std::array<Bit, 2>, kBandCount> above_one;
    std::array<Bit, kBandCount> above_two;
    std::array<Bit, kMaxPrefix> ac_prefix;
};

int small_class(int magnitude) { return magnitude == 0 ? 0 : magnitude <= 2 ? 1 : 2; }

// Context of a block's end position from the ends of the blocks left and above.
int end_context(const std::vector<int>& ends, int across, int bx, int by) {
    int sum = 0, count = 0;
    if (bx > 0) sum += ends[static_cast<std::size_t>(by * across + bx - 1)], ++count;
    if (by > 0) sum += ends[static_cast<std::size_t>((by - 1) * across + bx)], ++count;
    if (count == 0) return 1;
    const int mean2 = 2 * sum / count;  // twice the mean
    return mean2 == 0 ? 0 : mean2 <= 6 ? 1 : 2;
}

// Non-zero count of the two previous zig-zag positions (0, 1 or 2).
int recent_nonzero(const std::array<int, 64>& block, int i) {
    int n = 0;
    if (i >= 2 && block[static_cast<std::size_t>(kZigZag.natural[static_cast<std::size_t>(i - 1)])] != 0) ++n;
    if (i >= 3 && block[static_cast<std::size_t>(kZigZag.natural[static_cast<std::size_t>(i - 2)])] != 0) ++n;
    return n;
}

// ---- Encoding -----------------------------------------------------------------------------------

// value >= 0 as an Exp-Golomb code: the bit length of value + 1, less one, in unary with a
// probability per place, then the bits below the leading one, each as an even bit.
void put_magnitude(RangeEncoder& rc, std::array<Bit, kMaxPrefix>& prefix, int value) {
    const auto v = static_cast<std::uint32_t>(value) + 1;
    int length = 0;
    while ((v >> (length + 1)) != 0) ++length;
    for (int i = 0; i < length; ++i) rc.encode(prefix[static_cast<std::size_t>(i)], 1);
    if (length < kMaxPrefix) rc.encode(prefix[static_cast<std::size_t>(length)], 0);
    for (int i = length - 1; i >= 0; --i) rc.encode_even(static_cast<int>((v >> i) & 1));
}

void put_plane(RangeEncoder& rc, PlaneModel& m, const Levels& levels) {
    std::vector<int> ends(levels.blocks.size(), 0);
    int last_dc_class = 0;
    for (int by = 0; by < levels.down; ++by)
        for (int bx = 0; bx < levels.across; ++bx) {
            const auto& block = levels.block(bx, by);
            const int diff = block[0] - predict_dc(levels, bx, by);
            rc.encode(m.dc_zero[static_cast<std::size_t>(last_dc_class)], diff != 0);
            if (diff != 0) {
                rc.encode(m.dc_sign[static_cast<std::size_t>(last_dc_class)], diff < 0);
                put_magnitude(rc, m.dc_prefix, std::abs(diff) - 1);
            }
            last_dc_class = small_class(std::abs(diff));

            int end = 0;
            for (int i = 63; i >= 1; --i)
                if (block[static_cast<std::size_t>(kZigZag.natural[static_cast<std::size_t>(i)])] != 0) {
                    end = i;
                    break;
                }
            auto& tree = m.end[static_cast<std::size_t>(end_context(ends, levels.across, bx, by))];
            for (int node = 1, bit = 5; bit >= 0; --bit) {
                const int b = (end >> bit) & 1;
                rc.encode(tree[static_cast<std::size_t>(node)], b);
                node = node * 2 + b;
            }
            ends[static_cast<std::size_t>(by * levels.across + bx)] = end;

            for (int i = 1; i <= end; ++i) {
                const int level = block[static_cast<std::size_t>(kZigZag.natural[static_cast<std::size_t>(i)])];
                const auto bd = static_cast<std::size_t>(band(i));
                if (i < end) rc.encode(m.nonzero[bd][static_cast<std::size_t>(recent_nonzero(block, i))], level != 0);
                if (level == 0) continue;
                const int mag = std::abs(level);
                const int prev = i >= 2 ? std::abs(block[static_cast<std::size_t>(kZigZag.natural[static_cast<std::size_t>(i - 1)])]) : 0;
                rc.encode(m.above_one[bd][prev > 1 ? 1 : 0], mag > 1);
                if (mag > 1) {
                    rc.encode(m.above_two[bd], mag > 2);
                    if (mag > 2) put_magnitude(rc, m.ac_prefix, mag - 3);
                }
                rc.encode_even(level < 0);
            }
        }
}

void put_u16(std::vector<std::uint8_t>& out, std::size_t at, std::uint32_t v) {
    out[at] = static_cast<std::uint8_t>(v);
    out[at + 1] = static_cast<std::uint8_t>(v >> 8);
}

std::uint16_t crc16(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b) {
    std::uint16_t crc = 0xFFFF;
    for (auto part : {a, b})
        for (std::uint8_t byte : part) {
            crc = static_cast<std::uint16_t>(crc ^ (byte << 8));
            for (int i = 0; i < 8; ++i)
                crc = static_cast<std::uint16_t>((crc & 0x8000) ? (crc << 1) ^ 0x1021 : crc << 1);
        }
    return crc;
}

// ---- Pure white ---------------------------------------------------------------------------------
//
// A portrait's background is plain white, and the card picture lets the card show through wherever
// the decoded photo has exactly the grey of its top-right pixel: for a portrait on white, wherever it
// is exactly (255, 255, 255). Quantised as they come, white pixels decode within a fraction of a step
// of 255, below it as often as above, and tinted by the chroma of the figure nearby. But the decoder
// clamps every channel to 255, so for a white pixel any value above white is as good as white
// itself, and the encoder uses that room:
//
// - every pure white pixel is aimed kWhiteLift above white in luma, so that most of the ringing
//   the figure's edge leaves in the blocks it crosses stays above white and is clamped away;
// - a block that is all pure white gets a DC high enough that every channel of every pixel is sure to
//   round to 255 or more (white_block_dc).

bool is_white(const Image& image, int x, int y) {
    const std::uint8_t* px = &image.rgb[(static_cast<std::size_t>(y) * image.width + x) * 3];
    return px[0] == 255 && px[1] == 255 && px[2] == 255;
}

// About one luma step at the qualities a portrait fits its 1024 bytes in. Much more, and the sharper
// edge it makes costs more than it saves; much less, and ringing greys the background near the
// figure.
constexpr double kWhiteLift = 24;

void lift_white(Plane& y, const Image& image) {
    for (int py = 0; py < kLumaH; ++py)
        for (int px = 0; px < kLumaW; ++px)
            if (is_white(image, px, py)) y.at(px, py) += kWhiteLift;
}

// Luma blocks, in raster order, whose pixels are all pure white.
std::vector<bool> white_blocks(const Image& image) {
    const int across = blocks_across(kLumaW), down = blocks_across(kLumaH);
    std::vector<bool> white(static_cast<std::size_t>(across) * down, true);
    for (int y = 0; y < kLumaH; ++y)
        for (int x = 0; x < kLumaW; ++x)
            if (!is_white(image, x, y)) white[static_cast<std::size_t>(y / 8 * across + x / 8)] = false;
    return white;
}

// The DC level that makes a pure white luma block decode to exactly white. Its flat samples,
// F(0, 0) / 8 = (L - bias) S / 8, must keep every channel at 254.5 or more after the decoder's edge
// smoothing, which moves a sample less than half a base step S across each of the two block edges
// it may lie next to, and after adding the block's decoded chroma: `drop` is how far the lowest
// channel of any of its pixels falls below luma.
int white_block_dc(double drop, int luma_quality) {
    const double step = base_step(luma_quality);
    const double lowest = 254.5 - 128 + drop + step + 1e-6;  // and a little for the transforms' rounding
    return std::min(kMaxLevel, static_cast<int>(std::ceil(lowest * 8 / step + kReconstructionBias)));
}

// Sets the DC of every pure white luma block and clears its AC levels. The chroma the decoder will
// add is known exactly: it is rebuilt here as the decoder builds it.
void settle_white_blocks(Levels& ly, const std::vector<bool>& white, const Levels& lcb, const Levels& lcr,
                         int luma_quality, int chroma_quality) {
    Plane cb(kChromaW, kChromaH), cr(kChromaW, kChromaH);
    dequantise(lcb, cb, chroma_quality);
    dequantise(lcr, cr, chroma_quality);
    deblock(cb, chroma_quality);
    deblock(cr, chroma_quality);
    for (int by = 0; by < ly.down; ++by)
        for (int bx = 0; bx < ly.across; ++bx) {
            if (!white[static_cast<std::size_t>(by * ly.across + bx)]) continue;
            double drop = 0;
            for (int y = by * 8; y < std::min(by * 8 + 8, kLumaH); ++y)
                for (int x = bx * 8; x < std::min(bx * 8 + 8, kLumaW); ++x) {
                    const double b = upsampled(cb, x, y), r = upsampled(cr, x, y);
                    drop = std::max({drop, -1.402 * r, 0.344136 * b + 0.714136 * r, -1.772 * b});
                }
            auto& block = ly.block(bx, by);
            const int dc = std::max(block[0], white_block_dc(drop, luma_quality));
            block.fill(0);  // flat already, but for rounding
            block[0] = dc;
        }
}

// ---- Streams ------------------------------------------------------------------------------------

struct Transformed {
    std::vector<std::array<double, 64>> y, cb, cr;
    std::vector<bool> white;  // the luma blocks that are pure white
};

std::vector<std::uint8_t> encode_at(const Transformed& t, int luma_quality, int chroma_quality) {
    const Levels lcb = quantise(t.cb, kChromaW, kChromaH, chroma_quality);
    const Levels lcr = quantise(t.cr, kChromaW, kChromaH, chroma_quality);
    Levels ly = quantise(t.y, kLumaW, kLumaH, luma_quality);
    settle_white_blocks(ly, t.white, lcb, lcr, luma_quality, chroma_quality);
    RangeEncoder rc;
    PlaneModel luma, chroma;
    put_plane(rc, luma, ly);
    put_plane(rc, chroma, lcb);
    put_plane(rc, chroma, lcr);
    const std::vector<std::uint8_t> payload = rc.finish();

    std::vector<std::uint8_t> out(kHeaderSize + payload.size(), 0);
    out[0] = kMagic0;
    out[1] = kMagic1;
    out[2] = kVersion;
    out[3] = kPortraitWidth;
    out[4] = kPortraitHeight;
    out[5] = static_cast<std::uint8_t>(luma_quality);
    out[6] = static_cast<std::uint8_t>(chroma_quality);
    put_u16(out, 7, static_cast<std::uint32_t>(payload.size()));
    put_u16(out, 9, crc16(std::span(out).first(9), payload));
    std::copy(payload.begin(), payload.end(), out.begin() + kHeaderSize);
    return out;
}

// ---- Decoding -----------------------------------------------------------------------------------

// The inverse of put_magnitude; -1 for a prefix longer than any encoder writes.
int get_magnitude(RangeDecoder& rc, std::array<Bit, kMaxPrefix>& prefix) {
    int length = 0;
    while (length < kMaxPrefix && rc.decode(prefix[static_cast<std::size_t>(length)]) == 1) ++length;
    if (length >= kMaxPrefix) return -1;
    std::uint32_t v = 1;
    for (int i = 0; i < length; ++i) v = (v << 1) | static_cast<std::uint32_t>(rc.decode_even());
    return static_cast<int>(v - 1);
}

bool get_plane(RangeDecoder& rc, PlaneModel& m, Levels& levels) {
    std::vector<int> ends(levels.blocks.size(), 0);
    int last_dc_class = 0;
    for (int by = 0; by < levels.down; ++by)
        for (int bx = 0; bx < levels.across; ++bx) {
            auto& block = levels.block(bx, by);
            block.fill(0);
            int diff = 0;
            if (rc.decode(m.dc_zero[static_cast<std::size_t>(last_dc_class)])) {
                const bool negative = rc.decode(m.dc_sign[static_cast<std::size_t>(last_dc_class)]) != 0;
                const int mag = get_magnitude(rc, m.dc_prefix);
                if (mag < 0 || mag >= 2 * kMaxLevel) return false;
                diff = negative ? -(mag + 1) : mag + 1;
            }
            last_dc_class = small_class(std::abs(diff));
            const int dc = predict_dc(levels, bx, by) + diff;
            if (dc < -kMaxLevel || dc > kMaxLevel) return false;
            block[0] = dc;

            auto& tree = m.end[static_cast<std::size_t>(end_context(ends, levels.across, bx, by))];
            int node = 1;
            for (int bit = 5; bit >= 0; --bit) node = node * 2 + rc.decode(tree[static_cast<std::size_t>(node)]);
            const int end = node - 64;
            ends[static_cast<std::size_t>(by * levels.across + bx)] = end;

            for (int i = 1; i <= end; ++i) {
                const auto bd = static_cast<std::size_t>(band(i));
                if (i < end && !rc.decode(m.nonzero[bd][static_cast<std::size_t>(recent_nonzero(block, i))])) continue;
                const int prev = i >= 2 ? std::abs(block[static_cast<std::size_t>(kZigZag.natural[static_cast<std::size_t>(i - 1)])]) : 0;
                int mag = 1;
                if (rc.decode(m.above_one[bd][prev > 1 ? 1 : 0])) {
                    mag = 2;
                    if (rc.decode(m.above_two[bd])) {
                        const int rest = get_magnitude(rc, m.ac_prefix);
                        if (rest < 0 || rest > kMaxLevel - 3) return false;
                        mag = rest + 3;
                    }
                }
                block[static_cast<std::size_t>(kZigZag.natural[static_cast<std::size_t>(i)])] = rc.decode_even() ? -mag : mag;
            }
        }
    return true;
}

Planes reconstruct(const Levels& ly, const Levels& lcb, const Levels& lcr, int luma_quality, int chroma_quality) {
    Planes p;
    dequantise(ly, p.y, luma_quality);
    dequantise(lcb, p.cb, chroma_quality);
    dequantise(lcr, p.cr, chroma_quality);
    deblock(p.y, luma_quality);
    deblock(p.cb, chroma_quality);
    deblock(p.cr, chroma_quality);
    return p;
}

std::optional<Image> fail(DecodeError* error, DecodeError why) {
    if (error) *error = why;
    return std::nullopt;
}

}  // namespace

std::vector<std::uint8_t> encode(const Image& portrait, std::size_t budget) {
    if (portrait.width != kPortraitWidth || portrait.height != kPortraitHeight ||
        portrait.rgb.size() != static_cast<std::size_t>(kPortraitWidth) * kPortraitHeight * 3)
        throw std::invalid_argument("wlt::encode: a portrait must be 102 x 126 pixels");
    budget = std::min(budget, kMaxEncodedSize);

    Planes source = to_planes(portrait);
    lift_white(source.y, portrait);
    const Transformed t{plane_dct(source.y), plane_dct(source.cb), plane_dct(source.cr), white_blocks(portrait)};

    // For each chroma offset, the finest luma quality that fits (sizes fall as the index rises,
    // nearly always; a binary search may then miss a slightly finer fit, never overshoot).
    std::vector<std::uint8_t> best;
    double best_psnr = -1;
    for (int offset = -12; offset <= 20; offset += 2) {
        auto chroma = [&](int q) { return std::clamp(q + offset, 0, kMaxQuality); };
        auto fits = [&](int q) { return encode_at(t, q, chroma(q)).size() <= budget; };
        if (!fits(kMaxQuality)) continue;
        int lo = 0, hi = kMaxQuality;  // hi always fits
        while (lo < hi) {
            const int mid = (lo + hi) / 2;
            if (fits(mid)) hi = mid;
            else lo = mid + 1;
        }
        std::vector<std::uint8_t> bytes = encode_at(t, hi, chroma(hi));
        const auto decoded = decode(bytes);
        const double score = decoded ? psnr(portrait, *decoded) : -1;
        if (score > best_psnr) {
            best_psnr = score;
            best = std::move(bytes);
        }
    }
    if (best.empty()) throw std::invalid_argument("wlt::encode: the budget is too small for this portrait");
    return best;
}

std::optional<Image> decode(std::span<const std::uint8_t> data, DecodeError* error) {
    if (error) *error = DecodeError::none;
    if (data.size() < 3 || data[0] != kMagic0 || data[1] != kMagic1 || data[2] != kVersion)
        return fail(error, DecodeError::bad_format);
    if ((data.size() > 3 && data[3] != kPortraitWidth) || (data.size() > 4 && data[4] != kPortraitHeight))
        return fail(error, DecodeError::bad_format);
    if (data.size() < kHeaderSize) return fail(error, DecodeError::corrupt);
    const int luma_quality = data[5], chroma_quality = data[6];
    const std::size_t payload_size = data[7] | static_cast<std::size_t>(data[8]) << 8;
    const std::uint16_t crc = static_cast<std::uint16_t>(data[9] | data[10] << 8);
    if (luma_quality > kMaxQuality || chroma_quality > kMaxQuality || payload_size > kMaxEncodedSize - kHeaderSize ||
        payload_size > data.size() - kHeaderSize)
        return fail(error, DecodeError::corrupt);
    const auto payload = data.subspan(kHeaderSize, payload_size);
    if (crc16(data.first(9), payload) != crc) return fail(error, DecodeError::corrupt);

    RangeDecoder rc(payload);
    PlaneModel luma, chroma;
    Levels ly(blocks_across(kLumaW), blocks_across(kLumaH));
    Levels lcb(blocks_across(kChromaW), blocks_across(kChromaH)), lcr = lcb;
    if (!get_plane(rc, luma, ly) || !get_plane(rc, chroma, lcb) || !get_plane(rc, chroma, lcr))
        return fail(error, DecodeError::corrupt);
    return from_planes(reconstruct(ly, lcb, lcr, luma_quality, chroma_quality));
}

}  // namespace wlt
