// The photographs that a preview shows.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Cli/SettingsJson.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Proc/IEffectFactory.h"

namespace Kalvatri {

struct PhotoInfo {
    Orvexa::Io::ImageSize size;
    std::vector<std::string> metadata;  ///< the kinds of metadata that the file has
    Orvexa::Io::Notes notes;
    bool isOpaque = true;  ///< has no alpha channel
};

/// Reads photographs and keeps the last one at full size. Thread safe.
class PhotoStore {
public:
    PhotoStore(std::vector<std::string> files, Orvexa::Io::ReadOptions options, Orvexa::Proc::FactoryPtr factory);

    const std::string& GetFile(std::size_t photo) const;
    /// Both throw `CommandError` if the file cannot be read.
    PhotoInfo GetInfo(std::size_t photo);
    Orvexa::Proc::FramePtr GetPicture(std::size_t photo);

private:
    Orvexa::Proc::FramePtr Read(std::size_t photo);

    const std::vector<std::string> files_;
    const Orvexa::Io::ReadOptions options_;
    const Orvexa::Proc::FactoryPtr factory_;
    std::mutex mutex_;  // guards the members below
    std::map<std::size_t, PhotoInfo> infos_;
    std::size_t last_ = 0;
    Orvexa::Proc::FramePtr picture_;  // of the last one; empty before the first
};

}  // namespace Kalvatri
