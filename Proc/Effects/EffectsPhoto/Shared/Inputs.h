// The pictures of effects that take many.
#pragma once

#include <string>
#include <vector>

#include "Host/Core/Exception.h"
#include "Host/Proc/IData.h"
#include "Host/Settings/Common/SettingsColorspaceConverter.h"
#include "Proc/Effects/EffectsPhoto/Shared/FormatConverter.h"

namespace Orvexa::Proc::Shared {

/// Picture number `index` of an effect's inputs; empty if there are fewer.
inline ConstFramePtr InputAt(const std::vector<DataPtr>& inputs, std::size_t index) {
    return index < inputs.size() ? boost::dynamic_pointer_cast<const IDataVideo>(inputs[index]) : ConstFramePtr();
}

/// A mask with one byte per pixel, made of the grey levels of `mask`, which must have the size of `picture`.
/// `name` is what messages call it.
inline ConstFramePtr GreyMask(const ConstFramePtr& mask, const IDataVideo& picture, const std::string& name,
                              FormatConverter& converter) {
    const FrameInfo &info = picture.GetFrameInfo(), &maskInfo = mask->GetFrameInfo();
    if (maskInfo.width != info.width || maskInfo.height != info.height) {
        Throw("The " + name + " must have the size of the picture, " + std::to_string(info.width) + " x " +
              std::to_string(info.height) + "; it has " + std::to_string(maskInfo.width) + " x " +
              std::to_string(maskInfo.height));
    }
    if (mask->GetPixFmt() == PixFmt::Gray8) return mask;
    FramePtr grey = boost::const_pointer_cast<IDataVideo>(mask);
    converter.Convert(grey, PixFmt::Gray8);
    return grey;
}

}  // namespace Orvexa::Proc::Shared
