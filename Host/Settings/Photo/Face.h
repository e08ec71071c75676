// A face in a picture: its contours and its rectangle, in pixels of the whole picture.
//
// The number of points in a contour depends on the detector; their order is fixed. Left and right are the picture's.
#pragma once

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "Host/Settings/Common/Point.h"

namespace Orvexa::Proc {

/// A part of a face described by one contour.
class FaceItemBase {
public:
    FaceItemBase() = default;
    explicit FaceItemBase(Contour contour) : contour_(std::move(contour)) {}
    const Contour& GetContour() const { return contour_; }
    bool IsEmpty() const { return contour_.empty(); }
    bool operator==(const FaceItemBase&) const = default;

private:
    Contour contour_;
};

/// The face's outline, from the left ear over the chin to the right ear.
class Outline final : public FaceItemBase {
public:
    using FaceItemBase::FaceItemBase;
    bool operator==(const Outline&) const = default;
};

/// The centre of an eye's pupil.
using Pupil = Point<int>;

/// An eye's contour, from the left corner over the upper lid; the corners are points 0 and 3.
class Eye final : public FaceItemBase {
public:
    Eye() = default;
    explicit Eye(Contour contour, const Pupil& pupil = {}) : FaceItemBase(std::move(contour)), pupil_(pupil) {}
    const Pupil& GetPupil() const { return pupil_; }
    bool operator==(const Eye&) const = default;

private:
    Pupil pupil_;
};

/// Both eyes, the left one first.
class Eyes final {
public:
    Eyes() = default;
    Eyes(Eye first, Eye second, bool hasPupils = false)
        : eyes_{std::move(first), std::move(second)}, hasPupils_(hasPupils) {}
    const Eye& GetFirst() const { return eyes_[0]; }
    const Eye& GetSecond() const { return eyes_[1]; }
    /// Whether the pupils of both eyes are valid.
    bool HasPupils() const { return hasPupils_; }
    bool IsEmpty() const { return eyes_[0].IsEmpty() && eyes_[1].IsEmpty(); }
    bool operator==(const Eyes&) const = default;

private:
    std::array<Eye, 2> eyes_;
    bool hasPupils_ = false;
};

class Mouth final {
public:
    Mouth() = default;
    Mouth(FaceItemBase outer, FaceItemBase inner) : outer_(std::move(outer)), inner_(std::move(inner)) {}
    const FaceItemBase& GetOuter() const { return outer_; }  ///< the lips' outline
    const FaceItemBase& GetInner() const { return inner_; }  ///< the opening between the lips
    bool operator==(const Mouth&) const = default;

private:
    FaceItemBase outer_, inner_;
};

/// The corners of a face's rectangle: top left, and bottom right, which is one past the last pixel.
using FaceRectangle = std::pair<Point<int>, Point<int>>;

class Face final {
public:
    using ContourPair = std::array<FaceItemBase, 2>;

    Face() = default;
    Face(Outline outline, ContourPair brows, ContourPair nose, Eyes eyes, Mouth mouth, const FaceRectangle& rectangle,
         double score = 1)
        : outline_(std::move(outline)),
          brows_(std::move(brows)),
          nose_(std::move(nose)),
          eyes_(std::move(eyes)),
          mouth_(std::move(mouth)),
          rectangle_(rectangle),
          score_(score) {}

    const Outline& GetOutline() const { return outline_; }
    /// Brows, each from left to right. In reverse order they close the outline to the polygon of the face.
    const ContourPair& GetBrows() const { return brows_; }
    const ContourPair& GetNose() const { return nose_; }  ///< bridge from top to bottom, base from left to right
    const Eyes& GetEyes() const { return eyes_; }
    const Mouth& GetMouth() const { return mouth_; }
    const FaceRectangle& GetFullFramePoints() const { return rectangle_; }
    /// The detector's confidence, from 0 to 1.
    double GetScore() const { return score_; }
    /// Whether there is no face.
    bool IsEmpty() const { return outline_.IsEmpty(); }
    bool operator==(const Face&) const = default;

private:
    Outline outline_;
    ContourPair brows_, nose_;
    Eyes eyes_;
    Mouth mouth_;
    FaceRectangle rectangle_;
    double score_ = 0;
};

/// Throws `EffectException`, naming the first point or the rectangle that is outside a picture of this size.
void CheckInside(const Face& face, std::uint32_t width, std::uint32_t height);
void CheckInside(const FaceItemBase& item, std::uint32_t width, std::uint32_t height);
void CheckInside(const Eyes& eyes, std::uint32_t width, std::uint32_t height);
void CheckInside(const FaceRectangle& rectangle, std::uint32_t width, std::uint32_t height);

/// Formats a face descriptor as a JSON array.
std::string FormatDescriptor(const std::vector<float>& descriptor);

// Text forms: JSON as `kalvatri faces --json` prints it. Where a part of a face is expected, a whole face is accepted.
// An empty text is an empty value.
template <>
struct TextCodec<Face> {
    static std::string_view TypeName() { return "json"; }
    static std::string Format(const Face& face);
    static Face Parse(std::string_view text);
};
template <>
struct TextCodec<std::vector<Face>> {
    static std::string_view TypeName() { return "json"; }
    static std::string Format(const std::vector<Face>& faces);
    static std::vector<Face> Parse(std::string_view text);
};
template <>
struct TextCodec<Outline> {  ///< [[x, y], ...]
    static std::string_view TypeName() { return "json"; }
    static std::string Format(const Outline& outline);
    static Outline Parse(std::string_view text);
};
template <>
struct TextCodec<Eyes> {  ///< {"eyes": [[[x, y], ...], [[x, y], ...]], "pupils": [[x, y], [x, y]] or []}
    static std::string_view TypeName() { return "json"; }
    static std::string Format(const Eyes& eyes);
    static Eyes Parse(std::string_view text);
};
template <>
struct TextCodec<FaceRectangle> {  ///< [x1, y1, x2, y2]
    static std::string_view TypeName() { return "json"; }
    static std::string Format(const FaceRectangle& rectangle);
    static FaceRectangle Parse(std::string_view text);
};

}  // namespace Orvexa::Proc
