// How the outputs of a batch are named after their inputs.
#pragma once

#include <cstddef>
#include <string>

#include "Host/Core/Path.h"

namespace Kalvatri {

/// A file name with placeholders: {stem} and {ext} are the input's name before and after its last dot, {folder} is
/// the name of the folder that contains the input, and {n} is the number of the picture in the batch, counted from 1
/// and zero-padded so that all have the same length.
class NameTemplate {
public:
    struct Values {
        Orvexa::Core::ioPath input;
        std::string suffix;  ///< for {ext}
        std::size_t number;
        std::size_t count;  ///< of all pictures
    };

    /// An unknown placeholder, an unmatched brace, or text that is not a valid file name throws `EffectException`.
    explicit NameTemplate(std::string text);
    std::string Fill(const Values& values) const;

private:
    std::string text_;
};

}  // namespace Kalvatri
