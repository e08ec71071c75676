// Masks for layers that the image blender draws over a picture.
#pragma once

#include "Host/Proc/IEffect.h"
#include "Host/Proc/VideoFrame.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"

namespace Orvexa::Proc::Shared {

/// A grey mask as the extra alpha of layers: the mask itself for full-size planes, and the host's reduction of it for
/// subsampled chroma. The mask must not be modified while it is attached.
class LayerMask {
public:
    /// The extractor must already be configured for `pixFmt`.
    explicit LayerMask(OneInputPtr chromaExtractor, PixFmt pixFmt = PixFmt::None)
        : extractor_(std::move(chromaExtractor)), pixFmt_(pixFmt) {}

    bool IsFor(const FrameInfo& info) const { return mask_ != nullptr && mask_->GetFrameInfo() == info; }
    const FramePtr& Get() const { return mask_; }

    /// Sets the mask, or none.
    void Set(FramePtr mask) {
        mask_ = std::move(mask);
        chromaMask_.reset();
    }

    /// Creates the mask for the chroma of layers in `pixFmt` unless it exists already; returns whether it was created.
    bool PrepareFor(PixFmt pixFmt) {
        if (chromaMask_ != nullptr && pixFmt == pixFmt_) return false;
        if (pixFmt != pixFmt_) extractor_->SetSettings(SettingsEffectExtraAlphaExtractor(pixFmt));
        pixFmt_ = pixFmt;
        chromaMask_ = mask_;
        extractor_->ProcessData(chromaMask_);
        return true;
    }

    /// Attaches the masks to a layer in the format that was prepared for.
    void AttachTo(IDataVideo& layer) const {
        ShareExtraAlpha(layer, 0, mask_);
        ShareExtraAlpha(layer, 1, chromaMask_);
    }

private:
    OneInputPtr extractor_;
    FramePtr mask_;
    FramePtr chromaMask_;
    PixFmt pixFmt_;
};

}  // namespace Orvexa::Proc::Shared
