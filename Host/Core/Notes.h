// Notes of effects for their users.
#pragma once

#include <string_view>

namespace Orvexa::Core {

/// Names the child of a statistics record that says in words what a user should know about the last run; there is none
/// if all went well.
inline constexpr std::string_view kNoteKey = "note";

}  // namespace Orvexa::Core
