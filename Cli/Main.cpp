#include <csignal>
#include <string>
#include <vector>

#include "Cli/Program.h"

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN);  // a file size limit is then an error of the write, like a full disk
    return Kalvatri::RunProgram(std::vector<std::string>(argv + 1, argv + argc));
}
