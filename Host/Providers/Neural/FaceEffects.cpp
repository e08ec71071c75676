// The sub-effects that detect and describe faces. Both leave the frame unchanged and store the results in their
// settings.

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>

#include "Host/Core/Exception.h"
#include "Host/Core/Threads.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Providers/Neural/FaceRecord.h"
#include "Host/Providers/Neural/Inference.h"
#include "Host/Providers/Neural/NeuralEffects.h"
#include "Host/Settings/Photo/SettingsEffectFaceDetection.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognitionTrainer.h"

namespace Orvexa::Proc::Neural {

namespace {

std::int64_t AreaOf(const Face& face) {
    const auto& [from, to] = face.GetFullFramePoints();
    return std::int64_t{to.x - from.x} * (to.y - from.y);
}

class FaceDetection : public HostOneInput<SettingsEffectFaceDetection> {
public:
    using HostOneInput::HostOneInput;

protected:
    const std::string& GetImplName() const override { return ImplPhotoNames::OPENCV; }

    void Process(FramePtr& frame) override {
        settings_.SetFaces({});
        const double minFace = settings_.GetMinFace();
        if (!(minFace > 0)) Throw("Faces to look for must have a size above 0!");
        const FaceModels models{FindModel(settings_.GetModelsRoot(), FaceNet::Detector),
                                FindModel(settings_.GetModelsRoot(), FaceNet::Landmarks)};
        const FacePicture picture(frame, DetectionSide(minFace), factory_, allocator_);
        std::vector<Face> faces;
        for (const FoundFace& found : FindFaces(models, picture, minFace, settings_.GetThreshold()))
            faces.push_back(MakeFace(found, picture));
        std::stable_sort(faces.begin(), faces.end(),
                         [](const Face& a, const Face& b) { return AreaOf(a) > AreaOf(b); });
        settings_.SetFaces(std::move(faces));
    }
};

// The square in which the network expects the face: eyes level, with the size given by the distance of the eyes from
// the mouth.
FaceSquare SquareOf(const Face& face) {
    constexpr double kReach = 0.42;        // mean distance of the eyes from the mouth, relative to the square's side
    const cv::Point2d kMiddle(0.5, 0.43);  // of eyes and mouth, in the square
    const auto sum = [](const Contour& contour) {
        cv::Point2d all;
        for (const Point<int>& point : contour) all += cv::Point2d(point.x + 0.5, point.y + 0.5);
        return all;
    };
    const Contour &first = face.GetEyes().GetFirst().GetContour(), &second = face.GetEyes().GetSecond().GetContour(),
                  &outer = face.GetMouth().GetOuter().GetContour(), &inner = face.GetMouth().GetInner().GetContour();
    if (face.IsEmpty()) Throw("There is no face to describe!");
    if (first.empty() || second.empty() || outer.empty())
        Throw("The face cannot be described: it must have two eyes and a mouth!");
    const cv::Point2d left = sum(first) / static_cast<double>(first.size()),
                      right = sum(second) / static_cast<double>(second.size()),
                      mouth = (sum(outer) + sum(inner)) / static_cast<double>(outer.size() + inner.size()),
                      eyes = right - left;
    const double reach = (cv::norm(mouth - left) + cv::norm(mouth - right)) / 2;
    if (!(reach >= 1)) Throw("The face cannot be described: its eyes and its mouth are at the same place!");
    FaceSquare square{(left + right + mouth) / 3, reach / kReach, std::atan2(eyes.y, eyes.x)};
    square.center = square.At(cv::Point2d(1, 1) - kMiddle);
    return square;
}

class FaceRecognitionTrainer : public HostOneInput<SettingsEffectFaceRecognitionTrainer> {
public:
    using HostOneInput::HostOneInput;

protected:
    const std::string& GetImplName() const override { return ImplPhotoNames::OPENCV; }

    void Process(FramePtr& frame) override {
        settings_.SetDescriptor({});
        const FaceSquare square = SquareOf(settings_.GetFace());
        const FrameInfo& info = frame->GetFrameInfo();
        CheckInside(settings_.GetFace(), info.width, info.height);
        const Model model = FindModel(settings_.GetModelsRoot(), FaceNet::Descriptor);
        if (model.width != model.height) Throw("The model " + model.file.string() + " must take a square!");
        const FacePicture picture(frame, 0, factory_, allocator_);
        const cv::Mat values = InferPicture(model, picture.Cut(square, static_cast<int>(model.width)));
        settings_.SetDescriptor({values.ptr<float>(), values.ptr<float>() + values.total()});
    }
};

}  // namespace

OneInputPtr CreateFaceDetection(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<FaceDetection>(factory, allocator);
}
OneInputPtr CreateFaceRecognitionTrainer(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<FaceRecognitionTrainer>(factory, allocator);
}

}  // namespace Orvexa::Proc::Neural
