#include "Tests/Support/Effects.h"

#include "Host/Settings/Common/SettingsColorspaceConverter.h"
#include "Tests/Support/Frames.h"

namespace Orvexa::Test {

namespace {

std::string Tell(const ConstFramePtr& frame) {
    if (frame == nullptr) return "nothing";
    return Name(frame->GetPixFmt()) + " " + std::to_string(frame->GetFrameInfo().width) + "x" +
           std::to_string(frame->GetFrameInfo().height);
}

// What one- and two-input recorders have in common: everything goes to the real effect, and settings into the
// transcript.
template <class Interface>
class Recorder : public Interface {
public:
    Recorder(SpyFactory& spy, std::string name, boost::intrusive_ptr<Interface> real)
        : spy_(spy), name_(std::move(name)), real_(std::move(real)) {}
    Core::Property GetProperties() const override { return real_->GetProperties(); }
    void SetSettings(const Settings& settings) override {
        spy_.Write("set " + name_ + " " + FormatSettings(settings));
        real_->SetSettings(settings);
    }
    void Refresh() override { real_->Refresh(); }
    void ResetSettings() override { real_->ResetSettings(); }
    Core::Property GetStatistic() const override { return real_->GetStatistic(); }
    const Settings& GetSettingsBase() const override { return real_->GetSettingsBase(); }
    bool QueryCapability() const override { return real_->QueryCapability(); }
    void Notify(std::uintptr_t event) override {
        spy_.Write("notify " + name_ + " " + std::to_string(event));
        real_->Notify(event);
    }

protected:
    SpyFactory& spy_;  // the spying factory outlives what it creates
    std::string name_;
    boost::intrusive_ptr<Interface> real_;
};

class OneInputRecorder : public Recorder<IOneInputEffectVideo> {
public:
    using IOneInputEffectVideo::ProcessData;
    using Recorder::Recorder;
    void ProcessData(DataPtr& data) override {
        LendAs<IDataVideo>(data, [this](FramePtr& frame) {
            const std::string before = Tell(frame);
            real_->ProcessData(frame);
            spy_.Write("run " + name_ + " " + before + " -> " + Tell(frame));
        });
    }
};

class TwoInputRecorder : public Recorder<ITwoInputEffectVideo> {
public:
    using ITwoInputEffectVideo::ProcessData;
    using Recorder::Recorder;
    void ProcessData(DataPtr& data, const ConstDataPtr& second) override {
        LendAs<IDataVideo>(data, [&](FramePtr& frame) {
            const auto secondFrame = boost::dynamic_pointer_cast<const IDataVideo>(second);
            const std::string before = Tell(frame) + " + " + Tell(secondFrame);
            real_->ProcessData(frame, secondFrame);
            spy_.Write("run " + name_ + " " + before + " -> " + Tell(frame));
        });
    }
};

void RegisterEverything(IEffectFactory& factory) {
    RegisterHostEffects(factory);
    LoadModule(GetPluginDirectory() / "EffectsKalvatriPhoto.so", factory);
}

}  // namespace

const FactoryPtr& ModuleFactory() {
    static const FactoryPtr factory = MakeModuleFactory({});
    return factory;
}

FactoryPtr MakeModuleFactory(const AllocatorPtr& allocator) {
    const auto factory = Core::MakeRefCounted<EffectFactory>(allocator);
    RegisterEverything(*factory);
    return factory;
}

const FactoryPtr& HostFactory() {
    static const FactoryPtr factory = MakeHostFactory(TestAllocator());
    return factory;
}

OneInputPtr CreateOneInput(const Settings& settings) {
    OneInputPtr effect;
    HostFactory()->CreateOneInputEffect(effect, settings.GetClassId(), ImplNames::DEFAULT, {});
    effect->SetSettings(settings);
    return effect;
}

TwoInputPtr CreateTwoInput(const Settings& settings) {
    TwoInputPtr effect;
    HostFactory()->CreateTwoInputEffect(effect, settings.GetClassId(), ImplNames::DEFAULT, {});
    effect->SetSettings(settings);
    return effect;
}

FramePtr RunHost(const Settings& settings, FramePtr frame) {
    CreateOneInput(settings)->ProcessData(frame);
    return frame;
}

FramePtr RunHost(const Settings& settings, FramePtr frame, const ConstFramePtr& second) {
    CreateTwoInput(settings)->ProcessData(frame, second);
    return frame;
}

FramePtr Converted(FramePtr frame, PixFmt pixFmt) {
    return RunHost(SettingsColorspaceConverter(pixFmt, true), std::move(frame));
}

OneInputPtr CreateModuleEffect(const std::string& classId) {
    OneInputPtr effect;
    ModuleFactory()->CreateOneInputEffect(effect, classId, ImplNames::ORVEXA, {});
    return effect;
}

SpyFactory::SpyFactory() { RegisterEverything(*this); }

std::string SpyFactory::NextName(const std::string& classId, const std::string& implName) {
    std::string name = classId + "#" + std::to_string(++requests_[classId]);
    Write("create " + name + (implName == ImplNames::DEFAULT ? "" : " " + implName));
    return name;
}

void SpyFactory::CreateOneInputEffect(OneInputPtr& out, const std::string& classId, const std::string& implName,
                                      const AllocatorPtr& allocator) {
    if (implName == ImplNames::ORVEXA)
        return EffectFactory::CreateOneInputEffect(out, classId, implName, allocator);  // the effect under test
    OneInputPtr real;
    const std::string name = NextName(classId, implName);
    EffectFactory::CreateOneInputEffect(real, classId, implName, allocator);
    out = Core::MakeRefCounted<OneInputRecorder>(*this, name, real);
}

void SpyFactory::CreateTwoInputEffect(TwoInputPtr& out, const std::string& classId, const std::string& implName,
                                      const AllocatorPtr& allocator) {
    if (implName == ImplNames::ORVEXA) return EffectFactory::CreateTwoInputEffect(out, classId, implName, allocator);
    TwoInputPtr real;
    const std::string name = NextName(classId, implName);
    EffectFactory::CreateTwoInputEffect(real, classId, implName, allocator);
    out = Core::MakeRefCounted<TwoInputRecorder>(*this, name, real);
}

std::vector<std::string> SpyFactory::TakeTranscript() { return std::exchange(transcript_, {}); }

SpiedEffect CreateSpiedEffect(const std::string& classId) {
    SpiedEffect spied{Core::MakeRefCounted<SpyFactory>(), {}};
    spied.factory->CreateOneInputEffect(spied.effect, classId, ImplNames::ORVEXA, {});
    return spied;
}

}  // namespace Orvexa::Test
