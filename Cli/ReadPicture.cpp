#include "Cli/ReadPicture.h"

#include <unistd.h>

#include "Cli/Commands.h"
#include "Cli/Errors.h"

namespace Kalvatri {

using namespace Orvexa;

std::string InputName(const std::string& file) { return file == kStdStream ? "stdin" : file; }

Io::LoadedImage ReadPicture(const std::string& file, const Io::ReadOptions& options, const Proc::FactoryPtr& factory) {
    return WithContext("reading " + InputName(file), [&] {
        return file == kStdStream ? Io::ReadImageFrom(STDIN_FILENO, factory->GetAllocator(), options)
                                  : Io::ReadImage(Core::ioPath(file), factory->GetAllocator(), options);
    });
}

}  // namespace Kalvatri
