// Names of effect implementations.
#pragma once

#include <string>

namespace Orvexa {

struct ImplNames {
    static inline const std::string DEFAULT = "Default";  ///< see `IEffectFactory::CreateOneInputEffect`
    static inline const std::string ORVEXA = "Orvexa";    ///< the effects of this project's module
    static inline const std::string HOST = "Host";        ///< the host's own sub-effects
};

/// Implementations based on third-party libraries.
struct ImplPhotoNames {
    static inline const std::string IMAGEMAGICK = "ImageMagick";
    static inline const std::string OPENCV = "OpenCV";
};

}  // namespace Orvexa
