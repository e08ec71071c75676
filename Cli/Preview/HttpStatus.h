#pragma once

namespace Kalvatri {

/// The status codes used in responses, as defined by RFC 9110.
struct HttpStatus {
    static constexpr int kDone = 200;
    static constexpr int kBadRequest = 400;  ///< wrong usage, invalid settings
    static constexpr int kNotFound = 404;
    static constexpr int kOutdated = 409;  ///< cancelled by a newer request
    static constexpr int kTooLarge = 413;
    static constexpr int kFailed = 422;  ///< a picture or an effect failed
    static constexpr int kBusy = 503;    ///< too many requests
};

}  // namespace Kalvatri
