#include "Cli/Preview/Api.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <utility>

#include "Cli/BatchInputs.h"
#include "Cli/CatalogueJson.h"
#include "Cli/Errors.h"
#include "Cli/Preview/EffectTraits.h"
#include "Cli/Preview/HttpStatus.h"
#include "Cli/Preview/PageChain.h"
#include "Cli/Preview/Renderer.h"
#include "Cli/Preview/RequestMembers.h"
#include "Cli/ReadPicture.h"
#include "Host/Io/PendingFile.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

constexpr char kNaming[] = "naming the file";
constexpr char kJsonType[] = "application/json", kBytesType[] = "application/octet-stream";

// For requests answered with another status than that of a command's errors.
class StatusError : public CommandError {
public:
    StatusError(int status, const std::string& doing, const std::string& description)
        : CommandError(ExitCode::Failed, doing, description), status_(status) {}
    int GetStatus() const { return status_; }

private:
    int status_;
};

std::string Dump(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }
ApiReply Reply(const Json& json, int status = HttpStatus::kDone) { return {status, kJsonType, Dump(json)}; }

ApiReply Forward(const WorkerAnswer& answer) { return Reply(answer.head, answer.status); }

Json MakeCatalogue(const Catalogue& catalogue) {
    Json effects = Json::array();
    for (const EffectEntry& entry : catalogue.GetEntries()) {
        const EffectTraits& traits = GetTraits(entry);
        Json json = EntryToJson(entry);
        json["fields"] = FieldsToJson(*entry.settings->create());
        json["further"] = CountFurtherPictures(entry);
        json["isPreviewed"] = traits.isPreviewed && !entry.IsCppOnly();
        json["isApproximate"] = !traits.approximation.empty();
        effects.push_back(std::move(json));
    }
    return {{"version", KALVATRI_VERSION}, {"effects", std::move(effects)}};
}

std::optional<std::uint64_t> ParseNumber(std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

std::uint32_t SideMember(const Json& view, const char* key) {
    constexpr double kMaxSide = 8192;  // screen pixels
    return static_cast<std::uint32_t>(std::lround(NumberMember(view, key, 1, kMaxSide)));
}

void TakeView(RenderRequest& request, const Json& json) {
    constexpr double kFar = 1 << 20;          // pixels
    constexpr double kSmallest = 1.0 / 1024;  // pixels
    constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 25;
    const Json& view = Member(json, "view");
    request.width = SideMember(view, "outWidth");
    request.height = SideMember(view, "outHeight");
    if (std::uint64_t{request.width} * request.height > kMaxPixels)
        ThrowUsage(kReadingRequest, "more than " + std::to_string(kMaxPixels) + " pixels are not shown at once");
    const auto isGiven = [&](const char* key) { return view.contains(key) && !view[key].is_null(); };
    if (!isGiven("x") && !isGiven("y") && !isGiven("width") && !isGiven("height")) return;
    request.view = View{NumberMember(view, "x", -kFar, kFar), NumberMember(view, "y", -kFar, kFar),
                        NumberMember(view, "width", kSmallest, kFar), NumberMember(view, "height", kSmallest, kFar)};
}

// The head, preceded by its length and padded to align the pixels, and the pixels.
std::string Pack(const WorkerAnswer& answer) {
    std::string head = Dump(answer.head);
    head.append((4 - head.size() % 4) % 4, ' ');
    const auto length = static_cast<std::uint32_t>(head.size());
    std::string packed;
    packed.reserve(4 + head.size() + answer.bytes.size());
    for (int shift = 0; shift < 32; shift += 8) packed += static_cast<char>(length >> shift & 0xff);
    packed += head;
    packed.append(reinterpret_cast<const char*>(answer.bytes.data()), answer.bytes.size());
    return packed;
}

bool IsPng(const std::string& bytes) { return bytes.starts_with("\x89PNG\r\n\x1a\n"); }

bool HasContent(const Core::ioPath& file, const std::string& bytes) {
    std::ifstream stream(file, std::ios::binary);
    return stream && std::equal(std::istreambuf_iterator<char>(stream), {}, bytes.begin(), bytes.end());
}

}  // namespace

Api::Api(const PreviewWork& work, RenderQueue& queue, Jobs& jobs)
    : work_(work), queue_(queue), jobs_(jobs), catalogue_(Dump(MakeCatalogue(work.catalogue))) {}

std::size_t Api::GetMaxBody(std::string_view path) {
    constexpr std::size_t kMaxJson = std::size_t{1} << 20;
    return path == "pictures" ? Uploads::kMaxBytes : kMaxJson;
}

