// Extension of textures.
#pragma once

#include <opencv2/core.hpp>

namespace Orvexa::Proc {

/// Fills `to` with the texture `from`, which stands at (left, top) in it, and around it with windows from random places
/// in it, each fading into its neighbours, so that neither seams nor mirror axes nor a period show. Both are 8-bit
/// matrices with as many channels. The texture stays as it is but for an eighth along those of its sides beyond which
/// there is room. The distribution of levels is the texture's own, in the fades, too. The same sizes give the same
/// windows.
void ExtendTexture(const cv::Mat& from, cv::Mat to, int left, int top);

}  // namespace Orvexa::Proc
