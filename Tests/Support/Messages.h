// What went wrong, as text.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "Host/Core/Exception.h"

namespace Orvexa::Test {

/// What `work` complains of, which is one line; "nothing" if it does not.
template <class Work>
std::string MessageOf(Work&& work) {
    try {
        work();
    } catch (const Core::Exception& exception) {
        const std::string text = Describe(exception);
        EXPECT_EQ(text.find('\n'), std::string::npos) << text;
        return text;
    }
    return "nothing";
}

}  // namespace Orvexa::Test
