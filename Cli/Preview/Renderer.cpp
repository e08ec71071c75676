#include "Cli/Preview/Renderer.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <tuple>
#include <utility>

#include "Cli/ChainRunner.h"
#include "Cli/Errors.h"
#include "Cli/Preview/EffectTraits.h"
#include "Cli/Preview/ReducedChain.h"
#include "Cli/Preview/ScreenSamples.h"
#include "Cli/ReadPicture.h"
#include "Host/Settings/Common/SettingsEffectPad.h"
#include "Host/Settings/Common/SettingsEffectResize.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectCreateVideo.h"

namespace Kalvatri {

using namespace Orvexa;
using Conf::FrameInfo;
using Proc::FramePtr;

namespace {

using Clock = std::chrono::steady_clock;

// For intermediate results and reduced photographs, in addition to the photograph itself.
constexpr std::size_t kCacheBytes = std::size_t{96} << 20;
// A rendering expected to take longer than kPatience is first shown coarse, with as many pixels as fit into
// kCoarseTime.
constexpr double kPatience = 0.3, kCoarseTime = 0.15;  // seconds
constexpr double kMegapixel = 1e6;
constexpr double kFewestCoarsePixels = 60000;

double SecondsSince(Clock::time_point begin) { return std::chrono::duration<double>(Clock::now() - begin).count(); }

void ThrowIfCancelled(const RenderProgressPtr& progress) {
    if (progress != nullptr && progress->IsCancelled()) throw CommandError(ExitCode::Failed, "showing", "cancelled");
}

std::uint32_t Scaled(std::uint32_t side, double scale) {
    return std::max(1u, static_cast<std::uint32_t>(std::lround(side * scale)));
}

// The size of the result as far as the settings determine it; steps that keep the size specify nothing.
FrameInfo GetResultInfo(const Chain& chain, FrameInfo info) {
    for (const Step& step : chain) {
        const Proc::Settings& settings = *step.settings;
        if (const auto* const resize = dynamic_cast<const Proc::SettingsEffectResize*>(&settings)) {
            info = resize->GetNewInfo(info);
        } else if (const auto* const pad = dynamic_cast<const Proc::SettingsEffectPad*>(&settings)) {
            const Proc::CropInfo margins = pad->GetMargins();
            info = {info.width + margins.left + margins.right, info.height + margins.top + margins.bottom};
        } else if (const auto* const plain = dynamic_cast<const Proc::SettingsEffectCreateVideo*>(&settings)) {
            info = FrameInfo(static_cast<std::uint32_t>(plain->GetWidth()),
                             static_cast<std::uint32_t>(plain->GetHeight()));
        }
    }
    return info;
}

}  // namespace

Json ToMessage(const RenderRequest& request) {
    Json message = {{"photo", request.photo}, {"chain", request.chain},   {"pictures", Json::object()},
                    {"width", request.width}, {"height", request.height}, {"isFinal", request.isFinal}};
    for (const auto& [name, file] : request.pictures) message["pictures"][name] = file;
    if (const auto& view = request.view) message["view"] = {view->x, view->y, view->width, view->height};
    return message;
}

RenderRequest AsRenderRequest(const Json& message) {
    RenderRequest request;
    request.photo = message.at("photo");
    request.chain = message.at("chain");
    for (const auto& [name, file] : message.at("pictures").items()) request.pictures[name] = file.get<std::string>();
    if (message.contains("view")) {
        const Json& view = message.at("view");
        const auto number = [&](std::size_t i) { return view.at(i).get<double>(); };
        request.view = View{number(0), number(1), number(2), number(3)};
    }
    request.width = message.at("width");
    request.height = message.at("height");
    request.isFinal = message.at("isFinal");
    return request;
}

// Data that is constant for one request.
struct Renderer::Job {
    const RenderRequest& request;
    RenderProgressPtr progress;
    Io::ImageSize photo;
    bool isOpaque;
};

// The part of the photograph on which a chain runs, and its scale.
struct Renderer::Area {
    double scale;     // exact only if 1: sides are rounded
    FrameInfo whole;  // the size of the whole photograph at that scale
    std::uint32_t x, y, width, height;

    bool IsWhole() const { return width == whole.width && height == whole.height; }
    double GetPixels() const { return static_cast<double>(width) * height; }

