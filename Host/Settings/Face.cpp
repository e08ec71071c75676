#include "Host/Settings/Photo/Face.h"

#include <algorithm>
#include <charconv>

#include "Host/Core/Exception.h"
#include "Host/Core/Json.h"
#include "Host/Settings/Photo/SettingsEffectFaceRecognition.h"

namespace Orvexa::Proc {

using Core::Json;

namespace {

// An ellipse is fitted to an eye using its points 0 and 3.
constexpr std::size_t kMinEyePoints = 4;
constexpr int kMaxCoordinate = 1 << 17;  // no picture has a longer side
// Optional members of a face besides its contours.
constexpr const char* kExtraKeys[] = {"score", "pupils", "descriptor"};

[[noreturn]] void Refuse(const std::string& what, const std::string& expected) {
    Throw<SettingsException>(what + ": expected " + expected);
}

Json PointToJson(const Point<int>& point) { return Json::array({point.x, point.y}); }

Json ContourToJson(const FaceItemBase& item) {
    Json points = Json::array();
    for (const Point<int>& point : item.GetContour()) points.push_back(PointToJson(point));
    return points;
}

template <class Pair>
Json PairToJson(const Pair& first, const Pair& second) {
    return Json::array({ContourToJson(first), ContourToJson(second)});
}

int CoordinateOf(const Json& json, const std::string& what) {
    if (!json.is_number()) Refuse(what, "whole numbers, not " + json.dump());
    const double value = json.get<double>();
    if (value != static_cast<int>(std::clamp<double>(value, -kMaxCoordinate, kMaxCoordinate)))
        Refuse(what, "whole numbers in the range " + std::to_string(-kMaxCoordinate) + ".." +
                         std::to_string(kMaxCoordinate) + ", not " + json.dump());
    return static_cast<int>(value);
}

Point<int> PointOf(const Json& json, const std::string& what) {
    if (!json.is_array() || json.size() != 2) Refuse(what, "points of the form [x, y]");
    return {CoordinateOf(json[0], what), CoordinateOf(json[1], what)};
}

Contour ContourOf(const Json& json, const std::string& what, std::size_t minPoints = 1) {
    if (!json.is_array() || json.size() < minPoints)
        Refuse(what,
               minPoints == 1 ? "one or more points [x, y]" : std::to_string(minPoints) + " or more points [x, y]");
    Contour contour;
    for (const Json& point : json) contour.push_back(PointOf(point, what));
    return contour;
}

const Json& MemberOf(const Json& face, const char* key) {
    const auto found = face.find(key);
    if (found == face.end()) Refuse("the face", std::string("the key \"") + key + "\"");
    return *found;
}

std::array<Contour, 2> ContourPairOf(const Json& json, const std::string& what, std::size_t minPoints = 1) {
    if (!json.is_array() || json.size() != 2) Refuse(what, "two contours");
    return {ContourOf(json[0], what, minPoints), ContourOf(json[1], what, minPoints)};
}

Face::ContourPair ItemsOf(const Json& face, const char* key) {
    const auto contours = ContourPairOf(MemberOf(face, key), key);
    return {FaceItemBase(contours[0]), FaceItemBase(contours[1])};
}

Eyes EyesOf(const Json& json) {
    const auto contours = ContourPairOf(MemberOf(json, "eyes"), "eyes", kMinEyePoints);
    const Json pupils = json.value("pupils", Json::array());
    if (!pupils.is_array() || (pupils.size() != 0 && pupils.size() != 2)) Refuse("pupils", "two points or none");
    if (pupils.empty()) return Eyes(Eye(contours[0]), Eye(contours[1]));
    return Eyes(Eye(contours[0], PointOf(pupils[0], "pupils")), Eye(contours[1], PointOf(pupils[1], "pupils")), true);
}

FaceRectangle RectangleOf(const Json& json) {
    constexpr char kWhat[] = "rectangle";
    if (!json.is_array() || json.size() != 4) Refuse(kWhat, "the form [x1, y1, x2, y2]");
    int ends[4];
    for (std::size_t i = 0; i < 4; ++i) ends[i] = CoordinateOf(json[i], kWhat);
    if (ends[0] >= ends[2] || ends[1] >= ends[3]) Refuse(kWhat, "x1 below x2 and y1 below y2, not " + json.dump());
    return {{ends[0], ends[1]}, {ends[2], ends[3]}};
}

Json RectangleToJson(const FaceRectangle& rectangle) {
    const auto& [from, to] = rectangle;
    return Json::array({from.x, from.y, to.x, to.y});
}

Json EyesToJson(const Eyes& eyes) {
    Json json = {{"eyes", PairToJson(eyes.GetFirst(), eyes.GetSecond())}, {"pupils", Json::array()}};
    if (eyes.HasPupils())
        json["pupils"] = {PointToJson(eyes.GetFirst().GetPupil()), PointToJson(eyes.GetSecond().GetPupil())};
    return json;
}

Json FaceToJson(const Face& face) {
    Json json = {{"rectangle", RectangleToJson(face.GetFullFramePoints())},
                 {"score", face.GetScore()},
                 {"outline", ContourToJson(face.GetOutline())},
                 {"brows", PairToJson(face.GetBrows()[0], face.GetBrows()[1])},
                 {"nose", PairToJson(face.GetNose()[0], face.GetNose()[1])}};
    json.update(EyesToJson(face.GetEyes()));
    json["mouthOuter"] = ContourToJson(face.GetMouth().GetOuter());
    json["mouthInner"] = ContourToJson(face.GetMouth().GetInner());
    return json;
}

double ScoreOf(const Json& face) {
    const Json score = face.value("score", Json(1.0));
    if (!score.is_number() || score < 0 || score > 1) Refuse("score", "a number in the range 0..1");
    return score.get<double>();
}

Face FaceOf(const Json& json) {
    if (!json.is_object()) Refuse("the face", "an object as `kalvatri faces --json` prints it");
    const Face face(Outline(ContourOf(MemberOf(json, "outline"), "outline")), ItemsOf(json, "brows"),
                    ItemsOf(json, "nose"), EyesOf(json),
                    Mouth(FaceItemBase(ContourOf(MemberOf(json, "mouthOuter"), "mouthOuter")),
                          FaceItemBase(ContourOf(MemberOf(json, "mouthInner"), "mouthInner"))),
                    RectangleOf(MemberOf(json, "rectangle")), ScoreOf(json));
    const Json known = FaceToJson(face);
    for (const auto& [key, value] : json.items()) {
        if (!known.contains(key) &&
            std::find(std::begin(kExtraKeys), std::end(kExtraKeys), key) == std::end(kExtraKeys))
            Refuse("the face", "no key \"" + key + "\"");
    }
    return face;
}

// The part from a whole face, or the part itself.
const Json& PartOf(const Json& json, const char* key) { return json.is_object() ? MemberOf(json, key) : json; }

void CheckPoint(const Point<int>& point, std::uint32_t width, std::uint32_t height) {
    if (point.x >= 0 && point.y >= 0 && point.x < static_cast<int>(width) && point.y < static_cast<int>(height)) return;
    Throw("The point " + std::to_string(point.x) + "," + std::to_string(point.y) +
          " of the face is outside the picture of " + std::to_string(width) + " x " + std::to_string(height) +
          " pixels!");
}

}  // namespace

// With enough digits to distinguish single-precision numbers.
std::string FormatDescriptor(const std::vector<float>& descriptor) {
    std::string text = "[";
    for (const float value : descriptor) {
        char buffer[32];
        const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
        text.append(text.size() == 1 ? "" : ",").append(buffer, result.ptr);
    }
    return text + "]";
}

std::vector<Finding> SettingsEffectFaceRecognition::GetFindings() const {
    if (descriptor_.empty()) return {};
    return {{"rectangle", TextCodec<FaceRectangle>::Format(GetFaceRect())},
            {"descriptor", FormatDescriptor(descriptor_)}};
}

void CheckInside(const FaceItemBase& item, std::uint32_t width, std::uint32_t height) {
    for (const Point<int>& point : item.GetContour()) CheckPoint(point, width, height);
}

void CheckInside(const Eyes& eyes, std::uint32_t width, std::uint32_t height) {
    for (const Eye* const eye : {&eyes.GetFirst(), &eyes.GetSecond()}) {
        CheckInside(*eye, width, height);
        if (eyes.HasPupils()) CheckPoint(eye->GetPupil(), width, height);
    }
}

void CheckInside(const FaceRectangle& rectangle, std::uint32_t width, std::uint32_t height) {
    const auto& [from, to] = rectangle;
    if (from.x >= 0 && from.y >= 0 && from.x < to.x && from.y < to.y && to.x <= static_cast<int>(width) &&
        to.y <= static_cast<int>(height))
        return;
    Throw("The face's rectangle " + RectangleToJson(rectangle).dump() + " is empty or not inside the picture of " +
          std::to_string(width) + " x " + std::to_string(height) + " pixels!");
}

void CheckInside(const Face& face, std::uint32_t width, std::uint32_t height) {
    CheckInside(face.GetFullFramePoints(), width, height);
    CheckInside(face.GetOutline(), width, height);
    for (const auto* const pair : {&face.GetBrows(), &face.GetNose()}) {
        for (const FaceItemBase& item : *pair) CheckInside(item, width, height);
    }
    CheckInside(face.GetEyes(), width, height);
    CheckInside(face.GetMouth().GetOuter(), width, height);
    CheckInside(face.GetMouth().GetInner(), width, height);
}

std::string TextCodec<Face>::Format(const Face& face) { return face.IsEmpty() ? "" : FaceToJson(face).dump(); }

Face TextCodec<Face>::Parse(std::string_view text) { return text.empty() ? Face() : FaceOf(Core::ParseJson(text)); }

std::string TextCodec<std::vector<Face>>::Format(const std::vector<Face>& faces) {
    Json list = Json::array();
    for (const Face& face : faces) list.push_back(FaceToJson(face));
    return faces.empty() ? "" : list.dump();
}

std::vector<Face> TextCodec<std::vector<Face>>::Parse(std::string_view text) {
    std::vector<Face> faces;
    if (text.empty()) return faces;
    const Json list = Core::ParseJson(text);
    if (!list.is_array()) Refuse("the faces", "an array of faces");
    for (const Json& face : list) faces.push_back(FaceOf(face));
    return faces;
}

std::string TextCodec<Outline>::Format(const Outline& outline) {
    return outline.IsEmpty() ? "" : ContourToJson(outline).dump();
}

Outline TextCodec<Outline>::Parse(std::string_view text) {
    return text.empty() ? Outline() : Outline(ContourOf(PartOf(Core::ParseJson(text), "outline"), "outline"));
}

std::string TextCodec<Eyes>::Format(const Eyes& eyes) { return eyes.IsEmpty() ? "" : EyesToJson(eyes).dump(); }

Eyes TextCodec<Eyes>::Parse(std::string_view text) {
    if (text.empty()) return {};
    const Json json = Core::ParseJson(text);
    return EyesOf(json.is_array() ? Json{{"eyes", json}} : json);
}

std::string TextCodec<FaceRectangle>::Format(const FaceRectangle& rectangle) {
    return rectangle == FaceRectangle() ? "" : RectangleToJson(rectangle).dump();
}

FaceRectangle TextCodec<FaceRectangle>::Parse(std::string_view text) {
    return text.empty() ? FaceRectangle() : RectangleOf(PartOf(Core::ParseJson(text), "rectangle"));
}

}  // namespace Orvexa::Proc
