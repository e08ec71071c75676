#include <numbers>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsEffectVideoGenerator.h"
#include "Tests/Host/Effects/HostEffects.h"

namespace Orvexa::Test {
namespace {

Grid Draw(ApertureShape shape, int blades = 6, double rotation = 0.0, int size = 101) {
    SettingsEffectVideoGenerator settings;
    settings.SetShape(shape);
    settings.SetBlades(blades);
    settings.SetRotation(rotation);
    settings.SetSize(size);
    return Read(*RunHost(settings, FramePtr()), 0);
}

// The area of the shape, of the area of the disc that touches the edges.
double RelativeArea(const Grid& image) {
    double sum = 0.0;
    for (const double value : image.values) sum += value / 255.0;
    const double radius = image.width / 2.0;
    return sum / (std::numbers::pi * radius * radius);
}

// The value at a point given in radii from the centre, y upwards.
double At(const Grid& image, double x, double y) {
    return image.At(static_cast<int>((1.0 + x) * image.width / 2), static_cast<int>((1.0 - y) * image.height / 2));
}

TEST(Aperture, IsAGreyDiscByDefault) {
    const FramePtr frame = RunHost(SettingsEffectVideoGenerator(), FramePtr());
    EXPECT_EQ(frame->GetPixFmt(), PixFmt::Gray8);
    EXPECT_EQ(frame->GetFrameInfo(), FrameInfo(101, 101));
    EXPECT_EQ(frame->GetDuration(), 40000);
    EXPECT_EQ(frame->GetTimestamp(), 0);
    EXPECT_EQ(Read(*frame, 0).values, Draw(ApertureShape::Disc).values);
    EXPECT_EQ(RunHost(SettingsEffectVideoGenerator(), MakeFrame(PixFmt::Rgb24, 3, 3))->GetPixFmt(), PixFmt::Gray8);
}

TEST(Aperture, DiscPixelsAreTheirCoverage) {
    for (const int size : {3, 10, 101}) {
        const Grid disc = Draw(ApertureShape::Disc, 6, 0.0, size);
        constexpr int kSamples = 64;
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                int inside = 0;
                for (int k = 0; k < kSamples * kSamples; ++k) {
                    const double dx = x + (k % kSamples + 0.5) / kSamples - size / 2.0,
                                 dy = y + (k / kSamples + 0.5) / kSamples - size / 2.0;
                    inside += dx * dx + dy * dy <= size * size / 4.0;
                }
                // Sixteen heights a row are exact to about 1/100 of a pixel on the steepest curves.
                ASSERT_NEAR(disc.At(x, y), 255.0 * inside / (kSamples * kSamples), 3.0)
                    << size << ": " << x << ", " << y;
            }
        }
        for (const auto& [x, y] : {std::pair{size / 2, 0}, {0, size / 2}, {size / 2, size - 1}, {size - 1, size / 2}})
            EXPECT_GT(disc.At(x, y), 190) << size;
    }
}

TEST(Aperture, ShapesAreWhatTheirNamesSay) {
    const double pi = std::numbers::pi;
    const auto polygonArea = [&](int n) { return n / 2.0 * std::sin(2 * pi / n) / pi; };
    for (const int n : {3, 4, 5, 6, 8, 16})
        EXPECT_NEAR(RelativeArea(Draw(ApertureShape::Polygon, n)), polygonArea(n), 0.002) << n;
    EXPECT_NEAR(RelativeArea(Draw(ApertureShape::Disc)), 1.0, 0.001);
    const Grid ring = Draw(ApertureShape::Ring), heart = Draw(ApertureShape::Heart),
               star = Draw(ApertureShape::Star, 5);
    EXPECT_NEAR(RelativeArea(ring), 1.0 - 0.36, 0.001);
    EXPECT_EQ(At(ring, 0, 0), 0);
    EXPECT_EQ(At(ring, 0.8, 0), 255);

    // Two lobes beside a notch above, one point below.
    EXPECT_EQ(At(heart, 0, 0), 255);
    EXPECT_EQ(At(heart, 0, 0.6), 0);
    EXPECT_EQ(At(heart, 0.4, 0.6), 255);
    EXPECT_EQ(At(heart, -0.4, 0.6), 255);
    EXPECT_EQ(At(heart, 0, -0.6), 255);
    EXPECT_EQ(At(heart, 0.4, -0.6), 0);

    // Along a circle between notches and tips the star is met once for each point.
    for (const int points : {3, 5, 12}) {
        const Grid image = Draw(ApertureShape::Star, points, 0.0, 401);
        int entries = 0;
        for (int i = 0; i < 3600; ++i) {
            const auto isInside = [&](int k) {
                return At(image, 0.7 * std::sin(k * pi / 1800), 0.7 * std::cos(k * pi / 1800)) > 127;
            };
            entries += isInside(i) && !isInside(i + 3599);
        }
        EXPECT_EQ(entries, points);
    }
    EXPECT_EQ(At(star, 0, 0.9), 255);
    EXPECT_EQ(At(star, 0, -0.9), 0);
}

TEST(Aperture, ShapesAreSymmetricAndCentred) {
    for (const int size : {50, 101}) {
        for (const ApertureShape shape : {ApertureShape::Disc, ApertureShape::Polygon, ApertureShape::Ring,
                                          ApertureShape::Heart, ApertureShape::Star}) {
            const Grid image = Draw(shape, 6, 0.0, size);
            for (int y = 0; y < size; ++y) {
                // Mirror images may differ by the last bit before rounding.
                for (int x = 0; x < size; ++x) {
                    ASSERT_NEAR(image.At(x, y), image.At(size - 1 - x, y), 1.0)
                        << static_cast<int>(shape) << ": " << x << ", " << y;
                    const int mirroredY = shape == ApertureShape::Heart ? y : size - 1 - y;
                    ASSERT_NEAR(image.At(x, y), image.At(x, mirroredY), 1.0)
                        << static_cast<int>(shape) << ": " << x << ", " << y;
                }
            }
        }
    }
}

TEST(Aperture, RotationTurnsCounterClockwise) {
    const Grid upright = Draw(ApertureShape::Polygon, 3), turned = Draw(ApertureShape::Polygon, 3, 90.0);
    EXPECT_EQ(At(upright, 0, 0.9), 255);
    EXPECT_EQ(At(upright, -0.9, 0), 0);
    EXPECT_EQ(At(turned, 0, 0.9), 0);
    EXPECT_EQ(At(turned, -0.9, 0), 255);
    const Grid square = Draw(ApertureShape::Polygon, 4), again = Draw(ApertureShape::Polygon, 4, 90.0);
    for (std::size_t i = 0; i < square.values.size(); ++i) ASSERT_NEAR(square.values[i], again.values[i], 1.0);
}

TEST(Aperture, RefusesWhatHasNoShape) {
    EXPECT_THROW(Draw(ApertureShape::Polygon, 2), EffectException);
    EXPECT_THROW(Draw(ApertureShape::Star, -1), EffectException);
    EXPECT_THROW(Draw(static_cast<ApertureShape>(5)), EffectException);
    for (const int size : {0, -1}) EXPECT_THROW(Draw(ApertureShape::Disc, 6, 0.0, size), EffectException);
}

}  // namespace
}  // namespace Orvexa::Test
