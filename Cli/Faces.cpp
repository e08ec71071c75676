// kalvatri faces: the faces in pictures, and which belong to the same person.
#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <numeric>
#include <sstream>

#include "Cli/Catalogue.h"
#include "Cli/Commands.h"
#include "Cli/Errors.h"
#include "Cli/ProgressLine.h"
#include "Cli/ReadPicture.h"
#include "Cli/SettingsJson.h"
#include "Host/Proc/Faces.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognitionTrainer.h"

namespace Kalvatri {

using namespace Orvexa;
using Proc::Face;

namespace {

struct FoundFace {
    Face face;
    std::vector<float> descriptor;  // empty unless requested
    std::size_t person = 0;         // number, from 1
};

struct Picture {
    std::string file;
    std::uint32_t width = 0, height = 0;
    std::vector<FoundFace> faces;
};

// Identifies a face among those of all pictures.
struct FacePlace {
    Picture* picture;
    std::size_t index;

    FoundFace& Get() const { return picture->faces[index]; }
    std::string GetName() const { return picture->file + " #" + std::to_string(index + 1); }
};

std::vector<float> Describe(const Face& face, const Proc::FramePtr& frame, const FacesOptions& options,
                            const Proc::FactoryPtr& factory) {
    using Trainer = Proc::SettingsEffectFaceRecognitionTrainer;
    Proc::OneInputPtr trainer;
    factory->CreateOneInputEffect(trainer, Trainer::CLASS_ID, ImplNames::DEFAULT, {});
    trainer->SetSettings(Trainer(face, options.detection.GetModelsRoot()));
    Proc::FramePtr view = Proc::CloneFrame(*frame, Proc::kCloneView);
    trainer->ProcessData(view);
    return dynamic_cast<const Trainer&>(trainer->GetSettingsBase()).GetDescriptor();
}

Picture FindIn(const std::string& file, const FacesOptions& options, const Proc::FactoryPtr& factory) {
    const Io::LoadedImage image = ReadPicture(file, options.read, factory);
    const auto& info = image.frame->GetFrameInfo();
    Picture picture{file, info.width, info.height, {}};
    WithContext("finding faces in " + InputName(file), [&] {
        for (Face& face : Proc::FindFaces(factory, image.frame, options.detection)) {
            FoundFace found{std::move(face), {}, 0};
            if (options.areDescriptorsWanted || options.isComparing)
                found.descriptor = Describe(found.face, image.frame, options, factory);
            picture.faces.push_back(std::move(found));
        }
    });
    return picture;
}

std::vector<FacePlace> AllFaces(std::vector<Picture>& pictures) {
    std::vector<FacePlace> places;
    for (Picture& picture : pictures) {
        for (std::size_t i = 0; i < picture.faces.size(); ++i) places.push_back({&picture, i});
    }
    return places;
}

double DistanceBetween(const FacePlace& a, const FacePlace& b) {
    const std::vector<float>&x = a.Get().descriptor, &y = b.Get().descriptor;
    return std::sqrt(std::inner_product(x.begin(), x.end(), y.begin(), 0.0, std::plus<>(),
                                        [](double p, double q) { return (p - q) * (p - q); }));
}

// Numbers the persons: a face closer than the limit to any face of a person belongs to that person.
void NumberPersons(const std::vector<FacePlace>& faces, double limit) {
    std::size_t count = 0;
    for (const FacePlace& first : faces) {
        if (first.Get().person != 0) continue;
        first.Get().person = ++count;
        std::vector<FacePlace> open{first};
        while (!open.empty()) {
            const FacePlace next = open.back();
            open.pop_back();
            for (const FacePlace& other : faces) {
                if (other.Get().person != 0 || DistanceBetween(next, other) >= limit) continue;
                other.Get().person = count;
                open.push_back(other);
            }
        }
    }
}

Json ToJson(const FoundFace& found) {
    Json json = ParseJson(Proc::TextCodec<Face>::Format(found.face));
    if (!found.descriptor.empty()) json["descriptor"] = ParseJson(Proc::FormatDescriptor(found.descriptor));
    return json;
}

Json ToJson(std::vector<Picture>& pictures, const FacesOptions& options) {
    const std::vector<FacePlace> places = AllFaces(pictures);
    Json list = Json::array();
    for (Picture& picture : pictures) {
        Json faces = Json::array();
        for (std::size_t i = 0; i < picture.faces.size(); ++i) {
            Json face = ToJson(picture.faces[i]);
            if (options.isComparing) {
                face["person"] = picture.faces[i].person;
                face["distances"] = Json::array();
                for (const FacePlace& other : places) {
                    if (other.picture == &picture && other.index == i) continue;
                    face["distances"].push_back({{"file", other.picture->file},
                                                 {"face", other.index + 1},
                                                 {"distance", DistanceBetween({&picture, i}, other)}});
                }
            }
            faces.push_back(std::move(face));
        }
        list.push_back({{"file", picture.file},
                        {"width", picture.width},
                        {"height", picture.height},
                        {"faces", std::move(faces)}});
    }
    return list;
}

std::string RoundedTo2(double value) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << value;
    return text.str();
}

void Print(const Picture& picture) {
    const std::size_t count = picture.faces.size();
    std::cout << ToLine(picture.file) << ": " << (count == 0 ? "no" : std::to_string(count))
              << (count == 1 ? " face\n" : " faces\n");
    for (std::size_t i = 0; i < count; ++i) {
        const Face& face = picture.faces[i].face;
        const auto& [from, to] = face.GetFullFramePoints();
        std::cout << "  " << i + 1 << ": " << to.x - from.x << " x " << to.y - from.y << " pixels at " << from.x << ','
                  << from.y << ", score " << RoundedTo2(face.GetScore())
                  << (face.GetEyes().HasPupils() ? ", pupils seen\n" : "\n");
    }
}

void PrintComparison(std::vector<Picture>& pictures, double limit) {
    const std::vector<FacePlace> faces = AllFaces(pictures);
    for (std::size_t i = 0; i < faces.size(); ++i) {
        for (std::size_t k = i + 1; k < faces.size(); ++k) {
            const double distance = DistanceBetween(faces[i], faces[k]);
            std::cout << RoundedTo2(distance) << (distance < limit ? "  same   " : "  other  ")
                      << ToLine(faces[i].GetName()) << ", " << ToLine(faces[k].GetName()) << '\n';
        }
    }
    for (const FacePlace& face : faces)
        std::cout << "person " << face.Get().person << ": " << ToLine(face.GetName()) << '\n';
}

}  // namespace

