// Whether a sanitizer watches the tests, which then take many times as long.
#pragma once

namespace Orvexa::Test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

}  // namespace Orvexa::Test
