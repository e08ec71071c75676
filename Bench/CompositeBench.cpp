// Effects made of several steps beside the bare steps of a library, one thread each, 24 megapixels.

#include <Magick++.h>

#include <cmath>
#include <numbers>
#include <opencv2/imgproc.hpp>
#include <opencv2/ximgproc/edge_filter.hpp>

#include "Bench/Pictures.h"
#include "Bench/Ratios.h"
#include "Host/Settings/Common/SettingsEffectBlur.h"
#include "Host/Settings/Common/SettingsEffectGuidedFilter.h"
#include "Host/Settings/Photo/SettingsEffectAutoEnhance.h"
#include "Host/Settings/Photo/SettingsEffectDetailsEnhance.h"
#include "Host/Settings/Photo/SettingsEffectMatting.h"
#include "Host/Settings/Photo/SettingsEffectRemoveBackground.h"
#include "Host/Settings/Photo/SettingsEffectReplaceChroma.h"

namespace Orvexa::Bench {
namespace {

// The same steps on matrices: luma apart, local contrast, gamma, and the result laid over by a mask of the mid-tones.
std::function<void()> LocalContrast(const FramePtr& photo) {
    cv::Mat gamma(1, 256, CV_8U), midTones(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i) {
        gamma.at<std::uint8_t>(i) = cv::saturate_cast<std::uint8_t>(255 * std::pow(i / 255.0, 1.13));
        midTones.at<std::uint8_t>(i) = static_cast<std::uint8_t>(i < 128 ? 2 * i : 2 * (255 - i));
    }
    return [photo = View(photo, CV_8UC3), gamma, midTones, clahe = cv::createCLAHE(1.5, {8, 8})] {
        cv::Mat luma, planes[3], mask, result;
        cv::cvtColor(photo, luma, cv::COLOR_RGB2YCrCb);
        cv::split(luma, planes);
        cv::LUT(planes[0], midTones, mask);
        clahe->apply(planes[0], planes[0]);
        cv::merge(planes, 3, luma);
        cv::cvtColor(luma, luma, cv::COLOR_YCrCb2RGB);
        cv::LUT(luma, gamma, luma);
        cv::Mat weights;
        cv::merge(std::vector<cv::Mat>(3, mask), weights);
        result = photo.clone();
        cv::Mat difference;
        cv::subtract(luma, photo, difference, cv::noArray(), CV_16S);
        cv::multiply(difference, weights, difference, 1 / 255.0, CV_16S);
        cv::add(result, difference, result, cv::noArray(), CV_8U);
        benchmark::DoNotOptimize(result.data);
    };
}

std::function<void()> EnhanceWithMagick(const FramePtr& photo) {
    std::vector<std::uint8_t> pixels;
    const Plane plane = photo->GetPlane(0);
    for (std::uint64_t y = 0; y < plane.GetHeight(); ++y)
        pixels.insert(pixels.end(), plane.GetRow(y), plane.GetRow(y) + plane.GetWidth());
    const Magick::Image source(k24Megapixels.width, k24Megapixels.height, "RGB", Magick::CharPixel, pixels.data());
    return [source] {
        Magick::Image image = source;
        MagickCore::ExceptionInfo* failure = MagickCore::AcquireExceptionInfo();
        image.replaceImage(MagickCore::LocalContrastImage(image.constImage(), 10, 50, failure));
        MagickCore::DestroyExceptionInfo(failure);
        image.gamma(1.1);
        image.normalize();
        benchmark::DoNotOptimize(image.constImage());
    };
}

// Only what is near the colour, by its range in Lab.
std::function<void()> RecolorRange(const FramePtr& photo) {
    return [photo = View(photo, CV_8UC3)] {
        cv::Mat lab, mask, soft, result = photo.clone();
        cv::cvtColor(photo, lab, cv::COLOR_RGB2Lab);
        cv::inRange(lab, cv::Scalar(60, 110, 110), cv::Scalar(200, 150, 150), mask);
        cv::GaussianBlur(mask, soft, {0, 0}, 2);
        cv::Mat plain(photo.size(), CV_8UC3, cv::Scalar(150, 105, 60));
        plain.copyTo(result, soft);
        benchmark::DoNotOptimize(result.data);
    };
}

void AddCutOut(const FramePtr& photo) {
    const FramePtr mask = NewFrame(BenchAllocator(), PixFmt::Gray8, k24Megapixels);
    cv::Mat shape = View(mask, CV_8U);
    shape = 0;
    cv::ellipse(shape, {3000, 2000}, {2600, 1800}, 0, 0, 360, 255, cv::FILLED);
    SettingsEffectRemoveBackground settings;
    settings.SetSmooth(4);
    VarInputPtr effect;
    BenchFactory()->CreateVarInputEffect(effect, settings.GetClassId(), ImplNames::ORVEXA, {});
    effect->SetSettings(settings);
    AddPair(
        "RemoveBackground, smooth 4", "four cv::erode, cv::GaussianBlur", 1 / 1.5,
        [effect, photo, mask] {
            std::vector<DataPtr> frames{photo, mask};
            benchmark::DoNotOptimize(effect->Process(frames).get());
        },
        [shape] {
            cv::Mat eroded = shape, soft;
            for (int i = 0; i < 4; ++i) cv::erode(eroded, eroded, cv::Mat());
            cv::GaussianBlur(eroded, soft, {0, 0}, 1);
            benchmark::DoNotOptimize(soft.data);
        });
}

void AddGuidedFilter(const FramePtr& photo) {
    const FramePtr guide = NewFrame(BenchAllocator(), PixFmt::Gray8, k24Megapixels);
    cv::cvtColor(View(photo, CV_8UC3), View(guide, CV_8U), cv::COLOR_RGB2GRAY);
    SettingsEffectGuidedFilter settings;
    settings.SetRadius(30);
    settings.SetEpsilon(0.01);
    TwoInputPtr effect;
    BenchFactory()->CreateTwoInputEffect(effect, settings.GetClassId(), ImplNames::HOST, {});
    effect->SetSettings(settings);
    AddPair(
        "guided filter, grey, radius 30", "cv::ximgproc::guidedFilter", 1.0,
        [effect, guide] {
            FramePtr frame = guide;
            effect->ProcessData(frame, ConstFramePtr(guide));
            benchmark::DoNotOptimize(frame->GetPlane(0).GetData());
        },
        [guide = View(guide, CV_8U)] {
            cv::Mat result;
            cv::ximgproc::guidedFilter(guide, guide, result, 30, 0.01 * 255 * 255);
            benchmark::DoNotOptimize(result.data);
        },
        2);
}

// A disc whose edge is unknown: 15 % of the picture.
std::function<void()> MattingOf(const FramePtr& photo, std::uint32_t width, std::uint32_t height, int times) {
    const FramePtr picture = NewFrame(BenchAllocator(), PixFmt::Rgb24, FrameInfo(width, height)),
                   trimap = NewFrame(BenchAllocator(), PixFmt::Gray8, FrameInfo(width, height));
    cv::Mat pixels = View(picture, CV_8UC3);
    cv::resize(View(photo, CV_8UC3), pixels, pixels.size(), 0, 0, cv::INTER_AREA);
    const cv::Point middle(static_cast<int>(width / 2), static_cast<int>(height / 2));
    const double radius = 0.3 * std::sqrt(width * static_cast<double>(height)),
                 band = 0.15 / (2 * std::numbers::pi * 0.3 * 0.3) * radius;
    cv::Mat shape = View(trimap, CV_8U);
    shape = 0;
    cv::circle(shape, middle, static_cast<int>(radius), 255, cv::FILLED);
    cv::circle(shape, middle, static_cast<int>(radius), 128, static_cast<int>(band));
    VarInputPtr effect;
    BenchFactory()->CreateVarInputEffect(effect, SettingsEffectMatting::CLASS_ID, ImplNames::ORVEXA, {});
    effect->SetSettings(SettingsEffectMatting());
    return [effect, picture, trimap, times] {
        for (int i = 0; i < times; ++i) {
            std::vector<DataPtr> frames{picture, trimap};
            benchmark::DoNotOptimize(effect->Process(frames).get());
        }
    };
}

}  // namespace

void AddComposites() {
    const FramePtr photo = Photograph(BenchAllocator(), PixFmt::Rgb24);
    AddPair("DetailsEnhance", "cv::CLAHE, cv::LUT and a blend", 1 / 1.3, RunOf(SettingsEffectDetailsEnhance(), photo),
            LocalContrast(photo));
    AddPair("AutoEnhance", "Magick++ local contrast, gamma, normalize", 5, RunOf(SettingsEffectAutoEnhance(), photo),
            EnhanceWithMagick(photo), 1);
    SettingsEffectReplaceChroma replacing;
    replacing.SetUseBaseColor(true);
    replacing.SetBaseColor(Color(140, 120, 110));
    AddPair("ReplaceChroma by a base colour", "Lab, cv::inRange, blur, masked copy", 1, RunOf(replacing, photo),
            RecolorRange(photo));
    AddCutOut(photo);
    AddGuidedFilter(photo);
    AddPair("Matting, 2 megapixels, 15 % unknown", "0.5 megapixels, four times", 1, MattingOf(photo, 1732, 1155, 1),
            MattingOf(photo, 866, 577, 4));
    for (const double deviation : {1.0, 3.0, 10.0}) {
        SettingsEffectBlur blur(1);
        blur.SetDevX(deviation);
        blur.SetDevY(deviation);
        AddPair("Gaussian blur, deviation " + std::to_string(static_cast<int>(deviation)), "cv::GaussianBlur", 0.8,
                RunOf(blur, photo), [photo = View(photo, CV_8UC3), deviation] {
                    cv::Mat result;
                    const int side = 2 * static_cast<int>(std::lround(3 * deviation)) + 1;
                    cv::GaussianBlur(photo, result, {side, side}, deviation);
                    benchmark::DoNotOptimize(result.data);
                });
    }
}

}  // namespace Orvexa::Bench
