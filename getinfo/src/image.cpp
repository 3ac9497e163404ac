// getinfo/src/image.cpp: measuring and scaling RGB images.
#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "wlt/codec.h"

namespace wlt {
namespace {

bool well_formed(const Image& image) {
    return image.width > 0 && image.height > 0 &&
           image.rgb.size() == static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height) * 3;
}

// The source samples that make up each of `out` destination samples along one axis, with weights
// summing to 1: the covered fraction of each source sample when shrinking, the two nearest source
// samples (centres aligned) when growing.
struct Tap {
    int index;
    double weight;
};
std::vector<std::vector<Tap>> axis_taps(int in, int out) {
    std::vector<std::vector<Tap>> taps(static_cast<std::size_t>(out));
    const double scale = static_cast<double>(in) / out;
    for (int i = 0; i < out; ++i) {
        auto& t = taps[static_cast<std::size_t>(i)];
        if (in > out) {
            const double from = i * scale, to = (i + 1) * scale;
            for (int s = static_cast<int>(from); s < in && s < to; ++s) {
                const double covered = std::min<double>(s + 1, to) - std::max<double>(s, from);
                if (covered > 0) t.push_back({s, covered / scale});
            }
        } else {
            double p = (i + 0.5) * scale - 0.5;
            p = std::clamp(p, 0.0, static_cast<double>(in - 1));
            const int s0 = static_cast<int>(p);
            const int s1 = std::min(s0 + 1, in - 1);
            const double f = p - s0;
            t.push_back({s0, 1 - f});
            if (f > 0) t.push_back({s1, f});
        }
    }
    return taps;
}

}  // namespace

double psnr(const Image& a, const Image& b) {
    if (!well_formed(a) || a.width != b.width || a.height != b.height || a.rgb.size() != b.rgb.size())
        throw std::invalid_argument("psnr: images of different sizes");
    double sum = 0;
    for (std::size_t i = 0; i < a.rgb.size(); ++i) {
        const double d = static_cast<double>(a.rgb[i]) - b.rgb[i];
        sum += d * d;
    }
    if (sum == 0) return std::numeric_limits<double>::infinity();
    const double mse = sum / static_cast<double>(a.rgb.size());
    return 10.0 * std::log10(255.0 * 255.0 / mse);
}

Image resize(const Image& image, int width, int height) {
    if (!well_formed(image) || width <= 0 || height <= 0)
        throw std::invalid_argument("resize: empty or inconsistent image or size");
    const auto xt = axis_taps(image.width, width);
    const auto yt = axis_taps(image.height, height);

    // Rows first into a buffer of image.height x width, then columns.
    std::vector<double> rows(static_cast<std::size_t>(image.height) * width * 3, 0.0);
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < width; ++x)
            for (const Tap& t : xt[static_cast<std::size_t>(x)])
                for (int c = 0; c < 3; ++c)
                    rows[(static_cast<std::size_t>(y) * width + x) * 3 + c] +=
                        t.weight * image.rgb[(static_cast<std::size_t>(y) * image.width + t.index) * 3 + c];

    Image out{width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(width) * height * 3)};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 3; ++c) {
                double v = 0;
                for (const Tap& t : yt[static_cast<std::size_t>(y)])
                    v += t.weight * rows[(static_cast<std::size_t>(t.index) * width + x) * 3 + c];
                out.rgb[(static_cast<std::size_t>(y) * width + x) * 3 + c] =
                    static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0, 255.0)));
            }
    return out;
}

}  // namespace wlt
