// Effects that reshape faces: FaceThinning and EyeExtending.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <optional>
#include <random>

#include "Host/Settings/Photo/SettingsEffectEyeExtending.h"
#include "Host/Settings/Photo/SettingsEffectFaceThinning.h"
#include "Proc/Effects/EffectsPhoto/Shared/FaceBands.h"
#include "Proc/Effects/EffectsPhoto/Shared/Quadrilateral.h"
#include "Tests/Proc/Faces.h"

namespace Orvexa::Test {
namespace {

using Shared::BandCorners;
using Shared::Quadrilateral;
using testing::ElementsAre;
using testing::StartsWith;

// ---- FaceThinning

// What the quadratic equation is not solvable for when the sides above and below it have the same width.
BandCorners Shifted(BandCorners corners) {
    if (corners[3].x - corners[2].x - corners[1].x + corners[0].x == 0) ++corners[0].x;
    return corners;
}

// Which side of the line from a to b a point is on.
std::int64_t SideOf(const Point<int>& a, const Point<int>& b, int x, int y) {
    return std::int64_t{b.x - a.x} * (y - a.y) - std::int64_t{b.y - a.y} * (x - a.x);
}

// Around a convex quadrilateral with the corners in the order 0, 1, 3, 2.
bool IsInside(const BandCorners& c, int x, int y) {
    const std::int64_t sides[] = {SideOf(c[0], c[1], x, y), SideOf(c[1], c[3], x, y), SideOf(c[3], c[2], x, y),
                                  SideOf(c[2], c[0], x, y)};
    return std::all_of(sides, sides + 4, [](auto s) { return s >= 0; }) ||
           std::all_of(sides, sides + 4, [](auto s) { return s <= 0; });
}

bool IsConvex(const BandCorners& c) {
    const int order[] = {0, 1, 3, 2};
    int left = 0;
    for (int i = 0; i < 4; ++i) {
        const auto corner = [&](int k) { return c[static_cast<std::size_t>(order[(i + k) % 4])]; };
        left += SideOf(corner(0), corner(1), corner(2).x, corner(2).y) > 0;
    }
    return left == 0 || left == 4;
}

struct Place {
    double u, v;
};

// Newton's method from the middle. Nothing if it does not arrive within the quadrilateral.
std::optional<Place> SolveFor(const BandCorners& c, double x, double y) {
    double u = 0.5, v = 0.5;
    for (int i = 0; i < 60; ++i) {
        const auto along = [&](double p0, double p1, double p2, double p3, double target) {
            const double a = p1 - p0, b = p2 - p0, m = p3 - p2 - p1 + p0;
            return std::array{p0 + u * a + v * b + u * v * m - target, a + v * m, b + u * m};
        };
        const auto [fx, xu, xv] = along(c[0].x, c[1].x, c[2].x, c[3].x, x);
        const auto [fy, yu, yv] = along(c[0].y, c[1].y, c[2].y, c[3].y, y);
        const double determinant = xu * yv - xv * yu;
        if (std::abs(determinant) < 1e-9) return std::nullopt;
        u -= (fx * yv - fy * xv) / determinant;
        v -= (fy * xu - fx * yu) / determinant;
    }
    if (!(u > -1e-6 && u < 1 + 1e-6 && v > -1e-6 && v < 1 + 1e-6)) return std::nullopt;
    return Place{u, v};
}

std::vector<BandCorners> SomeQuadrilaterals() {
    std::vector<BandCorners> shapes{
        {{{10, 40}, {60, 44}, {5, 5}, {80, 8}}},      // a band above the outline
        {{{10, 10}, {60, 10}, {20, 50}, {40, 50}}},   // parallel sides along u
        {{{10, 10}, {50, 20}, {10, 60}, {50, 40}}},   // along v, where x does not tell u and v apart
        {{{10, 10}, {50, 10}, {10, 60}, {50, 60}}},   // a rectangle
        {{{30, 5}, {60, 30}, {5, 30}, {30, 60}}},     // a rhombus
        {{{0, 0}, {400, 30}, {10, 300}, {900, 700}}}  // whose coefficients are large
    };
    std::mt19937 random(3);
    while (shapes.size() < 60) {
        const auto near = [&](int x, int y) {
            return Point<int>{x + static_cast<int>(random() % 40), y + static_cast<int>(random() % 40)};
        };
        BandCorners corners{near(0, 0), near(60, 0), near(0, 60), near(60, 60)};
        std::rotate(corners.begin(), corners.begin() + static_cast<std::ptrdiff_t>(random() % 2), corners.end());
        if (IsConvex(Shifted(corners))) shapes.push_back(corners);
    }
    return shapes;
}

TEST(FaceThinning, FindsTheCoordinatesOfEveryPixelOfAQuadrilateral) {
    int solved = 0;
    for (const BandCorners& given : SomeQuadrilaterals()) {
        const Quadrilateral shape(given);
        const BandCorners corners = Shifted(given);
        const std::string name =
            "quadrilateral at " + std::to_string(corners[3].x) + "," + std::to_string(corners[3].y);
        const bool isLarge = corners[3].x > 200;
        const int side = isLarge ? 901 : 121, step = isLarge ? 17 : 1;
        std::vector<std::uint8_t> marks(901);
        std::vector<double> rowU(901), rowV(901);
        for (int y = 0; y < side; y += step) {
            shape.MarkRow(y, side, marks.data());
            shape.CoordinatesOfRow(0, y, side, rowU.data(), rowV.data());
            for (int x = 0; x < side; ++x) {
                const auto i = static_cast<std::size_t>(x);
                ASSERT_EQ(marks[i] != 0, IsInside(corners, x, y)) << name << ": " << x << "," << y;
                if (marks[i] == 0) continue;
                const auto [u, v] = shape.CoordinatesOf(x, y);
                ASSERT_EQ(u, rowU[i]) << name;
                ASSERT_EQ(v, rowV[i]) << name;
                const auto [backX, backY] = shape.PointAt(u, v);
                ASSERT_NEAR(backX, x, 1e-6) << name;
                ASSERT_NEAR(backY, y, 1e-6) << name;
                if (const auto place = SolveFor(corners, x, y)) {
                    ASSERT_NEAR(u, place->u, 1e-6) << name << ": " << x << "," << y;
                    ASSERT_NEAR(v, place->v, 1e-6) << name << ": " << x << "," << y;
                    ++solved;
                }
            }
        }
    }
    EXPECT_GT(solved, 100000);
}

TEST(FaceThinning, LaysBandsBesideTheOutline) {
    const auto bandsOf = [](const Contour& outline, std::uint32_t width, std::uint32_t height) {
        return Shared::BandsAlong(outline, FrameInfo(width, height));
    };
    // The centre is (200, 100). Both halves have three points, of weights 1/4, 1, 1/4; shifts of 0.15 and -0.2 make the
    // scales 1.0375, 1.15 and 0.95, 0.8.
    const Contour outline{{100, 100}, {119, 301}, {200, 400}, {281, 301}, {300, 100}};
    const std::vector<BandCorners> bands = bandsOf(outline, 1000, 1000);
    ASSERT_EQ(bands.size(), 4u);
    EXPECT_EQ(bands[0], (BandCorners{{{105, 100}, {136, 260}, {97, 100}, {107, 331}}}));
    EXPECT_EQ(bands[1], (BandCorners{{{136, 260}, {200, 385}, {107, 331}, {200, 411}}}));
    EXPECT_EQ(bands[2], (BandCorners{{{200, 385}, {264, 260}, {200, 411}, {293, 331}}}));
    EXPECT_EQ(bands[3], (BandCorners{{{264, 260}, {295, 100}, {293, 331}, {303, 100}}}));

    // What would leave the picture goes to its border along the ray, and what would leave through the top to the
    // bottom.
    const auto outerMiddle = [&](const Contour& points, std::uint32_t width, std::uint32_t height) {
        return bandsOf(points, width, height).at(0)[3];
    };
    const Point<int> bottom = outerMiddle(outline, 1000, 310);
    EXPECT_EQ(bottom.x, 116) << "81 * 210 / 201 to the left";
    EXPECT_NEAR(bottom.y, 309.5, 0.5) << "the last bit of the quotient decides";
    EXPECT_EQ(outerMiddle({{5, 0}, {5, 40}, {50, 80}, {90, 40}, {95, 0}}, 200, 200), (Point<int>{0, 44}));
    EXPECT_EQ(outerMiddle({{10, 40}, {80, 38}, {50, 10}, {45, 30}, {40, 20}}, 82, 200), (Point<int>{82, 39}))
        << "right";
    const Contour above{{450, -90}, {480, -60}, {500, -80}, {520, -60}, {550, -90}};
    EXPECT_EQ(outerMiddle(above, 1000, 100), (Point<int>{374, 100})) << "20 * 190 / 30 to the left";
    EXPECT_EQ(bandsOf({{0, -90}, {30, -60}, {50, -80}, {70, -60}, {100, -90}}, 100, 100).size(), 4u)
        << "a ray that leaves at the side before it reaches the bottom";

    EXPECT_TRUE(bandsOf({}, 100, 100).empty());
    EXPECT_TRUE(bandsOf({{10, 10}, {20, 40}, {40, 10}}, 100, 100).empty()) << "halves of two points";
    EXPECT_EQ(bandsOf({{10, 10}, {20, 40}, {30, 45}, {40, 10}}, 100, 100).size(), 2u) << "only the first has three";
}

FramePtr Thinned(FramePtr frame, const Outline& outline, double strength) {
    SettingsEffectFaceThinning settings(outline);
    settings.SetStrength(strength);
    return Apply(settings, std::move(frame));
}

// The pixel that each pixel of a picture shows, by solving for its place in the last band that it lies in. Not those
// whose position is too near to the middle between two pixels to be sure.
std::map<std::pair<int, int>, std::optional<Point<int>>> SourcesIn(const std::vector<BandCorners>& bands,
                                                                   double strength) {
    std::map<std::pair<int, int>, std::optional<Point<int>>> sources;
    for (const BandCorners& given : bands) {
        const BandCorners c = Shifted(given);
        const auto [left, right] = std::minmax({given[0].x, given[1].x, given[2].x, given[3].x});
        const auto [top, bottom] = std::minmax({given[0].y, given[1].y, given[2].y, given[3].y});
        for (int y = top; y < bottom; ++y) {
            for (int x = left; x < right; ++x) {
                if (!IsInside(c, x, y)) continue;
                std::optional<Point<int>>& source = sources[{x, y}];
                source.reset();
                const auto place = SolveFor(c, x, y);
                if (!place) continue;
                const double u = place->u, v = std::pow(std::max(place->v, 0.0), 1 - 0.35 * strength);
                const auto at = [&](double p0, double p1, double p2, double p3) {
                    return (1 - v) * ((1 - u) * p0 + u * p1) + v * ((1 - u) * p2 + u * p3);
                };
                const double sx = at(c[0].x, c[1].x, c[2].x, c[3].x), sy = at(c[0].y, c[1].y, c[2].y, c[3].y);
                const auto isSure = [](double s) { return std::abs(s - std::floor(s) - 0.5) > 1e-4; };
                // Positions outside a band's box show its edge.
                if (isSure(sx) && isSure(sy)) {
                    source = Point<int>{std::clamp(static_cast<int>(std::floor(sx + 0.5)), left, right - 1),
                                        std::clamp(static_cast<int>(std::floor(sy + 0.5)), top, bottom - 1)};
                }
            }
        }
    }
    return sources;
}

TEST(FaceThinning, DrawsInWhatLiesAlongTheOutline) {
    constexpr std::uint32_t kSide = 250;
    const FramePtr picture = MakeCoordinates(kSide, kSide);
    for (const double degrees : {0.0, 20.0}) {
        const Outline outline = MakeFace(kSide, kSide, degrees).GetOutline();
        const std::vector<BandCorners> bands = Shared::BandsAlong(outline.GetContour(), picture->GetFrameInfo());
        for (const double strength : {0.6, -1.0, 0.0, 2.0}) {
            const FramePtr thin = Thinned(picture, outline, strength);
            const auto sources = SourcesIn(bands, strength);
            int compared = 0, farthest = 0;
            for (int y = 0; y < static_cast<int>(kSide); ++y) {
                for (int x = 0; x < static_cast<int>(kSide); ++x) {
                    const auto ux = static_cast<std::uint64_t>(x), uy = static_cast<std::uint64_t>(y);
                    const Point<int> shown{SampleAt(thin, ux, uy, 0), SampleAt(thin, ux, uy, 1)};
                    const auto found = sources.find({x, y});
                    if (found != sources.end() && !found->second) continue;
                    const Point<int> expected = found == sources.end() ? Point<int>{x, y} : *found->second;
                    ASSERT_EQ(shown, expected) << strength << ": " << x << "," << y;
                    compared += found != sources.end();
                    farthest = std::max({farthest, std::abs(shown.x - x), std::abs(shown.y - y)});
                }
            }
            EXPECT_GT(compared, 5000);
            EXPECT_TRUE(strength == 0.0 ? farthest <= 1 : farthest >= 3) << strength << ": " << farthest;
        }
        // The line of the cheek itself moves towards the middle.
        const FramePtr thin = Thinned(picture, outline, 0.6);
        const Point<int>& cheek = outline.GetContour()[4];
        EXPECT_LT(SampleAt(thin, static_cast<std::uint64_t>(cheek.x), static_cast<std::uint64_t>(cheek.y)), cheek.x);
    }
}

TEST(FaceThinning, MovesAllPlanesAlikeAndLeavesAlpha) {
    const Outline outline = MakeFace(97, 61).GetOutline();
    for (const PixFmt pixFmt : AllPixFmts()) {
        const FramePtr picture = MakeFrame(pixFmt, 97, 61);
        const FramePtr thin = Thinned(picture, outline, 1.0);
        if (pixFmt == PixFmt::Pal8) {
            EXPECT_TRUE(SameFrames(thin, Thinned(Converted(picture, PixFmt::Rgba), outline, 1.0)));
            continue;
        }
        ASSERT_EQ(thin->GetPixFmt(), pixFmt);
        const PixFmtDescription& description = PixFmtDescription::Get(pixFmt);
        for (std::uint8_t i = 0; i < description.planes; ++i) {
            const bool isAlpha = description.GetRole(i) == PlaneRole::Alpha;
            EXPECT_EQ(Bytes(std::as_const(*thin).GetPlane(i)) == Bytes(std::as_const(*picture).GetPlane(i)), isAlpha)
                << Name(pixFmt) << " plane " << int{i};
        }
        for (std::uint64_t x = 0; x < 97 && description.alpha >= 0; ++x)
            EXPECT_EQ(SampleAt(thin, x, 40, description.alpha), SampleAt(picture, x, 40, description.alpha));
    }
    // Every plane of a picture without subsampling shows the same pixels; colours keep their bytes.
    const FramePtr rgb = MakeFrame(PixFmt::Rgb24, 97, 61), thin = Thinned(rgb, outline, 1.0);
    EXPECT_TRUE(SameFrames(Thinned(Converted(rgb, PixFmt::Yuv444p), outline, 1.0), Converted(thin, PixFmt::Yuv444p)));
    EXPECT_TRUE(SameFrames(Thinned(Converted(rgb, PixFmt::Argb), outline, 1.0), Converted(thin, PixFmt::Argb)));
}

TEST(FaceThinning, BearsAnyOutline) {
    std::mt19937 random(5);
    for (int i = 0; i < 300; ++i) {
        const int range = i % 3 == 0 ? 20 : i % 3 == 1 ? 300 : 2000000000;
        Contour contour(random() % 18);
        for (Point<int>& point : contour) {
            point.x = static_cast<int>(random() % static_cast<unsigned>(range)) - range / 3;
            point.y = static_cast<int>(random() % static_cast<unsigned>(range)) - range / 3;
        }
        const GuardedFrame guarded(i % 2 == 0 ? PixFmt::Rgb24 : PixFmt::Yuv420p, 37, 23);
        Thinned(guarded.GetFrame(), Outline(contour), i % 5 == 0 ? 6.0 : 0.6);
        EXPECT_TRUE(guarded.IsGuardIntact());
    }
    const FramePtr picture = MakeFrame(PixFmt::Rgb24, 20, 20);
    EXPECT_TRUE(SameFrames(Thinned(picture, Outline(), 1), picture));
    EXPECT_TRUE(SameFrames(Thinned(picture, Outline({{1, 1}, {10, 15}, {18, 1}}), 1), picture));
}

TEST(FaceThinning, BendsAllBandsBeforeItWritesAny) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectFaceThinning::CLASS_ID);
    EXPECT_THAT(spied.factory->TakeTranscript(),
                ElementsAre("create SettingsEffectRemapping#1", "create SettingsColorspaceConverter#1"));
    spied.effect->SetSettings(SettingsEffectFaceThinning(Outline({{10, 10}, {12, 30}, {20, 40}, {28, 30}, {30, 10}})));
    FramePtr frame = MakeFrame(PixFmt::Rgb24, 60, 60);
    spied.effect->ProcessData(frame);
    std::vector<std::string> lines;
    for (const std::string& line : spied.factory->TakeTranscript()) {
        if (!line.starts_with("set SettingsEffectRemapping")) lines.push_back(line);
    }
    EXPECT_THAT(lines, ElementsAre(StartsWith("set SettingsColorspaceConverter#1 "),
                                   "run SettingsEffectRemapping#1 rgb24 4x23 -> rgb24 4x23",
                                   "run SettingsEffectRemapping#1 rgb24 9x15 -> rgb24 9x15",
                                   "run SettingsEffectRemapping#1 rgb24 9x15 -> rgb24 9x15",
                                   "run SettingsEffectRemapping#1 rgb24 4x23 -> rgb24 4x23"));
}

