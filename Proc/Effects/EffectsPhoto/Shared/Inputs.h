// Inputs of effects that take several pictures.
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

/// A size for messages: "640 x 480".
inline std::string SizeText(const FrameInfo& info) {
    return std::to_string(info.width) + " x " + std::to_string(info.height);
}

inline bool IsSameSize(const FrameInfo& a, const FrameInfo& b) { return a.width == b.width && a.height == b.height; }

/// Throws `EffectException` unless a frame, called `name` in messages, has the size of the picture.
inline void RequireSizeOf(const IDataVideo& picture, const IDataVideo& frame, const std::string& name) {
    if (IsSameSize(frame.GetFrameInfo(), picture.GetFrameInfo())) return;
    Throw("The " + name + " must have the size of the picture, " + SizeText(picture.GetFrameInfo()) + "; it has " +
          SizeText(frame.GetFrameInfo()));
}

/// The same for a mask that must also have one byte per pixel.
inline void RequireGreyMask(const IDataVideo& picture, const IDataVideo& mask, const std::string& name) {
    if (mask.GetPixFmt() == PixFmt::Gray8 && IsSameSize(mask.GetFrameInfo(), picture.GetFrameInfo())) return;
    Throw("The " + name + " must be grey with one byte per pixel and have the size of the picture, " +
          SizeText(picture.GetFrameInfo()) + "; it has " + SizeText(mask.GetFrameInfo()));
}

/// A mask with one byte per pixel, made from the grey levels of `mask`, which must have the size of `picture`. `name`
/// is used in messages.
inline ConstFramePtr GreyMask(const ConstFramePtr& mask, const IDataVideo& picture, const std::string& name,
                              FormatConverter& converter) {
    RequireSizeOf(picture, *mask, name);
    if (mask->GetPixFmt() == PixFmt::Gray8) return mask;
    FramePtr grey = boost::const_pointer_cast<IDataVideo>(mask);
    converter.Convert(grey, PixFmt::Gray8);
    return grey;
}

}  // namespace Orvexa::Proc::Shared
