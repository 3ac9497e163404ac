// getinfo/src/portrait.cpp: draws synthetic portraits. Every pixel is the mean of 4 x 4 samples; a
// sample takes the colour of the topmost shape that covers it, painted back to front. The random
// numbers come from a generator of our own so that a seed draws the same figure on every platform.
#include "wlt/portrait.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace wlt {
namespace {

struct Rgb {
    double r = 0, g = 0, b = 0;
};

Rgb operator*(Rgb c, double k) { return {c.r * k, c.g * k, c.b * k}; }
Rgb operator+(Rgb a, Rgb b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
Rgb mix(Rgb a, Rgb b, double t) { return a * (1 - t) + b * t; }

// splitmix64: small, fast, and the same sequence everywhere.
class Random {
public:
    explicit Random(unsigned seed) : state_(0x5eed'0000'0000'0000ULL ^ seed) {}
    std::uint64_t next() {
        std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    double uniform(double lo, double hi) { return lo + (hi - lo) * static_cast<double>(next() >> 11) * 0x1.0p-53; }
    int pick(int count) { return static_cast<int>(next() % static_cast<std::uint64_t>(count)); }

private:
    std::uint64_t state_;
};

Rgb from_hsv(double h, double s, double v) {
    h = std::fmod(h, 360.0) / 60.0;
    const double c = v * s;
    const double x = c * (1 - std::fabs(std::fmod(h, 2.0) - 1));
    const double m = v - c;
    Rgb out;
    switch (static_cast<int>(h)) {
    case 0: out = {c, x, 0}; break;
    case 1: out = {x, c, 0}; break;
    case 2: out = {0, c, x}; break;
    case 3: out = {0, x, c}; break;
    case 4: out = {x, 0, c}; break;
    default: out = {c, 0, x}; break;
    }
    return out * 1.0 + Rgb{m, m, m};
}

// Inside an axis-aligned ellipse: the squared normalised distance from its centre (below 1 inside).
double ellipse(double x, double y, double cx, double cy, double rx, double ry) {
    const double dx = (x - cx) / rx, dy = (y - cy) / ry;
    return dx * dx + dy * dy;
}

// Everything the seed decides; all lengths in pixels, y growing downwards.
struct Figure {
    Rgb skin, hair, cloth, iris, lips;
    double cx, cy, face_rx, face_ry;     // face ellipse
    double eye_y, eye_dx;                // eye centres at cx +- eye_dx
    double body_cy, body_rx, body_ry;    // shoulders: the top of a wide ellipse below the frame
    double neck_half;
    double light_x, light_y;             // direction of the light in the picture plane
    int hair_style;                      // 0 short, 1 long, 2 short with a side parting
    int collar_style;                    // 0 V-neck, 1 round neck, 2 shirt collar
};

Figure make_figure(unsigned seed) {
    Random rnd(seed);
    Figure f{};
    // The first six numbers once tinted the background; they are still drawn, and dropped, so that
    // every seed keeps the figure it has always drawn.
    for (int i = 0; i < 6; ++i) rnd.next();
    f.skin = mix(Rgb{0.95, 0.80, 0.69}, Rgb{0.45, 0.30, 0.21}, rnd.uniform(0, 1)) +
             Rgb{rnd.uniform(-0.03, 0.03), rnd.uniform(-0.03, 0.03), rnd.uniform(-0.03, 0.03)};
    static constexpr std::array<Rgb, 6> hair_colours{{{0.12, 0.10, 0.09},
                                                      {0.28, 0.18, 0.12},
                                                      {0.45, 0.30, 0.18},
                                                      {0.55, 0.28, 0.15},
                                                      {0.80, 0.67, 0.43},
                                                      {0.62, 0.62, 0.60}}};
    f.hair = hair_colours[static_cast<std::size_t>(rnd.pick(6))];
    f.cloth = from_hsv(rnd.uniform(0, 360), rnd.uniform(0.3, 0.8), rnd.uniform(0.25, 0.7));
    static constexpr std::array<Rgb, 4> iris_colours{
        {{0.30, 0.18, 0.10}, {0.15, 0.10, 0.07}, {0.30, 0.42, 0.55}, {0.33, 0.45, 0.30}}};
    f.iris = iris_colours[static_cast<std::size_t>(rnd.pick(4))];
    f.lips = Rgb{f.skin.r * 0.85, f.skin.g * 0.55, f.skin.b * 0.55};

    f.cx = 51 + rnd.uniform(-2.5, 2.5);
    f.cy = 54 + rnd.uniform(-3, 3);
    f.face_rx = rnd.uniform(22, 27);
    f.face_ry = rnd.uniform(28.5, 33);
    f.eye_y = f.cy - f.face_ry * rnd.uniform(0.02, 0.12);
    f.eye_dx = f.face_rx * rnd.uniform(0.38, 0.45);
    f.body_rx = rnd.uniform(58, 68);
    f.body_ry = rnd.uniform(48, 56);
    f.body_cy = 97 + f.body_ry + rnd.uniform(-3, 3);
    f.neck_half = f.face_rx * rnd.uniform(0.42, 0.52);
    f.light_x = rnd.uniform(-0.6, 0.6);
    f.light_y = rnd.uniform(-0.7, -0.2);
    f.hair_style = rnd.pick(3);
    f.collar_style = rnd.pick(3);
    return f;
}

Rgb sample(const Figure& f, double x, double y) {
    // Background: plain white, as on an identity photo.
    Rgb c{1, 1, 1};

    const double body_top = f.body_cy - f.body_ry;
    const double face_d = ellipse(x, y, f.cx, f.cy, f.face_rx, f.face_ry);
    const double dx = x - f.cx;

    // Long hair hangs behind the head down to the shoulders.
    const bool below_crown =
        y > f.cy - f.face_ry * 0.3 ||
        ellipse(x, y, f.cx, f.cy - f.face_ry * 0.12, f.face_rx * 1.25, f.face_ry * 1.08) < 1;
    if (f.hair_style == 1 && std::fabs(dx) < f.face_rx * 1.25 && below_crown && y < body_top + 8 - 0.3 * std::fabs(dx))
        c = f.hair * (0.8 + 0.1 * std::sin(x * 0.9));

    // Shoulders and clothes, darker towards the arms.
    if (ellipse(x, y, f.cx, f.body_cy, f.body_rx, f.body_ry) < 1) {
        const double t = dx / f.body_rx;
        c = f.cloth * (1.0 - 0.35 * t * t - 0.15 * std::clamp((y - body_top) / 40.0, 0.0, 1.0));
    }

    // Neck, shaded under the chin; the collar decides how far down the skin shows.
    const double neck_top = f.cy + f.face_ry * 0.5;
    double neck_bottom = body_top + 6;
    if (f.collar_style == 0) neck_bottom = body_top + 22 - 1.6 * std::fabs(dx);
    if (f.collar_style == 2) neck_bottom = body_top + 14 - 1.2 * std::fabs(dx);
    const double neck_half = f.neck_half + std::max(0.0, y - body_top + 4) * 0.6;
    if (y > neck_top && y < neck_bottom && std::fabs(dx) < neck_half) {
        const double shade = y < f.cy + f.face_ry * 1.1 ? 0.70 : 0.82;
        c = f.skin * (shade - 0.08 * std::fabs(dx) / neck_half);
    }
    // A white shirt collar: two triangles beside the opening.
    if (f.collar_style == 2 && y > body_top && y < body_top + 14 && std::fabs(dx) < f.neck_half * 1.9 &&
        y >= neck_bottom - 1.5 && y < body_top + 14 - 0.55 * std::fabs(dx) + 2)
        c = Rgb{0.93, 0.93, 0.92} * (1.0 - 0.1 * std::fabs(dx) / (f.neck_half * 1.9));

    // Ears at eye height.
    for (int side = -1; side <= 1; side += 2) {
        const double ex = f.cx + side * f.face_rx * 0.98;
        if (ellipse(x, y, ex, f.eye_y + 4, 4.2, 7.5) < 1) c = f.skin * 0.82;
    }

    // Face: an ellipsoid lit from one side.
    if (face_d < 1) {
        const double nx = dx / f.face_rx, ny = (y - f.cy) / f.face_ry;
        const double nz = std::sqrt(std::max(0.0, 1 - nx * nx - ny * ny));
        const double lz = std::sqrt(std::max(0.0, 1 - f.light_x * f.light_x - f.light_y * f.light_y));
        const double lambert = std::max(0.0, nx * f.light_x + ny * f.light_y + nz * lz);
        c = f.skin * (0.62 + 0.42 * lambert);
    }

    // Hair on top of the head, with a fringe, and at the temples down to the ears.
    const double hair_d = ellipse(x, y, f.cx, f.cy - f.face_ry * 0.12, f.face_rx * 1.12, f.face_ry * 1.06);
    if (hair_d < 1) {
        double hairline = f.cy - f.face_ry * 0.52 + 2.0 * std::sin(dx * 0.35);
        if (f.hair_style == 2) hairline = f.cy - f.face_ry * 0.50 - 0.18 * (dx + f.face_rx * 0.3);
        const bool temple = face_d >= 1 && y < f.eye_y + 2;
        if (y < hairline || temple) {
            const double strands = 0.06 * std::sin(x * 1.3 + 0.4 * y);
            c = f.hair * (0.95 + strands - 0.25 * hair_d);
        }
    }

    // Brows, eyes, nose and mouth.
    for (int side = -1; side <= 1; side += 2) {
        const double ex = f.cx + side * f.eye_dx;
        const double brow_y = f.eye_y - 5.5 + 0.05 * (x - ex) * (x - ex);
        if (std::fabs(x - ex) < 5.5 && std::fabs(y - brow_y) < 0.9) c = mix(f.hair, f.skin, 0.25) * 0.9;
        const double eye_d = ellipse(x, y, ex, f.eye_y, 4.6, 2.3);
        if (eye_d < 1) {
            c = Rgb{0.92, 0.91, 0.89};
            const double iris_d = ellipse(x, y, ex, f.eye_y, 1.9, 1.9);
            if (iris_d < 1) c = iris_d < 0.3 ? Rgb{0.05, 0.05, 0.05} : f.iris;
        }
        if (ellipse(x, y, f.cx + side * 1.8, f.cy + f.face_ry * 0.3, 1.1, 0.8) < 1) c = f.skin * 0.5;
    }
    if (ellipse(x, y, f.cx + 1.5, f.cy + f.face_ry * 0.2, 2.2, 5.5) < 1 && x > f.cx + 0.5) c = c * 0.9;
    const double mouth_y = f.cy + f.face_ry * 0.55;
    const double mouth_rx = f.face_rx * 0.30;
    if (ellipse(x, y, f.cx, mouth_y, mouth_rx, 2.4) < 1) {
        c = f.lips;
        if (std::fabs(y - (mouth_y + 0.4 - 0.03 * dx * dx)) < 0.45) c = f.lips * 0.6;  // a faint smile
    }
    return c;
}

}  // namespace

Image synthetic_portrait(unsigned seed) {
    const Figure figure = make_figure(seed);
    Image image{kPortraitWidth, kPortraitHeight, {}};
    image.rgb.resize(static_cast<std::size_t>(kPortraitWidth) * kPortraitHeight * 3);
    constexpr int kSub = 4;
    std::size_t at = 0;
    for (int y = 0; y < kPortraitHeight; ++y) {
        for (int x = 0; x < kPortraitWidth; ++x) {
            Rgb sum;
            for (int sy = 0; sy < kSub; ++sy)
                for (int sx = 0; sx < kSub; ++sx)
                    sum = sum + sample(figure, x + (sx + 0.5) / kSub, y + (sy + 0.5) / kSub);
            const Rgb mean = sum * (1.0 / (kSub * kSub));
            for (double v : {mean.r, mean.g, mean.b})
                image.rgb[at++] = static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
        }
    }
    return image;
}

}  // namespace wlt