// ---- EyeExtending

struct Ellipse {
    double x, y, angle, a, b;
};

// By the points' definition, in doubles.
Ellipse FitTo(const Contour& points) {
    Ellipse eye{(points[0].x + points[3].x) / 2.0, (points[0].y + points[3].y) / 2.0,
                std::atan2(points[3].y - points[0].y, points[3].x - points[0].x),
                std::hypot(points[3].x - points[0].x, points[3].y - points[0].y) / 2.0, 0};
    std::vector<double> estimates;
    for (const std::size_t i : {1u, 2u, 4u, 5u}) {
        const double dx = points[i].x - eye.x, dy = points[i].y - eye.y;
        const double along = dx * std::cos(eye.angle) + dy * std::sin(eye.angle),
                     across = dy * std::cos(eye.angle) - dx * std::sin(eye.angle);
        if (std::abs(along) < eye.a) estimates.push_back(std::abs(across) / std::sqrt(1 - std::pow(along / eye.a, 2)));
    }
    eye.b = eye.a;
    if (!estimates.empty()) {
        double sum = 0;
        for (const double estimate : estimates) sum += estimate;
        eye.b = std::min(eye.a, sum / static_cast<double>(estimates.size()));
    }
    return eye;
}

// Where a pixel comes from, in polar form: both factors scale the ellipse's own coordinates.
std::pair<double, double> SourceOf(const Ellipse& eye, double strength, double x, double y) {
    const double across = 1 + (std::clamp(2 * eye.b / eye.a, 0.6, 0.8) - 1) * strength;
    const double along = 1 + (across - 1) * std::max(0.3, eye.b / eye.a / 2);
    const double dx = x - eye.x, dy = y - eye.y, c = std::cos(eye.angle), s = std::sin(eye.angle);
    const double u = (dx * c + dy * s) / eye.a, v = (dy * c - dx * s) / eye.b;
    const double fade = std::clamp((3 - std::hypot(u, v)) / 1.8, 0.0, 1.0);
    const double u2 = u * (1 + (along - 1) * fade) * eye.a, v2 = v * (1 + (across - 1) * fade) * eye.b;
    return {u2 * c - v2 * s + eye.x, u2 * s + v2 * c + eye.y};
}

