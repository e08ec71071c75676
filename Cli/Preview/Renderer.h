// Computes what a preview shows: the result of a chain on a photograph, or the visible part of it, at screen
// resolution.
//
// Below 100 percent the chain runs on a reduced photograph, at 100 percent and above on the photograph itself. If the
// result of the steps depends only on each pixel's neighbourhood (`EffectTraits`), they run on the visible part.
// Intermediate results are cached, so that changing a step does not rerun the steps before it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Cli/Chain.h"
#include "Cli/Preview/FrameCache.h"
#include "Cli/Preview/PhotoStore.h"
#include "Host/Core/Progress.h"

namespace Kalvatri {

/// A rectangle of the result, in full-size pixels.
struct View {
    double x = 0, y = 0, width = 0, height = 0;
};

struct RenderRequest {
    std::size_t photo = 0;
    Json chain = Json::array();                   ///< as in a settings file; further pictures are keys of `pictures`
    std::map<std::string, std::string> pictures;  ///< files of further pictures
    std::optional<View> view;                     ///< none: the whole result, fitted into the size below
    std::uint32_t width = 0, height = 0;          ///< of the requested picture
    bool isFinal = false;                         ///< must not be coarse
};
Json ToMessage(const RenderRequest& request);
RenderRequest AsRenderRequest(const Json& message);

struct Rendering {
    Json head;                         ///< sent to the page together with the pixels
    std::vector<std::uint8_t> pixels;  ///< RGBA, row by row
};

/// Allows a rendering to be cancelled.
class RenderProgress : public Orvexa::Core::IProgressController {
public:
    void SetStage(std::string_view) override {}
    void SetTotal(std::uint64_t) override {}
    void Finish() override {}
    void Step(std::uint64_t) override {}
    bool IsCancelled() const override { return isCancelled_.load(std::memory_order_relaxed); }
    void Cancel() { isCancelled_ = true; }

private:
    std::atomic<bool> isCancelled_ = false;
};
using RenderProgressPtr = boost::intrusive_ptr<RenderProgress>;

/// Thread safe.
class Renderer {
public:
    /// The references must outlive the object.
    Renderer(const Catalogue& catalogue, Orvexa::Proc::FactoryPtr factory, PhotoStore& photos,
             Orvexa::Io::ReadOptions options);

    /// Failures throw `CommandError`, and so does cancellation.
    Rendering Render(const RenderRequest& request, const RenderProgressPtr& progress);

private:
    struct Job;
    struct Area;

    Orvexa::Proc::FramePtr GetReduced(Job& job, const std::string& key,
                                      const std::function<Orvexa::Proc::FramePtr()>& read, double scale,
                                      bool areLabels);
    Orvexa::Proc::FramePtr GetFurther(Job& job, const std::string& name, double scale, bool areLabels);
    Orvexa::Proc::FramePtr GetBeginning(Job& job, const Area& area);
    ChainPoint MakePoint(const Orvexa::Proc::FramePtr& picture) const;
    double EstimateSeconds(const Chain& chain, std::size_t firstStep, double pixels);
    void Measure(const EffectEntry& effect, double seconds, double pixels);
    ChainPoint Run(Job& job, const Area& area);
    std::string GetKey(const Job& job, const Area& area, std::size_t steps) const;
    std::size_t CountKnownSteps(const Job& job, const Area& area);

    const Catalogue& catalogue_;
    const Orvexa::Proc::FactoryPtr factory_;
    PhotoStore& photos_;
    const Orvexa::Io::ReadOptions options_;
    FrameCache cache_;
    std::mutex mutex_;                        // guards the members below
    std::map<std::string, double> measured_;  // seconds per megapixel, by effect
};

}  // namespace Kalvatri