ApiReply Api::Answer(const ApiRequest& request) {
    const auto fail = [](int status, const std::string& text) { return Reply({{"error", text}}, status); };
    try {
        return WithContext("answering the page", [&] { return Route(request); });
    } catch (const StatusError& error) {
        return fail(error.GetStatus(), error.what());
    } catch (const CommandError& error) {
        const bool isUsage = error.GetExitCode() == ExitCode::WrongUsage;
        return fail(isUsage ? HttpStatus::kBadRequest : HttpStatus::kFailed, error.what());
    }
}

ApiReply Api::Route(const ApiRequest& request) {
    using Handler = ApiReply (Api::*)(const Json&);
    constexpr std::pair<std::string_view, Handler> kPosts[] = {{"render", &Api::Render},
                                                               {"command", &Api::WriteCommand},
                                                               {"recipe", &Api::WriteRecipe},
                                                               {"save", &Api::Save},
                                                               {"batch", &Api::RunBatch}};
    constexpr std::string_view kPhotos = "photos/", kJobs = "jobs/";
    const std::string_view path = request.path;
    if (request.method == "POST") {
        for (const auto& [name, handler] : kPosts) {
            if (path != name) continue;
            const Json json =
                WithContext(kReadingRequest, ExitCode::WrongUsage, [&] { return ParseJson(request.body); });
            return (this->*handler)(json);
        }
        if (path == "pictures") return AddPicture(request);
    }
    if (path.starts_with(kJobs)) return AnswerOnJob(request);
    if (request.method == "GET") {
        if (path == "catalogue") return {HttpStatus::kDone, kJsonType, catalogue_};
        if (path == "photos") return ListPhotos();
        if (path.starts_with(kPhotos)) return AnswerOnPhoto(path.substr(kPhotos.size()));
    }
    throw StatusError(HttpStatus::kNotFound, kReadingRequest, "there is nothing of this name");
}

ApiReply Api::ListPhotos() const {
    Json list = Json::array();
    for (std::size_t i = 0; i < work_.photos.size(); ++i) {
        std::error_code error;
        const std::uintmax_t bytes = std::filesystem::file_size(work_.photos[i], error);
        list.push_back({{"id", i},
                        {"name", Core::ioPath(work_.photos[i]).filename().string()},
                        {"bytes", error ? Json() : Json(bytes)}});
    }
    return Reply(list);
}

ApiReply Api::AnswerOnPhoto(std::string_view path) {
    constexpr std::string_view kFacesSuffix = "/faces";
    const bool areFaces = path.ends_with(kFacesSuffix);
    if (areFaces) path.remove_suffix(kFacesSuffix.size());
    const std::size_t photo = CheckPhoto(static_cast<std::int64_t>(ParseNumber(path).value_or(work_.photos.size())));
    if (areFaces) return Forward(queue_.Ask(Lane::Main, kFaces, {{"photo", photo}}));
    WorkerAnswer answer = queue_.Ask(Lane::Main, kPhoto, {{"photo", photo}});
    if (answer.status != HttpStatus::kDone) return Forward(answer);
    const Core::ioPath file = work_.photos[photo];
    std::error_code error;
    const std::uintmax_t bytes = std::filesystem::file_size(file, error);
    Json json = {{"name", file.filename().string()}, {"bytes", error ? Json() : Json(bytes)}};
    json.update(answer.head);
    try {
        json["format"] = Io::GetFormatInfo(Io::FindFormat(file.extension().string())).name;
    } catch (const Proc::EffectException&) {
        json["format"] = nullptr;
    }
    return Reply(json);
}

ApiReply Api::Render(const Json& json) {
    RenderRequest request;
    request.photo = GetPhoto(json);
    request.chain = Member(json, "chain");
    const Chain chain = GetChain(json);
    const Pictures uploads = GetUploads(chain);
    for (const auto& [name, upload] : uploads) request.pictures[name] = upload->GetPath();
    request.isFinal = FlagMember(json, "isFinal");
    TakeView(request, json);
    const std::string lane = TextMember(json, "lane");
    if (lane != "main" && lane != "thumbnail")
        ThrowUsage(kReadingRequest, "\"lane\" must be \"main\" or \"thumbnail\"");
    constexpr double kMaxSequence = 9007199254740992.0;  // 2^53, up to which JavaScript counts exactly
    const RequestSequence sequence{TextMember(json, "client"), NumberMember(json, "sequence", 0, kMaxSequence)};
    const WorkerAnswer answer =
        queue_.Ask(lane == "main" ? Lane::Main : Lane::Thumbnail, kRender, ToMessage(request), sequence);
    if (answer.status != HttpStatus::kDone) return Forward(answer);
    return {HttpStatus::kDone, kBytesType, Pack(answer)};
}

