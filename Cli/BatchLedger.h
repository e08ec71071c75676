// The record of finished outputs that a batch keeps in their folder.
//
// A file with one JSON object per line, appended when an output is complete. A line left unfinished by a killed process
// is ignored, and its output is rebuilt. While a batch writes, it locks the folder against others. The parts of a batch
// that is shared by several machines have separate ledgers and run in parallel; records from any ledger in the folder
// count for all parts, and the latest record of an output takes precedence.
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

/// Changes whenever the file does.
struct FileStamp {
    std::uint64_t size = 0;     ///< bytes
    std::int64_t modified = 0;  ///< nanoseconds since 1970
    bool operator==(const FileStamp&) const = default;
};

/// Empty if there is no such file.
std::optional<FileStamp> StampOf(const Orvexa::Core::ioPath& file);

/// 64 bits in hexadecimal: equal for equal documents, and almost certainly different for different ones.
std::string Fingerprint(const Json& json);

struct LedgerEntry {
    std::string input;  ///< absolute path
    FileStamp inputStamp;
    std::string chain;  ///< fingerprint of the chain and of everything else that affects the output
    bool operator==(const LedgerEntry&) const = default;
};

class Ledger {
public:
    /// `.kalvatri-batch.jsonl`, or `.kalvatri-batch.3-of-8.jsonl` for a part.
    static std::string GetFileName(const BatchPart& part);

    enum class Access { Reading, Writing };
    /// Reads the ledgers of `folder`, if there are any, and writes that of `part`. `chain` is the fingerprint of this
    /// run's chain. Throws `EffectException` if another batch is writing into the folder (the same part, or a part with
    /// another chain) or if the ledger cannot be written.
    Ledger(Orvexa::Core::ioPath folder, const BatchPart& part, std::string chain, Access access);
    Ledger(const Ledger&) = delete;
    Ledger& operator=(const Ledger&) = delete;
    ~Ledger();

    /// Whether the output exists, is complete and was made from `entry`. Outputs are identified by their paths
    /// relative to the ledger's folder.
    bool IsUpToDate(const std::string& output, const LedgerEntry& entry) const;
    /// Records a complete output.
    void Add(const std::string& output, const LedgerEntry& entry);
    /// Other parts of the same batch whose latest run had another chain, such as "2/8".
    const std::vector<std::string>& GetPartsOfOtherChains() const { return partsOfOtherChains_; }

private:
    struct Row {
        LedgerEntry entry;
        std::uint64_t outputSize = 0;
        std::int64_t recorded = 0;  ///< nanoseconds since 1970; 0 if unknown
    };
    using Rows = std::map<std::string, Row>;
    struct Content {
        Rows rows;
        std::string part, chain;  ///< of the latest run, if a part wrote the file
        bool isClean = true;      ///< whether the file is as this program leaves it, with one line per output
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
