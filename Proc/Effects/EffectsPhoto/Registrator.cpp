// The module's entry point: registers every effect with the host's factory, always in this order.

#include "Host/Proc/IEffectFactory.h"

#define ORVEXA_EFFECTS(EFFECT)         \
    EFFECT(AutoEnhance)                \
    EFFECT(AutoGlareRemove)            \
    EFFECT(BalanceLuma)                \
    EFFECT(BiColorToning)              \
    EFFECT(BlackWhite)                 \
    EFFECT(BlendPalette)               \
    EFFECT(BlurBokeh)                  \
    EFFECT(BlurRadial)                 \
    EFFECT(ColorBalanceAuto)           \
    EFFECT(ColoredGlass)               \
    EFFECT(ColorReduce)                \
    EFFECT(CreateVideo)                \
    EFFECT(Custom)                     \
    EFFECT(Cutter)                     \
    EFFECT(DeepAdjuster)               \
    EFFECT(DeepAligner)                \
    EFFECT(DeepAutoRetoucher)          \
    EFFECT(DeepDenoiser)               \
    EFFECT(DeepEnhancer)               \
    EFFECT(DeepImageEnhancer)          \
    EFFECT(DeepLumaUpscaler)           \
    EFFECT(DeepRestorer)               \
    EFFECT(DeepRestorerEx)             \
    EFFECT(DeepSuperResolutor)         \
    EFFECT(DetailsEnhance)             \
    EFFECT(DirectionalAreaDeformation) \
    EFFECT(DrawFace)                   \
    EFFECT(EdgeRemove)                 \
    EFFECT(EmptyEffect)                \
    EFFECT(EyeExtending)               \
    EFFECT(Gradient)                   \
    EFFECT(GradientPosterize)          \
    EFFECT(FaceMask)                   \
    EFFECT(FaceRecognition)            \
    EFFECT(FaceThinning)               \
    EFFECT(Histogram)                  \
    EFFECT(Implode)                    \
    EFFECT(Matting)                    \
    EFFECT(OilPaint)                   \
    EFFECT(Pixelate)                   \
    EFFECT(ReduceLocalLuma)            \
    EFFECT(RemoveBackground)           \
    EFFECT(ReplaceChroma)              \
    EFFECT(Segmentation)               \
    EFFECT(ShapeMask)                  \
    EFFECT(Sketch)                     \
    EFFECT(Stitcher)                   \
    EFFECT(TiltShift)                  \
    EFFECT(TintTemperature)            \
    EFFECT(Vignette)                   \
    EFFECT(WhiteBalance)

namespace Orvexa::Proc {

#define ORVEXA_DECLARE(Effect) bool Register##Effect(IEffectFactory&);  // defined in the effect's own file
ORVEXA_EFFECTS(ORVEXA_DECLARE)

}  // namespace Orvexa::Proc

/// Registers the module's effects; returns the result of the last registration.
extern "C" [[gnu::visibility("default")]] bool Registrator(Orvexa::Proc::IEffectFactory* factory) {
    using namespace Orvexa::Proc;
    bool isNew = false;
#define ORVEXA_REGISTER(Effect) isNew = Register##Effect(*factory);
    ORVEXA_EFFECTS(ORVEXA_REGISTER)
    return isNew;
}
