// Pictures that the command line names.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Host/Io/ImageFiles.h"
#include "Host/Proc/IEffectFactory.h"

namespace Kalvatri {

/// What messages call the file, or stdin for "-".
std::string InputName(const std::string& file);

/// The options for camera raw files from their texts: camera, daylight or auto, and auto or a factor. Others throw
/// `EffectException`.
Orvexa::Io::RawOptions::WhiteBalance ParseRawWhiteBalance(const std::string& text);
std::optional<double> ParseRawBrightness(const std::string& text);

/// The options that differ from the defaults, as words of a command line.
std::vector<std::string> ReadOptionsToWords(const Orvexa::Io::ReadOptions& options);

/// The picture in the file, or on stdin for "-". Failures throw `CommandError`.
Orvexa::Io::LoadedImage ReadPicture(const std::string& file, const Orvexa::Io::ReadOptions& options,
                                    const Orvexa::Proc::FactoryPtr& factory);

}  // namespace Kalvatri
