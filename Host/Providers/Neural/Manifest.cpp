#include "Host/Providers/Neural/Manifest.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "Host/Core/Exception.h"
#include "Host/Core/Json.h"

namespace Orvexa::Proc::Neural {

namespace {

using Core::Json;

constexpr char kManifestName[] = "models.json";
constexpr std::uint32_t kMaxSide = 16384;  // of a network's input, in pixels

constexpr std::string_view kChannelNames[] = {"rgb", "bgr", "grey"};                                 // as in Channels
constexpr std::string_view kOutputNames[] = {"floats", "bytes", "flag", "double", "image", "grid"};  // as in OutputKind
constexpr std::string_view kBuiltInNames[] = {"line-segments"};

using Keys = std::span<const std::string_view>;
constexpr std::string_view kSections[] = {"types", "models", "faces"};
constexpr std::string_view kBuiltInKeys[] = {"builtin"};
// The keys of every entry, followed by those that only models producing pictures may have.
constexpr std::string_view kAllKeys[] = {"file",  "width",    "height",      "channels",     "mean",
                                         "scale", "output",   "outputScale", "outputOffset", "licence",
                                         "reach", "multiple", "enlarges",    "longest"};
constexpr Keys kKeys = Keys(kAllKeys).first(10), kImageKeys = Keys(kAllKeys).subspan(kKeys.size());
constexpr std::uint32_t kMaxReach = 256, kMaxMultiple = 512;  // pixels

// The output that each type of network must have.
struct TypeRow {
    NeuralType type;
    OutputKind output;
    std::size_t count;
    bool mayBeBuiltIn;
};
constexpr TypeRow kTypes[] = {
    {NeuralType::Adjustments, OutputKind::Floats, kAdjustmentsCount, false},
    {NeuralType::TiltAngle, OutputKind::Double, 1, true},
    {NeuralType::EnhancementFlag, OutputKind::Flag, 1, false},
    {NeuralType::HorizonFlag, OutputKind::Flag, 1, true},
    {NeuralType::ImageScore, OutputKind::Double, 1, false},
    {NeuralType::SegmentationMask, OutputKind::Bytes, 0, false},
};

// As in FaceNet; the detector outputs a map.
struct FaceRow {
    std::string_view name;
    std::size_t count;
};
constexpr FaceRow kFaceNets[] = {{"detector", 0}, {"landmarks", 2 * kLandmarksCount}, {"descriptor", kDescriptorSize}};

template <class Range, class Text>
std::string Listed(const Range& items, const Text& text) {
    std::string list;
    for (const auto& item : items) list += (list.empty() ? "" : ", ") + std::string(text(item));
    return list;
}
constexpr auto kItself = [](const auto& item) { return item; };

// Reads one object of the manifest and includes its path in error messages.
class Reader {
public:
    Reader(const Json& json, std::string place, Keys keys) : json_(json), place_(std::move(place)) {
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

    std::uint32_t GetWhole(const char* key, std::uint32_t min, std::uint32_t max) const {
        const Json& value = Get(key);
        if (!value.is_number_unsigned() || value.get<std::uint64_t>() < min || value.get<std::uint64_t>() > max) {
            Complain("must have a whole number from " + std::to_string(min) + " to " + std::to_string(max) + " as \"" +
                     key + "\"");
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

Model ReadModel(const Reader& reader, const Core::ioPath& root) {
    Model model;
    const Core::ioPath file = reader.GetText("file");
    if (file.filename() != file || file == "." || file == "..")
        reader.Complain("must have the name of a file beside it as \"file\"");
    model.file = root / file;
    model.width = reader.GetWhole("width", 0, kMaxSide);
    model.height = reader.GetWhole("height", 0, kMaxSide);
    if ((model.width == 0) != (model.height == 0))
        reader.Complain("must have both \"width\" and \"height\" 0, or neither");
    model.channels = static_cast<Channels>(reader.GetName("channels", kChannelNames));
    model.mean = reader.GetNumbers("mean", model.GetChannelsCount());
    model.scale = reader.GetNumbers("scale", model.GetChannelsCount());
    model.output = static_cast<OutputKind>(reader.GetName("output", kOutputNames));
    model.outputScale = reader.GetNumber("outputScale", 1.0);
    model.outputOffset = reader.GetNumber("outputOffset", 0.0);
    reader.GetText("licence");  // not used, but people need to know the terms
    return model;
}

void CheckOutput(const Reader& reader, const Model& model, OutputKind required) {
    if (model.output == required) return;
    reader.Complain("must have \"" + std::string(kOutputNames[static_cast<std::size_t>(required)]) +
                    "\" as \"output\"");
}

// Reads how a picture is passed through a network that produces a picture.
void ReadImageKeys(const Reader& reader, Model& model) {
    if (reader.Find("reach") != nullptr) model.reach = reader.GetWhole("reach", 0, kMaxReach);
    if (reader.Find("multiple") != nullptr) model.multiple = reader.GetWhole("multiple", 1, kMaxMultiple);
    if (reader.Find("enlarges") != nullptr) model.enlarges = reader.GetWhole("enlarges", 1, kMaxModelScale);
    if (reader.Find("longest") != nullptr) model.longest = reader.GetWhole("longest", 16, kMaxSide);
    const bool isFixed = model.width != 0;
    if (isFixed && (model.width % model.multiple != 0 || model.height % model.multiple != 0))
        reader.Complain("must have multiples of \"multiple\" as \"width\" and \"height\", or 0");
    if (isFixed && model.reach.has_value()) {
        const std::uint32_t margins = 2 * ((*model.reach + model.multiple - 1) / model.multiple * model.multiple);
        if (std::min(model.width, model.height) <= margins)
            reader.Complain("must have a \"width\" and \"height\" above " + std::to_string(margins) +
                            ", twice its \"reach\", or 0");
    }
    if (model.enlarges.value_or(1) > 1 && (model.longest != 0 || (isFixed && !model.reach.has_value())))
        reader.Complain(
            "cannot have \"enlarges\" above 1 together with \"longest\", or with a \"width\" and "
            "\"height\" above 0 but no \"reach\"");
}

using Entries = std::map<std::string, Model, std::less<>>;  // by the key in the manifest

struct Manifest {
    Entries types, models, faces;
};

Model ReadType(const Json& json, const std::string& key, const std::string& place, const Core::ioPath& root) {
    const auto row = std::find_if(std::begin(kTypes), std::end(kTypes), [&](const TypeRow& candidate) {
        return key == std::to_string(static_cast<int>(candidate.type));
    });
    if (row == std::end(kTypes)) {
        Throw(place + " is not known; the types are " +
              Listed(kTypes, [](const TypeRow& type) { return std::to_string(static_cast<int>(type.type)); }) + "!");
    }
    if (row->mayBeBuiltIn && json.is_object() && json.contains("builtin")) {
        Reader(json, place, kBuiltInKeys).GetName("builtin", kBuiltInNames);
        Model model;
        model.isBuiltIn = true;
        return model;
    }
    const Reader reader(json, place, kKeys);
    Model model = ReadModel(reader, root);
    CheckOutput(reader, model, row->output);
    model.count = row->count;
    return model;
}

Model ReadImageModel(const Json& json, const std::string& key, const std::string& place, const Core::ioPath& root) {
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), number);
    if (error != std::errc() || key != std::to_string(number) || number < 0) Throw(place + " must be a whole number!");
    const Reader reader(json, place, kAllKeys);
    Model model = ReadModel(reader, root);
    if (model.output == OutputKind::Image) {
        ReadImageKeys(reader, model);
    } else if (model.output != OutputKind::Grid) {
        reader.Complain("must have \"image\" or \"grid\" as \"output\"");
    } else if (model.width == 0 || model.channels == Channels::Grey) {
        reader.Complain("must have a \"width\" and \"height\" above 0 and colour \"channels\" to give a grid");
    } else if (std::any_of(kImageKeys.begin(), kImageKeys.end(),
                           [&](std::string_view name) { return reader.Find(std::string(name).c_str()) != nullptr; })) {
        reader.Complain("must not have any of the keys " + Listed(kImageKeys, kItself) +
                        ", which a grid does not take");
    }
    return model;
}

Model ReadFaceNet(const Json& json, const std::string& key, const std::string& place, const Core::ioPath& root) {
    const auto row = std::find_if(std::begin(kFaceNets), std::end(kFaceNets),
                                  [&](const FaceRow& candidate) { return candidate.name == key; });
    if (row == std::end(kFaceNets)) {
        Throw(place + " is not known; the networks are " +
              Listed(kFaceNets, [](const FaceRow& net) { return net.name; }) + "!");
    }
    const Reader reader(json, place, kKeys);
    Model model = ReadModel(reader, root);
    CheckOutput(reader, model, OutputKind::Floats);
    model.count = row->count;
    const bool isDetector = row == std::begin(kFaceNets);
    if (isDetector != (model.width == 0)) {
        Throw(place + (isDetector ? " must have 0 as \"width\" and \"height\": it takes pictures of several sizes!"
                                  : " must have a \"width\" and \"height\" above 0!"));
    }
    return model;
}

template <class ReadEntry>
Entries ReadSection(const Reader& manifest, const char* section, const char* what, const std::string& file,
                    const ReadEntry& readEntry, const Core::ioPath& root) {
    Entries entries;
    const Json* json = manifest.Find(section);
    if (json == nullptr) return entries;
    if (!json->is_object()) Throw(file + ": \"" + section + "\" must be an object!");
    for (const auto& [key, value] : json->items())
        entries.emplace(key, readEntry(value, key, file + ": " + what + " " + key, root));
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
    const Reader reader(json, file, kSections);
    return {ReadSection(reader, "types", "type", file, ReadType, root),
            ReadSection(reader, "models", "model", file, ReadImageModel, root),
            ReadSection(reader, "faces", "faces network", file, ReadFaceNet, root)};
}

// The entry in the folder's manifest, else in the installed one.
Model FindEntry(const Core::ioPath& root, Entries Manifest::*section, const std::string& entry, std::string_view key) {
    const Core::ioPath installed = GetModelsDirectory();
    std::vector<Core::ioPath> folders = {root.empty() ? installed : root};
    std::error_code error;
    if (folders.front() != installed && std::filesystem::exists(installed / kManifestName, error))
        folders.push_back(installed);
    for (const Core::ioPath& folder : folders) {
        const Manifest manifest = ReadManifest(folder);
        const auto found = (manifest.*section).find(key);
        if (found == (manifest.*section).end()) continue;
        const Model& model = found->second;
        if (model.isBuiltIn || std::filesystem::is_regular_file(model.file, error)) return model;
        Throw("The model file " + model.file.string() + " does not exist!");
    }
    Throw("The manifest " + (folders.front() / kManifestName).string() + " has no " + entry + " " + std::string(key) +
          (folders.size() > 1 ? ", and neither has the installed one" : "") + "!");
}

}  // namespace

int Model::GetEnlargement(int byDefault) const {
    if (byDefault < 1 || byDefault > static_cast<int>(kMaxModelScale))
        Throw("The scale must be from 1 to " + std::to_string(kMaxModelScale) + "!");
    return static_cast<int>(enlarges.value_or(static_cast<std::uint32_t>(byDefault)));
}

Model FindModel(const Core::ioPath& root, NeuralType type) {
    return FindEntry(root, &Manifest::types, "type", std::to_string(static_cast<std::int32_t>(type)));
}

Model FindModel(const Core::ioPath& root, ModelFileId id) {
    return FindEntry(root, &Manifest::models, "model", std::to_string(static_cast<std::int32_t>(id)));
}

Model FindModel(const Core::ioPath& root, FaceNet net) {
    return FindEntry(root, &Manifest::faces, "faces network", kFaceNets[static_cast<std::size_t>(net)].name);
}

}  // namespace Orvexa::Proc::Neural