FramePtr Extended(FramePtr frame, const Eyes& eyes, double strength) {
    SettingsEffectEyeExtending settings(eyes);
    settings.SetStrength(strength);
    return Apply(settings, std::move(frame));
}

TEST(EyeExtending, MagnifiesEachEyeAboutItsCentre) {
    constexpr int kSide = 250;
    const FramePtr picture = MakeCoordinates(kSide, kSide);
    // The second eye is smaller and narrower, and takes on the size of the first.
    const auto eyes = [](int dx, int dy) {
        return Eyes(Eye({{40 + dx, 60 + dy},
                         {52 + dx, 50 + dy},
                         {66 + dx, 52 + dy},
                         {80 + dx, 66 + dy},
                         {66 + dx, 70 + dy},
                         {52 + dx, 68 + dy}}),
                    Eye({{170, 160}, {178, 156}, {190, 155}, {200, 157}, {190, 160}, {178, 162}}));
    };
    for (const auto& [dx, dy, strength] : {std::tuple(0, 0, 0.6), {0, 0, -1.0}, {-38, -45, 1.0}, {0, 0, 0.0}}) {
        const Eyes both = eyes(dx, dy);
        Ellipse first = FitTo(both.GetFirst().GetContour()), second = FitTo(both.GetSecond().GetContour());
        ASSERT_GT(first.a, second.a);
        second.a = first.a, second.b = first.b = std::max(first.b, second.b);
        const FramePtr large = Extended(picture, both, strength);
        double farthest = 0;
        for (int y = 0; y < kSide; ++y) {
            for (int x = 0; x < kSide; ++x) {
                const auto ux = static_cast<std::uint64_t>(x), uy = static_cast<std::uint64_t>(y);
                const auto reaches = [&](const Ellipse& eye) {
                    const double c = std::cos(eye.angle), s = std::sin(eye.angle);
                    return std::hypot(((x - eye.x) * c + (y - eye.y) * s) / eye.a,
                                      ((y - eye.y) * c - (x - eye.x) * s) / eye.b) <= 3;
                };
                ASSERT_FALSE(reaches(first) && reaches(second));
                const auto [sx, sy] = SourceOf(reaches(second) ? second : first, strength, x, y);
                const double shownX = std::clamp<double>(sx, 0, kSide - 1),
                             shownY = std::clamp<double>(sy, 0, kSide - 1);
                ASSERT_NEAR(SampleAt(large, ux, uy, 0), shownX, 0.6) << strength << ": " << x << "," << y;
                ASSERT_NEAR(SampleAt(large, ux, uy, 1), shownY, 0.6) << strength << ": " << x << "," << y;
                if (!reaches(first) && !reaches(second)) {
                    ASSERT_EQ(SampleAt(large, ux, uy, 0), x);
                    ASSERT_EQ(SampleAt(large, ux, uy, 1), y);
                }
                farthest = std::max({farthest, std::abs(sx - x), std::abs(sy - y)});
            }
        }
        if (strength == 0.0) {
            EXPECT_TRUE(SameFrames(large, picture));
        } else {
            EXPECT_GT(farthest, 1.4);
        }
    }
}

