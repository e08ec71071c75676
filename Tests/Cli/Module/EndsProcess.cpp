// A module of one effect, for tests of a batch: on pictures of a certain colour it ends its process, or never returns.
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>

#include "Host/Io/PendingFile.h"
#include "Host/Settings/Settings.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Tests/Cli/Module/EndsProcess.h"

namespace Orvexa::Proc {
namespace {

class SettingsEffectEndsProcess final : public Settings {
    ORVEXA_SETTINGS(SettingsEffectEndsProcess, "EndsProcess", "Tests",
                    "Ends the process on pictures of a certain colour.")
    ORVEXA_EQUALITY(SettingsEffectEndsProcess)
};

class EndsProcess : public EffectBaseOneInput<SettingsEffectEndsProcess> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        const std::uint8_t* pixel = ConstFramePtr(frame)->GetPlane(0).GetData();
        if (pixel[0] != Test::kEndingRed || pixel[2] != Test::kEndingBlue) return;
        // As if it happened in the middle of writing.
        std::unique_ptr<Io::PendingFile> incomplete;
        if (const char* folder = std::getenv(Test::kWritingFolderVariable))
            incomplete = std::make_unique<Io::PendingFile>(Core::ioPath(folder) / (std::to_string(pixel[1]) + ".png"),
                                                           Io::PendingFile::Naming::Named);
        if (pixel[1] == Test::kForEver) {
            while (true) pause();
        }
        constexpr char kText[] = "a first line\nits last\x1b words\n\n";
        if (write(STDERR_FILENO, kText, sizeof kText - 1) < 0) return;
        if (pixel[1] == Test::kExits) std::_Exit(pixel[1]);
        std::signal(pixel[1], SIG_DFL);  // whatever handlers there are, of sanitizers for example
        raise(pixel[1]);
    }
};

OneInputPtr CreateEndsProcess(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<EndsProcess>(factory, allocator);
}

}  // namespace
}  // namespace Orvexa::Proc

extern "C" [[gnu::visibility("default")]] bool Registrator(Orvexa::Proc::IEffectFactory* factory) {
    using namespace Orvexa;
    return factory->RegisterOneInputEffect(Proc::SettingsEffectEndsProcess::CLASS_ID, ImplNames::ORVEXA,
                                           Proc::CreateEndsProcess, 0);
}
