#include "Bench/Pictures.h"

#include <benchmark/benchmark.h>

#include <random>

namespace Orvexa::Bench {

FactoryPtr LoadedFactory(AllocatorPtr allocator) {
    FactoryPtr factory = MakeHostFactory(std::move(allocator));
    LoadModule(GetPluginDirectory() / "EffectsKalvatriPhoto.so", *factory);
    return factory;
}

const AllocatorPtr& BenchAllocator() {
    static const AllocatorPtr allocator = Core::MakeRefCounted<FrameAllocator>();
    return allocator;
}

const FactoryPtr& BenchFactory() {
    static const FactoryPtr factory = LoadedFactory(BenchAllocator());
    return factory;
}

FramePtr Photograph(const AllocatorPtr& allocator, PixFmt pixFmt) {
    FramePtr frame = NewFrame(allocator, pixFmt, k24Megapixels);
    std::minstd_rand random(1);
    for (std::uint8_t i = 0; i < GetPlanesCount(*frame); ++i) {
        const Plane plane = frame->GetPlane(i);
        for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
            std::uint8_t* row = plane.GetRow(y);
            for (std::uint64_t b = 0; b < plane.GetWidth(); ++b)
                row[b] = static_cast<std::uint8_t>(b / 90 + y / 32 + (random() >> 27));
        }
    }
    return frame;
}

OneInputPtr MakeEffect(const Settings& settings, const FactoryPtr& factory) {
    OneInputPtr effect;
    factory->CreateOneInputEffect(effect, settings.GetClassId(), ImplNames::DEFAULT, {});
    effect->SetSettings(settings);
    return effect;
}

std::function<void()> RunOf(const Settings& settings, const FramePtr& photo) {
    return [effect = MakeEffect(settings), photo] {
        FramePtr frame = photo;
        effect->ProcessData(frame);
        benchmark::DoNotOptimize(frame->GetPlane(0).GetData());
    };
}

cv::Mat View(const FramePtr& frame, int type) {
    const Plane plane = frame->GetPlane(0);
    const FrameInfo& info = frame->GetFrameInfo();
    return cv::Mat(static_cast<int>(info.height), static_cast<int>(info.width), type, plane.GetData(),
                   static_cast<std::size_t>(plane.GetStride()));
}

}  // namespace Orvexa::Bench
