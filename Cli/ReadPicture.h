// Pictures that the command line names.
#pragma once

#include <string>

#include "Host/Io/ImageFiles.h"
#include "Host/Proc/IEffectFactory.h"

namespace Kalvatri {

/// What messages call the file, or stdin for "-".
std::string InputName(const std::string& file);

/// The picture in the file, or on stdin for "-". Failures throw `CommandError`.
Orvexa::Io::LoadedImage ReadPicture(const std::string& file, const Orvexa::Io::ReadOptions& options,
                                    const Orvexa::Proc::FactoryPtr& factory);

}  // namespace Kalvatri
