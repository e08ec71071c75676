#include "Cli/ReadPicture.h"

#include <unistd.h>

#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Host/Core/Exception.h"
#include "Host/Settings/TextCodec.h"

namespace Kalvatri {

using namespace Orvexa;

std::string InputName(const std::string& file) { return file == kStdStream ? "stdin" : file; }

Io::RawOptions::WhiteBalance ParseRawWhiteBalance(const std::string& text) {
    using WhiteBalance = Io::RawOptions::WhiteBalance;
    if (text == "camera") return WhiteBalance::Camera;
    if (text == "daylight") return WhiteBalance::Daylight;
    if (text == "auto") return WhiteBalance::Auto;
    Throw("\"" + text + "\" is not one of camera, daylight and auto");
}

std::optional<double> ParseRawBrightness(const std::string& text) {
    if (text == "auto") return std::nullopt;
    constexpr double kMin = Io::RawOptions::kMinBrightness, kMax = Io::RawOptions::kMaxBrightness;
    try {
        Proc::CheckRange(text, kMin, kMax);
        return Proc::ParseDouble(text);
    } catch (const Proc::SettingsException&) {
        Throw("\"" + text + "\" is neither auto nor a factor in the range " + Proc::FormatDouble(kMin) + ".." +
              Proc::FormatDouble(kMax));
    }
}

Io::LoadedImage ReadPicture(const std::string& file, const Io::ReadOptions& options, const Proc::FactoryPtr& factory) {
    return WithContext("reading " + InputName(file), [&] {
        return file == kStdStream ? Io::ReadImageFrom(STDIN_FILENO, factory->GetAllocator(), options)
                                  : Io::ReadImage(Core::ioPath(file), factory->GetAllocator(), options);
    });
}

}  // namespace Kalvatri
