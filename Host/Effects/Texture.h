// Texture extension.
#pragma once

#include <opencv2/core.hpp>

namespace Orvexa::Proc {

/// Fills `to` with the texture `from`, placed at (left, top), and around it with windows from random places in the
/// texture, each fading into its neighbours, so that no seams, mirror axes or period are visible. Both are 8-bit
/// matrices with the same number of channels. The texture itself changes only in a strip of an eighth of its size along
/// each side beyond which there is room. The distribution of levels is that of the texture, even in the fades. The same
/// sizes give the same windows.
void ExtendTexture(const cv::Mat& from, cv::Mat to, int left, int top);

}  // namespace Orvexa::Proc
