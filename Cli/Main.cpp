#include <fcntl.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "Cli/Program.h"
#include "Cli/StopSignals.h"

namespace {

// If a standard stream is closed at the start, the next file to be opened would take its place and receive messages.
// The null device, opened in the wrong direction, takes it instead, so that reads and writes still fail and no result
// is lost silently.
void OpenMissingStreams() {
    for (int stream = 0; stream <= 2; ++stream) {
        if (fcntl(stream, F_GETFD) < 0 && errno == EBADF) open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY);
    }
}

}  // namespace

int main(int argc, char** argv) {
    OpenMissingStreams();
    std::signal(SIGXFSZ, SIG_IGN);  // exceeding a file size limit is then a write error, like a full disk
    Kalvatri::RemoveIncompleteFilesOnSignals();
    return Kalvatri::RunProgram(std::vector<std::string>(argv + 1, argv + argc));
}
