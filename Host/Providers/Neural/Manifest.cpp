#include "Host/Providers/Neural/Manifest.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <string>
#include <string_view>

#include "Host/Core/Exception.h"
#include "Host/Core/Json.h"

namespace Orvexa::Proc::Neural {

namespace {

using Core::Json;

constexpr char kManifestName[] = "models.json";
constexpr std::uint32_t kMaxSide = 16384;  // of a network's input, in pixels

constexpr std::string_view kChannelNames[] = {"rgb", "bgr", "grey"};                         // as in Channels
constexpr std::string_view kOutputNames[] = {"floats", "bytes", "flag", "double", "image"};  // as in OutputKind

// What each type's network has to give.
struct TypeRow {
    NeuralType type;
    OutputKind output;
    std::size_t count;
};
constexpr TypeRow kTypes[] = {
    {NeuralType::Adjustments, OutputKind::Floats, kAdjustmentsCount},
    {NeuralType::TiltAngle, OutputKind::Double, 1},
    {NeuralType::EnhancementFlag, OutputKind::Flag, 1},
    {NeuralType::HorizonFlag, OutputKind::Flag, 1},
    {NeuralType::ImageScore, OutputKind::Double, 1},
    {NeuralType::SegmentationMask, OutputKind::Bytes, std::size_t{kMaskSize} * kMaskSize},
};

const TypeRow* FindType(std::int64_t number) {
    const auto row = std::find_if(std::begin(kTypes), std::end(kTypes), [=](const TypeRow& candidate) {
        return static_cast<std::int64_t>(candidate.type) == number;
    });
    return row == std::end(kTypes) ? nullptr : row;
}

template <class Range, class Text>
std::string Listed(const Range& items, const Text& text) {
    std::string list;
    for (const auto& item : items) list += (list.empty() ? "" : ", ") + std::string(text(item));
    return list;
}
constexpr auto kItself = [](const auto& item) { return item; };

// One object of the manifest, with its place in the complaints.
class Reader {
public:
    Reader(const Json& json, std::string place, const std::vector<std::string_view>& keys)
        : json_(json), place_(std::move(place)) {
        if (!json.is_object()) Complain("must be an object");
        for (const auto& [key, value] : json.items()) {
            if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
                Complain("must not have the key \"" + key + "\"; the keys are " + Listed(keys, kItself));
            }
        }
    }

    [[noreturn]] void Complain(const std::string& complaint) const { Throw(place_ + " " + complaint + "!"); }

    const Json* Find(const char* key) const {
        const auto found = json_.find(key);
        return found == json_.end() ? nullptr : &*found;
    }

    const Json& Get(const char* key) const {
        const Json* value = Find(key);
        if (value == nullptr) Complain("must have the key \"" + std::string(key) + "\"");
        return *value;
    }

    std::string GetText(const char* key) const {
        const Json& value = Get(key);
        if (!value.is_string() || value.get_ref<const std::string&>().empty())
            Complain("must have a text as \"" + std::string(key) + "\"");
        return value.get<std::string>();
    }

    /// The index of the text in `names`.
    template <class Names>
    std::size_t GetName(const char* key, const Names& names) const {
        const std::string text = GetText(key);
        const auto found = std::find(std::begin(names), std::end(names), text);
        if (found == std::end(names)) {
            Complain("has \"" + text + "\" as \"" + key + "\"; it must be one of " + Listed(names, kItself));
        }
        return static_cast<std::size_t>(found - std::begin(names));
    }

    std::uint32_t GetSide(const char* key) const {
        const Json& value = Get(key);
        if (!value.is_number_unsigned() || value.get<std::uint64_t>() > kMaxSide) {
            Complain("must have a whole number from 0 to " + std::to_string(kMaxSide) + " as \"" + key + "\"");
        }
        return value.get<std::uint32_t>();
    }

    double GetNumber(const char* key, double missing) const {
        const Json* value = Find(key);
        if (value == nullptr) return missing;
        if (!value->is_number()) Complain("must have a number as \"" + std::string(key) + "\"");
        return value->get<double>();
    }