void RunFaces(const FacesOptions& options) {
    const Proc::FactoryPtr factory = LoadEffects(options.module);
    std::vector<Picture> pictures;
    bool hasFailed = false;
    {
        ProgressLine line(!options.isQuiet && options.inputs.size() > 1);
        for (std::size_t i = 0; i < options.inputs.size(); ++i) {
            line.Show(std::to_string(i + 1) + " of " + std::to_string(options.inputs.size()));
            try {
                pictures.push_back(FindIn(options.inputs[i], options, factory));
            } catch (const CommandError& error) {
                // One bad file does not stop the others.
                line.Clear();
                std::cerr << "kalvatri: " << error.what() << '\n';
                if (options.isVerbose) std::cerr << error.GetOrigin();
                hasFailed = true;
            }
        }
    }
    if (options.isComparing) NumberPersons(AllFaces(pictures), options.limit);
    if (options.isJson) {
        std::cout << FormatJson(ToJson(pictures, options)) << '\n';
    } else {
        for (const Picture& picture : pictures) Print(picture);
        if (options.isComparing) PrintComparison(pictures, options.limit);
    }
    if (hasFailed)
        throw CommandError(ExitCode::Failed, "finding faces",
                           std::to_string(options.inputs.size() - pictures.size()) + " of " +
                               std::to_string(options.inputs.size()) + " pictures could not be used");
}

}  // namespace Kalvatri
