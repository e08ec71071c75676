// Which pictures a batch works on, and where their results go.
#pragma once

#include <string>
#include <vector>

#include "Cli/BatchLedger.h"
#include "Cli/Commands.h"
#include "Host/Core/Path.h"
#include "Host/Io/ImageFiles.h"

namespace Kalvatri {

enum class BatchStatus { Open, Done, Skipped, Failed };

struct BatchItem {
    std::string input;
    std::string outputName;  ///< in the folder of the results; empty when it has none
    Orvexa::Io::FileFormat format{};
    BatchStatus status = BatchStatus::Open;
    std::string error;   ///< of a failed one, a line
    double seconds = 0;  ///< that were spent on it

    std::string GetAbsoluteInput() const { return std::filesystem::absolute(input).lexically_normal().string(); }
};

/// The pictures that `options` name, in that order; a folder stands for the pictures right in it, by name. One whose output has no known
/// format has failed already. Two pictures with the same output, and outputs that would overwrite an input or one of `others`, throw
/// `CommandError`.
std::vector<BatchItem> PlanBatch(const BatchOptions& options, const std::vector<Orvexa::Core::ioPath>& others);

}  // namespace Kalvatri