    std::vector<double> GetNumbers(const char* key, std::size_t count) const {
        const Json& value = Get(key);
        const bool isRight = value.is_array() && value.size() == count &&
                             std::all_of(value.begin(), value.end(), [](const Json& item) { return item.is_number(); });
        if (!isRight)
            Complain("must have a list of " + std::to_string(count) + " numbers as \"" + key +
                     "\", one for each channel");
        return value.get<std::vector<double>>();
    }

private:
    const Json& json_;
    const std::string place_;
};

Model ReadModel(const Json& json, const std::string& place, const Core::ioPath& root) {
    const Reader reader(
        json, place,
        {"file", "width", "height", "channels", "mean", "scale", "output", "outputScale", "outputOffset", "licence"});
    Model model;
    const Core::ioPath file = reader.GetText("file");
    if (file.filename() != file || file == "." || file == "..")
        reader.Complain("must have the name of a file beside it as \"file\"");
    model.file = root / file;
    model.width = reader.GetSide("width");
    model.height = reader.GetSide("height");
    if ((model.width == 0) != (model.height == 0))
        reader.Complain("must have both \"width\" and \"height\" 0, or neither");
    model.channels = static_cast<Channels>(reader.GetName("channels", kChannelNames));
    model.mean = reader.GetNumbers("mean", model.GetChannelsCount());
    model.scale = reader.GetNumbers("scale", model.GetChannelsCount());
    model.output = static_cast<OutputKind>(reader.GetName("output", kOutputNames));
    model.outputScale = reader.GetNumber("outputScale", 1.0);
    model.outputOffset = reader.GetNumber("outputOffset", 0.0);
    reader.GetText("licence");  // its terms are for people, who must not be left without
    return model;
}

void CheckOutput(const Model& model, OutputKind required, const std::string& place) {
    if (model.output == required) return;
    Throw(place + " must have \"" + std::string(kOutputNames[static_cast<std::size_t>(required)]) +
          "\" as \"output\"!");
}

struct Manifest {
    std::map<std::int64_t, Model> types, models;
};

std::map<std::int64_t, Model> ReadSection(const Reader& manifest, const char* section, const std::string& file,
                                          const Core::ioPath& root) {
    std::map<std::int64_t, Model> entries;
    const Json* json = manifest.Find(section);
    if (json == nullptr) return entries;
    if (!json->is_object()) Throw(file + ": \"" + section + "\" must be an object!");
    const bool isOfTypes = section == std::string_view("types");
    for (const auto& [key, value] : json->items()) {
        const std::string place = file + ": " + (isOfTypes ? "type " : "model ") + key;
        std::int32_t number = 0;
        const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), number);
        const bool isCanonical =
            error == std::errc() && end == key.data() + key.size() && key == std::to_string(number) && number >= 0;
        const TypeRow* row = isOfTypes ? FindType(number) : nullptr;
        if (isOfTypes && (!isCanonical || row == nullptr)) {
            Throw(place + " is not known; the types are " +
                  Listed(kTypes, [](const TypeRow& type) { return std::to_string(static_cast<int>(type.type)); }) +
                  "!");
        }
        if (!isCanonical) Throw(place + " must be a whole number!");
        Model model = ReadModel(value, place, root);
        CheckOutput(model, isOfTypes ? row->output : OutputKind::Image, place);
        model.count = isOfTypes ? row->count : 0;
        entries.emplace(number, std::move(model));
    }
    return entries;
}

Json ReadManifestFile(const std::string& file) {
    try {
        return Core::ParseJson(Core::ReadJsonText(Core::ioPath(file)));
    } catch (const SettingsException& exception) {
        Throw("The manifest " + file + " is damaged, it must be JSON: " + exception.what());
    } catch (const EffectException& exception) {
        Throw("The manifest " + file + " cannot be read: " + exception.what());
    }
}

Manifest ReadManifest(const Core::ioPath& root) {
    std::error_code error;
    if (!std::filesystem::is_directory(root, error)) Throw("The models folder " + root.string() + " does not exist!");
    const std::string file = (root / kManifestName).string();
    if (!std::filesystem::exists(file, error))
        Throw("The manifest " + file + " does not exist; it must tell what models there are!");
    const Json json = ReadManifestFile(file);
    const Reader reader(json, file, {"types", "models"});
    return {ReadSection(reader, "types", file, root), ReadSection(reader, "models", file, root)};
}

Model FindEntry(const std::map<std::int64_t, Model>& entries, std::int32_t number, const char* what,
                const Core::ioPath& root) {
    const auto found = entries.find(number);
    if (found == entries.end()) {
        Throw("The manifest " + (root / kManifestName).string() + " has no " + what + " " + std::to_string(number) +
              "!");
    }
    std::error_code error;
    if (!std::filesystem::is_regular_file(found->second.file, error)) {
        Throw("The model file " + found->second.file.string() + " does not exist!");
    }
    return found->second;
}

}  // namespace

Model FindModel(const Core::ioPath& root, NeuralType type) {
    return FindEntry(ReadManifest(root).types, static_cast<std::int32_t>(type), "type", root);
}

Model FindModel(const Core::ioPath& root, ModelFileId id) {
    return FindEntry(ReadManifest(root).models, static_cast<std::int32_t>(id), "model", root);
}

}  // namespace Orvexa::Proc::Neural
