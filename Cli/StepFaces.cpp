#include "Cli/StepFaces.h"

#include <algorithm>
#include <charconv>

#include "Cli/Errors.h"

namespace Kalvatri {

using namespace Orvexa;
using Core::Json;
using Proc::Face;

namespace {

constexpr char kFace[] = "face", kFaces[] = "faces", kFile[] = "file", kWidth[] = "width", kHeight[] = "height";

bool HasField(const Proc::Settings& settings, std::string_view key) {
    const Proc::FieldList& fields = settings.GetFields();
    return std::any_of(fields.begin(), fields.end(), [&](const Proc::Field& field) { return field.key == key; });
}

bool IsPicture(const Json& json) { return json.is_object() && json.contains(kFaces); }

std::uint32_t SideOf(const Json& picture, const char* key) {
    const Json side = picture.value(key, Json(0u));
    if (!side.is_number_unsigned() || side > 1 << 17)
        Throw<Proc::SettingsException>(std::string(key) + ": expected a size in pixels");
    return side.get<std::uint32_t>();
}

PictureFaces PictureOf(const Json& json) {
    if (!IsPicture(json))
        Throw<Proc::SettingsException>("expected pictures with \"faces\", as `kalvatri faces --json` prints them");
    const Json file = json.value(kFile, Json(""));
    if (!file.is_string()) Throw<Proc::SettingsException>("\"file\": expected the name of a file");
    return {file.get<std::string>(), SideOf(json, kWidth), SideOf(json, kHeight),
            Proc::TextCodec<std::vector<Face>>::Parse(json.at(kFaces).dump())};
}

// Accepts several pictures with faces, one such picture, several faces or one face.
std::vector<PictureFaces> PicturesOf(const Json& json) {
    std::vector<PictureFaces> pictures;
    if (IsPicture(json)) {
        pictures.push_back(PictureOf(json));
    } else if (json.is_array() && !json.empty() && IsPicture(json.front())) {
        for (const Json& picture : json) pictures.push_back(PictureOf(picture));
    } else {
        const Json faces = json.is_array() ? json : Json::array({json});
        pictures.push_back({"", 0, 0, Proc::TextCodec<std::vector<Face>>::Parse(faces.dump())});
    }
    return pictures;
}

std::vector<PictureFaces> ReadFaces(const std::string& file) {
    const std::string reading = "reading " + file;
    const std::string text = WithContext(reading, [&] { return Core::ReadJsonText(Core::ioPath(file)); });
    return WithContext(reading, ExitCode::WrongUsage, [&] { return PicturesOf(Core::ParseJson(text)); });
}

std::string NameOf(const std::string& file) { return Core::ioPath(file).filename().string(); }

// The entry for a picture: the only one, the one with the file's path, or the one with the file's name.
const PictureFaces& FindPicture(const std::vector<PictureFaces>& pictures, const std::string& file) {
    if (pictures.size() == 1) return pictures.front();
    auto found = std::find_if(pictures.begin(), pictures.end(), [&](const auto& any) { return any.file == file; });
    if (found == pictures.end())
        found = std::find_if(pictures.begin(), pictures.end(),
                             [&](const auto& any) { return NameOf(any.file) == NameOf(file); });
    if (found == pictures.end()) Throw("None of the faces given are of " + file + "!");
    return *found;
}

std::vector<Face> GivenFaces(const std::vector<PictureFaces>& pictures, const Conf::FrameInfo& info,
                             const std::string& file) {
    const PictureFaces& picture = FindPicture(pictures, file);
    const auto sizeText = [](std::uint32_t width, std::uint32_t height) {
        return std::to_string(width) + " x " + std::to_string(height);
    };
    const bool isSized = picture.width > 0 && picture.height > 0;
    if (isSized && (picture.width != info.width || picture.height != info.height))
        Throw("The faces given are of a picture of " + sizeText(picture.width, picture.height) + " pixels, not of " +
              sizeText(info.width, info.height) + "!");
    for (const Face& face : picture.faces) Proc::CheckInside(face, info.width, info.height);
    return picture.faces;
}

}  // namespace

bool TakeFaceWord(FaceChoice& choice, const Proc::Settings& settings, std::string_view key, const std::string& value) {
    if ((key != kFace && key != kFaces) || dynamic_cast<const Proc::FaceSettings*>(&settings) == nullptr) return false;
    const bool isNumber = !value.empty() && value.find_first_not_of("0123456789") == std::string::npos;
    const bool isJson = value.starts_with('[') || value.starts_with('{');
    if (key == kFace && isNumber) {
        constexpr int kMaxNumber = 1000;
        const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), choice.number);
        if (error != std::errc() || choice.number < 1 || choice.number > kMaxNumber)
            Throw<Proc::SettingsException>("face: " + value + " is not in the range 1.." + std::to_string(kMaxNumber));
        return true;
    }
    if ((isJson || value.empty()) && HasField(settings, key)) return false;
    if (key == kFace && !isJson) {
        Throw<Proc::SettingsException>("face: \"" + value +
                                       "\" is neither the number of a face, 1 for the largest, nor a face as "
                                       "`kalvatri faces --json` prints it");
    }
    choice.given = isJson ? PicturesOf(Core::ParseJson(value)) : ReadFaces(value);
    return true;
}

void AddToJson(const FaceChoice& choice, Json& step) {
    if (choice.number > 0) step[kFace] = choice.number;
    for (const PictureFaces& picture : choice.given) {
        step[kFaces].push_back(
            {{kFile, picture.file},
             {kWidth, picture.width},
             {kHeight, picture.height},
             {kFaces, picture.faces.empty() ? Json::array()
                                            : Json::parse(Proc::TextCodec<std::vector<Face>>::Format(picture.faces))}});
    }
}

std::vector<Face> FaceFinder::GetFaces(const FaceChoice& choice, const Proc::FaceSettings& settings,
                                       const Proc::FramePtr& frame, const std::string& file) {
    std::vector<Face> faces;
    if (!choice.given.empty()) {
        faces = GivenFaces(choice.given, frame->GetFrameInfo(), file);
    } else {
        const Core::ioPath modelsRoot = settings.GetFaceModelsRoot();
        if (!faces_ || modelsRoot != modelsRoot_) {
            faces_ = Proc::FindFaces(factory_, frame, Proc::SettingsEffectFaceDetection(modelsRoot));
            modelsRoot_ = modelsRoot;
        }
        faces = *faces_;
    }
    if (choice.number == 0) return faces;
    if (choice.number > faces.size()) return {};
    return {faces[choice.number - 1]};
}

}  // namespace Kalvatri
