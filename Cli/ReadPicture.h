// Reading pictures named on the command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Host/Io/ImageFiles.h"
#include "Host/Proc/IEffectFactory.h"

namespace Kalvatri {

/// The file's name as used in messages; stdin for "-".
std::string InputName(const std::string& file);

/// Parse the options for camera raw files: camera, daylight or auto, and auto or a factor. Anything else throws
/// `EffectException`.
Orvexa::Io::RawOptions::WhiteBalance ParseRawWhiteBalance(const std::string& text);
std::optional<double> ParseRawBrightness(const std::string& text);

/// The options that differ from the defaults, as command-line arguments.
std::vector<std::string> ReadOptionsToWords(const Orvexa::Io::ReadOptions& options);

/// Reads the picture from the file, or from stdin for "-". Failures throw `CommandError`.
Orvexa::Io::LoadedImage ReadPicture(const std::string& file, const Orvexa::Io::ReadOptions& options,
                                    const Orvexa::Proc::FactoryPtr& factory);

}  // namespace Kalvatri