    static Area MakeWhole(const Io::ImageSize& photo, double areaScale) {
        const FrameInfo info(Scaled(photo.width, areaScale), Scaled(photo.height, areaScale));
        return {areaScale, info, 0, 0, info.width, info.height};
    }
    // The part under `view`, in a picture as large as the photograph, plus a margin. Its corners are aligned to chroma
    // samples.
    Area MakePart(const View& view, const Io::ImageSize& photo, int margin) const {
        constexpr double kAlignment = 16.0;
        const auto along = [&](double begin, double length, std::uint32_t side, std::uint32_t full) {
            const double ratio = static_cast<double>(side) / full;
            const double from = std::floor((begin * ratio - margin) / kAlignment) * kAlignment;
            const double to = std::ceil(((begin + length) * ratio + margin) / kAlignment) * kAlignment;
            const auto first = static_cast<std::uint32_t>(std::clamp(from, 0.0, side - 1.0));
            const auto end = static_cast<std::uint32_t>(std::clamp(to, first + 1.0, static_cast<double>(side)));
            return std::pair(first, end - first);
        };
        Area part = *this;
        std::tie(part.x, part.width) = along(view.x, view.width, whole.width, photo.width);
        std::tie(part.y, part.height) = along(view.y, view.height, whole.height, photo.height);
        return part;
    }
};

Renderer::Renderer(const Catalogue& catalogue, Proc::FactoryPtr factory, PhotoStore& photos, Io::ReadOptions options)
    : catalogue_(catalogue), factory_(std::move(factory)), photos_(photos), options_(options), cache_(kCacheBytes) {}

ChainPoint Renderer::MakePoint(const FramePtr& picture) const {
    return {0, {picture}, FaceFinder(factory_), Json::array(), {}};
}

// A picture at a smaller scale; `key` identifies it in the cache.
FramePtr Renderer::GetReduced(Job& job, const std::string& key, const std::function<FramePtr()>& read, double scale,
                              bool areLabels) {
    const std::string place = key + "@" + std::to_string(scale) + (areLabels ? "labels" : "");
    if (auto known = cache_.Find(place)) return known->pictures.front();
    FramePtr picture = Proc::CloneFrame(*read(), Proc::kCloneView);
    ThrowIfCancelled(job.progress);
    const FrameInfo& info = picture->GetFrameInfo();
    Proc::OneInputPtr resizer;
    factory_->CreateOneInputEffect(resizer, Proc::SettingsResizer::CLASS_ID, ImplNames::DEFAULT, {});
    using Methods = Proc::SettingsResizer::ResizeMethods;
    resizer->SetSettings(Proc::SettingsResizer(areLabels ? Methods::Nearest : Methods::Area,
                                               Proc::SettingsResizer::kExactSize,
                                               FrameInfo(Scaled(info.width, scale), Scaled(info.height, scale))));
    resizer->ProcessData(picture);
    cache_.Add(place, MakePoint(picture));
    return picture;
}

FramePtr Renderer::GetFurther(Job& job, const std::string& name, double scale, bool areLabels) {
    constexpr char kPhoto[] = "photo:";
    const auto read = [&]() -> FramePtr {
        const auto file = job.request.pictures.find(name);
        if (file != job.request.pictures.end()) {
            try {
                return ReadPicture(file->second, options_, factory_).frame;
            } catch (const CommandError&) {
                throw CommandError(ExitCode::Failed, "reading " + name, "it is not a picture that can be read");
            }
        }
        if (!name.starts_with(kPhoto)) ThrowUsage("reading " + name, "there is no such picture any more");
        const auto number = Proc::ParseInteger(name.substr(std::strlen(kPhoto)), 0, 1 << 30);
        return ReadPicture(photos_.GetFile(static_cast<std::size_t>(number)), options_, factory_).frame;
    };
    if (scale < 1.0) return Proc::CloneFrame(*GetReduced(job, name, read, scale, areLabels), Proc::kCloneView);
    if (auto known = cache_.Find(name)) return Proc::CloneFrame(*known->pictures.front(), Proc::kCloneView);
    const FramePtr picture = read();
    cache_.Add(name, MakePoint(picture));
    return Proc::CloneFrame(*picture, Proc::kCloneView);
}

// The part of the photograph at the beginning of the chain.
FramePtr Renderer::GetBeginning(Job& job, const Area& area) {
    const auto read = [&] { return photos_.GetPicture(job.request.photo); };
    const std::string key = "photo " + std::to_string(job.request.photo);
    FramePtr picture = Proc::CloneFrame(*(area.scale < 1.0 ? GetReduced(job, key, read, area.scale, false) : read()),
                                        Proc::kCloneView);
    if (!area.IsWhole()) picture->Crop(area.x, area.y, area.width, area.height);
    return picture;
}

double Renderer::EstimateSeconds(const Chain& chain, std::size_t firstStep, double pixels) {
    const std::lock_guard lock(mutex_);
    double seconds = 0;
    for (std::size_t i = firstStep; i < chain.size(); ++i) {
        const auto measured = measured_.find(chain[i].effect->GetName());
        seconds += measured == measured_.end() ? GetTraits(*chain[i].effect).seconds : measured->second;
    }
    return seconds * pixels / kMegapixel;
}

// Small pictures are poor predictors of an effect's cost per pixel.
void Renderer::Measure(const EffectEntry& effect, double seconds, double pixels) {
    constexpr double kFewestPixels = 2e5;
    if (pixels < kFewestPixels) return;
    const std::lock_guard lock(mutex_);
    const double now = seconds / (pixels / kMegapixel);
    const auto [known, isNew] = measured_.emplace(effect.GetName(), now);
    if (!isNew) known->second = (known->second + now) / 2;  // damped, since the machine may only be busy at the moment
}

std::string Renderer::GetKey(const Job& job, const Area& area, std::size_t steps) const {
    const Json place = {job.request.photo, area.whole.width, area.x, area.y, area.width, area.height};
    Json prefix(job.request.chain.begin(), job.request.chain.begin() + static_cast<std::ptrdiff_t>(steps));
    return place.dump() + prefix.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::size_t Renderer::CountKnownSteps(const Job& job, const Area& area) {
    std::size_t steps = job.request.chain.size();
    while (steps > 0 && !cache_.Find(GetKey(job, area, steps))) --steps;
    return steps;
}

ChainPoint Renderer::Run(Job& job, const Area& area) {
    const std::size_t known = CountKnownSteps(job, area);
    std::optional<ChainPoint> point;
    if (known > 0) point = cache_.Find(GetKey(job, area, known));
    const bool isKnown = point && known == job.request.chain.size();
    if (isKnown) return *std::move(point);
    const FramePtr beginning = GetBeginning(job, area);
    if (!point) point = MakePoint(beginning);
    if (job.request.chain.empty()) return *std::move(point);

    const Chain chain = MakeReducedChain(catalogue_, job.request.chain, area.scale);
    CheckPictures(chain, 1);
    const auto isLabels = [&](const Core::ioPath& name) {
        return std::any_of(chain.begin(), chain.end(), [&](const Step& step) {
            return GetTraits(*step.effect).further == EffectTraits::Reduction::Labels &&
                   std::find(step.with.begin(), step.with.end(), name) != step.with.end();
        });
    };
    const auto read = [&](const Core::ioPath& name) {
        return GetFurther(job, name.string(), area.scale, isLabels(name));
    };
    std::optional<ChainPoint> last;
    Clock::time_point begin = Clock::now();
    const auto afterStep = [&](const ChainPoint& now) {
        Measure(*chain[now.stepsDone - 1].effect, SecondsSince(begin), area.GetPixels());
        cache_.Add(GetKey(job, area, now.stepsDone), now);
        last = now;
        begin = Clock::now();
    };
    ChainRunner runner(factory_, chain, read, job.progress,
                       {photos_.GetFile(job.request.photo), false, point->stepsDone, afterStep});
    runner.Resume(*std::move(point), beginning);
    return *std::move(last);
}

Rendering Renderer::Render(const RenderRequest& request, const RenderProgressPtr& progress) {
    const Clock::time_point begin = Clock::now();
    const PhotoInfo photo = photos_.GetInfo(request.photo);
    Job job{request, progress, photo.size, photo.isOpaque};
    const Chain chain = ParseChain(catalogue_, request.chain);
    FrameInfo result = GetResultInfo(chain, {job.photo.width, job.photo.height});
    const auto fit = [&](const FrameInfo& info) {
        return std::min(
            {1.0, static_cast<double>(request.width) / info.width, static_cast<double>(request.height) / info.height});
    };
    const double zoom = request.view ? request.width / request.view->width : fit(result);
    const double scale = std::min(1.0, zoom);

    const auto makeArea = [&](double areaScale) {
        const Area whole = Area::MakeWhole(job.photo, areaScale);
        const std::optional<int> margin = request.view ? GetMargin(chain, job.isOpaque) : std::nullopt;
        return margin ? whole.MakePart(*request.view, job.photo, *margin) : whole;
    };
    Area area = makeArea(scale);
    const double seconds = EstimateSeconds(chain, CountKnownSteps(job, area), area.GetPixels());
    const double coarser = std::sqrt(std::max(kCoarseTime / seconds, kFewestCoarsePixels / area.GetPixels()));
    const bool isCoarse = !request.isFinal && seconds > kPatience && coarser < 0.9;
    if (isCoarse) area = makeArea(scale * coarser);

    const ChainPoint point = Run(job, area);
    ThrowIfCancelled(progress);
    const FramePtr shown = Proc::CloneFrame(*point.pictures.front(), Proc::kCloneView);
    const FrameInfo shownInfo = shown->GetFrameInfo();
    // The size of some steps' results is known only once they have run.
    const auto isAbout = [&](std::uint32_t full, std::uint32_t got) {
        return std::abs(full * area.scale - got) <= 2.0;
    };
    if (area.IsWhole() && (!isAbout(result.width, shownInfo.width) || !isAbout(result.height, shownInfo.height)))
        result = {Scaled(shownInfo.width, 1 / area.scale), Scaled(shownInfo.height, 1 / area.scale)};

    View view =
        request.view.value_or(View{0, 0, static_cast<double>(result.width), static_cast<double>(result.height)});
    std::uint32_t width = request.width, height = request.height;
    if (!request.view) {
        width = Scaled(result.width, fit(result));
        height = Scaled(result.height, fit(result));
        const bool isOfScreen = std::abs(static_cast<double>(width) - shownInfo.width) <= 1 &&
                                std::abs(static_cast<double>(height) - shownInfo.height) <= 1;
        if (isOfScreen) std::tie(width, height) = std::pair(shownInfo.width, shownInfo.height);
    }
    // From full-size pixels of the result to pixels of the area.
    const double ratioX = area.IsWhole() ? static_cast<double>(shownInfo.width) / result.width
                                         : static_cast<double>(area.whole.width) / job.photo.width;
    const double ratioY = area.IsWhole() ? static_cast<double>(shownInfo.height) / result.height
                                         : static_cast<double>(area.whole.height) / job.photo.height;
    const ScreenGrid grid{view.x * ratioX - area.x,
                          view.y * ratioY - area.y,
                          view.width * ratioX / width,
                          view.height * ratioY / height,
                          width,
                          height};
    Rendering rendering;
    rendering.pixels = SampleForScreen(factory_, shown, grid, isCoarse || grid.stepX > 1.01);

    Json approximate = Json::array();
    for (const Step& step : chain) {
        const EffectTraits& traits = GetTraits(*step.effect);
        if (area.scale < 1.0 && !traits.approximation.empty())
            approximate.push_back(step.effect->GetName() + ": " + std::string(traits.approximation));
    }
    Json notes = point.notes;
    if (point.pictures.size() > 1)
        notes.push_back("the chain gives " + std::to_string(point.pictures.size()) +
                        " pictures; this is the first of them");
    rendering.head = {{"width", result.width},
                      {"height", result.height},
                      {"outWidth", width},
                      {"outHeight", height},
                      {"isApproximate", !approximate.empty()},
                      {"approximate", std::move(approximate)},
                      {"isCoarse", isCoarse},
                      {"histogram", CountLevels(rendering.pixels)},
                      {"notes", std::move(notes)},
                      {"findings", point.findings},
                      {"ms", static_cast<int>(std::lround(SecondsSince(begin) * 1000))}};
    return rendering;
}

}  // namespace Kalvatri
