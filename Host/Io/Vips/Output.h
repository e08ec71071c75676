// Where an encoded picture goes, and what happens to it on the way.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <vector>
#include <vips/vips8>

#include "Host/Io/Formats.h"

namespace Orvexa::Io::Details {

/// Bytes that can be written and read anywhere. Failures return a negative number and leave `errno`, as the system's
/// calls do.
class Output {
public:
    virtual ~Output() = default;
    virtual std::int64_t Write(std::int64_t at, const void* data, std::size_t size) = 0;
    virtual std::int64_t Read(std::int64_t at, void* data, std::size_t size) = 0;
    virtual std::int64_t GetSize() = 0;
};

/// A file that is open for reading and writing.
class FileOutput final : public Output {
public:
    explicit FileOutput(int descriptor) : descriptor_(descriptor) {}
    std::int64_t Write(std::int64_t at, const void* data, std::size_t size) override;
    std::int64_t Read(std::int64_t at, void* data, std::size_t size) override;
    std::int64_t GetSize() override;

private:
    int descriptor_;
};

class MemoryOutput final : public Output {
public:
    explicit MemoryOutput(std::vector<std::uint8_t>& bytes) : bytes_(bytes) {}
    std::int64_t Write(std::int64_t at, const void* data, std::size_t size) override;
    std::int64_t Read(std::int64_t at, void* data, std::size_t size) override;
    std::int64_t GetSize() override { return static_cast<std::int64_t>(bytes_.size()); }

private:
    std::vector<std::uint8_t>& bytes_;
};

/// Changes what an encoder writes while it is written: the beginning of a file, which holds the metadata, or all of it.
class HeaderFilter {
public:
    virtual ~HeaderFilter() = default;
    /// The size of the beginning that is to be changed, once enough of it is there; `isComplete` tells that nothing
    /// follows.
    virtual std::size_t FindEnd(std::string_view bytes, bool isComplete) const = 0;
    virtual std::string Change(std::string_view header) const = 0;
};

/// Hands what a libvips encoder writes to an output, behind its first `base` bytes.
class EncoderTarget {
public:
    /// `filter` may be null; with one, the encoder must write from front to back. Both references outlive the object.
    EncoderTarget(Output& output, std::int64_t base, const HeaderFilter* filter);
    EncoderTarget(const EncoderTarget&) = delete;
    EncoderTarget& operator=(const EncoderTarget&) = delete;

    const vips::VTarget& Get() const { return target_; }
    /// Throws what the filter threw, after the encoder has failed because of it.
    void RethrowError() const;

private:
    std::int64_t Write(const void* data, std::int64_t size);
    std::int64_t Seek(std::int64_t offset, int whence);
    int End();
    template <class Call>
    std::int64_t Contained(Call&& call);
    int WriteAll(std::string_view bytes);

    Output& output_;
    const std::int64_t base_;
    std::int64_t position_;
    const HeaderFilter* filter_;
    std::string header_;  // what `filter_` waits for
    std::exception_ptr error_;
    vips::VTarget target_;
};

/// Writes all of `bytes`, or throws.
void WriteAt(Output& output, std::int64_t at, std::string_view bytes);
/// Reads all of `size` bytes, or throws.
std::string ReadAt(Output& output, std::int64_t at, std::size_t size);

}  // namespace Orvexa::Io::Details
