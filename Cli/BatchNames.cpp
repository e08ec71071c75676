#include "Cli/BatchNames.h"

#include <string_view>
#include <utility>

#include "Host/Core/Exception.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

std::string FormatNumber(const NameTemplate::Values& values) {
    const std::string number = std::to_string(values.number);
    return std::string(std::to_string(values.count).size() - number.size(), '0') + number;
}

std::string GetFolderName(const Core::ioPath& input) {
    return std::filesystem::absolute(input).lexically_normal().parent_path().filename().string();
}

struct Placeholder {
    std::string_view name;
    std::string (*fill)(const NameTemplate::Values& values);
};
constexpr Placeholder kPlaceholders[] = {
    {"{stem}", [](const NameTemplate::Values& values) { return values.input.stem().string(); }},
    {"{ext}", [](const NameTemplate::Values& values) { return values.suffix; }},
    {"{n}", FormatNumber},
    {"{folder}", [](const NameTemplate::Values& values) { return GetFolderName(values.input); }},
};

const Placeholder* FindPlaceholder(std::string_view text) {
    for (const Placeholder& placeholder : kPlaceholders) {
        if (text.starts_with(placeholder.name)) return &placeholder;
    }
    return nullptr;
}

}  // namespace

NameTemplate::NameTemplate(std::string text) : text_(std::move(text)) {
    if (text_.find('/') != std::string::npos)
        Throw("\"" + text_ + "\" is not the name of a file; folders are named by --output");
    for (std::size_t at = 0; at < text_.size();) {
        const Placeholder* placeholder = FindPlaceholder(std::string_view(text_).substr(at));
        if (placeholder == nullptr && (text_[at] == '{' || text_[at] == '}'))
            Throw("\"" + text_ +
                  "\" has a brace that belongs to no placeholder; those are {stem}, {ext}, {n} and {folder}");
        at += placeholder != nullptr ? placeholder->name.size() : 1;
    }
    // Names that differ only in the suffix, or not at all, would map many inputs to one output.
    if (text_.find("{stem}") == std::string::npos && text_.find("{n}") == std::string::npos)
        Throw("\"" + text_ + "\" gives many pictures one name; {stem} or {n} tells them apart");
}

std::string NameTemplate::Fill(const Values& values) const {
    std::string name;
    for (std::size_t at = 0; at < text_.size();) {
        const Placeholder* placeholder = FindPlaceholder(std::string_view(text_).substr(at));
        name += placeholder != nullptr ? placeholder->fill(values) : std::string(1, text_[at]);
        at += placeholder != nullptr ? placeholder->name.size() : 1;
    }
    return name;
}

}  // namespace Kalvatri
