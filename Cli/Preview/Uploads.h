// Pictures sent by the page, such as painted strokes.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace Kalvatri {

/// A picture in memory that the user's other processes can open by its path during the lifetime of the object.
class Upload {
public:
    Upload(std::string kind, std::string bytes);
    Upload(const Upload&) = delete;
    Upload& operator=(const Upload&) = delete;
    ~Upload();

    std::string GetPath() const;
    const std::string& GetKind() const { return kind_; }    ///< its purpose, in one word
    const std::string& GetBytes() const { return bytes_; }  ///< of the file

private:
    const std::string kind_;
    const std::string bytes_;
    int descriptor_ = -1;
};
using UploadPtr = std::shared_ptr<const Upload>;

/// The most recent uploads, limited in number and size. Thread safe.
class Uploads {
public:
    static constexpr std::size_t kMaxBytes = std::size_t{32} << 20;  ///< of one

    /// Returns the name under which chains refer to it: "upload:1".
    std::string Add(UploadPtr upload);
    /// Empty if it has been discarded.
    UploadPtr Find(const std::string& name) const;

private:
    struct Entry {
        std::string name;
        UploadPtr upload;
    };
    mutable std::mutex mutex_;  // guards the members below
    std::deque<Entry> entries_;
    std::size_t bytes_ = 0;
    std::uint64_t last_ = 0;
};

}  // namespace Kalvatri