TEST(EyeExtending, SkipsWhatIsNoEye) {
    const FramePtr picture = MakeCoordinates(100, 80);
    const Eye good({{20, 40}, {25, 35}, {35, 35}, {40, 40}, {35, 45}, {25, 45}});
    const FramePtr one = Extended(picture, Eyes(good, Eye()), 1.0);
    EXPECT_FALSE(SameFrames(one, picture));
    // Three points; corners at one place; outside the picture.
    const Eye bad[] = {Eye({{60, 40}, {65, 35}, {75, 40}}), Eye({{60, 40}, {65, 35}, {66, 36}, {60, 40}, {65, 45}}),
                       Eye({{900, 40}, {905, 35}, {915, 35}, {920, 40}, {915, 45}, {905, 45}})};
    for (const Eye& eye : bad) {
        EXPECT_TRUE(SameFrames(Extended(picture, Eyes(eye, good), 1.0), one));
        EXPECT_TRUE(SameFrames(Extended(picture, Eyes(eye, eye), 1.0), picture));
    }
    const Eye flat({{60, 40}, {65, 40}, {75, 40}, {80, 40}, {75, 40}, {65, 40}});
    EXPECT_TRUE(SameFrames(Extended(picture, Eyes(flat, flat), 1.0), picture));
    EXPECT_TRUE(SameFrames(Extended(picture, Eyes(), 1.0), picture));
    // Points beside the corners do not count: without another one the eye is a circle.
    const Eye beside({{30, 40}, {20, 30}, {60, 30}, {50, 40}}), circle({{30, 40}, {40, 30}, {40, 50}, {50, 40}});
    EXPECT_TRUE(SameFrames(Extended(picture, Eyes(beside, Eye()), 1.0), Extended(picture, Eyes(circle, Eye()), 1.0)));
}

