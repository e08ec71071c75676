#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Host/Core/Path.h"

namespace Orvexa::Io {

/// A file that takes its name only when it is complete. Until `Commit` it has no name at all where the file system
/// allows that, and otherwise another name in the same folder. Without that call nothing is left of it, and an older
/// file of its name is untouched.
class PendingFile {
public:
    enum class Naming { UnnamedIfPossible, Named };

    /// Opens the file for reading and writing; `target` may be a symbolic link, whose destination is then made or
    /// replaced. A file that is replaced passes on its permissions and, as far as the process may give files away, its
    /// owner and group.
    explicit PendingFile(const Core::ioPath& target, Naming naming = Naming::UnnamedIfPossible);
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
    ~PendingFile();

    int GetDescriptor() const { return descriptor_; }
    void Commit();

    /// For a process that ends while others of its threads are writing: removes all files that are not complete, and
    /// lets no thread open or complete another. May be called by a signal handler.
    static void AbandonAll() noexcept;
    /// Removes from `folder` the incomplete files for `targets` there that no process works on any more.
    static void RemoveLeftOvers(const Core::ioPath& folder, const std::vector<std::string>& targets);

private:
    struct Entry;

    bool OpenUnnamed();
    /// Makes sure that there is a temporary name, under which `make` puts the file unless it fails with errno.
    template <class Make>
    void MakeNamed(const char* what, Make&& make);

    Core::ioPath target_;
    Entry* entry_ = nullptr;  ///< holds the temporary name while there is one
    int descriptor_ = -1;
};

/// Writes all of `bytes` to an open file.
void WriteAll(int descriptor, std::string_view bytes);
/// Makes or replaces a file by way of a `PendingFile`; what exists and is no regular file is written into.
void WriteFile(const Core::ioPath& file, std::string_view bytes);
/// Writes `bytes` into a file that exists and cannot be replaced, such as a device or a pipe.
void WriteInto(const Core::ioPath& file, const void* bytes, std::size_t size);

}  // namespace Orvexa::Io
