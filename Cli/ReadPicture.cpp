#include "Cli/ReadPicture.h"

#include <unistd.h>

#include <utility>

#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Host/Core/Exception.h"
#include "Host/Settings/TextCodec.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

using WhiteBalance = Io::RawOptions::WhiteBalance;
constexpr std::pair<const char*, WhiteBalance> kRawWhiteBalances[] = {
    {"camera", WhiteBalance::Camera}, {"daylight", WhiteBalance::Daylight}, {"auto", WhiteBalance::Auto}};

}  // namespace

std::string InputName(const std::string& file) { return file == kStdStream ? "stdin" : file; }

Io::RawOptions::WhiteBalance ParseRawWhiteBalance(const std::string& text) {
    for (const auto& [name, balance] : kRawWhiteBalances) {
        if (text == name) return balance;
    }
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

std::vector<std::string> ReadOptionsToWords(const Io::ReadOptions& options) {
    const Io::ReadOptions usual;
    std::vector<std::string> words;
    const auto add = [&](const char* option, const std::string& value) { words.insert(words.end(), {option, value}); };
    if (options.maxPixels != usual.maxPixels) add("--max-pixels", std::to_string(options.maxPixels));
    if (options.allowTruncated) words.emplace_back("--allow-truncated");
    if (options.toSrgb) words.emplace_back("--srgb");
    for (const auto& [name, balance] : kRawWhiteBalances) {
        if (balance == options.raw.whiteBalance && balance != usual.raw.whiteBalance) add("--raw-white-balance", name);
    }
    if (options.raw.brightness) add("--raw-brightness", Proc::FormatDouble(*options.raw.brightness));
    return words;
}

Io::LoadedImage ReadPicture(const std::string& file, const Io::ReadOptions& options, const Proc::FactoryPtr& factory) {
    return WithContext("reading " + InputName(file), [&] {
        return file == kStdStream ? Io::ReadImageFrom(STDIN_FILENO, factory->GetAllocator(), options)
                                  : Io::ReadImage(Core::ioPath(file), factory->GetAllocator(), options);
    });
}

}  // namespace Kalvatri
