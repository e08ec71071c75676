#include "Host/Providers/Magick/MagickImage.h"

#include <algorithm>
#include <memory>
#include <string>

#include "Host/Core/Exception.h"

namespace Orvexa::Proc::MagickImages {

namespace {

[[noreturn]] void ThrowError(std::string reason) {
    // ImageMagick appends its source location to the reason.
    reason.resize(std::min({reason.size(), reason.find(" `"), reason.find(" @ ")}));
    const auto allowed = [](MagickCore::ResourceType resource, const char* kind) {
        return std::to_string(MagickCore::GetMagickResourceLimit(resource)) + " bytes of " + kind;
    };
    if (reason == "cache resources exhausted") {
        reason += " with " + allowed(MagickCore::MemoryResource, "memory") + ", " +
                  allowed(MagickCore::MapResource, "mapped files") + " and " +
                  allowed(MagickCore::DiskResource, "disk");
    }
    Throw("ImageMagick cannot process the picture: " + reason + "; ImageMagick's policy.xml must allow more");
}

using ImagePtr = std::unique_ptr<MagickCore::Image, decltype(&MagickCore::DestroyImage)>;

[[noreturn]] void ThrowFailure(const MagickCore::Image& image) {
    const char* reason = image.exception.reason;
    ThrowError(reason != nullptr ? reason : "there is not enough memory");
}

}  // namespace

void Initialize() {
    Magick::InitializeMagick(nullptr);
    // Results do not depend on the number of threads, and several jobs share the processors among themselves.
    MagickCore::SetMagickResourceLimit(MagickCore::ThreadResource, 1);
    constexpr auto kNoLimit = static_cast<MagickCore::MagickSizeType>(-1) >> 1;
    for (const auto resource : {MagickCore::AreaResource, MagickCore::DiskResource, MagickCore::ListLengthResource,
                                MagickCore::MapResource, MagickCore::MemoryResource, MagickCore::TimeResource,
                                MagickCore::WidthResource, MagickCore::HeightResource}) {
        MagickCore::SetMagickResourceLimit(resource, kNoLimit);
    }
}

Limits GetLimits() {
    return {MagickCore::GetMagickResourceLimit(MagickCore::WidthResource),
            MagickCore::GetMagickResourceLimit(MagickCore::HeightResource),
            MagickCore::GetMagickResourceLimit(MagickCore::MemoryResource)};
}

void RequireSize(std::uint64_t width, std::uint64_t height) {
    const Limits limits = GetLimits();
    if (width <= limits.width && height <= limits.height) return;
    ThrowError("it needs images of " + std::to_string(width) + " x " + std::to_string(height) +
               " pixels, where at most " + std::to_string(limits.width) + " x " + std::to_string(limits.height) +
               " are allowed");
}

// The Magick++ function that makes images from pixels terminates the process if resources are lacking, so they are
// built step by step.
Magick::Image Load(const ConstPlane& plane, const Part& part, const char* map) {
    RequireSize(part.width, part.height);
    ImagePtr image(MagickCore::AcquireImage(nullptr), MagickCore::DestroyImage);
    if (MagickCore::SetImageExtent(image.get(), part.width, part.height) == MagickCore::MagickFalse)
        ThrowFailure(*image);
    for (std::uint64_t y = 0; y < part.height; ++y) {
        if (MagickCore::ImportImagePixels(image.get(), 0, static_cast<ssize_t>(y), part.width, 1, map,
                                          MagickCore::CharPixel,
                                          plane.GetOffsetPtr(part.x, part.y + y)) == MagickCore::MagickFalse) {
            ThrowFailure(*image);
        }
    }
    return Magick::Image(image.release());
}

void Store(Magick::Image& image, std::uint64_t x, std::uint64_t y, const Plane& plane, const Part& part,
           const char* map) {
    for (std::uint64_t row = 0; row < part.height; ++row) {
        image.write(static_cast<ssize_t>(x), static_cast<ssize_t>(y + row), part.width, 1, map, Magick::CharPixel,
                    plane.GetOffsetPtr(part.x, part.y + row));
    }
}

void ThrowAsEffectException(const Magick::Exception& exception) { ThrowError(exception.what()); }

}  // namespace Orvexa::Proc::MagickImages
