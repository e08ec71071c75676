// Pictures that the page has made, such as painted strokes.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace Kalvatri {

/// A picture in memory that other processes of the user can open by its path as long as the object lives.
class Upload {
public:
    Upload(std::string kind, std::string bytes);
    Upload(const Upload&) = delete;
    Upload& operator=(const Upload&) = delete;
    ~Upload();

    std::string GetPath() const;
    const std::string& GetKind() const { return kind_; }    ///< what it is for, a word
    const std::string& GetBytes() const { return bytes_; }  ///< of the file

private:
    const std::string kind_;
    const std::string bytes_;
    int descriptor_ = -1;
};
using UploadPtr = std::shared_ptr<const Upload>;

/// The latest ones, within limits of number and size. Safe to use from several threads.
class Uploads {
public:
    static constexpr std::size_t kMaxBytes = std::size_t{32} << 20;  ///< of one

    /// The name under which chains use it: "upload:1".
    std::string Add(UploadPtr upload);
    /// Empty if it is not there any more.
    UploadPtr Find(const std::string& name) const;

private:
    struct Entry {
        std::string name;
        UploadPtr upload;
    };
    mutable std::mutex mutex_;  // guards what follows
    std::deque<Entry> entries_;
    std::size_t bytes_ = 0;
    std::uint64_t last_ = 0;
};

}  // namespace Kalvatri
