#include "Host/Io/Vips/ImageResources.h"

#include <algorithm>
#include <cstddef>
#include "Host/Io/Vips/BigEndian.h"

namespace Orvexa::Io::Details {

namespace {

constexpr unsigned kIptc = 0x0404, kOldPreview = 0x0409, kPreview = 0x040c;

// Calls `visit(id, block, data)` for each: signature, identifier, name with its length before it, length, data; both
// padded to even lengths.
template <class Visit>
void ForEachResource(std::string_view resources, Visit&& visit) {
    constexpr std::string_view kSignature("8BIM");
    constexpr std::size_t kNameAt = 6;
    while (resources.size() > kNameAt && resources.starts_with(kSignature)) {
        const std::size_t nameLength = static_cast<unsigned char>(resources[kNameAt]);
        const std::size_t sizeAt = kNameAt + (nameLength + 2) / 2 * 2;
        if (resources.size() < sizeAt + 4) return;
        const std::size_t size = BigEndian(resources.substr(sizeAt, 4)), dataAt = sizeAt + 4;
        if (size > resources.size() - dataAt) return;
        const std::size_t end = std::min(dataAt + size + size % 2, resources.size());
        visit(static_cast<unsigned>(BigEndian(resources.substr(4, 2))), resources.substr(0, end),
              resources.substr(dataAt, size));
        resources.remove_prefix(end);
    }
}

template <class IsWanted>
std::string Select(std::string_view resources, IsWanted&& isWanted) {
    std::string selected;
    ForEachResource(resources, [&](unsigned id, std::string_view block, std::string_view) {
        if (!isWanted(id)) return;
        selected += block;
        if (selected.size() % 2 != 0) selected += '\0';
    });
    return selected;
}

}  // namespace

std::string CleanResources(std::string_view resources) {
    return Select(resources, [](unsigned id) { return id != kOldPreview && id != kPreview; });
}

std::string FindIptc(std::string_view resources) {
    std::string records;
    ForEachResource(resources, [&](unsigned id, std::string_view, std::string_view data) {
        if (id == kIptc && records.empty()) records = data;
    });
    return records;
}

std::string WithoutIptc(std::string_view resources) {
    return Select(resources, [](unsigned id) { return id != kIptc; });
}

std::string WrapIptc(std::string_view records) {
    constexpr char kRecordMark = 0x1c;  // IIM 4.2: mark, record, data set, two bytes of length, data
    constexpr std::size_t kHeader = 5;
    std::size_t end = 0;
    while (end + kHeader <= records.size() && records[end] == kRecordMark) {
        const std::size_t next = end + kHeader + BigEndian(records.substr(end + 3, 2));
        if (next > records.size()) break;
        end = next;
    }
    std::string block("8BIM\x04\x04\0\0", 8);  // resource 0x0404 without a name
    for (int shift = 24; shift >= 0; shift -= 8) block += static_cast<char>(end >> shift & 255);
    block += records.substr(0, end);
    if (end % 2 != 0) block += '\0';
    return end == 0 ? std::string() : block;
}

}  // namespace Orvexa::Io::Details