ApiReply Api::AddPicture(const ApiRequest& request) {
    const auto kind = request.parameters.find("kind");
    const std::string word = kind == request.parameters.end() ? "picture" : kind->second;
    const bool isWord = !word.empty() && word.size() <= 20 &&
                        std::all_of(word.begin(), word.end(), [](char c) { return c >= 'a' && c <= 'z'; });
    if (!isWord) ThrowUsage(kReadingRequest, "\"kind\" must be a word of small letters");
    if (!IsPng(request.body)) throw CommandError(ExitCode::Failed, "reading the picture", "it is not a PNG file");
    auto upload = std::make_shared<const Upload>(word, request.body);
    WorkerAnswer answer = queue_.Ask(Lane::Main, kPicture, {{"file", upload->GetPath()}});
    if (answer.status != HttpStatus::kDone) return Forward(answer);
    Json json = {{"picture", uploads_.Add(std::move(upload))}};
    json.update(answer.head);
    return Reply(json);
}

ApiReply Api::WriteCommand(const Json& json) {
    const std::string photo = work_.photos[GetPhoto(json)], target = TextMember(json, "target");
    const int quality = QualityMember(json);
    CheckTarget(target);
    Chain chain = GetChain(json);
    CheckFormat(chain, WithContext(kNaming, ExitCode::WrongUsage,
                                   [&] { return Io::FindFormat(Core::ioPath(target).extension().string()); }));
    WriteUploads(chain, target);
    std::vector<std::string> words = {"kalvatri", "apply", "-i", photo, "-o", GetOutput(target)};
    const PreviewOptions& options = work_.options;
    const auto add = [&](const char* option, const std::string& value) { words.insert(words.end(), {option, value}); };
    if (quality != Io::WriteOptions().quality) add("--quality", std::to_string(quality));
    if (!options.module.empty()) add("--module", options.module.string());
    for (std::string& word : ReadOptionsToWords(options.read)) words.push_back(std::move(word));
    if (chain.empty()) words.emplace_back("EmptyEffect");
    for (std::string& word : ChainToWords(chain)) words.push_back(std::move(word));
    std::string command;
    for (const std::string& word : words) command += (command.empty() ? "" : " ") + QuoteForShell(word);
    return Reply({{"command", command}});
}

ApiReply Api::WriteRecipe(const Json& json) {
    const std::string target = TextMember(json, "target");
    CheckTarget(target);
    if (!target.ends_with(".json")) ThrowUsage(kNaming, "the name of a recipe ends in .json");
    CheckFree(target, FlagMember(json, "isOverwriting"));
    Chain chain = GetChain(json);
    WriteUploads(chain, target);
    const std::string file = GetOutput(target);
    WithContext("writing " + file, [&] { Io::WriteFile(file, ChainToJson(chain).dump(2) + '\n'); });
    return Reply({{"file", file}});
}

ApiReply Api::Save(const Json& json) {
    JobRequest request;
    request.photos = {GetPhoto(json)};
    request.target = TextMember(json, "target");
    request.quality = QualityMember(json);
    request.isOverwriting = FlagMember(json, "isOverwriting");
    CheckTarget(request.target);
    Chain chain = GetChain(json);
    WithContext(kNaming, ExitCode::WrongUsage,
                [&] { CheckFormat(chain, Io::FindFormat(Core::ioPath(request.target).extension().string())); });
    CheckFree(request.target, request.isOverwriting);
    Pictures uploads = GetUploads(chain);
    request.chain = MakeFileChain(std::move(chain), uploads);
    return StartJob(request, std::move(uploads));
}

ApiReply Api::RunBatch(const Json& json) {
    JobRequest request;
    const Json& photos = Member(json, "photos");
    if (!photos.is_array() || photos.empty()) ThrowUsage(kReadingRequest, "\"photos\" must be a list of numbers");
    for (const Json& photo : photos)
        request.photos.push_back(CheckPhoto(photo.is_number_unsigned() ? photo.get<std::int64_t>() : -1));
    request.nameTemplate = TextMember(json, "name");
    if (request.nameTemplate.empty()) ThrowUsage(kNaming, "a name such as {stem}-new.{ext} is missing");
    request.quality = QualityMember(json);
    request.isOverwriting = FlagMember(json, "isOverwriting");
    Chain chain = GetChain(json);
    Pictures uploads = GetUploads(chain);
    request.chain = MakeFileChain(std::move(chain), uploads);
    return StartJob(request, std::move(uploads));
}

