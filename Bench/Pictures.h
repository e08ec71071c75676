// Pictures to measure with, and the module under measurement.
#pragma once

#include <functional>
#include <opencv2/core.hpp>

#include "Host/Proc/EffectFactory.h"
#include "Host/Proc/VideoFrame.h"

namespace Orvexa::Bench {

using namespace Proc;

inline constexpr FrameInfo k24Megapixels(6000, 4000);

/// A host factory with the module loaded.
FactoryPtr LoadedFactory(AllocatorPtr allocator);
/// One allocator with its pool, and its factory, for all benchmarks of a program.
const AllocatorPtr& BenchAllocator();
const FactoryPtr& BenchFactory();

/// Smooth with some noise, as photographs are; 24 megapixels, all planes.
FramePtr Photograph(const AllocatorPtr& allocator, PixFmt pixFmt);

/// An effect of one picture with these settings, by its default implementation.
OneInputPtr MakeEffect(const Settings& settings, const FactoryPtr& factory = BenchFactory());
/// Runs such an effect on a picture that others see, again and again; it keeps what it made for the frame before.
std::function<void()> RunOf(const Settings& settings, const FramePtr& photo);

/// Plane 0 as a matrix that shares its memory.
cv::Mat View(const FramePtr& frame, int type);

/// The benchmarks of the tone effects, of blurs, stylise filters, warps and tiling, of effects made of several steps,
/// and of the face effects.
void AddTone();
void AddStylise();
void AddComposites();
void AddFaces();

}  // namespace Orvexa::Bench
