// The groups under which effects are listed.
#pragma once

namespace Orvexa::Proc::Groups {

inline constexpr char kTone[] = "Tone and colour";
inline constexpr char kStylise[] = "Blur, stylise and generators";
inline constexpr char kBasics[] = "Basics";
inline constexpr char kSegmentation[] = "Segmentation, matting and tiling";
inline constexpr char kFaces[] = "Faces";
inline constexpr char kNeural[] = "Neural networks";
inline constexpr char kHost[] = "Host";  ///< sub-effects, which are not listed

}  // namespace Orvexa::Proc::Groups