ApiReply Api::StartJob(const JobRequest& request, Pictures uploads) {
    const std::optional<std::uint64_t> number = jobs_.Start(request, std::move(uploads));
    if (!number) throw StatusError(HttpStatus::kBusy, "writing the results", "other results are being written");
    return Reply({{"job", *number}});
}

ApiReply Api::AnswerOnJob(const ApiRequest& request) {
    constexpr std::size_t kPrefix = std::string_view("jobs/").size();
    const auto number = ParseNumber(std::string_view(request.path).substr(kPrefix));
    const bool isThere = number && (request.method != "DELETE" || jobs_.Cancel(*number));
    Json state = isThere ? jobs_.Describe(*number) : Json();
    if (state.is_null()) throw StatusError(HttpStatus::kNotFound, kReadingRequest, "there is no such job");
    return Reply(state);
}

std::size_t Api::CheckPhoto(std::int64_t number) const {
    if (number < 0 || static_cast<std::uint64_t>(number) >= work_.photos.size())
        throw StatusError(HttpStatus::kNotFound, "choosing a photograph", "there is none of that number");
    return static_cast<std::size_t>(number);
}

std::size_t Api::GetPhoto(const Json& json) const {
    const Json& photo = Member(json, "photo");
    return CheckPhoto(photo.is_number_unsigned() ? photo.get<std::int64_t>() : -1);
}

Chain Api::GetChain(const Json& json) const {
    Chain chain = ParsePageChain(work_.catalogue, Member(json, "chain"));
    constexpr std::string_view kPhotoPrefix = "photo:";
    for (const std::string& name : GetPictureNames(chain)) {
        if (name.starts_with(kPhotoPrefix))
            CheckPhoto(static_cast<std::int64_t>(
                ParseNumber(std::string_view(name).substr(kPhotoPrefix.size())).value_or(work_.photos.size())));
    }
    return chain;
}

Api::Pictures Api::GetUploads(const Chain& chain) const {
    Pictures uploads;
    for (const std::string& name : GetPictureNames(chain)) {
        if (!name.starts_with("upload:")) continue;
        UploadPtr upload = uploads_.Find(name);
        if (upload == nullptr) ThrowUsage("reading " + name, "it is not there any more; send it again");
        uploads.emplace(name, std::move(upload));
    }
    return uploads;
}

Json Api::MakeFileChain(Chain chain, const Pictures& uploads) const {
    RenamePictures(chain, [&](const std::string& name) {
        const auto upload = uploads.find(name);
        if (upload != uploads.end()) return upload->second->GetPath();
        return work_.photos.at(*ParseNumber(std::string_view(name).substr(name.find(':') + 1)));
    });
    return ChainToJson(chain);
}

std::string Api::GetOutput(const std::string& target) const {
    const Core::ioPath folder = work_.options.outputFolder;
    return (folder == "." ? Core::ioPath(target) : folder / target).string();
}

void Api::CheckFree(const std::string& target, bool isOverwriting) const {
    const Core::ioPath file = GetOutput(target);
    const auto id = GetFileId(file);
    if (!id) return;
    for (const std::string& photo : work_.photos) {
        if (GetFileId(photo) == id)
            ThrowUsage(kNaming, target + " is a photograph that is shown here; choose another name");
    }
    if (!isOverwriting) ThrowUsage(kNaming, target + " exists already");
}

// Writes uploaded pictures next to `target`, so that a command can name them.
void Api::WriteUploads(Chain& chain, const std::string& target) const {
    const Pictures uploads = GetUploads(chain);
    std::map<std::string, std::string> names;
    std::set<std::string> taken;
    for (const auto& [name, upload] : uploads) {
        const std::string stem = Core::ioPath(target).stem().string() + "-" + upload->GetKind();
        std::string file = GetOutput(stem + ".png");
        std::error_code error;
        for (int i = 2;
             taken.contains(file) || (std::filesystem::exists(file, error) && !HasContent(file, upload->GetBytes()));
             ++i)
            file = GetOutput(stem + "-" + std::to_string(i) + ".png");
        WithContext("writing " + file, [&, &kept = upload] { Io::WriteFile(file, kept->GetBytes()); });
        taken.insert(file);
        names[name] = file;
    }
    RenamePictures(chain, [&](const std::string& name) {
        const auto written = names.find(name);
        if (written != names.end()) return written->second;
        return work_.photos.at(*ParseNumber(std::string_view(name).substr(name.find(':') + 1)));
    });
}

}  // namespace Kalvatri
