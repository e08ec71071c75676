#include <csignal>
#include <string>
#include <vector>

#include "Cli/Program.h"
#include "Cli/StopSignals.h"

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN);  // a file size limit is then an error of the write, like a full disk
    Kalvatri::RemoveIncompleteFilesOnSignals();
    return Kalvatri::RunProgram(std::vector<std::string>(argv + 1, argv + argc));
}
