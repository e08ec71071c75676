// Effects of every kind that do little, for chains of them.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Host/Core/Exception.h"
#include "Host/Proc/EffectFactory.h"
#include "Host/Settings/Common/ColorCodec.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {

class SettingsTestInner final : public Settings {
    ORVEXA_SETTINGS(SettingsTestInner, "", "Test", "A group.")
    ORVEXA_EQUALITY(SettingsTestInner)
    ORVEXA_FIELD(int, Depth, 3, Range(0, 9), "", "A number.")
};

class SettingsTestTone final : public Settings {
    using Stops = std::map<int, Color>;

    ORVEXA_SETTINGS(SettingsTestTone, "TestTone", "Test", "Has a field of every type.")
    ORVEXA_EQUALITY(SettingsTestTone)
    ORVEXA_FIELD(int, Level, 1, Range(-100, 100), "", "A number.")
    ORVEXA_FIELD(double, Gain, 0.5, Range(0, 8), "", "A number.")
    ORVEXA_FLAG(Soft, false, "A flag.")
    ORVEXA_FIELD(int, Mode, 0, Named("plain=0 rich=4"), "", "A choice.")
    ORVEXA_FIELD(Color, Tint, Color(1, 2, 3), Any(), "", "A colour.")
    ORVEXA_FIELD(std::string, Title, "", Any(), "", "A text.")
    ORVEXA_FIELD(std::vector<int>, Taps, {}, Range(0, 9), "", "A list.")
    ORVEXA_FIELD(Stops, Stops, {}, Any(), "", "A map.")
    ORVEXA_GROUP(SettingsTestInner, Inner)
};

#define TEST_SETTINGS(Class, Name)                    \
    class Class final : public Settings {             \
        ORVEXA_SETTINGS(Class, Name, "Test", "Test.") \
        ORVEXA_EQUALITY(Class)                        \
    };
TEST_SETTINGS(SettingsTestOver, "TestOver")
TEST_SETTINGS(SettingsTestColumns, "TestColumns")
TEST_SETTINGS(SettingsTestBeside, "TestBeside")
TEST_SETTINGS(SettingsTestNothing, "TestNothing")
TEST_SETTINGS(SettingsTestSeen, "TestSeen")
TEST_SETTINGS(SettingsTestPicky, "TestPicky")

class SettingsTestHungry final : public Settings {
public:
    static constexpr double kBytesPerPixel = 50;
    ORVEXA_SETTINGS(SettingsTestHungry, "TestHungry", "Test", "Takes much memory for a picture of another size.")
    ORVEXA_EQUALITY(SettingsTestHungry)
    ORVEXA_FIELD(std::uint32_t, Pixels, 1, Any(), "", "The size of its result.")
    std::uint64_t GetResultPixels(std::uint64_t) const override { return GetPixels(); }
};

// Adds the level to every sample.
class Tone : public EffectBaseOneInput<SettingsTestTone> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        MakeWritable(frame);
        const Plane plane = frame->GetPlane(0);
        for (std::uint64_t y = 0; y < plane.GetHeight(); ++y) {
            for (std::uint64_t x = 0; x < plane.GetWidth(); ++x)
                plane.GetRow(y)[x] = static_cast<std::uint8_t>(plane.GetRow(y)[x] + settings_.GetLevel());
        }
    }
};

template <class SettingsT, auto kWork>
class Simple : public EffectBaseOneInput<SettingsT> {
public:
    using EffectBaseOneInput<SettingsT>::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override { kWork(frame); }
};
using Nothing = Simple<SettingsTestNothing, [](FramePtr& frame) { frame.reset(); }>;
using Hungry = Simple<SettingsTestHungry, [](FramePtr&) {}>;

// Replaces every picture by one sample: how many pictures it has been given, and 100 more if others see the pixels of
// the last.
class Seen : public EffectBaseOneInput<SettingsTestSeen> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        frame = MakeFrame(PixFmt::Gray8, 1, 1, {++seen_ + (frame->SharesPixels() ? 100 : 0)});
    }
    int seen_ = 0;
};

// Refuses odd samples. Announces ten steps and does three of them.
class Picky : public EffectBaseOneInput<SettingsTestPicky> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        if (const ProgressPtr& progress = GetProgressController()) {
            progress->SetTotal(10);
            progress->Step(3);
        }
        const int sample = *std::as_const(*frame).GetPlane(0).GetRow(0);
        if (sample % 2 != 0) Throw("odd " + std::to_string(sample));
    }
};

class Over : public EffectBaseTwoInput<SettingsTestOver> {
public:
    using EffectBaseTwoInput::EffectBaseTwoInput;

private:
    void ProcessInternalImpl(FramePtr& frame, const ConstFramePtr& second) override {
        CopyDataVideo(second, frame, 0, 0);
    }
};

// One picture for each column of the first, as a view of it.
class Columns : public EffectBaseVarInput<SettingsTestColumns> {
public:
    using EffectBaseVarInput::EffectBaseVarInput;

private:
    DataPtr ProcessInternalImpl(std::vector<DataPtr>& frames) override {
        const FramePtr first = boost::dynamic_pointer_cast<IDataVideo>(frames.at(0));
        frames.clear();
        for (std::uint32_t x = 0; x < first->GetFrameInfo().width; ++x) {
            const FramePtr column = CloneFrame(*first, kCloneView);
            column->Crop(x, 0, 1, first->GetFrameInfo().height);
            frames.push_back(column);
        }
        return {};
    }
};

// All pictures side by side, the last first.
class Beside : public EffectBaseVarInput<SettingsTestBeside> {
public:
    using EffectBaseVarInput::EffectBaseVarInput;

private:
    DataPtr ProcessInternalImpl(std::vector<DataPtr>& frames) override {
        std::vector<int> samples;
        for (auto data = frames.rbegin(); data != frames.rend(); ++data) {
            for (const std::uint8_t sample : Bytes(dynamic_cast<const IDataVideo&>(**data))) samples.push_back(sample);
        }
        return MakeFrame(PixFmt::Gray8, static_cast<std::uint32_t>(samples.size()), 1, samples);
    }
};

template <class Effect, class Pointer>
Pointer Create(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Effect>(factory, allocator);
}

/// A factory with them, beside the host's sub-effects.
inline FactoryPtr TestFactory() {
    const FactoryPtr factory = MakeHostFactory(TestAllocator());
    const std::string& impl = ImplNames::ORVEXA;
    factory->RegisterOneInputEffect(SettingsTestTone::CLASS_ID, impl, Create<Tone, OneInputPtr>, 0);
    factory->RegisterOneInputEffect(SettingsTestNothing::CLASS_ID, impl, Create<Nothing, OneInputPtr>, 0);
    factory->RegisterOneInputEffect(SettingsTestSeen::CLASS_ID, impl, Create<Seen, OneInputPtr>, 0);
    factory->RegisterOneInputEffect(SettingsTestPicky::CLASS_ID, impl, Create<Picky, OneInputPtr>, 0);
    factory->RegisterOneInputEffect(SettingsTestHungry::CLASS_ID, impl, Create<Hungry, OneInputPtr>, 0);
    factory->RegisterTwoInputEffect(SettingsTestOver::CLASS_ID, impl, Create<Over, TwoInputPtr>, 0);
    factory->RegisterVarInputEffect(SettingsTestColumns::CLASS_ID, impl, Create<Columns, VarInputPtr>, 0);
    factory->RegisterVarInputEffect(SettingsTestBeside::CLASS_ID, impl, Create<Beside, VarInputPtr>, 0);
    return factory;
}

}  // namespace Orvexa::Test
