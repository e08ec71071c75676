// Faces to test with, and what stands in for the host's face detection.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "Host/Effects/HostEffect.h"
#include "Host/Settings/Photo/SettingsEffectFaceDetection.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {

/// A face drawn by hand on a square of 100 x 100, turned about its middle by `degrees`, scaled to the picture's size.
inline Face MakeFace(std::uint32_t width, std::uint32_t height, double degrees = 0) {
    const auto place = [=](double x, double y) {
        const double angle = degrees * std::numbers::pi / 180, dx = x - 50, dy = y - 50;
        const auto at = [](double position, std::uint32_t side) {
            const int pixel = static_cast<int>(std::lround(position * side / 100));
            return std::clamp(pixel, 0, static_cast<int>(side) - 1);
        };
        return Point<int>{at(50 + dx * std::cos(angle) - dy * std::sin(angle), width),
                          at(50 + dx * std::sin(angle) + dy * std::cos(angle), height)};
    };
    const auto item = [&](std::initializer_list<std::pair<double, double>> points) {
        Contour contour;
        for (const auto& [x, y] : points) contour.push_back(place(x, y));
        return contour;
    };
    Contour outline;
    for (int i = 0; i <= 16; ++i) {
        const double angle = i * std::numbers::pi / 16;
        outline.push_back(place(50 - 30 * std::cos(angle), 40 + 50 * std::sin(angle)));
    }
    using Item = FaceItemBase;
    return Face(Outline(outline),
                {Item(item({{26, 32}, {30, 29}, {35, 28}, {40, 29}, {44, 31}})),
                 Item(item({{56, 31}, {60, 29}, {65, 28}, {70, 29}, {74, 32}}))},
                {Item(item({{50, 40}, {50, 46}, {50, 52}, {50, 57}})),
                 Item(item({{44, 60}, {47, 61}, {50, 62}, {53, 61}, {56, 60}}))},
                Eyes(Eye(item({{29, 40}, {33, 37}, {38, 37}, {42, 40}, {38, 43}, {33, 43}}), place(36, 40)),
                     Eye(item({{58, 40}, {62, 37}, {67, 37}, {71, 40}, {67, 43}, {62, 43}}), place(65, 40)), true),
                Mouth(Item(item({{38, 74},
                                 {43, 71},
                                 {47, 70},
                                 {50, 71},
                                 {53, 70},
                                 {57, 71},
                                 {62, 74},
                                 {57, 80},
                                 {53, 82},
                                 {50, 82},
                                 {47, 82},
                                 {43, 80}})),
                      Item(item({{41, 75}, {47, 74}, {50, 75}, {53, 74}, {59, 75}, {53, 78}, {50, 78}, {47, 78}}))),
                {place(15, 22), {place(85, 96).x + 1, place(85, 96).y + 1}});
}

/// Stands in for a sub-effect of the settings class: runs `work` on its settings and frame.
template <class SettingsT>
class StandIn : public HostOneInput<SettingsT> {
public:
    using HostOneInput<SettingsT>::HostOneInput;
    static inline std::function<void(SettingsT& settings, FramePtr& frame)> work;

    /// Makes it what the factory creates by default.
    static void Register(IEffectFactory& factory, std::function<void(SettingsT&, FramePtr&)> newWork) {
        work = std::move(newWork);
        const std::string name = "StandIn";
        factory.RegisterOneInputEffect(SettingsT::CLASS_ID, name, MakeEffect<StandIn>, 0);
        factory.MarkDefault(EffectKind::OneInput, SettingsT::CLASS_ID, name);
    }

private:
    void Process(FramePtr& frame) override { work(this->settings_, frame); }
};

/// Lets a factory's face detection find these faces in every picture.
inline void LetFind(IEffectFactory& factory, const std::vector<Face>& faces) {
    StandIn<SettingsEffectFaceDetection>::Register(
        factory, [faces](SettingsEffectFaceDetection& settings, FramePtr&) { settings.SetFaces(faces); });
}

}  // namespace Orvexa::Test
