#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Host/Core/Path.h"

namespace Orvexa::Io {

/// A file that appears under its name only when it is complete. Until `Commit` it has no name at all if the file system
/// allows that, and otherwise another name in the same folder. Without `Commit` nothing is left of it, and an existing
/// file of its name is untouched.
class PendingFile {
public:
    enum class Naming { UnnamedIfPossible, Named };

    /// Opens the file for reading and writing; `target` may be a symbolic link, whose destination is then created or
    /// replaced. A replaced file passes on its permissions and, as far as the process may change them, its owner and
    /// group.
    explicit PendingFile(const Core::ioPath& target, Naming naming = Naming::UnnamedIfPossible);
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
    ~PendingFile();

    int GetDescriptor() const { return descriptor_; }
    void Commit();

    /// For a process that exits while other threads are writing: removes all incomplete files, and prevents any thread
    /// from opening or completing another. Async-signal-safe.
    static void AbandonAll() noexcept;
    /// Removes from `folder` the incomplete files for `targets` there that no process is writing any more.
    static void RemoveLeftOvers(const Core::ioPath& folder, const std::vector<std::string>& targets);

private:
    struct Entry;

    bool OpenUnnamed();
    /// Ensures that there is a temporary name, at which `make` creates the file unless it fails with errno.
    template <class Make>
    void MakeNamed(const char* what, Make&& make);

    Core::ioPath target_;
    Entry* entry_ = nullptr;  ///< holds the temporary name, if there is one
    int descriptor_ = -1;
};

/// Writes all of `bytes` to an open file.
void WriteAll(int descriptor, std::string_view bytes);
/// Creates or replaces a file through a `PendingFile`; an existing target that is not a regular file is written into.
void WriteFile(const Core::ioPath& file, std::string_view bytes);
/// Writes `bytes` into an existing file that cannot be replaced, such as a device or a pipe.
void WriteInto(const Core::ioPath& file, const void* bytes, std::size_t size);

}  // namespace Orvexa::Io
