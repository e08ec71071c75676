#include <fcntl.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "Cli/Program.h"
#include "Cli/StopSignals.h"

namespace {

// A standard stream that the program was started without would be the next file that is opened, and messages would go
// into it. The null device takes its place, for the wrong direction, so that reading and writing still fail instead of
// losing a result.
void OpenMissingStreams() {
    for (int stream = 0; stream <= 2; ++stream) {
        if (fcntl(stream, F_GETFD) < 0 && errno == EBADF) open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace

int main(int argc, char** argv) {
    OpenMissingStreams();
    std::signal(SIGXFSZ, SIG_IGN);  // a file size limit is then an error of the write, like a full disk
    Kalvatri::RemoveIncompleteFilesOnSignals();
    return Kalvatri::RunProgram(std::vector<std::string>(argv + 1, argv + argc));
}
