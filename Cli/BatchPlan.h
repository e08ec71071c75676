// Which pictures a batch processes, and where their results go.
#pragma once

#include <string>
#include <vector>

#include "Cli/BatchInputs.h"
#include "Cli/BatchPart.h"
#include "Cli/Commands.h"
#include "Host/Core/Path.h"
#include "Host/Io/ImageFiles.h"

namespace Kalvatri {

enum class BatchStatus { Open, Done, Skipped, Failed };

struct BatchItem {
    std::string input;
    std::string name;        ///< relative to the given folder
    std::string outputName;  ///< path in the output folder; empty if it has none
    Orvexa::Io::FileFormat format{};
    BatchStatus status = BatchStatus::Open;
    bool isExisting = false;  ///< skipped because its output exists, whatever it was made from
    std::string error;        ///< one line, if it failed
    double seconds = 0;       ///< processing time

    std::string GetAbsoluteInput() const { return std::filesystem::absolute(input).lexically_normal().string(); }
};

struct BatchPlan {
    std::vector<BatchItem> items;
    std::map<std::string, std::size_t> others;  ///< as in `BatchInputs`
};

/// The pictures of `part` among those named by `options`, in that order. Pictures that do not exist or whose output
/// format is unknown are included as already failed. Two pictures with the same output, and outputs that would
/// overwrite an input or one of `others`, throw `CommandError`, whatever the part. Files that are not pictures are
/// counted by the first part.
BatchPlan PlanBatch(const BatchOptions& options, const BatchPart& part,
                    const std::vector<Orvexa::Core::ioPath>& others);

}  // namespace Kalvatri
