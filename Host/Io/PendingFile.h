#pragma once

#include <string>
#include <vector>

#include "Host/Core/Path.h"

namespace Orvexa::Io {

/// A file that takes its name only when it is complete: it is written under another name in the same folder and renamed by `Commit`.
/// Without that call nothing is left of it, and an older file of its name is untouched.
class PendingFile {
public:
    /// Opens the file for reading and writing; `target` may be a symbolic link, whose destination is then replaced.
    explicit PendingFile(const Core::ioPath& target);
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
    ~PendingFile();

    int GetDescriptor() const { return descriptor_; }
    void Commit();

    /// For a process that ends while others of its threads are writing: removes all files that are not complete, and lets no thread open or
    /// complete another.
    static void AbandonAll();
    /// Removes from `folder` the incomplete files for `targets` there that no process works on any more.
    static void RemoveLeftOvers(const Core::ioPath& folder, const std::vector<std::string>& targets);

private:
    Core::ioPath target_;
    Core::ioPath temporary_;
    int descriptor_ = -1;
};

/// Writes `bytes` into a file that exists and cannot be replaced, such as a device or a pipe.
void WriteInto(const Core::ioPath& file, const void* bytes, std::size_t size);

}  // namespace Orvexa::Io
