// The module under test, and a factory that listens in.
#pragma once

#include <string>
#include <vector>

#include "Host/Proc/EffectFactory.h"
#include "Tests/Support/Messages.h"

namespace Orvexa::Test {

using namespace Proc;

/// A host factory with the module loaded, made once per program.
const FactoryPtr& ModuleFactory();
/// Another such factory, whose effects take their frames from `allocator`.
FactoryPtr MakeModuleFactory(const AllocatorPtr& allocator);

/// A factory with the host's sub-effects only.
const FactoryPtr& HostFactory();

/// Sub-effects of the host with their settings.
OneInputPtr CreateOneInput(const Settings& settings);
TwoInputPtr CreateTwoInput(const Settings& settings);
/// What a fresh sub-effect makes of a frame that the caller keeps.
FramePtr RunHost(const Settings& settings, FramePtr frame);
FramePtr RunHost(const Settings& settings, FramePtr frame, const ConstFramePtr& second);
/// The frame in another pixel format.
FramePtr Converted(FramePtr frame, PixFmt pixFmt);

/// How many pictures the effect has processed, by its statistics.
inline std::string CountOf(const IEffect& effect) { return effect.GetStatistic().FindChild("count")->GetValue(); }

/// An effect of the module, by its settings class.
OneInputPtr CreateModuleEffect(const std::string& classId);

/// Settings, then one frame through a fresh effect of the module.
template <class SettingsT>
FramePtr Apply(const SettingsT& settings, FramePtr frame) {
    const OneInputPtr effect = CreateModuleEffect(SettingsT::CLASS_ID);
    effect->SetSettings(settings);
    effect->ProcessData(frame);
    return frame;
}

/// Answers every sub-effect request with the real sub-effect behind a recorder, and writes down what happens:
///     create SettingsResizer#1
///     set SettingsResizer#1 resizeMethod=area ...
///     run SettingsResizer#1 rgb24 97x61 -> rgb24 48x30
/// The numbers count the requests for one class. The module's effects are registered, too.
class SpyFactory : public EffectFactory {
public:
    SpyFactory();
    void CreateOneInputEffect(OneInputPtr& out, const std::string& classId, const std::string& implName,
                              const AllocatorPtr& allocator) override;
    void CreateTwoInputEffect(TwoInputPtr& out, const std::string& classId, const std::string& implName,
                              const AllocatorPtr& allocator) override;

    void Write(std::string line) { transcript_.push_back(std::move(line)); }
    /// What was written since the last call.
    std::vector<std::string> TakeTranscript();

private:
    std::string NextName(const std::string& classId, const std::string& implName);

    std::vector<std::string> transcript_;
    std::map<std::string, int> requests_;
};

/// An effect of the module on a spying factory; the effect's own creation is not in the transcript.
struct SpiedEffect {
    boost::intrusive_ptr<SpyFactory> factory;
    OneInputPtr effect;
};
SpiedEffect CreateSpiedEffect(const std::string& classId);

}  // namespace Orvexa::Test
