// The record of finished outputs that a batch keeps in their folder.
//
// A file of one JSON object a line, added when an output is complete. A line that a killed process left unfinished is
// ignored, and its output made anew. While a batch writes, the folder is locked against another.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "Cli/SettingsJson.h"
#include "Host/Core/Path.h"

namespace Kalvatri {

/// What changes when a file does.
struct FileStamp {
    std::uint64_t size = 0;     ///< bytes
    std::int64_t modified = 0;  ///< nanoseconds since 1970
    bool operator==(const FileStamp&) const = default;
};

/// Empty when there is no such file.
std::optional<FileStamp> StampOf(const Orvexa::Core::ioPath& file);

/// 64 bits in hexadecimal digits, the same for equal documents and hardly ever for others.
std::string Fingerprint(const Json& json);

struct LedgerEntry {
    std::string input;  ///< absolute path
    FileStamp inputStamp;
    std::string chain;  ///< fingerprint of the chain and of all else that decides on the output
    bool operator==(const LedgerEntry&) const = default;
};

class Ledger {
public:
    static constexpr char kFileName[] = ".kalvatri-batch.jsonl";

    enum class Access { Reading, Writing };
    /// Reads the ledger of `folder`, empty if there is none. A folder that another batch is writing into, and a ledger
    /// that cannot be written, throw `EffectException`.
    Ledger(Orvexa::Core::ioPath folder, Access access);
    Ledger(const Ledger&) = delete;
    Ledger& operator=(const Ledger&) = delete;
    ~Ledger();

    /// Outputs are named by their paths relative to the ledger's folder.
    /// Whether the output of that name is there, whole and made from `entry`.
    bool IsUpToDate(const std::string& output, const LedgerEntry& entry) const;
    /// Records a complete output.
    void Add(const std::string& output, const LedgerEntry& entry);

private:
    struct Row {
        LedgerEntry entry;
        std::uint64_t outputSize;
    };

    void Lock();
    /// Whether the file is as this program leaves it, with one line an output.
    bool Load();
    void Rewrite() const;
    static std::string FormatLine(const std::string& output, const Row& row);

    Orvexa::Core::ioPath folder_;
    std::map<std::string, Row> rows_;
    int lock_ = -1, file_ = -1;
};

}  // namespace Kalvatri
