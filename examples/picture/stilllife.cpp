// Renders the sample picture: a still life by a window, made of distance fields, procedural textures and one printed
// card.
//
//     stilllife OUT [WIDTH HEIGHT]        OUT is a .jpg, .png or .tif

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/canvas.h"
#include "failure.h"
#include "formats.h"
#include "picture.h"

namespace {

using examples::Canvas;
using examples::Rgb;

// ---- vectors and noise -------------------------------------------------------------------------------------------

struct Vec {
    double x, y, z;
};
Vec operator+(Vec a, Vec b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
Vec operator-(Vec a, Vec b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Vec operator*(Vec a, Vec b) { return {a.x * b.x, a.y * b.y, a.z * b.z}; }
Vec operator*(Vec a, double s) { return {a.x * s, a.y * s, a.z * s}; }
double dot(Vec a, Vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
double length(Vec a) { return std::sqrt(dot(a, a)); }
Vec unit(Vec a) { return a * (1 / length(a)); }
Vec cross(Vec a, Vec b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
Vec mix(Vec a, Vec b, double t) { return a + (b - a) * t; }
Vec reflect(Vec d, Vec n) { return d - n * (2 * dot(d, n)); }
double smoothstep(double a, double b, double x) {
    const double t = std::clamp((x - a) / (b - a), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}
double smoothMin(double a, double b, double k) {
    const double h = std::clamp(0.5 + 0.5 * (b - a) / k, 0.0, 1.0);
    return b + (a - b) * h - k * h * (1 - h);
}
Vec rotatedY(Vec p, double dAngle) {
    const double c = std::cos(dAngle), s = std::sin(dAngle);
    return {c * p.x - s * p.z, p.y, s * p.x + c * p.z};
}

double hash(int x, int y, int z) {
    uint32_t n = uint32_t(x) * 0x8DA6B343u ^ uint32_t(y) * 0xD8163841u ^ uint32_t(z) * 0xCB1AB31Fu;
    n = (n ^ n >> 15) * 0x2C1B3C6Du;
    n = (n ^ n >> 12) * 0x297A2D39u;
    return (n ^ n >> 15) * (1.0 / 4294967296.0);
}

// Value noise, 0 to 1.
double noise(Vec p) {
    const double fx = std::floor(p.x), fy = std::floor(p.y), fz = std::floor(p.z);
    const auto fade = [](double t) { return t * t * (3 - 2 * t); };
    const double u = fade(p.x - fx), v = fade(p.y - fy), w = fade(p.z - fz);
    const int x = int(fx), y = int(fy), z = int(fz);
    const auto along = [&](int j, int k) {
        const double a = hash(x, y + j, z + k);
        return a + (hash(x + 1, y + j, z + k) - a) * u;
    };
    const double near = along(0, 0) + (along(1, 0) - along(0, 0)) * v;
    const double far = along(0, 1) + (along(1, 1) - along(0, 1)) * v;
    return near + (far - near) * w;
}

double fractal(Vec p, int nOctaves) {
    double dSum = 0, dAmplitude = 0.5;
    for (int i = 0; i < nOctaves; ++i, dAmplitude /= 2, p = p * 2.03 + Vec{1.7, 9.2, 4.1})
        dSum += dAmplitude * noise(p);
    return dSum;
}

// ---- the card ----------------------------------------------------------------------------------------------------

const Canvas& card() {
    static const Canvas canvas = [] {
        Canvas c(720, 480, {246, 241, 228});
        const Rgb ink{52, 44, 40}, red{168, 46, 36}, pale{120, 108, 98};
        c.fill(24, 24, 672, 4, red);
        c.fill(24, 452, 672, 4, red);
        c.text(48, 112, 54, red, "Market day");
        c.text(48, 160, 22, ink, "oranges, lemons, one red apple");
        static constexpr const char* kLines[] = {
            "3 oranges, unwaxed ....... 1.20", "2 lemons with leaves ..... 0.80",  "1 apple, the best one .... 0.45",
            "pencils, soft, 6 colours . 3.90", "a jug of blue glaze ...... 17.50", "paper, 100 sheets ........ 2.15",
        };
        double y = 214;
        for (const char* pLine : kLines) {
            c.text(48, y, 17, ink, pLine);
            y += 34;
        }
        c.text(48, 436, 12, pale, "fine print: fruit may differ from the picture, light does not wait");
        static constexpr Rgb kPatches[] = {{200, 40, 40}, {230, 140, 30}, {236, 206, 60},
                                           {70, 140, 70}, {50, 90, 170},  {90, 60, 120}};
        for (int i = 0; i < 6; ++i) c.fill(560, 196 + i * 34, 112, 26, kPatches[i]);
        return c;
    }();
    return canvas;
}

// ---- the scene ---------------------------------------------------------------------------------------------------

enum Thing { kTable, kWall, kOrange, kOrange2, kLemon, kApple, kStem, kJug, kCard, kPencil };

struct Hit {
    double dDistance;
    Thing thing;
    int nPart;
};

constexpr Vec kOrangeAt{-1.62, 0.62, 0.10}, kOrange2At{-0.62, 0.56, 0.95}, kAppleAt{0.05, 0.56, -0.62};
constexpr Vec kLemonAt{-2.30, 0.40, -0.85}, kJugAt{1.50, 0, 0.75}, kCardAt{1.62, 0.02, -1.42};
constexpr double kWallZ = 3.2, kCardAngle = 0.42;

double capsule(Vec p, Vec a, Vec b, double r) {
    const Vec pa = p - a, ba = b - a;
    const double t = std::clamp(dot(pa, ba) / dot(ba, ba), 0.0, 1.0);
    return length(pa - ba * t) - r;
}

double apple(Vec p) {
    const Vec q = p - kAppleAt;
    const double dAround = std::sqrt(q.x * q.x + q.z * q.z), dAngle = std::atan2(q.z, q.x);
    // A torus with almost no hole, narrower below, with five faint lobes.
    const double dNarrow =
        1 + 0.16 * smoothstep(0.2, -0.6, q.y) + 0.012 * std::cos(5 * dAngle) * smoothstep(0.3, -0.5, q.y);
    const double dx = dAround * dNarrow - 0.235;
    return (std::sqrt(dx * dx + q.y * q.y * 0.86) - 0.37) * 0.8;
}

double jug(Vec p) {
    const Vec q = p - kJugAt;
    const double r = std::sqrt(q.x * q.x + q.z * q.z);
    const double dBody = (std::hypot(r / 0.82, (q.y - 0.78) / 0.80) - 1) * 0.78;
    const double dNeck =
        std::max(std::abs(r - 0.36 - 0.12 * smoothstep(1.5, 2.15, q.y)) - 0.045, std::abs(q.y - 1.75) - 0.42);
    const double dFoot = std::max(r - 0.50, std::abs(q.y - 0.05) - 0.05);
    const double hx = q.x - 0.62, hy = q.y - 1.38;
    const double dRing = std::hypot(hx / 0.95, hy) - 0.40;
    const double dHandle = std::max(std::hypot(dRing, q.z) - 0.075, 0.30 - r);
    double d = smoothMin(dBody, dNeck, 0.16);
    d = smoothMin(d, dFoot, 0.08);
    return smoothMin(d, dHandle, 0.09) * 0.85;
}

struct Pencil {
    Vec a, b;
    Vec color;
};
constexpr std::array<Pencil, 3> kPencils{{{{-2.2, 0.075, -2.05}, {-0.35, 0.075, -1.72}, {0.75, 0.12, 0.09}},
                                          {{-1.9, 0.075, -2.38}, {0.05, 0.075, -2.22}, {0.10, 0.30, 0.62}},
                                          {{-0.9, 0.21, -2.42}, {-0.85, 0.20, -1.30}, {0.90, 0.62, 0.06}}}};

double pencil(Vec p, const Pencil& pen) { return capsule(p, pen.a, pen.b, 0.070); }

double cardBox(Vec p) {
    const Vec q = rotatedY(p - kCardAt, kCardAngle);
    const Vec d{std::abs(q.x) - 0.99, std::abs(q.y) - 0.012, std::abs(q.z) - 0.66};
    return length({std::max(d.x, 0.0), std::max(d.y, 0.0), std::max(d.z, 0.0)}) +
           std::min(std::max({d.x, d.y, d.z}), 0.0);
}

double lemon(Vec p) {
    const Vec q = rotatedY(p - kLemonAt, 0.5);
    const double r = std::hypot(q.y, q.z);
    const double dBody = (std::hypot(q.x / 0.56, r / 0.40) - 1) * 0.40;
    const double dTips = std::hypot(std::abs(q.x) - 0.53, r) - 0.10;
    return smoothMin(dBody, dTips, 0.14);
}

Hit scene(Vec p) {
    Hit hit{p.y, kTable, 0};
    const auto take = [&](double d, Thing thing, int nPart = 0) {
        if (d < hit.dDistance) hit = {d, thing, nPart};
    };
    take(kWallZ - p.z, kWall);
    take(length(p - kOrangeAt) - 0.62, kOrange);
    take(length(p - kOrange2At) - 0.56, kOrange2);
    take(lemon(p), kLemon);
    if (length(p - kAppleAt) < hit.dDistance + 1) {
        take(apple(p), kApple);
        take(capsule(p, kAppleAt + Vec{0, 0.18, 0}, kAppleAt + Vec{0.10, 0.62, -0.03}, 0.028), kStem);
    }
    take(jug(p), kJug);
    take(cardBox(p), kCard);
    for (size_t i = 0; i < kPencils.size(); ++i) take(pencil(p, kPencils[i]), kPencil, int(i));
    return hit;
}

Vec normalAt(Vec p) {
    constexpr double e = 0.0008;
    const double d = scene(p).dDistance;
    return unit({scene(p + Vec{e, 0, 0}).dDistance - d, scene(p + Vec{0, e, 0}).dDistance - d,
                 scene(p + Vec{0, 0, e}).dDistance - d});
}

// ---- light -------------------------------------------------------------------------------------------------------

const Vec kToLight = unit({-0.78, 0.80, -0.52});
constexpr Vec kSunColor{1.55, 1.32, 1.02}, kSkyColor{0.36, 0.43, 0.56}, kBounceColor{0.30, 0.21, 0.14};

// The sun comes through a window with four panes; a penumbra that grows with the way.
double windowLight(Vec p) {
    const Vec right = unit(cross({0, 1, 0}, kToLight)), up = cross(kToLight, right);
    const double u = dot(p, right) + 0.10, v = dot(p, up) - 0.42;
    const double s = 0.10 + 0.03 * std::max(0.0, p.z);
    const auto inside = [=](double x, double a, double b) {
        return smoothstep(a - s, a + s, x) * (1 - smoothstep(b - s, b + s, x));
    };
    const double dAcross = std::max(inside(u, -2.6, -0.10), inside(u, 0.10, 2.6));
    const double dUpDown = std::max(inside(v, -2.9, 1.02), inside(v, 1.20, 3.0));
    return 0.10 + 0.90 * dAcross * dUpDown;
}

double softShadow(Vec p, Vec n) {
    double dLight = 1, t = 0.03;
    const Vec start = p + n * 0.004;
    for (int i = 0; i < 48 && t < 6; ++i) {
        const double d = scene(start + kToLight * t).dDistance;
        dLight = std::min(dLight, 0.5 + 0.5 * d / (0.055 * t));
        if (dLight <= 0) break;
        t += std::clamp(d, 0.03, 0.25);
    }
    dLight = std::max(dLight, 0.0);
    return dLight * dLight * (3 - 2 * dLight);
}

double openness(Vec p, Vec n) {
    double dClosed = 0, dScale = 1;
    for (int i = 1; i <= 5; ++i, dScale *= 0.62) {
        const double h = 0.11 * i * (1 + 0.3 * i);
        dClosed += std::max(0.0, h - scene(p + n * h).dDistance) * dScale / (1 + 0.3 * i);
    }
    return std::clamp(1 - 0.85 * dClosed, 0.0, 1.0);
}

struct Surface {
    Vec color;
    double dGloss = 0;   // strength of the highlight
    double dSharp = 20;  // its exponent
    double dMirror = 0;  // share of the surroundings that is mirrored
    Vec bump{0, 0, 0};
};

Vec bumpOf(Vec p, double dScale, double dHeight, int nOctaves) {
    constexpr double e = 0.02;
    const Vec q = p * dScale;
    const double d = fractal(q, nOctaves);
    return Vec{fractal(q + Vec{e, 0, 0}, nOctaves) - d, fractal(q + Vec{0, e, 0}, nOctaves) - d,
               fractal(q + Vec{0, 0, e}, nOctaves) - d} *
           (-dHeight / e);
}

Surface orange(Vec p, Vec at) {
    const Vec q = p - at;
    const double dPores = smoothstep(0.30, 0.62, noise(q * 34));
    const double dPole = smoothstep(0.16, 0.02, std::hypot(q.x - 0.12, q.z + 0.10)) * (q.y > 0 ? 1 : 0);
    Vec color = mix({0.90, 0.36, 0.035}, {0.96, 0.47, 0.06}, fractal(q * 3, 3));
    color = mix(color, {0.25, 0.30, 0.06}, 0.75 * dPole);
    return {color * (0.90 + 0.12 * dPores), 0.32, 34, 0.03, bumpOf(q, 22, 0.17, 2)};
}

Surface surfaceAt(Vec p, Hit hit) {
    switch (hit.thing) {
        case kTable: {
            // Planks along x: grain is stretched noise, rings bend around a knot here and there.
            const double dPlank = std::floor((p.z + 40) / 1.15);
            const double dEdge = std::abs((p.z + 40) / 1.15 - dPlank - 0.5);
            const Vec q{p.x * 0.55 + dPlank * 7.3, dPlank * 3.1, p.z * 3.2};
            const double dRings = std::sin(22 * (fractal(q, 4) + 0.35 * fractal(q * 0.5, 2)));
            const double dFibre = fractal({p.x * 3.2, dPlank, p.z * 70}, 3);
            Vec color = mix({0.40, 0.225, 0.115}, {0.60, 0.375, 0.205}, 0.5 + 0.32 * dRings);
            color = color * (0.70 + 0.58 * dFibre) * (0.92 + 0.16 * hash(int(dPlank), 3, 5));
            color = color * (1 - 0.72 * smoothstep(0.488, 0.497, dEdge));
            return {color, 0.16, 26, 0.10, bumpOf({p.x * 0.2, 0, p.z * 2.2}, 9, 0.020, 2)};
        }
        case kWall: {
            const double dBlotch = fractal({p.x * 0.8, p.y * 0.8, 2.7}, 4),
                         dFine = fractal({p.x * 16, p.y * 16, 0.3}, 3);
            const Vec color = mix({0.50, 0.53, 0.50}, {0.66, 0.66, 0.60}, dBlotch) * (0.94 + 0.12 * dFine);
            return {color, 0, 20, 0, bumpOf({p.x, p.y, 0}, 7, 0.14, 4)};
        }
        case kOrange:
            return orange(p, kOrangeAt);
        case kOrange2:
            return orange(p, kOrange2At);
        case kLemon: {
            const Vec q = p - kLemonAt;
            const Vec color = mix({0.93, 0.74, 0.06}, {0.97, 0.85, 0.20}, fractal(q * 4, 3));
            return {color, 0.30, 30, 0.03, bumpOf(q, 17, 0.22, 2)};
        }
        case kApple: {
            const Vec q = p - kAppleAt;
            const double dAngle = std::atan2(q.z, q.x);
            const double dStreak = fractal({dAngle * 9, q.y * 1.6, 0.7}, 4);
            const double dBlush =
                smoothstep(-0.35, 0.75, 0.75 * std::sin(dAngle - 1.1) - q.y * 0.3 + 1.5 * (dStreak - 0.52) - 0.30);
            Vec color = mix({0.62, 0.035, 0.035}, {0.80, 0.62, 0.16}, 0.85 * dBlush);
            color = mix(color, {0.90, 0.78, 0.55}, 0.7 * smoothstep(0.80, 0.86, noise(q * 26)));
            color = mix(color, {0.30, 0.22, 0.06}, smoothstep(0.20, 0.06, std::hypot(q.x, q.z)) * (q.y > 0 ? 0.8 : 0));
            return {color, 0.75, 90, 0.07};
        }
        case kStem:
            return {Vec{0.24, 0.15, 0.07} * (0.7 + 0.6 * noise(p * 40)), 0.05, 10, 0};
        case kJug: {
            const Vec q = p - kJugAt;
            const double dWave = 0.035 * std::sin(std::atan2(q.z, q.x) * 12);
            const double y = q.y + 0.02 * (noise(q * 5) - 0.5);
            const double dBand = smoothstep(0.016, 0.0, std::abs(y - 1.06) - 0.020) +
                                 smoothstep(0.016, 0.0, std::abs(y - 0.52) - 0.020) +
                                 smoothstep(0.016, 0.0, std::abs(y - 0.79 - dWave * 2.2) - 0.026);
            Vec color = mix({0.030, 0.105, 0.30}, {0.07, 0.22, 0.45}, fractal(q * 2.6, 4));
            color = mix(color, {0.86, 0.84, 0.76}, std::min(1.0, dBand));
            color = mix(color, {0.52, 0.30, 0.16}, smoothstep(0.07, 0.03, q.y));
            return {color, 1.0, 160, 0.16};
        }
        case kCard: {
            const Vec q = rotatedY(p - kCardAt, kCardAngle);
            const Canvas& c = card();
            const double u = (q.x / 0.99 + 1) / 2 * c.nWidth, v = (1 - (q.z / 0.66 + 1) / 2) * c.nHeight;
            const Rgb pixel = c.at(std::clamp(int(u), 0, c.nWidth - 1), std::clamp(int(v), 0, c.nHeight - 1));
            const auto linear = [](uint8_t n) { return std::pow(n / 255.0, 2.2); };
            return {Vec{linear(pixel.red), linear(pixel.green), linear(pixel.blue)} * 0.92, 0.04, 12, 0};
        }
        case kPencil: {
            const Pencil& pen = kPencils[size_t(hit.nPart)];
            const Vec axis = pen.b - pen.a;
            const double t = dot(p - pen.a, axis) / dot(axis, axis), dLength = length(axis);
            const double dFromTip = (1 - t) * dLength;
            if (dFromTip < 0.02) return {pen.color * 0.8, 0.2, 20, 0};
            if (dFromTip < 0.16) return {Vec{0.74, 0.52, 0.32} * (0.85 + 0.3 * noise(p * 30)), 0.05, 10, 0};
            if (t * dLength < 0.10) return {{0.85, 0.82, 0.74}, 0.2, 30, 0.02};
            return {pen.color, 0.7, 70, 0.06};
        }
    }
    return {{1, 0, 1}};
}

bool march(Vec from, Vec direction, double dFar, double& t, Hit& hit) {
    for (int i = 0; i < 160 && t < dFar; ++i) {
        hit = scene(from + direction * t);
        if (hit.dDistance < 0.0006 * t) return true;
        t += hit.dDistance * 0.92;
    }
    return t < dFar;
}

// What a mirror sees beyond the scene: a dark room with the bright window to the left.
Vec surroundings(Vec d) {
    const double dWindow = smoothstep(0.80, 0.90, dot(d, unit({-0.80, 0.42, -0.55})));
    const double dBar = smoothstep(0.012, 0.03, std::abs(d.y - 0.44)) *
                        smoothstep(0.012, 0.03, std::abs(d.x * 0.56 - d.z * 0.80 + 0.02));
    return mix({0.16, 0.13, 0.11}, {0.34, 0.36, 0.40}, 0.5 + 0.5 * d.y) + Vec{2.6, 2.5, 2.3} * (dWindow * dBar);
}

Vec shade(Vec p, Vec eye, Hit hit, int nDepth) {
    const Surface surface = surfaceAt(p, hit);
    const Vec normal = normalAt(p);
    const Vec n = unit(normal + surface.bump);
    const double dFacing = std::max(0.0, dot(n, kToLight));
    const double dSun = dFacing > 0 ? softShadow(p, normal) * windowLight(p) : 0;
    const double dOpen = openness(p, normal);
    Vec light = kSunColor * (dFacing * dSun);
    light = light + kSkyColor * (dOpen * (0.55 + 0.25 * n.y - 0.20 * n.x));
    light = light + kBounceColor * (dOpen * (0.5 - 0.5 * n.y));
    Vec color = surface.color * light;
    const Vec half = unit(kToLight - eye);
    color = color + kSunColor * (surface.dGloss * dSun * std::pow(std::max(0.0, dot(n, half)), surface.dSharp));
    const double dGrazing = std::pow(1 - std::clamp(-dot(eye, n), 0.0, 1.0), 5);
    const double dMirror = surface.dMirror + (surface.dMirror > 0 ? 0.45 * dGrazing : 0);
    if (dMirror > 0.02 && nDepth == 0) {
        const Vec d = reflect(eye, n);
        double t = 0.02;
        Hit other{};
        const bool bHit = march(p + normal * 0.01, d, 6, t, other);
        const Vec seen = bHit ? shade(p + normal * 0.01 + d * t, d, other, 1) : surroundings(d);
        color = color + seen * (dMirror * (0.35 + 0.65 * dOpen));
    }
    return color;
}

Vec trace(Vec from, Vec direction) {
    double t = 1;
    Hit hit{};
    return march(from, direction, 30, t, hit) ? shade(from + direction * t, direction, hit, 0)
                                              : surroundings(direction);
}

// A film curve with a soft shoulder, then the display's gamma.
uint8_t develop(double d) {
    const double x = std::max(0.0, d * 0.92);
    const double y = (x * (2.51 * x + 0.03)) / (x * (2.43 * x + 0.59) + 0.14);
    return uint8_t(std::lround(255 * std::pow(std::clamp(y, 0.0, 1.0), 1 / 2.2)));
}

Canvas render(int nWidth, int nHeight) {
    constexpr int kSide = 3;  // samples a pixel, each way
    Canvas canvas(nWidth, nHeight, {});
    const Vec eye{0.15, 3.15, -7.4}, at{0.0, 0.74, 0.1};
    const Vec forward = unit(at - eye), right = unit(cross({0, 1, 0}, forward)), up = cross(forward, right);
    for (int y = 0; y < nHeight; ++y) {
        for (int x = 0; x < nWidth; ++x) {
            Vec sum{0, 0, 0};
            for (int i = 0; i < kSide * kSide; ++i) {
                const double u = (x + (i % kSide + 0.5) / kSide - nWidth / 2.0) / nHeight;
                const double v = (nHeight / 2.0 - y - (i / kSide + 0.5) / kSide) / nHeight;
                sum = sum + trace(eye, unit(forward * 1.62 + right * u + up * v));
            }
            const double r = std::hypot((x - nWidth / 2.0) / nWidth, (y - nHeight / 2.0) / nHeight);
            const double dGrain = 1 + 0.018 * (hash(x, y, 11) + hash(x, y, 12) - 1);
            const Vec color = sum * ((1 - 0.42 * r * r) * dGrain / (kSide * kSide));
            canvas.at(x, y) = {develop(color.x), develop(color.y), develop(color.z)};
        }
        std::fprintf(stderr, "\r%d of %d rows", y + 1, nHeight);
    }
    std::fputc('\n', stderr);
    return canvas;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2 && argc != 4) {
        std::fprintf(stderr, "stilllife OUT [WIDTH HEIGHT]\n");
        return 2;
    }
    const Canvas canvas = render(argc == 4 ? std::atoi(argv[2]) : 640, argc == 4 ? std::atoi(argv[3]) : 480);
    ravo::Picture picture(canvas.nWidth, canvas.nHeight, 24, ORDER_RGB);
    {
        const ravo::Access lock(picture);
        ravo::Row row(picture->BytesPerLine);
        for (int y = 0; y < canvas.nHeight; ++y) {
            std::copy_n(canvas.row(y), size_t(canvas.nWidth) * 3, row.begin());
            ravo::putRow(picture, row.data(), y);
        }
    }
    ravo::savePicture(picture, argv[1]);
    return 0;
} catch (const ravo::Failure& failure) {
    std::fprintf(stderr, "stilllife: %s\n", failure.what());
    return 1;
}