TEST(EyeExtending, ReplacesARectangleForEachEye) {
    SpiedEffect spied = CreateSpiedEffect(SettingsEffectEyeExtending::CLASS_ID);
    EXPECT_THAT(spied.factory->TakeTranscript(),
                ElementsAre("create SettingsEffectRemapping#1", "create SettingsColorspaceConverter#1"));
    // Circles of radius 10: rectangles reach 30 pixels, or as far as the picture.
    const auto circle = [](int x, int y) {
        return Eye({{x - 10, y}, {x, y - 10}, {x, y - 10}, {x + 10, y}, {x, y + 10}, {x, y + 10}});
    };
    spied.effect->SetSettings(SettingsEffectEyeExtending(Eyes(circle(20, 50), circle(140, 70))));
    FramePtr frame = MakeFrame(PixFmt::Rgb24, 150, 90);
    spied.effect->ProcessData(frame);
    std::vector<std::string> lines;
    for (const std::string& line : spied.factory->TakeTranscript()) {
        if (!line.starts_with("set SettingsEffectRemapping")) lines.push_back(line);
    }
    EXPECT_THAT(lines, ElementsAre(StartsWith("set SettingsColorspaceConverter#1 "),
                                   "run SettingsEffectRemapping#1 rgb24 51x61 -> rgb24 51x61",
                                   "run SettingsColorspaceConverter#1 rgb24 51x61 -> rgb24 51x61",
                                   "run SettingsEffectRemapping#1 rgb24 40x50 -> rgb24 40x50",
                                   "run SettingsColorspaceConverter#1 rgb24 40x50 -> rgb24 40x50"));
    const FramePtr indexed = MakeFrame(PixFmt::Pal8, 97, 61);
    const Eyes eyes = MakeFace(97, 61).GetEyes();
    EXPECT_TRUE(SameFrames(Extended(indexed, eyes, 1), Extended(Converted(indexed, PixFmt::Rgba), eyes, 1)));
}

}  // namespace
}  // namespace Orvexa::Test
