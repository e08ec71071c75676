// The record of finished outputs that a batch keeps in their folder.
//
// A file of one JSON object a line, added when an output is complete. A line that a killed process left unfinished is
// ignored, and its output made anew. While a batch writes, the folder is locked against another. The parts of a batch
// that is worked on by several machines have ledgers of their own and run side by side; what any ledger of the folder
// records counts for all, the latest record of an output first.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Cli/BatchPart.h"
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
    /// `.kalvatri-batch.jsonl`, of a part `.kalvatri-batch.3-of-8.jsonl`.
    static std::string GetFileName(const BatchPart& part);

    enum class Access { Reading, Writing };
    /// Reads the ledgers of `folder`, empty if there are none, and writes that of `part`. `chain` is the fingerprint
    /// that this run works with. A folder that another batch is writing into, the same part or a part with another
    /// chain, and a ledger that cannot be written, throw `EffectException`.
    Ledger(Orvexa::Core::ioPath folder, const BatchPart& part, std::string chain, Access access);
    Ledger(const Ledger&) = delete;
    Ledger& operator=(const Ledger&) = delete;
    ~Ledger();

    /// Outputs are named by their paths relative to the ledger's folder.
    /// Whether the output of that name is there, whole and made from `entry`.
    bool IsUpToDate(const std::string& output, const LedgerEntry& entry) const;
    /// Records a complete output.
    void Add(const std::string& output, const LedgerEntry& entry);
    /// Other parts of the same batch whose latest run had another chain, such as "2/8".
    const std::vector<std::string>& GetPartsOfOtherChains() const { return partsOfOtherChains_; }

private:
    struct Row {
        LedgerEntry entry;
        std::uint64_t outputSize = 0;
        std::int64_t recorded = 0;  ///< nanoseconds since 1970; 0 if not known
    };
    using Rows = std::map<std::string, Row>;
    struct Content {
        Rows rows;
        std::string part, chain;  ///< of the latest run, where a part wrote the file
        bool isClean = true;      ///< whether the file is as this program leaves it, with one line an output
    };

    void LockFolder();
    void LockPart();
    static Content Load(const Orvexa::Core::ioPath& file);
    void LoadOthers();
    void Rewrite();
    void Close();
    static std::string FormatLine(const std::string& output, const Row& row);

    Orvexa::Core::ioPath folder_, name_;
    BatchPart part_;
    std::string chain_;
    Rows own_, all_;
    std::vector<std::string> partsOfOtherChains_;
    int folderLock_ = -1, partLock_ = -1, file_ = -1;
};

}  // namespace Kalvatri
