// kalvatri formats: the file formats, and what each can hold.
#include "Host/Io/Formats.h"

#include <iomanip>
#include <iostream>
#include <span>
#include <string_view>

#include "Cli/Commands.h"
#include "Cli/SettingsJson.h"

namespace Kalvatri {

using namespace Orvexa;

namespace {

struct Row {
    const Io::FormatInfo& info;
    Io::FormatSupport support;
};

Json ToJson(const std::vector<Row>& rows) {
    Json list = Json::array();
    for (const auto& [info, support] : rows) {
        Json metadata = Json::array();
        for (const Io::MetadataKind& kind : Io::GetMetadataKinds()) {
            if ((info.metadata & kind.bit) != 0) metadata.push_back(kind.name);
        }
        list.push_back({{"format", info.name},
                        {"suffixes", info.suffixes},
                        {"read", support.canRead},
                        {"write", support.canWrite},
                        {"alpha", info.hasAlpha},
                        {"maxSide", info.maxSide},
                        {"srgb", info.isSrgb},
                        {"metadata", std::move(metadata)}});
    }
    return list;
}

std::string Joined(std::span<const std::string_view> words) {
    std::string text;
    for (const std::string_view word : words) (text += text.empty() ? "" : ", ") += word;
    return text.empty() ? "nothing" : text;
}

Json RawToJson() {
    return {{"format", "camera raw"},   {"suffixes", Io::GetRawSuffixes()},
            {"read", Io::CanReadRaw()}, {"write", false},
            {"alpha", false},           {"metadata", {"EXIF"}}};
}

void Print(const std::vector<Row>& rows) {
    constexpr int kNameWidth = 9, kSuffixesWidth = 12;
    for (const auto& [info, support] : rows) {
        std::vector<std::string_view> kept;
        if (info.hasAlpha) kept.emplace_back("alpha");
        for (const Io::MetadataKind& kind : Io::GetMetadataKinds()) {
            if ((info.metadata & kind.bit) != 0) kept.emplace_back(kind.name);
        }
        std::cout << std::left << std::setw(kNameWidth) << info.name << std::setw(kSuffixesWidth)
                  << Joined(info.suffixes) << "keeps " << Joined(kept);
        if (info.isSrgb) std::cout << "; colours are written in sRGB";
        if (!support.canRead) std::cout << "; the image library of this machine cannot read it";
        if (!support.canWrite) std::cout << "; the image library of this machine cannot write it";
        std::cout << '\n';
    }
    std::cout << "Camera raw files are only read, developed to 8 bits and sRGB, and keep EXIF"
              << (Io::CanReadRaw() ? "" : "; the library for that is not installed") << ":\n  "
              << Joined(Io::GetRawSuffixes()) << '\n';
}

}  // namespace

void RunFormats(const FormatsOptions& options) {
    std::vector<Row> rows;
    for (const Io::FormatInfo& info : Io::GetFormats()) rows.push_back({info, Io::GetFormatSupport(info.format)});
    if (options.isJson) {
        Json list = ToJson(rows);
        list.push_back(RawToJson());
        std::cout << FormatJson(list) << '\n';
    } else {
        Print(rows);
    }
}

}  // namespace Kalvatri
