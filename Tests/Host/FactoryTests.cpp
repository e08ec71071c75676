#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "Host/Core/Exception.h"
#include "Host/Core/Property.h"
#include "Host/Proc/VideoFrame.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectEmpty.h"
#include "Tests/Support/Effects.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {
namespace {

// What the creators below were called with; each creator answers with an effect of the module, any will do.
AllocatorPtr lastAllocator;
int lastCreator = 0;

template <int Number>
OneInputPtr Create(const FactoryPtr&, const AllocatorPtr& allocator) {
    lastAllocator = allocator;
    lastCreator = Number;
    return CreateModuleEffect(SettingsEffectEmpty::CLASS_ID);
}

TEST(Factory, PrefersTheMarkedThenTheModulesThenTheHostsImplementation) {
    const auto factory = Core::MakeRefCounted<EffectFactory>();
    const std::string id = "SomeClass";
    OneInputPtr effect;
    EXPECT_TRUE(factory->RegisterOneInputEffect(id, ImplPhotoNames::OPENCV, Create<2>, 0));
    factory->CreateOneInputEffect(effect, id, ImplNames::DEFAULT, TestAllocator());
    EXPECT_EQ(lastCreator, 2);
    EXPECT_EQ(lastAllocator, TestAllocator());
    EXPECT_TRUE(factory->RegisterOneInputEffect(id, ImplNames::ORVEXA, Create<1>, 0));
    factory->CreateOneInputEffect(effect, id, ImplNames::DEFAULT, {});
    EXPECT_EQ(lastCreator, 1);
    EXPECT_EQ(lastAllocator, factory->GetAllocator()) << "an empty allocator stands for the factory's own";
    EXPECT_NE(lastAllocator, nullptr);
    factory->CreateOneInputEffect(effect, id, ImplPhotoNames::OPENCV, {});
    EXPECT_EQ(lastCreator, 2);
    factory->MarkDefault(EffectKind::OneInput, id, ImplPhotoNames::OPENCV);
    factory->RegisterOneInputEffect(id, ImplPhotoNames::OPENCV, Create<4>, 0);
    factory->CreateOneInputEffect(effect, id, ImplNames::DEFAULT, {});
    EXPECT_EQ(lastCreator, 4) << "marked, and still so when it is registered anew";
    EXPECT_FALSE(factory->RegisterOneInputEffect(id, ImplNames::ORVEXA, Create<3>, 0)) << "the same name again";
    factory->CreateOneInputEffect(effect, id, ImplNames::ORVEXA, {});
    EXPECT_EQ(lastCreator, 3);
    EXPECT_EQ(factory->GetRegistrations().size(), 2u);
    lastAllocator.reset();
}

TEST(Factory, NamesWhatItCannotCreate) {
    OneInputPtr effect;
    TwoInputPtr twoInput;
    const auto factory = Core::MakeRefCounted<EffectFactory>();
    factory->RegisterOneInputEffect("Known", ImplNames::ORVEXA, Create<1>, 0);
    EXPECT_NE(
        MessageOf([&] { factory->CreateOneInputEffect(effect, "Unknown", ImplNames::DEFAULT, {}); }).find("Unknown"),
        std::string::npos);
    EXPECT_THROW(factory->CreateOneInputEffect(effect, "Known", ImplPhotoNames::OPENCV, {}), EffectException);
    EXPECT_THROW(factory->CreateTwoInputEffect(twoInput, "Known", ImplNames::DEFAULT, {}), EffectException)
        << "another kind";
    factory->RegisterProvider(EffectKind::OneInput, "Provided", ImplNames::HOST, "libDoesNotExist.so");
    EXPECT_THROW(factory->CreateOneInputEffect(effect, "Provided", ImplNames::DEFAULT, {}), EffectException);
    EXPECT_THROW(factory->MarkDefault(EffectKind::OneInput, "Known", ImplPhotoNames::OPENCV), EffectException);
}

TEST(Factory, CreatesEffectsFromSeveralThreads) {
    std::vector<std::thread> threads;
    std::atomic<int> created = 0;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 50; ++k) {
                OneInputPtr effect;
                ModuleFactory()->CreateOneInputEffect(effect, IResize::CLASS_ID, ImplNames::DEFAULT, {});
                FramePtr frame = MakeFrame(PixFmt::Rgb24, 31, 17);
                effect->ProcessData(frame);
                ++created;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(created, 200);
}

TEST(Modules, ThatAreMissingOrForeignAreRefusedWithTheReason) {
    const auto factory = Core::MakeRefCounted<EffectFactory>();
    const auto complaint = [&](const Core::ioPath& file) { return MessageOf([&] { LoadModule(file, *factory); }); };
    EXPECT_NE(complaint("/nowhere/module.so").find("does not exist"), std::string::npos);
    const Core::ioPath text = std::filesystem::temp_directory_path() / "orvexa-no-module.so";
    std::ofstream(text) << "not a library";
    EXPECT_NE(complaint(text).find("cannot be loaded"), std::string::npos);
    std::filesystem::remove(text);
    EXPECT_NE(complaint(GetPluginDirectory() / "libOrvexaImageFiles.so").find("no function Registrator"),
              std::string::npos);
}

TEST(Exceptions, CarryDescriptionOriginAndCallStack) {
    try {
        Throw("something specific");
        FAIL();
    } catch (const std::exception& exception) {
        EXPECT_EQ(Describe(exception), "something specific");
        const std::string origin = DescribeOrigin(exception);
        EXPECT_EQ(origin.find("  thrown at Tests/Host/FactoryTests.cpp:"), 0u) << origin;
        EXPECT_NE(origin.find("#0"), std::string::npos) << origin;
        EXPECT_EQ(origin.find('?'), std::string::npos) << origin;
    }
    EffectException coded;
    coded << TagTranscodingErrorCode(TranscodingErrors::PictureTooSmall);
    EXPECT_NE(Describe(coded).find("too small"), std::string::npos);
    EXPECT_EQ(Describe(std::bad_alloc()), "not enough memory");
}

TEST(Properties, AreTreesWithNamedValues) {
    Core::Property statistics = Core::MakeStatistics("name", -2, 3);
    EXPECT_EQ(statistics.GetName(), "name");
    statistics.SetChild("key", "old").SetChild("inner", "value");
    EXPECT_EQ(statistics.SetChild("key", "new").GetChildren().size(), 1u) << "the child itself is kept";
    statistics.Add(Core::Property("a")).Add(Core::Property("b"));
    ASSERT_EQ(statistics.GetChildren().size(), 5u);
    EXPECT_EQ(statistics.FindChild("total")->GetValue(), "-2");
    EXPECT_EQ(statistics.FindChild("count")->GetValue(), "3");
    EXPECT_EQ(statistics.FindChild("key")->GetValue(), "new");
    EXPECT_EQ(statistics.FindChild("none"), nullptr);
}

}  // namespace
}  // namespace Orvexa::Test
